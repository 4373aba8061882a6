#include "features/nvme/VelkoLogPages.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "features/nvme/Bytes.h"
#include "features/nvme/FieldTable.h"
#include "features/nvme/Structures.h"
#include "features/nvme/VelkoInterface.h"
#include "ostrel/core/AttributeVocabulary.h"

namespace features::nvme {

using ostrel::core::Payload;
namespace key = ostrel::core::attributes::feature;

namespace {

constexpr Word NOT_REPORTED_AT_ALL_ONES[] = {{0xFFFFFFFF, NOT_REPORTED}, {}};
constexpr FieldRow unlessAllOnes(FieldRow row) {
    return inWords(NOT_REPORTED_AT_ALL_ONES, row);
}

// clang-format off
constexpr Word THROTTLINGS[] = {{0, "none"}, {1, "light"}, {2, "heavy"}, {255, "disabled"}, {}};
constexpr FieldRow EXTENDED_SMART[] = {
    keyed(key::programFailCount, {"PFC", "Program Fail Count", 8, 8, Format::DECIMAL}),
    keyed(key::eraseFailCount, {"EFC", "Erase Fail Count", 16, 8, Format::DECIMAL}),
    keyed(key::endToEndErrorDetectionCount, {"E2E", "End-to-End Error Detection Count", 24, 8, Format::DECIMAL}),
    keyed(key::crcErrorCount, {"CRC", "CRC Error Count", 32, 8, Format::DECIMAL}),
    keyed(key::minNandEraseCycles, unlessAllOnes({"MINEC", "Minimum NAND Erase Cycles", 40, 4, Format::DECIMAL})),
    keyed(key::maxNandEraseCycles, unlessAllOnes({"MAXEC", "Maximum NAND Erase Cycles", 44, 4, Format::DECIMAL})),
    keyed(key::averageNandEraseCycles, unlessAllOnes({"AVGEC", "Average NAND Erase Cycles", 48, 4, Format::DECIMAL})),
    keyed(key::thermalThrottleCount, unlessAllOnes({"TTC", "Thermal Throttle Count", 52, 4, Format::DECIMAL})),
    keyed(key::thermalThrottleStatus, word("TTS", "Thermal Throttle Status", 56, 7, 0, THROTTLINGS)),
    keyed(key::highestLifetimeTemperature, {"HLT", "Highest Lifetime Temperature (C)", 60, 2, Format::CELSIUS}),
    keyed(key::lowestLifetimeTemperature, {"LLT", "Lowest Lifetime Temperature (C)", 62, 2, Format::CELSIUS}),
    keyed(key::specifiedPCBMaxOperatingTemp,
          {"PCBMAX", "Specified PCB Maximum Operating Temperature (C)", 64, 2, Format::CELSIUS}),
    keyed(key::specifiedPCBMinOperatingTemp,
          {"PCBMIN", "Specified PCB Minimum Operating Temperature (C)", 66, 2, Format::CELSIUS}),
    {"NandBytesWritten", "NAND Bytes Written (bytes)", 72, 16, Format::COUNTER},
    {"HostBytesWritten", "Host Bytes Written (bytes)", 88, 16, Format::COUNTER},
    keyed(key::qlcMinCycles, unlessAllOnes({"QLCMIN", "QLC Min Cycles", 104, 4, Format::DECIMAL})),
    keyed(key::qlcMaxCycles, unlessAllOnes({"QLCMAX", "QLC Max Cycles", 108, 4, Format::DECIMAL})),
    keyed(key::qlcAverageCycles, unlessAllOnes({"QLCAVG", "QLC Average Cycles", 112, 4, Format::DECIMAL})),
    keyed(key::dslcMinCycles, unlessAllOnes({"DSLCMIN", "DSLC Min Cycles", 116, 4, Format::DECIMAL})),
    keyed(key::dslcMaxCycles, unlessAllOnes({"DSLCMAX", "DSLC Max Cycles", 120, 4, Format::DECIMAL})),
    keyed(key::dslcAverageCycles, unlessAllOnes({"DSLCAVG", "DSLC Average Cycles", 124, 4, Format::DECIMAL})),
};

constexpr Word LATENCY_TYPES[] = {
    {0, "all commands"}, {1, "commands of up to 4 KiB"}, {2, "commands of more than 4 KiB and up to 64 KiB"},
    {3, "commands of more than 64 KiB"}, {},
};
constexpr FieldRow LATENCY[] = {
    keyed(key::type, word("TYPE", "Type", 2, 7, 0, LATENCY_TYPES)),
    keyed(key::latencyTrackingEnabled, flag("EN", "Latency Tracking Enabled", 3, 0)),
    {"Commands", "Commands counted", 8, 8, Format::DECIMAL},
    {"Longest", "Longest latency (microseconds)", 16, 8, Format::DECIMAL},
    {"Since", "Time at which the buckets were emptied", 24, 8, Format::DATE},
};
constexpr size_t BYTE_OF_TRACKING = 3;
constexpr size_t OFFSET_OF_BUCKET_COUNT = 4;
constexpr size_t OFFSET_OF_BUCKETS = 32;
constexpr size_t BUCKET_BYTES = 16;
constexpr uint32_t NO_UPPER_LIMIT = 0xFFFFFFFF;

constexpr FieldRow LOG_HEADER[] = {
    {"Signature", "", 0, 4, Format::TEXT},
    {"Version", "", 4, 2, Format::DECIMAL},
    {"Length", "Length of the log (bytes)", 8, 8, Format::DECIMAL},
    {"Entries", "Number of entries", 16, 4, Format::DECIMAL},
    {"Entry Length", "Length of an entry (bytes)", 20, 4, Format::DECIMAL},
    {"Time", "", 24, 8, Format::DATE},
    {"Serial Number", "", 32, 20, Format::TEXT},
    {"Firmware", "", 52, 8, Format::TEXT},
    {"Generation", "", 60, 4, Format::DECIMAL},
};

constexpr Word FLUSH_STATES[] = {
    {0, "never run"}, {1, "in progress"}, {2, "completed"}, {3, "stopped"}, {4, "failed"}, {},
};
constexpr Word UNKNOWN_TIME[] = {{0xFFFFFFFF, "unknown"}, {}};
constexpr FieldRow FORCE_FLUSH[] = {
    word("State", "", 0, 7, 0, FLUSH_STATES),
    {"Progress", "Progress (%)", 1, 1, Format::DECIMAL},
    inWords(UNKNOWN_TIME, {"Remaining", "Estimated time to go (seconds)", 4, 4, Format::DECIMAL}),
    {"To Move", "Bytes to be moved by this run (bytes)", 8, 8, Format::DECIMAL},
    {"Moved", "Bytes moved so far (bytes)", 16, 8, Format::DECIMAL},
    {"Started", "", 24, 8, Format::DATE},
    {"Ended", "", 32, 8, Format::DATE},
};

constexpr FieldRow BACKGROUND_SHARE[] = {
    {"Share", "Share of the bandwidth (%)", 16, 1, Format::DECIMAL},
};
constexpr const char* ACTIVITIES[] = {
    "garbage collection", "wear leveling", "media scan", "data refresh", "force flush", "erase after a quick format",
};
// clang-format on

FieldTree decodeLatency(const char* heading, const Payload& data) {
    FieldTree tree = decodeTable(heading, LATENCY, data);
    if (data.getSize() < OFFSET_OF_BUCKETS) return tree;
    const size_t count = le16(data.getData() + OFFSET_OF_BUCKET_COUNT);
    const size_t room = (data.getSize() - OFFSET_OF_BUCKETS) / BUCKET_BYTES;
    for (size_t i = 0; i < std::min(count, room); ++i) {
        const uint8_t* bucket = data.getData() + OFFSET_OF_BUCKETS + i * BUCKET_BYTES;
        const uint32_t to = le32(bucket + 4);
        const std::string range = std::to_string(le32(bucket)) +
                                  (to == NO_UPPER_LIMIT ? " and above" : " to below " + std::to_string(to)) +
                                  " microseconds";
        tree.add("Bucket " + std::to_string(i), range, std::to_string(le64(bucket + 8)));
    }
    return tree;
}

// clang-format off
constexpr LogPageRow VELKO_LOG_PAGES[] = {
    {LID_VELKO_EXTENDED_SMART,  "VELKO Extended SMART",           "velko-smart",   nullptr, VELKO_EXTENDED_SMART_BYTES, nullptr, decodeVelkoExtendedSmart},
    {LID_VELKO_READ_LATENCY,    "VELKO Read Latency Statistics",  "read-latency",  nullptr, VELKO_LATENCY_BYTES,        nullptr, decodeVelkoReadLatency},
    {LID_VELKO_WRITE_LATENCY,   "VELKO Write Latency Statistics", "write-latency", nullptr, VELKO_LATENCY_BYTES,        nullptr, decodeVelkoWriteLatency},
    {LID_VELKO_NLOG,            "VELKO Nlog",                     "nlog",          nullptr, VELKO_LOG_HEADER_BYTES,     nullptr, decodeVelkoLogHeader},
    {LID_VELKO_BRIDGE_NLOG,     "VELKO Bridge Nlog",              "bridge-nlog",   &ControllerCapabilities::hasSeveralPorts,
                                                                                            VELKO_LOG_HEADER_BYTES,     nullptr, decodeVelkoLogHeader},
    {LID_VELKO_EVENT_LOG,       "VELKO Event Log",                "event-log",     nullptr, VELKO_LOG_HEADER_BYTES,     nullptr, decodeVelkoLogHeader},
    {LID_VELKO_ASSERT_LOG,      "VELKO Assert Log",               "assert",        nullptr, VELKO_LOG_HEADER_BYTES,     nullptr, decodeVelkoLogHeader},
    {LID_VELKO_SYSTEM_SNAPSHOT, "VELKO System Snapshot",          "snapshot",      nullptr, VELKO_LOG_HEADER_BYTES,     nullptr, decodeVelkoLogHeader},
    {LID_VELKO_FORCE_FLUSH,     "VELKO Force Flush Status",       "force-flush",   nullptr, VELKO_FORCE_FLUSH_BYTES,    nullptr, decodeVelkoForceFlush},
    {LID_VELKO_BACKGROUND,      "VELKO Background Activity",      "background",    nullptr, VELKO_BACKGROUND_BYTES,     nullptr, decodeVelkoBackground},
};
// clang-format on

template <typename Test>
const LogPageRow* findRow(Test isWanted) {
    const auto* row = std::find_if(velkoLogPagesBegin(), velkoLogPagesEnd(), isWanted);
    return row == velkoLogPagesEnd() ? nullptr : row;
}

}  // namespace

const LogPageRow* findVelkoLogPage(uint8_t lid) {
    return findRow([lid](const LogPageRow& row) { return row.lid == lid; });
}

const LogPageRow* findVelkoLogPage(const std::string& name) {
    return findRow([&](const LogPageRow& row) { return isLogName(row, name); });
}

const LogPageRow* velkoLogPagesBegin() {
    return std::begin(VELKO_LOG_PAGES);
}
const LogPageRow* velkoLogPagesEnd() {
    return std::end(VELKO_LOG_PAGES);
}

FieldTree decodeVelkoExtendedSmart(const Payload& data) {
    return decodeTable("VELKO Extended SMART", EXTENDED_SMART, data);
}

FieldTree decodeVelkoReadLatency(const Payload& data) {
    return decodeLatency("VELKO Read Latency Statistics", data);
}

FieldTree decodeVelkoWriteLatency(const Payload& data) {
    return decodeLatency("VELKO Write Latency Statistics", data);
}

FieldTree decodeVelkoLogHeader(const Payload& data) {
    return decodeTable("VELKO Log Header", LOG_HEADER, data);
}

FieldTree decodeVelkoForceFlush(const Payload& data) {
    return decodeTable("VELKO Force Flush Status", FORCE_FLUSH, data);
}

FieldTree decodeVelkoBackground(const Payload& data) {
    constexpr size_t MASK_BYTES = 8;
    FieldTree tree{"VELKO Background Activity", {}, {}};
    if (data.getSize() >= MASK_BYTES) tree.add("At Work", backgroundActivityText(le64(data.getData())));
    if (data.getSize() >= 2 * MASK_BYTES)
        tree.add("Waiting", "Waiting for idle time", backgroundActivityText(le64(data.getData() + MASK_BYTES)));
    addFields(tree, BACKGROUND_SHARE, data.getData(), data.getSize());
    return tree;
}

bool isVelkoLatencyTracked(const Payload& data) {
    return data.getSize() > BYTE_OF_TRACKING && bit(data.getData()[BYTE_OF_TRACKING], 0);
}

VelkoLogHeader velkoLogHeader(const uint8_t* data) {
    return {shownText(data, 4), le64(data + 8), le32(data + 60)};
}

std::string forceFlushStateText(unsigned code) {
    return wordText(FLUSH_STATES, code);
}

std::string backgroundActivityText(uint64_t activities) {
    std::string text;
    for (unsigned i = 0; i < 64; ++i) {
        if (!bit(activities, i)) continue;
        text += text.empty() ? "" : " and ";
        text += i < std::size(ACTIVITIES) ? ACTIVITIES[i] : "reserved (" + hexText(uint64_t{1} << i) + ")";
    }
    return text.empty() ? "none" : text;
}

std::vector<Structure> velkoLogStructures() {
    return {
        {"VELKO Extended SMART", EXTENDED_SMART},
        {"VELKO Read Latency Statistics", LATENCY},
        {"VELKO Write Latency Statistics", LATENCY},
        {"VELKO Nlog", LOG_HEADER},
        {"VELKO Bridge Nlog", LOG_HEADER},
        {"VELKO Event Log", LOG_HEADER},
        {"VELKO Assert Log", LOG_HEADER},
        {"VELKO System Snapshot", LOG_HEADER},
        {"VELKO Force Flush Status", FORCE_FLUSH},
        {"VELKO Background Activity", BACKGROUND_SHARE},
    };
}

}  // namespace features::nvme
