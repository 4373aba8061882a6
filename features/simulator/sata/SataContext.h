#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "features/simulator/sata/SataState.h"
#include "features/simulator/sata/TaskFile.h"
#include "features/simulator/store/Description.h"
#include "features/simulator/store/DriveState.h"
#include "features/simulator/store/Media.h"

namespace features::simulator::sata {

/// Everything that the handler of an ATA command may look at and change. A handler checks before it changes anything:
/// what it changed is kept when it aborts the command, as the attempts counter of a wrong password is.
struct SataContext {
    const TaskFile& command;
    std::vector<uint8_t>& data;  ///< from the host, or to it: handlers fill it when the command reads
    const Description& description;
    DriveState& drive;
    SataState& state;
    Media& media;
    DriveFolder& folder;
    WorkCounters& work;  ///< counters that are not in the state yet
    uint64_t nowMs;
    uint32_t busyMs = 0;  ///< how long the command holds the drive busy, set by its handler
    /// Done when the state is saved: removal of old media files and of what was downloaded.
    std::vector<std::function<void()>> afterSave = {};

    uint64_t powerOnMs() const { return nowMs > drive.health.createdMs ? nowMs - drive.health.createdMs : 0; }
    uint64_t powerOnHours() const { return powerOnMs() / 3600000; }
    /// Sectors of the media.
    uint64_t nativeSectors() const { return drive.namespaces.at(1).size; }
    /// Sectors that the host reaches.
    uint64_t sectors() const;
    uint64_t dateMs() const;
    int32_t temperatureCelsius() const;
    /// The security state as the host sees it, faults included.
    bool isSecurityEnabled() const { return state.security.isEnabled || description.faults.isLocked; }
    bool isSecurityLocked() const { return state.security.isLocked || description.faults.isLocked; }
    bool isSecurityFrozen() const { return state.security.isFrozen || description.faults.isFrozen; }
};

// How a command ends. The registers that a command does not define are 0, as those of many drives are.
ata::Registers completed(uint16_t count = 0, uint64_t lba = 0);
/// ABRT.
ata::Registers aborted(uint64_t lba = 0);
ata::Registers failedWith(uint8_t error, uint64_t lba);
/// The host's machine failed: its disk is full, or an error of it. DF.
ata::Registers deviceFault();

inline constexpr uint8_t ERROR_UNCORRECTABLE = 0x40;
inline constexpr uint8_t ERROR_NOT_FOUND = 0x10;

/// New media, all zeros; the old ones are removed when the state is saved.
void renewMedia(SataContext& context);
/// Gives the ranges back, and finishes what a process that died over it left; false: the host's disk failed.
bool deallocate(SataContext& context, std::vector<BlockRange> ranges);
bool finishDeallocation(SataContext& context);

}  // namespace features::simulator::sata
