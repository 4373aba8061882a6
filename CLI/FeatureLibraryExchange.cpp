#include "CLI/FeatureLibraryExchange.h"

#include <algorithm>
#include <limits>
#include <new>
#include <stdexcept>
#include <utility>

#include "CLI/LibraryCall.h"
#include "ostrel/core/DiscardPages.h"
#include "ostrel/core/Status.h"
#include "ostrel/core/Strings.h"
#include "ostrel/core/XmlConverter.h"
#include "ostrel/core/xml/XmlConstants.h"
#include "ostrel/core/xml/XmlObject.h"
#include "ostrel/interfaces/cli/cliframework/ErrorCode.h"
#include "ostrel/interfaces/cli/cliframework/ErrorResult.h"

namespace cli {

using framework::ErrorResult;
using framework::ResultBase;
using ostrel::core::Status;
using ostrel::core::xml::XmlElement;
using ostrel::core::xml::XmlObject;

namespace {

std::unique_ptr<ResultBase> notLoaded() {
    return std::make_unique<ErrorResult>(framework::ERRORCODE_GENERAL, "OSTREL Interface not loaded", "");
}

std::unique_ptr<ResultBase> receiveFailure(const std::string& reason) {
    constexpr int32_t ERRORCODE_RECEIVE_FAILED = 2;
    return std::make_unique<ErrorResult>(ERRORCODE_RECEIVE_FAILED,
                                         "OSTREL Interface failure receiving XML Response. " + reason, "");
}

std::unique_ptr<ResultBase> tooLarge(uint64_t size) {
    return receiveFailure("The response of " + std::to_string(size) + " bytes does not fit into memory.");
}

/// Where a response is received: page-aligned, as a Payload, yet in a text, since a response of hundreds of megabytes
/// is parsed in place.
class ReceiveBuffer {
public:
    /// False when there is no memory for so many bytes, or they are more than a Payload may have.
    bool allocate(uint64_t size) {
        if (size > std::min<uint64_t>(std::numeric_limits<uint32_t>::max(), text_.max_size() - ALIGNMENT_BYTES))
            return false;
        if (size == 0) return true;
        try {
            growTo(static_cast<size_t>(size) + ALIGNMENT_BYTES);
        } catch (const std::bad_alloc&) {
            return false;
        }
        const size_t excess = reinterpret_cast<uintptr_t>(text_.data()) % ALIGNMENT_BYTES;
        start_ = excess == 0 ? 0 : ALIGNMENT_BYTES - excess;
        return true;
    }
    /// Null until there is memory.
    char* data() { return text_.empty() ? nullptr : text_.data() + start_; }
    std::string takeText(uint64_t size) {
        text_.erase(0, start_);
        text_.resize(static_cast<size_t>(size));
        return std::move(text_);
    }

private:
    static constexpr size_t ALIGNMENT_BYTES = 4096;
    static constexpr size_t PIECE_BYTES = size_t{16} << 20;

    /// The zeros of a large text are not kept in memory: the library, which still has the response, releases it while
    /// it fills this one.
    void growTo(size_t size) {
        text_.reserve(size);
        while (text_.size() < size) {
            const size_t begin = text_.size();
            text_.resize(std::min(size, begin + PIECE_BYTES));
            if (size > PIECE_BYTES) ostrel::core::discardPages(text_.data() + begin, text_.size() - begin);
        }
    }

    std::string text_;
    size_t start_ = 0;
};

// Fetches the response: the first call asks for the size, the second for the bytes. There is no third.
std::unique_ptr<ResultBase> receive(ReceiveXMLMessageFunction receiveXmlMessage, void* handle, std::string& text) {
    ReceiveBuffer buffer;
    uint64_t size = 0;
    int32_t code = 0;
    const auto call = [&] { code = receiveXmlMessage(handle, buffer.data(), &size); };
    if (auto error = callLibrary("ReceiveXMLMessage", call)) return error;
    if (code == FEATURE_LIBRARY_INVALID_BUFFER_SIZE) {
        const uint64_t reportedSize = size;
        if (!buffer.allocate(reportedSize)) return tooLarge(reportedSize);
        if (auto error = callLibrary("ReceiveXMLMessage", call)) return error;
        if (code == FEATURE_LIBRARY_SUCCESS && size > reportedSize) {
            return receiveFailure("The response grew from " + std::to_string(reportedSize) + " to " +
                                  std::to_string(size) + " bytes.");
        }
    }
    if (code != FEATURE_LIBRARY_SUCCESS || buffer.data() == nullptr)
        return receiveFailure("OSTREL Interface error code = " + std::to_string(code));
    text = buffer.takeText(size);
    return nullptr;
}

// Sends the request and fetches the response.
std::unique_ptr<ResultBase> converse(const FeatureLibraryFunctions& library, const XmlObject& request,
                                     std::string& responseText) {
    void* handle = nullptr;
    {
        const std::string text = request.toXmlString();
        if (library.sendXmlMessage == nullptr) return notLoaded();
        const auto call = [&] { library.sendXmlMessage(text.data(), text.size(), &handle); };
        if (auto error = callLibrary("SendXMLMessage", call)) return error;
    }
    if (library.receiveXmlMessage == nullptr) return notLoaded();
    return receive(library.receiveXmlMessage, handle, responseText);
}

std::unique_ptr<ResultBase> extractStatusOf(const XmlElement* response, Status& status) {
    if (response == nullptr) throw std::runtime_error("Unable to convert the given xml string to an XmlElement");
    return extractStatus(*response, status);
}

// The texts of a status object. Of equal names the last counts.
struct StatusTexts {
    explicit StatusTexts(const XmlObject& object) {
        using namespace ostrel::core::xml;
        for (const auto& property : object.properties) {
            const std::string name = property->getAttribute(KEY_NAME);
            if (name == "Category") category = property->getAttribute(KEY_VALUE);
            if (name == "Code") code = property->getAttribute(KEY_VALUE);
            if (name == "Message") message = property->getAttribute(KEY_VALUE);
        }
    }

    std::string category;
    std::string code;
    std::string message;
};

}  // namespace

std::unique_ptr<ResultBase> exchange(const FeatureLibraryFunctions& library, const XmlObject& request,
                                     std::string& responseText, Status& status) {
    if (auto error = converse(library, request, responseText)) return error;
    return extractStatusOf(ostrel::core::XmlConverter::toXml(responseText).get(), status);
}

std::unique_ptr<ResultBase> exchange(const FeatureLibraryFunctions& library, const XmlObject& request,
                                     std::unique_ptr<XmlElement>& response, Status& status) {
    std::string text;
    if (auto error = converse(library, request, text)) return error;
    response = ostrel::core::XmlConverter::toXml(std::move(text));
    return extractStatusOf(response.get(), status);
}

std::unique_ptr<ResultBase> extractStatus(const XmlElement& response, Status& status) {
    using namespace ostrel::core::xml;
    const auto found = response.find(TAG_OBJECT, KEY_CATEGORY, CATEGORY_STATUS, 2);
    if (found.size() != 1) return nullptr;
    const StatusTexts texts(dynamic_cast<const XmlObject&>(*found.front()));
    status.set(ostrel::core::toNumber<uint32_t>(texts.category), ostrel::core::toNumber<uint32_t>(texts.code),
               texts.message);
    if (status.getCode() == 0) return nullptr;
    return std::make_unique<ErrorResult>(
        framework::ERRORCODE_NOT_SUPPORTED,
        texts.message.empty() ? "Category = " + texts.category + " Code = " + texts.code : texts.message, "");
}

}  // namespace cli
