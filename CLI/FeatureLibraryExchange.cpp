#include "CLI/FeatureLibraryExchange.h"

#include <new>
#include <stdexcept>
#include <utility>

#include "CLI/LibraryCall.h"
#include "ostrel/core/Payload.h"
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
using ostrel::core::Payload;
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

// Fetches the response: the first call asks for the size, the second for the bytes. There is no third.
std::unique_ptr<ResultBase> receive(ReceiveXMLMessageFunction receiveXmlMessage, void* handle, std::string& text) {
    Payload buffer;
    uint64_t size = 0;
    int32_t code = 0;
    const auto call = [&] { code = receiveXmlMessage(handle, buffer.getData(), &size); };
    if (auto error = callLibrary("ReceiveXMLMessage", call)) return error;
    if (code == FEATURE_LIBRARY_INVALID_BUFFER_SIZE) {
        const uint64_t reportedSize = size;
        buffer = Payload(reportedSize);
        if (buffer.getSize() != reportedSize) return tooLarge(reportedSize);
        if (auto error = callLibrary("ReceiveXMLMessage", call)) return error;
        if (code == FEATURE_LIBRARY_SUCCESS && size > reportedSize) {
            return receiveFailure("The response grew from " + std::to_string(reportedSize) + " to " +
                                  std::to_string(size) + " bytes.");
        }
    }
    if (code != FEATURE_LIBRARY_SUCCESS || buffer.getData() == nullptr)
        return receiveFailure("OSTREL Interface error code = " + std::to_string(code));
    try {
        text.assign(reinterpret_cast<const char*>(buffer.getData()), size);
    } catch (const std::bad_alloc&) {
        return tooLarge(size);
    }
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
