#include "features/parsers/PersistentEventLog.h"

#include <algorithm>

#include "features/errors/PayloadCopy.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/FieldTable.h"
#include "features/nvme/LogPageIds.h"
#include "features/nvme/LogPages.h"
#include "features/nvme/structures/PersistentEventLog.h"
#include "features/parsers/PersistentEvents.h"
#include "features/parsers/Structures.h"
#include "ostrel/core/Payload.h"
#include "ostrel/core/Strings.h"

namespace features::parsers {

using namespace nvme;
using ostrel::core::Payload;

namespace {

/// Of the log: what follows the field that holds the header's length does not belong to that length's 20 bytes.
constexpr size_t HEADER_LENGTH_END = offsetof(PersistentEventLogHeader, timestamp);
constexpr size_t OFFSET_TNEV = offsetof(PersistentEventLogHeader, tnev);
constexpr size_t OFFSET_TLL = offsetof(PersistentEventLogHeader, tll);
constexpr size_t OFFSET_LHL = offsetof(PersistentEventLogHeader, lhl);
constexpr size_t OFFSET_SN = offsetof(PersistentEventLogHeader, sn);
constexpr size_t SN_BYTES = sizeof(PersistentEventLogHeader::sn);
constexpr size_t OFFSET_SEB = offsetof(PersistentEventLogHeader, supportedEvents);

/// Of an event.
constexpr size_t EVENT_HEADER_BYTES = sizeof(PersistentEventHeader);
constexpr size_t EVENT_LENGTH_END = offsetof(PersistentEventHeader, port);
constexpr size_t MAX_DAMAGES_SHOWN = 10;

// clang-format off
constexpr Word PORT_TYPES[] = {
    {0, NOT_REPORTED}, {1, "NVM subsystem port"}, {2, "Management Endpoint port"}, {3, "no port"}, {},
};
constexpr FieldRow EVENT_FIELDS[] = {  // section 5.14.1.13.1; the port's fields are of NVMe 2.0
    {"ET", "Event Type", FIELD(PersistentEventHeader, type), Format::HEX},
    {"ETR", "Event Type Revision", FIELD(PersistentEventHeader, revision), Format::DECIMAL},
    {"EHL", "Event Header Length (bytes)", FIELD(PersistentEventHeader, ehl), Format::DECIMAL},
    word("PIT", "Port Identifier Type", offsetof(PersistentEventHeader, port), 1, 0, PORT_TYPES),
    {"CNTLID", "Controller Identifier", FIELD(PersistentEventHeader, cntlid), Format::DECIMAL},
    {"ETSTMP", "Event Timestamp (milliseconds)", offsetof(PersistentEventHeader, timestamp), 6, Format::DECIMAL},
    {"ETSTMP Date", "Date", FIELD(PersistentEventHeader, timestamp), Format::DATE},
    {"PELPID", "Port Identifier", FIELD(PersistentEventHeader, portId), Format::DECIMAL},
    {"VSIL", "Vendor Specific Information Length (bytes)", FIELD(PersistentEventHeader, vsil), Format::DECIMAL},
    {"EL", "Event Length (bytes)", FIELD(PersistentEventHeader, el), Format::DECIMAL},
};
// clang-format on

bool isAllZero(const uint8_t* data, size_t size) {
    return std::all_of(data, data + size, [](uint8_t byte) { return byte == 0; });
}

/// Walks over the events of a log.
class Walk {
public:
    Walk(PersistentEventLog& log, const uint8_t* data, size_t size) : log_(log), data_(data), size_(size) {}

    void run();

private:
    bool takeHeader();
    bool takeEvent();
    void addEvent(const uint8_t* event, size_t headerBytes, size_t eventBytes);
    bool stop(const std::string& why);
    std::string eventText() const { return "event " + std::to_string(number_) + " (" + eventName(data_[at_]) + ")"; }

    PersistentEventLog& log_;
    const uint8_t* data_;
    size_t size_;
    size_t end_ = 0;  ///< of the log, as it says itself, and no more than there is
    size_t at_ = 0;
    uint64_t number_ = 0;  ///< of the event at `at_`, from 1 on
};

bool Walk::stop(const std::string& why) {
    log_.end = "It stops being valid at offset " + std::to_string(at_) + ": " + why;
    return false;
}

void Walk::run() {
    if (takeHeader()) {
        const uint64_t events = le32(data_ + OFFSET_TNEV);
        for (number_ = 1; number_ <= events && takeEvent();) ++number_;
    }
    log_.validBytes = at_;
    if (!log_.end.empty()) return;
    const uint64_t reportedBytes = le64(data_ + OFFSET_TLL);
    if (reportedBytes > size_)
        log_.end = "It says that it has " + std::to_string(reportedBytes) + " bytes, and " + std::to_string(size_) +
                   " are there";
    const size_t rest = end_ - at_;
    if (rest != 0 && !isAllZero(data_ + at_, rest))
        log_.damages.push_back(std::to_string(rest) + " bytes after the last event, at offset " + std::to_string(at_) +
                               ", belong to none");
}

bool Walk::takeHeader() {
    const size_t headerBytes = HEADER_LENGTH_END + le16(data_ + OFFSET_LHL);
    const uint64_t reportedBytes = le64(data_ + OFFSET_TLL);
    end_ = static_cast<size_t>(std::min<uint64_t>(reportedBytes, size_));
    if (size_ < PersistentEventLog::HEADER_BYTES) {
        at_ = size_;
        return stop("the bytes end within the header, which has " + std::to_string(PersistentEventLog::HEADER_BYTES));
    }
    if (headerBytes < PersistentEventLog::HEADER_BYTES || headerBytes > reportedBytes) {
        at_ = OFFSET_LHL;
        return stop("a header of " + std::to_string(headerBytes) + " bytes does not fit a log of " +
                    std::to_string(reportedBytes));
    }
    at_ = std::min(headerBytes, end_);
    return true;
}

bool Walk::takeEvent() {
    const size_t left = end_ - at_;
    const bool isCut = end_ < le64(data_ + OFFSET_TLL);
    if (left < EVENT_HEADER_BYTES)
        return stop(std::to_string(left) + " bytes are left for event " + std::to_string(number_) + " of " +
                    std::to_string(le32(data_ + OFFSET_TNEV)) + (isCut ? "; the log is cut short" : ""));
    const uint8_t* event = data_ + at_;
    const auto header = structureAt<PersistentEventHeader>(event);
    const size_t headerBytes = EVENT_LENGTH_END + header.ehl;
    if (headerBytes < EVENT_HEADER_BYTES)
        return stop(eventText() + " says that its header has " + std::to_string(headerBytes) + " bytes");
    const size_t bytes = headerBytes + header.el;
    if (bytes > left)
        return stop(eventText() + " says that it has " + std::to_string(bytes) + " bytes, and " + std::to_string(left) +
                    " are left" + (isCut ? "; the log is cut short" : ""));
    addEvent(event, headerBytes, bytes);
    at_ += bytes;
    return true;
}

void Walk::addEvent(const uint8_t* event, size_t headerBytes, size_t eventBytes) {
    const auto header = structureAt<PersistentEventHeader>(event);
    FieldTree& part = log_.tree.addPart("Event " + std::to_string(number_) + " - " + eventName(header.type));
    addFields(part, EVENT_FIELDS, event, headerBytes);
    const size_t length = eventBytes - headerBytes;
    const size_t vendorBytes = header.vsil;
    const uint8_t* data = event + headerBytes;
    std::string damage;
    if (vendorBytes > length) {
        damage = "its vendor specific information of " + std::to_string(vendorBytes) + " bytes does not fit its " +
                 std::to_string(length);
        if (length != 0) part.add("Data", "Bytes as they are", ostrel::core::bytesToHex(data, length));
    } else {
        if (vendorBytes != 0)
            part.add("VSI", "Vendor Specific Information", ostrel::core::bytesToHex(data, vendorBytes));
        damage = addEventData(part, header.type, data + vendorBytes, length - vendorBytes);
    }
    if (damage.empty()) return;
    part.add("Damaged", damage);
    log_.damages.push_back("The " + eventText() + " at offset " + std::to_string(at_) + " is damaged: " + damage);
}

FieldTree headerTree(const uint8_t* data, size_t size) {
    const size_t bytes = std::min<size_t>(size, PersistentEventLog::HEADER_BYTES);
    FieldTree tree = decodePersistentEventHeader(copyOf(data, bytes));
    tree.heading = "Persistent Event Log";
    if (bytes == PersistentEventLog::HEADER_BYTES)
        tree.add("SEB Events", "Events that the drive records", supportedEventsText(data + OFFSET_SEB));
    return tree;
}

}  // namespace

std::string PersistentEventLog::damageText() const {
    std::string text;
    for (size_t i = 0; i < std::min(damages.size(), MAX_DAMAGES_SHOWN); ++i) text += damages[i] + ". ";
    if (damages.size() > MAX_DAMAGES_SHOWN)
        text += std::to_string(damages.size() - MAX_DAMAGES_SHOWN) + " more events are damaged. ";
    if (!end.empty()) return text + end + ".";
    if (!text.empty()) text.pop_back();
    return text;
}

PersistentEventLog parsePersistentEventLog(const uint8_t* data, size_t size) {
    PersistentEventLog log;
    log.isOne = size >= HEADER_LENGTH_END && data[0] == LID_PERSISTENT_EVENT;
    if (!log.isOne) return log;
    log.tree = headerTree(data, size);
    if (size >= OFFSET_SN + SN_BYTES) log.serialNumber = shownText(data + OFFSET_SN, SN_BYTES);
    Walk walk(log, data, size);
    walk.run();
    return log;
}

std::vector<nvme::Structure> eventHeaderStructures() {
    return {
        {"Persistent Event Log > Event *", EVENT_FIELDS},
    };
}

}  // namespace features::parsers
