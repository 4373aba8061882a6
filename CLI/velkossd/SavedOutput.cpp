#include "CLI/velkossd/SavedOutput.h"

#include <algorithm>
#include <functional>
#include <iostream>
#include <optional>
#include <string_view>
#include <utility>

#include "CLI/FeatureLibraryExchange.h"
#include "CLI/velkossd/JobRendering.h"
#include "ostrel/core/Payload.h"
#include "ostrel/core/Status.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/Strings.h"
#include "ostrel/core/UserFile.h"
#include "ostrel/core/xml/XmlObject.h"
#include "ostrel/core/xml/XmlProperty.h"
#include "ostrel/interfaces/cli/cliframework/ObjectResult.h"
#include "ostrel/interfaces/cli/cliframework/SimpleResult.h"
#include "ostrel/interfaces/cli/cliframework/StringHelpers.h"

namespace cli::velkossd {

namespace xml = ostrel::core::xml;

namespace {

using framework::ObjectResult;
using framework::SimpleResult;
using framework::stringsIEqual;
using ostrel::core::Status;
using ostrel::core::UserFile;
using ostrel::core::xml::XmlElement;
using ostrel::core::xml::XmlObject;

/// Text that is decoded at once. Even, so that no pair of digits is torn.
constexpr std::size_t PIECE = std::size_t{256} * 1024;

/// What came of one output.
struct Outcome {
    bool isSaved;
    std::string message;
};

/// Where an output goes, and what it is called in the messages.
struct Target {
    std::string dataName;
    std::string path;
};

using Fill = std::function<Status(UserFile& file)>;
using Save = std::function<Outcome(XmlObject& output, const Target& target)>;

/// Names and serial numbers come from the library: in a file's name they may neither lead into another folder nor hold
/// control characters. The messages show a name as it is.
std::string cleaned(std::string text) {
    const auto isUnsafe = [](char c) { return c == '/' || static_cast<unsigned char>(c) < 0x20 || c == 0x7F; };
    std::replace_if(text.begin(), text.end(), isUnsafe, '_');
    return text;
}

Target makeTarget(const XmlObject& output, const std::string& destination, const char* suffix) {
    const std::string name = output.getAttribute(xml::KEY_NAME);
    const std::string key = output.getAttribute(xml::KEY_KEY);
    return {name, destination.empty() ? cleaned(name) + "_" + cleaned(key) + suffix : destination};
}

bool writeFile(const std::string& path, const Fill& fill) {
    UserFile file;
    Status status = file.open(path);
    if (succeeded(status)) status = fill(file);
    if (succeeded(status)) status = file.finish();
    if (succeeded(status)) return true;
    // The result's own words have no room for the reason.
    std::clog << status.getMessage() << std::endl;
    return false;
}

Outcome writeTarget(const Target& target, const Fill& fill) {
    const bool isSaved = writeFile(target.path, fill);
    const char* verdict = isSaved ? "Successfully written " : "Failed to write ";
    return {isSaved, verdict + target.dataName + " data to " + target.path};
}

/// The bytes that pairs of digits represent; of an odd number of digits none.
Status writeHex(UserFile& file, std::string_view digits) {
    if (digits.size() % 2 != 0) return Status();
    while (!digits.empty()) {
        const std::string_view piece = digits.substr(0, PIECE);
        digits.remove_prefix(piece.size());
        const ostrel::core::Payload bytes = ostrel::core::hexToBytes(piece, "");
        if (bytes.getSize() != piece.size() / 2) return ostrel::core::statuses::mallocFailed();
        const Status status = file.write({reinterpret_cast<const char*>(bytes.getData()), bytes.getSize()});
        if (failed(status)) return status;
    }
    return Status();
}

Outcome savePayload(XmlObject& output, const Target& target) {
    const auto payload = std::find_if(output.properties.begin(), output.properties.end(), [](const auto& property) {
        return stringsIEqual(property->getAttribute(xml::KEY_NAME), xml::CATEGORY_PAYLOAD);
    });
    if (payload == output.properties.end()) return {false, "No Payload data found"};
    const std::string& digits = (*payload)->attributes[xml::KEY_VALUE];
    return writeTarget(target, [&digits](UserFile& file) { return writeHex(file, digits); });
}

/// The library's words for an output that failed, and its status.
std::optional<std::string> findFailure(const XmlObject& output, Status& status) {
    const auto error = extractStatus(output, status);
    if (error == nullptr) return std::nullopt;
    std::string text = error->outputText();
    ostrel::core::replaceAll(text, "Error: ", "");
    return text;
}

FlowResult toResult(const Outcome& outcome) {
    if (outcome.isSaved) return std::make_unique<SimpleResult>(outcome.message);
    return makeError(ERRORCODE_NOT_SAVED, outcome.message);
}

FlowResult saveOutputs(XmlElement& response, const std::string& destination, const char* suffix, const Save& save) {
    const auto outputs = findOutputs(response);
    auto gathered = std::make_unique<ObjectResult>();
    for (XmlObject* output : outputs) {
        Status status;
        if (const auto failure = findFailure(*output, status)) {
            gathered->insert("Error", *failure);  // reported, and no failure of the command: the other drives are saved
            // A status without a name is that of no drive: the library could not look for all of them.
            const bool isOfDrive = !output->getAttribute(xml::KEY_NAME).empty();
            if (!isOfDrive) gathered->setErrorCode(static_cast<int32_t>(status.getCode()));
            continue;
        }
        const Outcome outcome = save(*output, makeTarget(*output, destination, suffix));
        if (outputs.size() == 1) return toResult(outcome);
        gathered->insert(outcome.isSaved ? "Success" : "Error", outcome.message);
        if (!outcome.isSaved) gathered->setErrorCode(ERRORCODE_NOT_SAVED);
    }
    return gathered;
}

}  // namespace

FlowResult saveBinary(XmlElement& response, const std::string& destination) {
    return saveOutputs(response, destination, ".bin", savePayload);
}

FlowResult saveText(const std::vector<std::string>& hidden, XmlElement& response, const std::string& destination) {
    return saveOutputs(response, destination, ".txt", [&hidden](XmlObject& output, const Target& target) {
        const std::string text = renderOutput(hidden, output)->outputText();
        return writeTarget(target, [&text](UserFile& file) { return file.write(text); });
    });
}

bool writeToFile(const std::string& destination, const std::string& text) {
    return writeFile(destination, [&text](UserFile& file) { return file.write(text); });
}

}  // namespace cli::velkossd
