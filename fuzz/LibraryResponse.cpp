#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>

#include "CLI/FeatureLibraryExchange.h"
#include "ostrel/core/Status.h"
#include "ostrel/core/xml/XmlObject.h"
#include "ostrel/interfaces/cli/cliframework/ResultBase.h"

namespace {

std::string response;

void sendXmlMessage(const char*, uint64_t, void**) {}

int32_t receiveXmlMessage(void*, void* buffer, uint64_t* size) {
    if (*size < response.size()) {
        *size = response.size();
        return FEATURE_LIBRARY_INVALID_BUFFER_SIZE;
    }
    if (buffer != nullptr) std::memcpy(buffer, response.data(), response.size());
    return FEATURE_LIBRARY_SUCCESS;
}

void check(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
}

}  // namespace

/// Any bytes as the response to a request: a result, a success, or the one exception.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    response.assign(reinterpret_cast<const char*>(data), size);
    const cli::FeatureLibraryFunctions library = {sendXmlMessage, receiveXmlMessage, nullptr};
    const ostrel::core::xml::XmlObject request;
    std::string text;
    std::unique_ptr<ostrel::core::xml::XmlElement> tree;
    ostrel::core::Status status;
    try {
        const auto result = cli::exchange(library, request, tree, status);
        if (size == 0) {
            check(result->getErrorCode() == 2, "an empty response was not received");
            return 0;
        }
        check(tree != nullptr, "there is a tree");
        check((result == nullptr) == (status.getCode() == 0), "a status other than 0 is a failure");
        check(result == nullptr || result->getErrorCode() == 3, "reported by the library");
        const auto resultBesideText = cli::exchange(library, request, text, status);
        check((result == nullptr) == (resultBesideText == nullptr), "the same beside the text");
        check(text == response, "the text is what was received");
    } catch (const std::runtime_error& error) {
        check(std::string(error.what()) == "Unable to convert the given xml string to an XmlElement", "no XML");
        check(tree == nullptr, "and no tree");
    }
    return 0;
}
