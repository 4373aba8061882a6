#include "exporter/DriveReader.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <iterator>
#include <optional>

#include "exporter/MetricTable.h"
#include "exporter/SpecialMetrics.h"
#include "exporter/Values.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/xml/XmlConstants.h"
#include "ostrel/core/xml/XmlElement.h"
#include "ostrel/interfaces/ostreli/interface/Job.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace exporter {

namespace attributes = ostrel::core::attributes;
namespace jobs = ostrel::interfaces::ostreli;
namespace xml = ostrel::core::xml;
using jobs::Job;
using xml::XmlObject;

namespace {

constexpr char SANITIZE_STATUS_LOG[] = "0x81";

/// A request, and which drives it is for: those whose identity has the key, with that value unless it is "".
struct RequestRow {
    Request request;
    const char* name;  ///< in metrics and messages
    const char* job;
    const char* type;
    ostrel::core::Attribute (*argument)();  ///< null: none
    const char* argumentValue;
    const char* key;
    const char* value;
};
// A drive that does not offer what a request asks for must not be asked: it would record an error. The feature library
// sees to that for log pages; self-test and sanitize are asked for by what the identity says.
constexpr char OF_NVME[] = "NVMeMajorVersion";
constexpr char OF_SATA[] = "SMARTEnabled";
// clang-format off
constexpr RequestRow REQUESTS[] = {
    {Request::IDENTITY,    "identity",    jobs::JOB_VELKOSSD,              jobs::JOBTYPE_GET_PROPERTIES, attributes::feature::showAllFlag, "true", "", ""},
    {Request::SMART,       "smart",       jobs::JOB_SMART,                 jobs::JOBTYPE_GET_PROPERTIES, nullptr, "", "", ""},
    {Request::SENSORS,     "sensors",     jobs::JOB_HEALTH_METRICS,        jobs::JOBTYPE_GET_PROPERTIES, nullptr, "", OF_SATA, ""},
    {Request::PERFORMANCE, "performance", jobs::JOB_PERFORMANCE,           jobs::JOBTYPE_GET_PROPERTIES, nullptr, "", OF_SATA, ""},
    {Request::SELF_TEST,   "self_test",   jobs::JOB_DRIVE_SELF_TEST,       jobs::JOBTYPE_GET_PROPERTIES, nullptr, "", "SelfTestSupported", "True"},
    {Request::SANITIZE,    "sanitize",    jobs::JOB_NVME_LOG,              jobs::JOBTYPE_METHOD, attributes::feature::logId, SANITIZE_STATUS_LOG, OF_NVME, ""},
    {Request::BACKGROUND,  "background",  jobs::JOB_BACKGROUND_PROCESSING, jobs::JOBTYPE_METHOD, nullptr, "", OF_SATA, ""},
};
// clang-format on
constexpr char SATA_SELF_TEST[] = "SMARTSelfTestSupported";

using Answers = std::array<Answer, std::size(REQUESTS)>;

const XmlObject* outputOf(const Answers& answers, Request request) {
    return answers[static_cast<std::size_t>(request)].output.get();
}

bool isTrue(const XmlObject& identity, const std::string& key) {
    const auto* const property = findInOutput(identity, key);
    return property != nullptr && property->getAttribute(xml::KEY_VALUE) == "True";
}

bool isFor(const RequestRow& row, const XmlObject* identity) {
    if (*row.key == '\0') return true;
    if (identity == nullptr) return false;
    if (row.request == Request::SANITIZE && !isTrue(*identity, "SanitizeSupported")) return false;
    if (row.request == Request::SELF_TEST && isTrue(*identity, SATA_SELF_TEST)) return true;
    return *row.value == '\0' ? findInOutput(*identity, row.key) != nullptr : isTrue(*identity, row.key);
}

std::shared_ptr<XmlObject> requestFor(const RequestRow& row, const DriveName& drive) {
    auto request = Job::createRequest(row.job, row.type, true, drive.device, xml::NAME_PATH);
    if (row.argument != nullptr) Job::addProperty(*request, row.argument(), row.argumentValue);
    return request;
}

/// None where the source has no value. A number in a unit that is not known is an error of the reading.
std::optional<double> valueOf(const Source& source, const Answers& answers, DriveReading& reading) {
    if (source.request == Request::NONE) return std::nullopt;
    const XmlObject* const output = outputOf(answers, source.request);
    if (output == nullptr || output->objects.empty()) return std::nullopt;
    const auto* const property = findInOutput(*output, source.key);
    if (property == nullptr) return source.conversion == Conversion::PRESENT ? std::optional<double>(0) : std::nullopt;
    const std::string text = property->getAttribute(xml::KEY_VALUE);
    const bool isAttribute = property->getAttribute(xml::KEY_CATEGORY) == xml::CATEGORY_ATTRIBUTE;
    const Value value = toValue(text, isAttribute ? property->getAttribute(xml::KEY_DESCRIPTION) : "", source);
    if (value.isUnknownUnit) reading.errors.push_back(std::string(source.key) + ": unknown unit of '" + text + "'");
    return value.number;
}

void addRows(const Answers& answers, DriveReading& reading) {
    std::string name;
    for (const MetricRow& row : metricRows()) {
        if (*row.name != '\0') name = row.name;
        auto value = valueOf(row.source, answers, reading);
        if (!value) value = valueOf(row.otherwise, answers, reading);
        if (!value) continue;
        Sample sample{name, {}, *value};
        if (*row.label != '\0') sample.labels.emplace_back(row.label, row.labelValue);
        reading.samples.push_back(std::move(sample));
    }
}

/// The line for an error, as the library's words may be several.
std::string onOneLine(std::string text) {
    std::replace_if(text.begin(), text.end(), [](unsigned char c) { return c < ' ' || c == 0x7F; }, ' ');
    return text;
}

/// Whether the answers are of the drive that the list had under this path.
bool isOtherDrive(const XmlObject& identity, const DriveName& drive) {
    const auto* const serial = findInOutput(identity, "SerialNumber");
    return serial != nullptr && !drive.serial.empty() && serial->getAttribute(xml::KEY_VALUE) != drive.serial;
}

/// Asks what suits the drive; true when all was answered.
bool askAll(const LibraryClient& library, DriveReading& reading, Answers& answers) {
    bool isUp = true;
    for (const RequestRow& row : REQUESTS) {
        const XmlObject* const identity = outputOf(answers, Request::IDENTITY);
        if (row.request != Request::IDENTITY && !isFor(row, identity)) continue;
        Answer& answer = answers[static_cast<std::size_t>(row.request)];
        answer = library.ask(*requestFor(row, reading.drive));
        if (row.request == Request::IDENTITY && answer.output != nullptr && isOtherDrive(*answer.output, reading.drive))
            answer = {"Another drive has taken this path.", nullptr};
        const bool isAnswered = answer.error.empty();
        reading.samples.push_back({"nimbrel_drive_request_success", {{"request", row.name}}, isAnswered ? 1.0 : 0.0});
        if (!isAnswered) reading.errors.push_back(std::string(row.name) + ": " + onOneLine(answer.error));
        isUp = isUp && isAnswered;
        if (row.request == Request::IDENTITY && answer.output == nullptr) break;  // the others would wait for nothing
    }
    return isUp;
}

DriveName nameIn(const XmlObject& object) {
    return {propertyText(object, "DevicePath"), propertyText(object, "SerialNumber"),
            propertyText(object, "ModelNumber"), propertyText(object, "Firmware")};
}

}  // namespace

DriveList listDrives(const LibraryClient& library) {
    using namespace attributes::device;
    const auto request = Job::createRequest(jobs::JOB_VELKOSSD, jobs::JOBTYPE_GET_PROPERTIES, true, "");
    for (const auto& attribute : {devicePath(), serialNumber(), modelNumber(), firmware()})
        Job::addRequestedGetProperty(*request, attribute);
    Answer answer = library.ask(*request);
    DriveList list{{}, onOneLine(answer.error)};
    if (answer.output == nullptr) return list;
    for (const auto& object : answer.output->objects) {
        const DriveName drive = nameIn(*object);
        if (!drive.device.empty()) list.drives.push_back(drive);
    }
    return list;
}

DriveReading readDrive(const LibraryClient& library, const DriveName& drive) {
    const auto start = std::chrono::steady_clock::now();
    DriveReading reading{drive};
    Answers answers;
    reading.isUp = askAll(library, reading, answers);
    addRows(answers, reading);
    if (const XmlObject* const identity = outputOf(answers, Request::IDENTITY)) {
        updateName(*identity, reading.drive);
        addNamespaces(*identity, reading);
        if (const XmlObject* const test = outputOf(answers, Request::SELF_TEST)) addSelfTests(*test, reading);
    }
    if (const XmlObject* const smart = outputOf(answers, Request::SMART)) addSataAttributes(*smart, reading);
    if (!reading.errors.empty()) reading.isUp = false;
    reading.durationSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return reading;
}

}  // namespace exporter
