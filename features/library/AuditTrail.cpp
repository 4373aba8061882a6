#include "features/library/AuditTrail.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <iterator>

#include "features/errors/DriveName.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/Logging.h"
#include "ostrel/core/Strings.h"
#include "ostrel/core/xml/XmlConstants.h"
#include "ostrel/core/xml/XmlProperty.h"

namespace features::library {

using namespace ostrel::core;

namespace {

/// Finds all entries of this program: journalctl MESSAGE_ID=...
constexpr const char* MESSAGE_ID = "6f1c9a7f0d0f4a4c9d4b6b0b7a3e52c1";

/// Arguments whose values stay out of the journal, which more people read than type them.
constexpr const char* SECRETS[] = {"PSID", "Password"};
/// In every request, whatever it does.
constexpr const char* NO_ARGUMENTS[] = {"Scan", "AdditionalModuleDirs"};

template <size_t COUNT>
bool isOneOf(const char* const (&names)[COUNT], const std::string& name) {
    return std::any_of(std::begin(names), std::end(names), [&](const char* n) { return equals(name, n, true); });
}

void addArguments(const xml::XmlObject& object, std::string& text) {
    for (const auto& property : object.properties) {
        const std::string name = property->getAttribute(xml::KEY_NAME);
        if (isOneOf(NO_ARGUMENTS, name)) continue;
        const std::string value = isOneOf(SECRETS, name) ? "(secret)" : property->getAttribute(xml::KEY_VALUE);
        text += (text.empty() ? "" : " ") + name + "=" + value;
    }
}

/// "Type=Delete Force=True", those of the properties that are set included.
std::string argumentsOf(const xml::XmlObject& request) {
    std::string text;
    addArguments(request, text);
    for (const auto& object : request.objects) {
        if (object->getAttribute(xml::KEY_NAME) == xml::NAME_PROPERTIES) addArguments(*object, text);
    }
    return text;
}

uint64_t nowUs() {
    using namespace std::chrono;
    return static_cast<uint64_t>(duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count());
}

std::string textOf(const Device& device, const Attribute& attribute) {
    return device.getAttribute(attribute).getText();
}

std::string propertyOf(const xml::XmlObject& object, const std::string& name) {
    for (const auto& property : object.properties) {
        if (property->getAttribute(xml::KEY_NAME) == name) return property->getAttribute(xml::KEY_VALUE);
    }
    return "";
}

/// "10/241" and its message, of a drive or of the request.
struct Outcome {
    std::string status;
    std::string text;
    bool isFailure;
};

Outcome outcomeOf(const Status& status) {
    return {std::to_string(status.getCategory()) + "/" + std::to_string(status.getCode()), status.getMessage(),
            failed(status)};
}

/// The drive's own statuses, wherever they are in the output.
void findOutcome(const xml::XmlObject& object, const std::string& path, Outcome& outcome) {
    const std::string code = propertyOf(object, "Code");
    if (object.getAttribute(xml::KEY_CATEGORY) == xml::CATEGORY_STATUS &&
        propertyOf(object, attributes::device::devicePath().getName()) == path && !outcome.isFailure) {
        outcome = {propertyOf(object, "Category") + "/" + code, propertyOf(object, "Message"), code != "0"};
    }
    for (const auto& child : object.objects) findOutcome(*child, path, outcome);
}

}  // namespace

AuditTrail::AuditTrail(const Journal& journal, const xml::XmlObject& request,
                       const std::vector<std::shared_ptr<Device>>& devices, const Requester& requester)
    : journal_(journal),
      job_(request.getAttribute(xml::KEY_NAME)),
      arguments_(argumentsOf(request)),
      who_("uid " + requester.uid),
      beginUs_(nowUs()) {
    id_ = std::to_string(getpid()) + "-" + std::to_string(beginUs_);
    fields_ = {{"MESSAGE_ID", MESSAGE_ID},
               {"NIMBREL_ID", id_},
               {"NIMBREL_JOB", job_},
               {"NIMBREL_TYPE", request.getAttribute(xml::KEY_TYPE)},
               {"NIMBREL_ARGUMENTS", arguments_},
               {"NIMBREL_UID", requester.uid},
               {"NIMBREL_SUDO_UID", requester.sudoUid},
               {"NIMBREL_LOGIN_UID", requester.loginUid},
               {"NIMBREL_TERMINAL", requester.terminal},
               {"NIMBREL_PARENT", requester.parent}};
    if (!requester.sudoUid.empty()) who_ += ", sudo by uid " + requester.sudoUid;
    if (!requester.terminal.empty()) who_ += ", " + requester.terminal;
    devices_ = devices;
    for (const auto& device : devices_) write(*device, "begins", {{"NIMBREL_PHASE", "begin"}});
}

void AuditTrail::end(const Status& status, const xml::XmlObject& output) const {
    const std::string durationUs = std::to_string(nowUs() - beginUs_);
    for (const auto& device : devices_) {
        Outcome outcome = outcomeOf(status);
        findOutcome(output, textOf(*device, attributes::device::devicePath()), outcome);
        write(*device, "ended with " + outcome.status + " (" + outcome.text + ")",
              {{"NIMBREL_PHASE", "end"},
               {"NIMBREL_OUTCOME", outcome.isFailure ? "failure" : "success"},
               {"NIMBREL_STATUS", outcome.status},
               {"NIMBREL_STATUS_TEXT", outcome.text},
               {"NIMBREL_DURATION_USEC", durationUs}});
    }
}

void AuditTrail::write(const Device& device, const std::string& what, const Journal::Fields& more) const {
    Journal::Fields fields = fields_;
    fields.insert(fields.end(), {{"NIMBREL_DRIVE_SERIAL", textOf(device, attributes::device::serialNumber())},
                                 {"NIMBREL_DRIVE_MODEL", textOf(device, attributes::device::modelNumber())},
                                 {"NIMBREL_DRIVE_PATH", textOf(device, attributes::device::devicePath())}});
    fields.insert(fields.end(), more.begin(), more.end());
    const std::string message = job_ + (arguments_.empty() ? "" : " (" + arguments_ + ")") + " on drive " +
                                driveName(device) + " " + what + "; " + who_;
    if (!journal_.write(message, fields)) logMessage(LOGSEVERITY_INFO, "No journal takes the audit entry: ", message);
}

}  // namespace features::library
