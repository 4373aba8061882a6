#include "features/simulator/sata/StateCheck.h"

#include <algorithm>
#include <iterator>

#include "features/simulator/sata/SataState.h"
#include "features/simulator/sata/TaskFile.h"
#include "features/simulator/store/Description.h"
#include "features/simulator/store/Extension.h"
#include "features/simulator/store/ModelId.h"
#include "features/simulator/store/PaddedText.h"

namespace features::simulator::sata {

namespace {

constexpr uint64_t TIME_END = uint64_t{1} << 48;
constexpr size_t MAX_RANGES = 8 * SECTOR_BYTES / 8;  // of one DATA SET MANAGEMENT command
constexpr size_t MAX_STATUS_PAGES = 64;

bool isTime(uint64_t ms) {
    return ms < TIME_END;
}

bool isMediaPossible(const DriveState& state) {
    const auto media = state.namespaces.find(1);
    if (state.namespaces.size() != 1 || media == state.namespaces.end()) return false;
    const NamespaceState& part = media->second;
    return part.format == 0 && part.size != 0 && part.size <= MAX_DRIVE_BYTES / SECTOR_BYTES &&
           part.mediaGeneration >= 1 && part.mediaGeneration < state.nextMediaGeneration;
}

bool isLifePossible(const DriveState& state) {
    return isTime(state.health.createdMs) && isTime(state.health.lastResetMs);
}

bool isFirmwarePossible(const DriveState& state) {
    const FirmwareState& firmware = state.firmware;
    return firmware.slots.size() == 1 && !firmware.running.empty() && firmware.running.size() <= REVISION_BYTES;
}

bool isDeallocationPossible(const DriveState& state) {
    const uint64_t sectors = state.namespaces.at(1).size;
    return state.deallocating.size() <= MAX_RANGES &&
           std::all_of(state.deallocating.begin(), state.deallocating.end(), [&](const BlockRange& range) {
               return range.nsid == 1 && range.first < sectors && range.count <= sectors - range.first;
           });
}

bool isStatusPossible(const CapturedStatus& status) {
    return status.pages.size() % SECTOR_BYTES == 0 && status.pages.size() <= MAX_STATUS_PAGES * SECTOR_BYTES;
}

bool areRecordsPossible(const DriveState& state) {
    const auto sata = readExtension<SataState>(state);
    const uint64_t sectors = state.namespaces.at(1).size;
    const bool isAddress = sata.maxLba < sectors && sata.volatileMaxLba < sectors;
    const bool isSecurity =
        sata.security.attemptsLeft <= MAX_PASSWORD_ATTEMPTS && isTime(sata.security.eraseStartedMs.value_or(0));
    const bool areTimes = isTime(sata.sanitize.startedMs.value_or(0)) && isTime(sata.selfTest.startedMs) &&
                          isTime(sata.selfTest.offlineEndMs) && isTime(sata.timeSetAtMs) &&
                          isTime(sata.timeSetTo.value_or(0));
    return isAddress && isSecurity && areTimes && sata.selfTest.entries.size() <= MAX_SELF_TEST_ENTRIES &&
           sata.errors.size() <= MAX_ERRORS && sata.pending.size() <= MAX_PENDING &&
           sata.waitingFirmware.size() <= REVISION_BYTES && isStatusPossible(sata.current) &&
           isStatusPossible(sata.saved);
}

constexpr struct {
    const char* what;
    bool (*isPossible)(const DriveState& state);
} PARTS[] = {
    {"media", isMediaPossible},
    {"times of the drive's life", isLifePossible},
    {"firmware slots", isFirmwarePossible},
    {"blocks to be deallocated", isDeallocationPossible},
    {"records of a SATA drive", areRecordsPossible},
};

}  // namespace

const char* impossibleIn(const DriveState& state) {
    if (state.model != static_cast<uint8_t>(ModelId::SATA)) return "model";
    const auto* part =
        std::find_if(std::begin(PARTS), std::end(PARTS), [&](const auto& row) { return !row.isPossible(state); });
    return part == std::end(PARTS) ? nullptr : part->what;
}

}  // namespace features::simulator::sata
