#pragma once

#include <cstdint>

#include "features/ata/AtaCommand.h"
#include "features/ata/AtaResult.h"

namespace features::simulator::sata {

inline constexpr size_t SECTOR_BYTES = 512;

/// The registers that a host writes for a command, and how it transfers the data. What the host's side knows beyond
/// that, names and time-outs, a drive does not see.
struct TaskFile {
    uint8_t command = 0;
    ata::Protocol protocol = ata::Protocol::NON_DATA;
    bool is48Bit = false;
    uint16_t feature = 0;
    uint16_t count = 0;
    uint64_t lba = 0;
    uint8_t device = 0;
    uint32_t dataBytes = 0;  ///< that the host transfers
};

/// What became of a command.
enum class Delivery : uint8_t {
    COMPLETED,  ///< the registers hold
    BUSY,       ///< nothing was done: the drive carries out another command for `delayMs` more
    NEVER,      ///< the drive does not answer; the host's time-out ends the wait
    GONE,       ///< the drive is not there any more, or lost its power in the middle of the command
};

/// The end of a command.
struct Completion {
    Delivery delivery = Delivery::COMPLETED;
    ata::Registers registers;
    uint32_t delayMs = 0;      ///< the host gets the registers that much later
    bool hasRegisters = true;  ///< false: the fault `lost-registers` keeps them from the host
};

inline constexpr uint8_t STATUS_READY = 0x50;  // DRDY, and bit 4, which drives set since ever

}  // namespace features::simulator::sata
