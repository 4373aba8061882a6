#include "features/nvme/VelkoLogPages.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "features/nvme/Bytes.h"
#include "features/nvme/FieldTable.h"
#include "features/nvme/FindRow.h"
#include "features/nvme/Structures.h"
#include "features/nvme/VelkoInterface.h"
#include "features/nvme/structures/VelkoLogs.h"
#include "ostrel/core/AttributeVocabulary.h"

namespace features::nvme {

using ostrel::core::Payload;
namespace key = ostrel::core::attributes::feature;

namespace {

// clang-format off
constexpr Word THROTTLINGS[] = {{0, "none"}, {1, "light"}, {2, "heavy"}, {255, "disabled"}, {}};
constexpr FieldRow EXTENDED_SMART[] = {
    keyed(key::programFailCount, {"PFC", "Program Fail Count",
                                  FIELD(VelkoExtendedSmartLog, programFails), Format::DECIMAL}),
    keyed(key::eraseFailCount, {"EFC", "Erase Fail Count", FIELD(VelkoExtendedSmartLog, eraseFails), Format::DECIMAL}),
    keyed(key::endToEndErrorDetectionCount, {"E2E", "End-to-End Error Detection Count",
                                             FIELD(VelkoExtendedSmartLog, endToEndErrors), Format::DECIMAL}),
    keyed(key::crcErrorCount, {"CRC", "CRC Error Count", FIELD(VelkoExtendedSmartLog, crcErrors), Format::DECIMAL}),
    keyed(key::minNandEraseCycles, unlessAllOnes({"MINEC", "Minimum NAND Erase Cycles",
                                                  FIELD(VelkoExtendedSmartLog, nandMinimumCycles), Format::DECIMAL})),
    keyed(key::maxNandEraseCycles, unlessAllOnes({"MAXEC", "Maximum NAND Erase Cycles",
                                                  FIELD(VelkoExtendedSmartLog, nandMaximumCycles), Format::DECIMAL})),
    keyed(key::averageNandEraseCycles, unlessAllOnes({"AVGEC", "Average NAND Erase Cycles",
                                                      FIELD(VelkoExtendedSmartLog, nandAverageCycles), Format::DECIMAL})),
    keyed(key::thermalThrottleCount, unlessAllOnes({"TTC", "Thermal Throttle Count",
                                                    FIELD(VelkoExtendedSmartLog, throttleCount), Format::DECIMAL})),
    keyed(key::thermalThrottleStatus, word("TTS", "Thermal Throttle Status",
                                           offsetof(VelkoExtendedSmartLog, throttleStatus), 7, 0, THROTTLINGS)),
    keyed(key::highestLifetimeTemperature, {"HLT", "Highest Lifetime Temperature (C)",
                                            FIELD(VelkoExtendedSmartLog, highestTemperature), Format::CELSIUS}),
    keyed(key::lowestLifetimeTemperature, {"LLT", "Lowest Lifetime Temperature (C)",
                                           FIELD(VelkoExtendedSmartLog, lowestTemperature), Format::CELSIUS}),
    keyed(key::specifiedPCBMaxOperatingTemp,
          {"PCBMAX", "Specified PCB Maximum Operating Temperature (C)",
           FIELD(VelkoExtendedSmartLog, pcbMaximumTemperature), Format::CELSIUS}),
    keyed(key::specifiedPCBMinOperatingTemp,
          {"PCBMIN", "Specified PCB Minimum Operating Temperature (C)",
           FIELD(VelkoExtendedSmartLog, pcbMinimumTemperature), Format::CELSIUS}),
    {"NandBytesWritten", "NAND Bytes Written (bytes)", FIELD(VelkoExtendedSmartLog, nandBytesWritten), Format::COUNTER},
    {"HostBytesWritten", "Host Bytes Written (bytes)", FIELD(VelkoExtendedSmartLog, hostBytesWritten), Format::COUNTER},
    keyed(key::qlcMinCycles, unlessAllOnes({"QLCMIN", "QLC Min Cycles",
                                            FIELD(VelkoExtendedSmartLog, qlcMinimumCycles), Format::DECIMAL})),
    keyed(key::qlcMaxCycles, unlessAllOnes({"QLCMAX", "QLC Max Cycles",
                                            FIELD(VelkoExtendedSmartLog, qlcMaximumCycles), Format::DECIMAL})),
    keyed(key::qlcAverageCycles, unlessAllOnes({"QLCAVG", "QLC Average Cycles",
                                                FIELD(VelkoExtendedSmartLog, qlcAverageCycles), Format::DECIMAL})),
    keyed(key::dslcMinCycles, unlessAllOnes({"DSLCMIN", "DSLC Min Cycles",
                                             FIELD(VelkoExtendedSmartLog, dslcMinimumCycles), Format::DECIMAL})),
    keyed(key::dslcMaxCycles, unlessAllOnes({"DSLCMAX", "DSLC Max Cycles",
                                             FIELD(VelkoExtendedSmartLog, dslcMaximumCycles), Format::DECIMAL})),
    keyed(key::dslcAverageCycles, unlessAllOnes({"DSLCAVG", "DSLC Average Cycles",
                                                 FIELD(VelkoExtendedSmartLog, dslcAverageCycles), Format::DECIMAL})),
};

constexpr Word LATENCY_TYPES[] = {
    {0, "all commands"}, {1, "commands of up to 4 KiB"}, {2, "commands of more than 4 KiB and up to 64 KiB"},
    {3, "commands of more than 64 KiB"}, {},
};
constexpr FieldRow LATENCY[] = {
    keyed(key::type, word("TYPE", "Type", offsetof(VelkoLatencyLog, type), 7, 0, LATENCY_TYPES)),
    keyed(key::latencyTrackingEnabled, flag("EN", "Latency Tracking Enabled", offsetof(VelkoLatencyLog, tracking), 0)),
    {"Commands", "Commands counted", FIELD(VelkoLatencyLog, commands), Format::DECIMAL},
    {"Longest", "Longest latency (microseconds)", FIELD(VelkoLatencyLog, longest), Format::DECIMAL},
    {"Since", "Time at which the buckets were emptied", FIELD(VelkoLatencyLog, since), Format::DATE},
};
constexpr size_t BYTE_OF_TRACKING = offsetof(VelkoLatencyLog, tracking);
constexpr size_t OFFSET_OF_BUCKET_COUNT = offsetof(VelkoLatencyLog, numberOfBuckets);
constexpr size_t OFFSET_OF_BUCKETS = offsetof(VelkoLatencyLog, buckets);
constexpr size_t BUCKET_BYTES = sizeof(VelkoLatencyBucket);
constexpr uint32_t NO_UPPER_LIMIT = 0xFFFFFFFF;

constexpr FieldRow LOG_HEADER[] = {
    {"Signature", "", FIELD(VelkoBinaryLogHeader, signature), Format::TEXT},
    {"Version", "", FIELD(VelkoBinaryLogHeader, version), Format::DECIMAL},
    {"Length", "Length of the log (bytes)", FIELD(VelkoBinaryLogHeader, bytes), Format::DECIMAL},
    {"Entries", "Number of entries", FIELD(VelkoBinaryLogHeader, entries), Format::DECIMAL},
    {"Entry Length", "Length of an entry (bytes)", FIELD(VelkoBinaryLogHeader, entryBytes), Format::DECIMAL},
    {"Time", "", FIELD(VelkoBinaryLogHeader, time), Format::DATE},
    {"Serial Number", "", FIELD(VelkoBinaryLogHeader, serialNumber), Format::TEXT},
    {"Firmware", "", FIELD(VelkoBinaryLogHeader, firmware), Format::TEXT},
    {"Generation", "", FIELD(VelkoBinaryLogHeader, generation), Format::DECIMAL},
};

constexpr Word FLUSH_STATES[] = {
    {0, "never run"}, {1, "in progress"}, {2, "completed"}, {3, "stopped"}, {4, "failed"}, {},
};
constexpr Word UNKNOWN_TIME[] = {{0xFFFFFFFF, "unknown"}, {}};
constexpr FieldRow FORCE_FLUSH[] = {
    word("State", "", offsetof(VelkoForceFlushLog, state), 7, 0, FLUSH_STATES),
    {"Progress", "Progress (%)", FIELD(VelkoForceFlushLog, percent), Format::DECIMAL},
    inWords(UNKNOWN_TIME, {"Remaining", "Estimated time to go (seconds)",
                           FIELD(VelkoForceFlushLog, secondsToGo), Format::DECIMAL}),
    {"To Move", "Bytes to be moved by this run (bytes)", FIELD(VelkoForceFlushLog, bytesToMove), Format::DECIMAL},
    {"Moved", "Bytes moved so far (bytes)", FIELD(VelkoForceFlushLog, bytesMoved), Format::DECIMAL},
    {"Started", "", FIELD(VelkoForceFlushLog, startTime), Format::DATE},
    {"Ended", "", FIELD(VelkoForceFlushLog, endTime), Format::DATE},
};

constexpr FieldRow BACKGROUND_SHARE[] = {
    {"Share", "Share of the bandwidth (%)", FIELD(VelkoBackgroundLog, share), Format::DECIMAL},
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
        const auto bucket = structureAt<VelkoLatencyBucket>(data.getData() + OFFSET_OF_BUCKETS + i * BUCKET_BYTES);
        const bool isLast = bucket.to == NO_UPPER_LIMIT;
        const std::string range = std::to_string(bucket.from) +
                                  (isLast ? " and above" : " to below " + std::to_string(bucket.to)) + " microseconds";
        tree.add("Bucket " + std::to_string(i), range, std::to_string(bucket.commands));
    }
    return tree;
}

uint64_t velkoLogLength(const uint8_t* head) {
    constexpr uint64_t LEAST = VELKO_LOG_HEADER_BYTES;
    return std::clamp(velkoLogHeader(head).bytes, LEAST, VELKO_MAX_LOG_BYTES) / 4 * 4;
}

// clang-format off
constexpr LogPageRow VELKO_LOG_PAGES[] = {
    {LID_VELKO_EXTENDED_SMART,  "VELKO Extended SMART",           "velko-smart",   nullptr, VELKO_EXTENDED_SMART_BYTES, nullptr, decodeVelkoExtendedSmart},
    {LID_VELKO_READ_LATENCY,    "VELKO Read Latency Statistics",  "read-latency",  nullptr, VELKO_LATENCY_BYTES,        nullptr, decodeVelkoReadLatency},
    {LID_VELKO_WRITE_LATENCY,   "VELKO Write Latency Statistics", "write-latency", nullptr, VELKO_LATENCY_BYTES,        nullptr, decodeVelkoWriteLatency},
    {LID_VELKO_NLOG,            "VELKO Nlog",                     "nlog",          nullptr, VELKO_LOG_HEADER_BYTES,     nullptr, decodeVelkoLogHeader, velkoLogLength},
    {LID_VELKO_BRIDGE_NLOG,     "VELKO Bridge Nlog",              "bridge-nlog",   &ControllerCapabilities::hasSeveralPorts,
                                                                                            VELKO_LOG_HEADER_BYTES,     nullptr, decodeVelkoLogHeader, velkoLogLength},
    {LID_VELKO_EVENT_LOG,       "VELKO Event Log",                "event-log",     nullptr, VELKO_LOG_HEADER_BYTES,     nullptr, decodeVelkoLogHeader, velkoLogLength},
    {LID_VELKO_ASSERT_LOG,      "VELKO Assert Log",               "assert",        nullptr, VELKO_LOG_HEADER_BYTES,     nullptr, decodeVelkoLogHeader, velkoLogLength},
    {LID_VELKO_SYSTEM_SNAPSHOT, "VELKO System Snapshot",          "snapshot",      nullptr, VELKO_LOG_HEADER_BYTES,     nullptr, decodeVelkoLogHeader, velkoLogLength},
    {LID_VELKO_FORCE_FLUSH,     "VELKO Force Flush Status",       "force-flush",   nullptr, VELKO_FORCE_FLUSH_BYTES,    nullptr, decodeVelkoForceFlush},
    {LID_VELKO_BACKGROUND,      "VELKO Background Activity",      "background",    nullptr, VELKO_BACKGROUND_BYTES,     nullptr, decodeVelkoBackground},
};
// clang-format on

}  // namespace

const LogPageRow* findVelkoLogPage(uint8_t lid) {
    return findRow(velkoLogPagesBegin(), velkoLogPagesEnd(), [lid](const LogPageRow& row) { return row.lid == lid; });
}

const LogPageRow* findVelkoLogPage(const std::string& name) {
    return findRow(velkoLogPagesBegin(), velkoLogPagesEnd(),
                   [&](const LogPageRow& row) { return isLogName(row, name); });
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
    constexpr size_t MASK_BYTES = sizeof(VelkoBackgroundLog::atWork);
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
    const auto header = structureAt<VelkoBinaryLogHeader>(data);
    return {shownText(header.signature.data(), header.signature.size()), header.bytes, header.generation};
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
