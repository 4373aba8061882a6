#pragma once

#include <cstdint>
#include <string>

#include "features/errors/Result.h"
#include "features/nvme/Drive.h"
#include "ostrel/core/Payload.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// The firmware that runs on a drive, and its slots.
struct FirmwareState {
    std::string running;          ///< the revision in Identify Controller
    ostrel::core::Payload slots;  ///< the Firmware Slot Information log, 512 bytes

    /// The slot that the running firmware was loaded from; 0 when the drive does not report it.
    uint8_t activeSlot() const;
    /// The slot that the next controller level reset activates; 0 when it activates none.
    uint8_t nextSlot() const;
    /// The revision in a slot, 1 to 7; empty for an empty one.
    std::string revision(uint8_t slot) const;

    bool operator==(const FirmwareState& other) const;
};

/// Asks the drive; an Identify Controller structure that was read before is not read again.
Result<FirmwareState> readFirmwareState(nvme::Drive& drive);

}  // namespace features::jobs
