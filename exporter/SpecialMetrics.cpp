#include "exporter/SpecialMetrics.h"

#include <set>
#include <string>

#include "exporter/LibraryClient.h"
#include "exporter/MetricTable.h"
#include "exporter/Values.h"
#include "ostrel/core/Strings.h"
#include "ostrel/core/xml/XmlConstants.h"
#include "ostrel/core/xml/XmlElement.h"

namespace exporter {

namespace xml = ostrel::core::xml;
using xml::XmlObject;

namespace {

// A drive may have a thousand: each is a series in the server.
constexpr double MAX_NAMESPACES = 32;
constexpr Source NUMBER{};

// Result codes of self-tests that say that the drive failed, and not that the test was interrupted: NVMe log page 06h,
// ATA self-test log.
constexpr Source NVME_TEST_FAILED{Request::SELF_TEST, "SelfTestStatusCode", Conversion::ONE_OF, "5|6|7"};
constexpr Source ATA_TEST_FAILED{Request::SELF_TEST, "SelfTestStatusCode", Conversion::ONE_OF, "3|4|5|6|7|8"};

struct TestRow {
    const char* word;
    const char* label;
};
/// NVMe and ATA differ in the first letter, of results too.
constexpr TestRow TESTS[] = {
    {"short", "short"}, {"Short", "short"}, {"extended", "extended"}, {"Extended", "extended"}};

void add(DriveReading& reading, const char* name, double value) {
    reading.samples.push_back({name, {}, value});
}

std::string textOf(const XmlObject& output, const char* key) {
    const auto* const property = findInOutput(output, key);
    return property == nullptr ? "" : property->getAttribute(xml::KEY_VALUE);
}

/// The number of a property of an object without units of their own.
std::optional<double> numberOf(const XmlObject& object, const char* key) {
    return toValue(propertyText(object, key), "", NUMBER).number;
}

bool isSata(const XmlObject& identity) {
    return findInOutput(identity, "SMARTEnabled") != nullptr;
}

const char* labelOfTest(const std::string& word) {
    for (const TestRow& row : TESTS) {
        if (word == row.word) return row.label;
    }
    return nullptr;
}

}  // namespace

void updateName(const XmlObject& identity, DriveName& drive) {
    if (findInOutput(identity, "ModelNumber") == nullptr) return;
    drive.model = textOf(identity, "ModelNumber");
    drive.firmware = textOf(identity, "Firmware");
}

void addNamespaces(const XmlObject& identity, DriveReading& reading) {
    double count = 0;
    double bytes = 0;
    for (const auto& object : identity.objects) {
        const auto size = numberOf(*object, "Size");
        if (!hasTitle(*object, "Namespace") || !size) continue;
        bytes += *size;
        if (++count > MAX_NAMESPACES) continue;
        const std::string nsid = propertyText(*object, "NamespaceId");
        reading.samples.push_back({"nimbrel_namespace_size_bytes", {{"nsid", nsid}}, *size});
        if (const auto used = numberOf(*object, "Used"))
            reading.samples.push_back({"nimbrel_namespace_used_bytes", {{"nsid", nsid}}, *used});
    }
    if (!isSata(identity)) add(reading, "nimbrel_drive_namespaces", count);
    const char* const key = isSata(identity) ? "PhysicalSize" : "TotalCapacity";
    const auto capacity = toValue(textOf(identity, key), "bytes", NUMBER).number;
    if (capacity || count > 0) add(reading, "nimbrel_drive_capacity_bytes", capacity.value_or(bytes));
}

void addSelfTests(const XmlObject& selfTest, DriveReading& reading) {
    std::set<std::string> seen;
    bool isAta = false;
    for (const auto& object : selfTest.objects) {
        const bool isEntry = hasTitle(*object, "Drive Self-Test Entry");
        isAta = isAta || isEntry;
        const char* const test = labelOfTest(propertyText(*object, "Test"));
        if (test == nullptr || propertyText(*object, "Result").find("ompleted without error") != 1) continue;
        const Source hours{Request::SELF_TEST, "", isEntry ? Conversion::HOURS : Conversion::NUMBER};
        const auto when = toValue(propertyText(*object, isEntry ? "Power On Hours" : "POH"), "", hours).number;
        if (when && seen.insert(test).second)  // the newest comes first
            reading.samples.push_back({"nimbrel_drive_self_test_passed_power_on_seconds", {{"test", test}}, *when});
    }
    if (findInOutput(selfTest, "SelfTestStatusCode") == nullptr) return;
    const std::string code = textOf(selfTest, "SelfTestStatusCode");
    add(reading, "nimbrel_drive_self_test_failed",
        *toValue(code, "", isAta ? ATA_TEST_FAILED : NVME_TEST_FAILED).number);
}

void addSataAttributes(const XmlObject& smart, DriveReading& reading) {
    constexpr struct {
        const char* metric;
        const char* key;
    } VALUES[] = {{"nimbrel_drive_sata_attribute_value", "Normalized"},
                  {"nimbrel_drive_sata_attribute_threshold", "Threshold"},
                  {"nimbrel_drive_sata_attribute_raw", "Raw"}};
    for (const auto& object : smart.objects) {
        if (!hasTitle(*object, "SMART Attribute")) continue;
        const std::string id = std::to_string(ostrel::core::hexToInt(propertyText(*object, "ID")));
        for (const auto& row : VALUES) {
            const auto value = numberOf(*object, row.key);
            if (!value) continue;
            reading.samples.push_back(
                {row.metric, {{"id", id}, {"name", propertyText(*object, "Description")}}, *value});
        }
    }
}

}  // namespace exporter
