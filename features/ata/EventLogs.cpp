#include "features/ata/EventLogs.h"

#include <algorithm>
#include <string>
#include <vector>

#include "features/ata/Checksum.h"
#include "features/ata/LogAddresses.h"
#include "features/ata/structures/EventLogs.h"
#include "features/ata/structures/SctStatus.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/FieldTable.h"

namespace features::ata {

using namespace nvme;
using ostrel::core::Payload;

namespace {

/// More are counted; their file has them all.
constexpr size_t MAX_SHOWN_DEFECTS = 64;

// clang-format off
/// By identifier, of Serial ATA revision 3.x, SATA Phy Event Counters log.
constexpr Word PHY_EVENTS[] = {
    {0x001, "Commands failed by an interface CRC error"},
    {0x002, "R_ERR for data FIS"},
    {0x003, "R_ERR for data FIS from the drive"},
    {0x004, "R_ERR for data FIS to the drive"},
    {0x005, "R_ERR for non-data FIS"},
    {0x006, "R_ERR for non-data FIS from the drive"},
    {0x007, "R_ERR for non-data FIS to the drive"},
    {0x008, "Retries of non-data FIS from the drive"},
    {0x009, "Transitions from PhyRdy to PhyNRdy"},
    {0x00A, "Register FIS sent after COMRESET"},
    {0x00B, "CRC errors in FIS to the drive"},
    {0x00D, "Non-CRC errors in FIS to the drive"},
    {0x00F, "R_ERR for data FIS to the drive (CRC)"},
    {0x010, "R_ERR for data FIS to the drive (non-CRC)"},
    {0x012, "R_ERR for non-data FIS to the drive (CRC)"},
    {0x013, "R_ERR for non-data FIS to the drive (non-CRC)"},
    {}};
constexpr Word SCT_STATES[] = {
    {0, "active"}, {1, "standby"}, {2, "sleep"}, {3, "self-test in the background"},
    {4, "offline collection in the background"}, {5, "SCT command in the background"}, {}};
// clang-format on

struct TemperatureRow {
    const char* name;
    size_t offset;
};
constexpr TemperatureRow SCT_TEMPERATURES[] = {
    {"Temperature", offsetof(SctStatus, temperature)},
    {"Power Cycle Minimum Temperature", offsetof(SctStatus, minimum)},
    {"Power Cycle Maximum Temperature", offsetof(SctStatus, maximum)},
    {"Lifetime Minimum Temperature", offsetof(SctStatus, lifetimeMinimum)},
    {"Lifetime Maximum Temperature", offsetof(SctStatus, lifetimeMaximum)},
};

std::string celsiusText(uint8_t value) {
    return value == SCT_NO_SAMPLE ? NOT_REPORTED : withUnit(std::to_string(static_cast<int8_t>(value)), "C");
}

void addChecksum(FieldTree& tree, const Payload& page) {
    if (!isChecksumGood(page.getData(), LOG_PAGE_BYTES)) tree.add("Checksum", "wrong");
}

std::string phyEventName(uint16_t identifier) {
    constexpr unsigned VENDOR = 15;
    const char* const known = bit(identifier, VENDOR) ? nullptr : findWord(PHY_EVENTS, identifier & 0xFFF);
    return known != nullptr ? known : "Counter " + hexText(identifier & 0x8FFF, 3);
}

uint64_t littleEndian(const uint8_t* bytes, size_t size) {
    uint64_t value = 0;
    for (size_t i = size; i-- > 0;) value = value << 8 | bytes[i];
    return value;
}

}  // namespace

FieldTree decodePendingDefects(const Payload& log) {
    FieldTree tree{"Pending Defects Log", {}, {}};
    if (log.getSize() < LOG_PAGE_BYTES) return tree;
    const uint32_t reported = structureAt<PendingDefect>(log.getData()).hours;
    tree.add("Defects", std::to_string(reported));
    const size_t stored = std::min<size_t>(reported, log.getSize() / sizeof(PendingDefect) - 1);
    std::vector<std::string> shown;
    for (size_t i = 0; i < std::min(stored, MAX_SHOWN_DEFECTS); ++i) {
        const auto defect = structureAt<PendingDefect>(log.getData() + (i + 1) * sizeof(PendingDefect));
        shown.push_back("LBA " + std::to_string(defect.lba) + ", at " + std::to_string(defect.hours) +
                        " power on hours");
    }
    tree.addList("Entries", shown);
    return tree;
}

FieldTree decodeQueuedError(const Payload& page) {
    constexpr unsigned NOT_QUEUED = 7;
    FieldTree tree{"NCQ Command Error Log", {}, {}};
    if (page.getSize() < sizeof(QueuedErrorLog)) return tree;
    const auto log = structureAt<QueuedErrorLog>(page.getData());
    addChecksum(tree, page);
    if (bit(log.tag, NOT_QUEUED) || (log.status == 0 && log.error == 0)) {
        tree.add("Error", "none of a queued command");
        return tree;
    }
    const uint64_t lba = uint64_t{log.lba40} << 40 | uint64_t{log.lba32} << 32 | uint64_t{log.lba24} << 24 |
                         uint64_t{log.lba16} << 16 | uint64_t{log.lba8} << 8 | log.lba0;
    tree.add("Tag", std::to_string(log.tag & 0x1F));
    tree.add("ERROR", hexText(log.error, 2));
    tree.add("STATUS", hexText(log.status, 2));
    tree.add("LBA", std::to_string(lba));
    tree.add("COUNT", std::to_string(log.count));
    return tree;
}

FieldTree decodePhyEvents(const Payload& page) {
    constexpr size_t FIRST = 4;
    constexpr size_t CHECKSUM_AT = LOG_PAGE_BYTES - 1;
    FieldTree tree{"SATA Phy Event Counters Log", {}, {}};
    if (page.getSize() < LOG_PAGE_BYTES) return tree;
    addChecksum(tree, page);
    const uint8_t* const bytes = page.getData();
    for (size_t at = FIRST; at + 2 <= CHECKSUM_AT;) {
        const uint16_t identifier = le16(bytes + at);
        const auto width = static_cast<size_t>(bits(identifier, 14, 12) * 2);
        at += 2;
        if ((identifier & 0xFFF) == 0 || at + width > CHECKSUM_AT) break;
        if (width != 0 && width <= sizeof(uint64_t))
            tree.add(phyEventName(identifier), std::to_string(littleEndian(bytes + at, width)));
        at += width;
    }
    return tree;
}

FieldTree decodeSctStatus(const Payload& page) {
    FieldTree tree{"SCT Status", {}, {}};
    if (page.getSize() < sizeof(SctStatus)) return tree;
    const uint8_t state = structureAt<SctStatus>(page.getData()).state;
    const char* const words = findWord(SCT_STATES, state);
    tree.add("State", words != nullptr ? words : "reserved (" + hexText(state) + ")");
    for (const TemperatureRow& row : SCT_TEMPERATURES) tree.add(row.name, celsiusText(page.getData()[row.offset]));
    return tree;
}

}  // namespace features::ata
