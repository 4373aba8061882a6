#include "features/simulator/sata/IdentifyLog.h"

#include <algorithm>

#include "features/nvme/Bytes.h"
#include "features/simulator/sata/IdentifyData.h"

namespace features::simulator::sata {

using nvme::putLe64;

namespace {

constexpr size_t PAGES = 9;
constexpr uint64_t VALID = uint64_t{1} << 63;

/// Each qword of a page has its own bit 63 that says that it is valid; the first one is the header.
uint8_t* beginPage(std::vector<uint8_t>& log, uint8_t page) {
    uint8_t* at = log.data() + page * SECTOR_BYTES;
    putLe64(at, VALID | uint64_t{page} << 16 | 0x0001);
    return at;
}

void putCapacity(const SataContext& context, uint8_t* at) {
    putLe64(at + 8, VALID | context.sectors());
    putLe64(at + 16, VALID | uint64_t{1} << 62 | 3 << 16);  // logical to physical relationship
    putLe64(at + 24, VALID | SECTOR_BYTES / 2);             // words of a logical sector
    putLe64(at + 32, VALID | context.sectors());            // nominal
}

void putCapabilities(const SataContext& context, uint8_t* at) {
    const bool hasDownload = context.description.supportsFirmwareUpdate;
    if (!hasDownload) return;
    constexpr uint64_t ALL_MODES = uint64_t{0x1F} << 32;  // 03h, 07h and 0Eh, immediate, activation
    constexpr uint64_t WHOLE = uint64_t{1} << 33;         // 07h
    const bool inPieces = context.description.supportsFirmwarePieces;
    putLe64(at + 16, inPieces ? VALID | ALL_MODES | uint64_t{MAX_MICROCODE_SECTORS} << 16 | MIN_MICROCODE_SECTORS
                              : VALID | WHOLE);
}

void putSecurity(const SataContext& context, uint8_t* at) {
    const std::vector<uint8_t> identify = identifyData(context);
    const auto word = [&](size_t number) { return uint64_t{nvme::le16(identify.data() + 2 * number)}; };
    putLe64(at + 8, VALID | word(92));
    putLe64(at + 16, VALID | word(128));
    putLe64(at + 24, VALID | word(89));
    putLe64(at + 32, VALID | word(90));
    putLe64(at + 40, VALID | (context.description.supportsSecurity ? 1 : 0));  // trusted computing: libata looks here
}

}  // namespace

std::vector<uint8_t> identifyLog(SataContext& context) {
    constexpr uint8_t LIST[] = {0x00, 0x01, 0x02, 0x03, 0x06};
    std::vector<uint8_t> log(PAGES * SECTOR_BYTES);
    const std::vector<uint8_t> identify = identifyData(context);
    uint8_t* list = beginPage(log, 0);
    list[8] = sizeof LIST;
    std::copy(std::begin(LIST), std::end(LIST), list + 9);
    std::copy(identify.begin(), identify.end(), log.begin() + SECTOR_BYTES);
    putCapacity(context, beginPage(log, 2));
    putCapabilities(context, beginPage(log, 3));
    putSecurity(context, beginPage(log, 6));
    return log;
}

}  // namespace features::simulator::sata
