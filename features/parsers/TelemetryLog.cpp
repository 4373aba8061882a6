#include "features/parsers/TelemetryLog.h"

#include <algorithm>
#include <iterator>

#include "features/errors/PayloadCopy.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/FieldTable.h"
#include "features/nvme/LogPageIds.h"
#include "features/nvme/LogPages.h"
#include "features/nvme/structures/OcpTelemetry.h"
#include "features/nvme/structures/TelemetryLogHeader.h"
#include "features/parsers/OcpTelemetryNames.h"
#include "ostrel/core/Strings.h"

namespace features::parsers {

using namespace nvme;
using ostrel::core::bytesToHex;
using ostrel::core::Payload;

namespace {

constexpr size_t BLOCK_BYTES = 512;
constexpr size_t HEADER_BYTES = sizeof(TelemetryLogHeader);
constexpr size_t MAX_DAMAGES_SHOWN = 10;
constexpr uint8_t CLASS_STATISTIC_SNAPSHOT = 0xA;
/// Between the class of a statistic snapshot and the descriptor of its statistic.
constexpr size_t SNAPSHOT_HEAD_BYTES = 4;
/// Statistics whose value is a normalized one, in per cent, and a raw one.
constexpr uint16_t FIRST_BAD_BLOCKS = 0x1B;
constexpr uint16_t LAST_BAD_BLOCKS = 0x1D;

// clang-format off
constexpr FieldRow REASON[] = {
    {"Error ID", "", 0, 64, Format::TEXT},
    {"File ID", "", 64, 8, Format::TEXT},
    {"Line Number", "", 72, 2, Format::DECIMAL},
    {"Valid Flags", "", 74, 1, Format::HEX},
    {"VU Extension", "", 96, 32, Format::BYTES},
};
constexpr FieldRow AREA_1[] = {
    {"Major Version", "", FIELD(OcpTelemetryArea1, majorVersion), Format::DECIMAL},
    {"Minor Version", "", FIELD(OcpTelemetryArea1, minorVersion), Format::DECIMAL},
    {"Timestamp", "Time of the capture (milliseconds)", offsetof(OcpTelemetryArea1, timestamp), 6, Format::DECIMAL},
    {"GUID", "", FIELD(OcpTelemetryArea1, guid), Format::BYTES},
    {"Telemetry Profiles Supported", "", FIELD(OcpTelemetryArea1, profilesSupported), Format::DECIMAL},
    {"Telemetry Profile Selected", "", FIELD(OcpTelemetryArea1, profileSelected), Format::DECIMAL},
    {"String Log Size", "Size of log page C9h (dwords)", FIELD(OcpTelemetryArea1, stringLogSize), Format::DECIMAL},
    {"Firmware Revision", "", FIELD(OcpTelemetryArea1, firmwareRevision), Format::TEXT},
};
constexpr FieldRow STATISTIC[] = {
    {"Identifier", "", FIELD(OcpStatisticDescriptor, id), Format::HEX},
    bitsRow("Behavior Type", "", offsetof(OcpStatisticDescriptor, behavior), 3, 0),
    onlyIf(offsetof(OcpStatisticDescriptor, namespaceNumber), 7,
           bitsRow("Namespace", "", offsetof(OcpStatisticDescriptor, namespaceNumber), 6, 0)),
};
constexpr FieldRow EVENT[] = {
    {"Class", "Debug event class", FIELD(OcpEventDescriptor, eventClass), Format::HEX},
    {"Identifier", "", FIELD(OcpEventDescriptor, id), Format::HEX},
};
// clang-format on

/// Some bytes of the log.
struct Range {
    size_t begin;
    size_t end;

    size_t size() const { return end - begin; }
};

std::string orUnknown(const std::string& name) {
    return name.empty() ? "unknown" : name;
}

/// Walks over the data areas of a log.
class Walk {
public:
    Walk(TelemetryLog& log, const uint8_t* data, size_t size, const Payload& stringLog)
        : log_(log), data_(data), size_(size), names_(stringLog), unclaimed_(size) {}

    void run();

private:
    Range area(unsigned number) const;
    bool findPart(const std::string& what, unsigned areaNumber, const OcpTelemetryPart& part, Range& range);
    void addStatistics(unsigned areaNumber, const OcpTelemetryPart& part);
    void addFifo(unsigned number, unsigned areaNumber, const OcpTelemetryPart& part);
    size_t addStatistic(FieldTree& tree, const std::string& what, const Range& range, size_t number);
    size_t addEvent(FieldTree& tree, const std::string& what, const Range& range, size_t number);
    void addEventData(FieldTree& part, uint8_t eventClass, uint16_t id, const Range& data);
    void addVendorPart(FieldTree& part, uint8_t eventClass, const Range& data);
    void addStatisticFields(FieldTree& part, const Range& descriptor, const Range& data);
    size_t damaged(const std::string& sentence);

    TelemetryLog& log_;
    const uint8_t* data_;
    size_t size_;
    const OcpTelemetryNames names_;
    size_t unclaimed_;  ///< bytes that no list has claimed: lists that overlap would make a small log a giant tree
};

/// As many bytes as a record that is damaged takes of its list: the rest, since the next cannot be found.
size_t Walk::damaged(const std::string& sentence) {
    log_.damages.push_back(sentence);
    return 0;
}

/// Data areas 1 and 2, as far as the bytes reach.
Range Walk::area(unsigned number) const {
    const auto header = structureAt<TelemetryLogHeader>(data_);
    const size_t first = number == 1 ? size_t{0} : size_t{header.lastBlock[0]};
    const size_t last = std::max<size_t>(first, header.lastBlock[number - 1]);
    return {std::min(HEADER_BYTES + first * BLOCK_BYTES, size_), std::min(HEADER_BYTES + last * BLOCK_BYTES, size_)};
}

/// False for a part that is not there. One that is cut is decoded as far as it goes.
bool Walk::findPart(const std::string& what, unsigned areaNumber, const OcpTelemetryPart& part, Range& range) {
    if (part.size == 0) return false;
    const Range whole = area(areaNumber);
    const uint64_t dwords = whole.size() / 4;
    if (part.start >= dwords) {
        damaged(what + " begins after the end of data area " + std::to_string(areaNumber));
        return false;
    }
    const uint64_t there = std::min<uint64_t>(part.size, dwords - part.start);
    if (there < part.size)
        damaged(what + " says that it has " + std::to_string(part.size) + " dwords, and " + std::to_string(there) +
                " are there");
    range.begin = whole.begin + static_cast<size_t>(part.start) * 4;
    range.end = range.begin + static_cast<size_t>(there) * 4;
    if (range.size() > unclaimed_) {
        damaged(what + " overlaps other parts of the log");
        return false;
    }
    unclaimed_ -= range.size();
    return true;
}

void Walk::addStatisticFields(FieldTree& part, const Range& descriptor, const Range& data) {
    addFields(part, STATISTIC, data_ + descriptor.begin, descriptor.size());
    const uint16_t id = le16(data_ + descriptor.begin);
    part.add("Name", orUnknown(names_.statistic(id)));
    const uint8_t* value = data_ + data.begin;
    if (data.size() == 0) return;
    if (id >= FIRST_BAD_BLOCKS && id <= LAST_BAD_BLOCKS) {
        part.add("Normalized Value", withUnit(std::to_string(value[0]), "%"));
        part.add("Value", std::to_string(le16(value + 2)));
    } else if (data.size() <= sizeof(uint64_t)) {
        part.add("Value", std::to_string(leNumber(value, data.size())));
    } else {
        part.add("Value", data.size() == sizeof(Le128) ? decimal128(value) : bytesToHex(value, data.size()));
    }
}

/// Bytes of the statistic at the beginning of `range`; 0: it was the last, or is damaged.
size_t Walk::addStatistic(FieldTree& tree, const std::string& what, const Range& range, size_t number) {
    constexpr size_t BYTES = sizeof(OcpStatisticDescriptor);
    if (range.size() < BYTES) return 0;
    const auto descriptor = structureAt<OcpStatisticDescriptor>(data_ + range.begin);
    if (descriptor.id == 0) return 0;
    const size_t bytes = size_t{descriptor.dataDwords} * 4;
    const size_t left = range.size() - BYTES;
    const std::string name = "statistic " + std::to_string(number) + " of " + what;
    if (bytes > left)
        return damaged(name + " at offset " + std::to_string(range.begin) + " says that it has " +
                       std::to_string(bytes) + " bytes of data, and " + std::to_string(left) + " are left");
    const size_t dataBegin = range.begin + BYTES;
    addStatisticFields(tree.addPart("Statistic " + std::to_string(number)), {range.begin, dataBegin},
                       {dataBegin, dataBegin + bytes});
    return BYTES + bytes;
}

void Walk::addStatistics(unsigned areaNumber, const OcpTelemetryPart& part) {
    const std::string what = "Data Area " + std::to_string(areaNumber) + " Statistics";
    Range range{0, 0};
    if (!findPart(what, areaNumber, part, range)) return;
    FieldTree tree{what, {}, {}};
    for (size_t number = 1;; ++number) {
        const size_t bytes = addStatistic(tree, what, range, number);
        if (bytes == 0) break;
        range.begin += bytes;
    }
    log_.tree.parts.push_back(std::move(tree));
}

/// What the maker adds: an identifier of 2 bytes, and bytes.
void Walk::addVendorPart(FieldTree& part, uint8_t eventClass, const Range& data) {
    constexpr size_t ID_BYTES = 2;
    if (data.size() < ID_BYTES) return;
    const uint16_t id = le16(data_ + data.begin);
    part.add("VU Event Identifier", hexText(id, 4));
    part.add("VU Event", orUnknown(names_.vendorEvent(eventClass, id)));
    if (data.size() == ID_BYTES) return;
    part.add("VU Data", bytesToHex(data_ + data.begin + ID_BYTES, data.size() - ID_BYTES));
}

void Walk::addEventData(FieldTree& part, uint8_t eventClass, uint16_t id, const Range& data) {
    const OcpEventClass* row = findOcpEventClass(eventClass);
    if (row == nullptr) {
        if (data.size() != 0) part.add("VU Data", bytesToHex(data_ + data.begin, data.size()));
        return;
    }
    const size_t own = std::min<size_t>(row->dataBytes, data.size());
    addFields(part, ocpEventFields(eventClass, id), data_ + data.begin, own);
    addVendorPart(part, eventClass, {data.begin + own, data.end});
}

/// As addStatistic().
size_t Walk::addEvent(FieldTree& tree, const std::string& what, const Range& range, size_t number) {
    if (range.size() < sizeof(OcpEventDescriptor)) return 0;
    const auto event = structureAt<OcpEventDescriptor>(data_ + range.begin);
    if (event.eventClass == 0) return 0;
    const bool isSnapshot = event.eventClass == CLASS_STATISTIC_SNAPSHOT;
    const size_t headBytes = isSnapshot ? SNAPSHOT_HEAD_BYTES + sizeof(OcpStatisticDescriptor) : sizeof event;
    const std::string name =
        "event " + std::to_string(number) + " of " + what + " at offset " + std::to_string(range.begin);
    if (headBytes > range.size()) return damaged(name + " is cut");
    const Range statistic{range.begin + SNAPSHOT_HEAD_BYTES, range.begin + headBytes};
    const size_t dwords = isSnapshot ? size_t{structureAt<OcpStatisticDescriptor>(data_ + statistic.begin).dataDwords}
                                     : size_t{event.dataDwords};
    const size_t bytes = dwords * 4;
    const size_t left = range.size() - headBytes;
    if (bytes > left)
        return damaged(name + " says that it has " + std::to_string(bytes) + " bytes of data, and " +
                       std::to_string(left) + " are left");
    const Range data{range.begin + headBytes, range.begin + headBytes + bytes};
    FieldTree& part = tree.addPart("Event " + std::to_string(number));
    const OcpEventClass* row = findOcpEventClass(event.eventClass);
    part.add("Class Name", row != nullptr                                 ? row->name
                           : event.eventClass >= FIRST_VENDOR_EVENT_CLASS ? "vendor unique"
                                                                          : "reserved");
    if (isSnapshot) {
        addStatisticFields(part, statistic, data);
    } else {
        addFields(part, EVENT, data_ + range.begin, sizeof event);
        part.add("Event", orUnknown(names_.event(event.eventClass, event.id)));
        addEventData(part, event.eventClass, event.id, data);
    }
    return headBytes + bytes;
}

void Walk::addFifo(unsigned number, unsigned areaNumber, const OcpTelemetryPart& part) {
    const std::string what = "FIFO " + std::to_string(number);
    if (areaNumber == 0) return;
    if (areaNumber > 2) {
        damaged(what + " is in data area " + std::to_string(areaNumber) + ", which has none");
        return;
    }
    Range range{0, 0};
    if (!findPart(what, areaNumber, part, range)) return;
    FieldTree tree{what, {}, {}};
    tree.add("Name", orUnknown(names_.fifo(number)));
    tree.add("Data Area", std::to_string(areaNumber));
    for (size_t event = 1;; ++event) {
        const size_t bytes = addEvent(tree, what, range, event);
        if (bytes == 0) break;
        range.begin += bytes;
    }
    log_.tree.parts.push_back(std::move(tree));
}

void Walk::run() {
    const Range first = area(1);
    if (first.size() < sizeof(OcpTelemetryArea1)) return;
    const uint8_t* at = data_ + first.begin;
    const Payload smart = copyOf(at + offsetof(OcpTelemetryArea1, ocpSmart), sizeof(OcpSmartLog));
    log_.isOcp = isOcpSmart(smart);
    if (!log_.isOcp) return;
    addFields(log_.tree.addPart("Reason Identifier"), REASON, data_ + offsetof(TelemetryLogHeader, reason),
              sizeof(TelemetryLogHeader::reason));
    addFields(log_.tree.addPart("Data Area 1"), AREA_1, at, sizeof(OcpTelemetryArea1));
    log_.tree.parts.push_back(decodeSmartHealth(copyOf(at + offsetof(OcpTelemetryArea1, smart), BLOCK_BYTES)));
    log_.tree.parts.push_back(decodeOcpSmart(smart));
    const auto head = structureAt<OcpTelemetryArea1>(at);
    for (unsigned i = 0; i < std::size(head.statistics); ++i) addStatistics(i + 1, head.statistics[i]);
    for (unsigned i = 0; i < std::size(head.fifos); ++i) addFifo(i + 1, head.fifoAreas[i], head.fifos[i]);
}

}  // namespace

std::string TelemetryLog::damageText() const {
    std::string text;
    for (size_t i = 0; i < std::min(damages.size(), MAX_DAMAGES_SHOWN); ++i)
        text.append(text.empty() ? "" : " ").append(damages[i]).append(".");
    if (damages.size() > MAX_DAMAGES_SHOWN)
        text += " " + std::to_string(damages.size() - MAX_DAMAGES_SHOWN) + " more parts are damaged.";
    return text;
}

TelemetryLog parseTelemetryLog(const uint8_t* data, size_t size, const Payload& stringLog) {
    TelemetryLog log;
    log.isOne = size >= HEADER_BYTES && (data[0] == LID_TELEMETRY_HOST || data[0] == LID_TELEMETRY_CONTROLLER);
    if (!log.isOne) return log;
    log.tree = decodeTelemetryHeader(copyOf(data, HEADER_BYTES));
    log.tree.heading = "Telemetry Log";
    const uint64_t bytes = telemetryLogBytes(structureAt<TelemetryLogHeader>(data), 1);
    if (bytes > size)
        log.damages.push_back("Data area 1 ends at byte " + std::to_string(bytes) + ", and " + std::to_string(size) +
                              " bytes are there");
    Walk(log, data, size, stringLog).run();
    return log;
}

}  // namespace features::parsers
