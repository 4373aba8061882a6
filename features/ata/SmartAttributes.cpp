#include "features/ata/SmartAttributes.h"

#include <algorithm>
#include <iterator>

#include "features/ata/Checksum.h"
#include "features/ata/Structures.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/FieldTable.h"

namespace features::ata {

using namespace nvme;
using ostrel::core::Payload;

namespace {

/// How the 48 bits of a raw value are read.
enum class Raw : uint8_t { NUMBER, LOW_32, TEMPERATURE };

struct NameRow {
    uint8_t id;
    const char* name;
    Raw raw;
};
// clang-format off
constexpr NameRow NAMES[] = {  // those whose meaning makers agree on
    {1,   "Raw Read Error Rate",       Raw::NUMBER},
    {5,   "Reallocated Sector Count",  Raw::NUMBER},
    {9,   "Power On Hours",            Raw::LOW_32},  // the upper parts are not part of the number
    {12,  "Power Cycle Count",         Raw::NUMBER},
    {184, "End to End Error Count",    Raw::NUMBER},
    {187, "Reported Uncorrectable Errors", Raw::NUMBER},
    {188, "Command Timeout Count",     Raw::NUMBER},
    {190, "Airflow Temperature",       Raw::TEMPERATURE},
    {194, "Temperature",               Raw::TEMPERATURE},
    {197, "Current Pending Sector Count", Raw::NUMBER},
    {198, "Offline Uncorrectable Sector Count", Raw::NUMBER},
    {199, "Interface CRC Error Count", Raw::NUMBER},
};

constexpr Word SELF_TEST_RESULTS[] = {
    {0, "Completed without error, or never run"}, {1, "Aborted by the host"}, {2, "Interrupted by a reset"},
    {3, "Fatal or unknown error"}, {4, "Failed, unknown element"}, {5, "Failed, electrical element"},
    {6, "Failed, servo element"}, {7, "Failed, read element"}, {8, "Failed, handling damage suspected"},
    {15, "In progress"}, {}};
constexpr Word SELF_TESTS[] = {
    {0x00, "Offline collection"}, {0x01, "Short"}, {0x02, "Extended"}, {0x03, "Conveyance"}, {0x04, "Selective"},
    {0x7F, "Abort"}, {0x81, "Short, captive"}, {0x82, "Extended, captive"}, {0x83, "Conveyance, captive"},
    {0x84, "Selective, captive"}, {}};
constexpr Word OFFLINE_STATES[] = {
    {0, "never started"}, {2, "completed without error"}, {3, "in progress"}, {4, "suspended by the host"},
    {5, "aborted by the host"}, {6, "aborted by the drive"}, {}};

constexpr uint16_t OFFLINE_STATUS = offsetof(SmartData, offlineStatus);
constexpr uint16_t SELF_TEST_STATUS = offsetof(SmartData, selfTestStatus);
constexpr uint16_t OFFLINE_CAPABILITY = offsetof(SmartData, offlineCapability);
constexpr uint16_t SMART_CAPABILITY = offsetof(SmartData, smartCapability);
constexpr uint16_t ERROR_LOG_CAPABILITY = offsetof(SmartData, errorLogCapability);

constexpr FieldRow SMART_FIELDS[] = {
    {"Revision", "Revision of the data structure", FIELD(SmartData, version), Format::DECIMAL},
    word("Offline State", "State of the offline data collection", OFFLINE_STATUS, 6, 0, OFFLINE_STATES),
    flag("Offline Automatic", "Automatic offline data collection enabled", OFFLINE_STATUS, 7),
    word("Self-test Result", "Result of the newest self-test", SELF_TEST_STATUS, 7, 4, SELF_TEST_RESULTS),
    bitsRow("Self-test Remaining", "Tenths of the self-test that remain", SELF_TEST_STATUS, 3, 0),
    {"Offline Time", "Time of the offline data collection (seconds)", FIELD(SmartData, offlineSeconds), Format::DECIMAL},
    flag("Offline Immediate", "EXECUTE OFF-LINE IMMEDIATE supported", OFFLINE_CAPABILITY, 0),
    flag("Offline Abort", "A command of the host aborts the collection", OFFLINE_CAPABILITY, 2),
    flag("Offline Read Scan", "Off-line read scanning supported", OFFLINE_CAPABILITY, 3),
    flag("Self-test", "Short and extended self-test supported", OFFLINE_CAPABILITY, OFFLINE_SELF_TEST),
    flag("Conveyance", "Conveyance self-test supported", OFFLINE_CAPABILITY, OFFLINE_CONVEYANCE),
    flag("Selective", "Selective self-test supported", OFFLINE_CAPABILITY, 6),
    flag("Saves Before Power Save", "Saves attributes before power saving", SMART_CAPABILITY, 0),
    flag("Autosave", "Attribute autosave supported", SMART_CAPABILITY, 1),
    flag("Error Log", "Error logging supported", ERROR_LOG_CAPABILITY, 0),
    {"Short Time", "Polling time of the short self-test (minutes)", FIELD(SmartData, shortTestMinutes), Format::DECIMAL},
    {"Extended Time", "Polling time of the extended self-test (minutes)", FIELD(SmartData, extendedTestMinutes), Format::DECIMAL},
    {"Conveyance Time", "Polling time of the conveyance self-test (minutes)", FIELD(SmartData, conveyanceTestMinutes), Format::DECIMAL},
};
// clang-format on

const NameRow* rowOf(uint8_t id) {
    const auto* const row =
        std::find_if(std::begin(NAMES), std::end(NAMES), [id](const NameRow& candidate) { return candidate.id == id; });
    return row == std::end(NAMES) ? nullptr : row;
}

std::optional<uint8_t> thresholdOf(uint8_t id, const SmartThresholds& thresholds) {
    for (const SmartThreshold& row : thresholds.thresholds) {
        if (row.id == id) return row.threshold;
    }
    return std::nullopt;
}

constexpr uint64_t LOW_32_BITS = 0xFFFFFFFF;
constexpr uint8_t ONLY_EXTENDED = 0xFF;

}  // namespace

std::vector<Structure> smartDataStructures() {
    return {{"SMART Data", SMART_FIELDS}};
}

std::string SmartAttribute::name() const {
    const NameRow* const row = rowOf(data.id);
    return row != nullptr ? row->name : "Vendor specific " + std::to_string(data.id);
}

bool SmartAttribute::isPrefailure() const {
    return bit(data.flags, SMART_PREFAILURE);
}

AttributeState SmartAttribute::state() const {
    // Values from 1 to 253 alone are normalized ones.
    const auto isBelow = [this](uint8_t value) { return value >= 1 && value <= 253 && value <= *threshold; };
    if (!isPrefailure() || threshold.value_or(0) == 0) return AttributeState::GOOD;
    if (isBelow(data.value)) return AttributeState::FAILING_NOW;
    return isBelow(data.worst) ? AttributeState::FAILED_IN_THE_PAST : AttributeState::GOOD;
}

std::string SmartAttribute::rawText() const {
    const NameRow* const row = rowOf(data.id);
    const Raw raw = row == nullptr ? Raw::NUMBER : row->raw;
    if (raw == Raw::LOW_32) return std::to_string(data.raw & LOW_32_BITS);
    if (raw == Raw::NUMBER) return std::to_string(uint64_t{data.raw});
    const auto celsius = attributeTemperature(*this);
    return celsius ? withUnit(std::to_string(*celsius), "C") : NOT_REPORTED;
}

std::vector<SmartAttribute> smartAttributesOf(const Payload& data, const Payload& thresholds) {
    std::vector<SmartAttribute> attributes;
    if (data.getSize() < sizeof(SmartData)) return attributes;
    const auto smart = structureAt<SmartData>(data.getData());
    const auto limits = thresholds.getSize() < sizeof(SmartThresholds)
                            ? SmartThresholds()
                            : structureAt<SmartThresholds>(thresholds.getData());
    for (const SmartAttributeData& attribute : smart.attributes) {
        if (attribute.id != 0) attributes.push_back({attribute, thresholdOf(attribute.id, limits)});
    }
    return attributes;
}

const SmartAttribute* findAttribute(const std::vector<SmartAttribute>& attributes, uint8_t id) {
    const auto found = std::find_if(attributes.begin(), attributes.end(),
                                    [id](const SmartAttribute& attribute) { return attribute.data.id == id; });
    return found == attributes.end() ? nullptr : &*found;
}

std::optional<int> attributeTemperature(const SmartAttribute& attribute) {
    // -1, 0 and 255 are what drives without a sensor return.
    const auto celsius = static_cast<int8_t>(attribute.data.raw & 0xFF);
    if (celsius == 0 || celsius == -1) return std::nullopt;
    return celsius;
}

std::string selfTestResultText(uint8_t status) {
    return wordText(SELF_TEST_RESULTS, status >> 4);
}

std::string selfTestName(uint8_t test) {
    return wordText(SELF_TESTS, test);
}

FieldTree decodeSmartData(const Payload& data) {
    FieldTree tree = decodeTable("SMART Data", SMART_FIELDS, data);
    if (data.getSize() < sizeof(SmartData)) return tree;
    const auto smart = structureAt<SmartData>(data.getData());
    if (smart.extendedTestMinutes == ONLY_EXTENDED)
        tree.add("Extended Time 16-bit", "Polling time of the extended self-test",
                 withUnit(std::to_string(smart.extendedTestMinutes16), "minutes"));
    tree.add("Checksum", isChecksumGood(data.getData(), sizeof smart) ? "good" : "wrong");
    return tree;
}

}  // namespace features::ata
