#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "features/simulator/store/AnaFaults.h"
#include "features/simulator/store/AttributeFaults.h"
#include "features/simulator/store/DriveState.h"
#include "features/simulator/store/SmartFaults.h"
#include "features/simulator/store/TcgState.h"

namespace features::simulator {

/// A command that a fault is about.
struct FaultyCommand {
    bool isAdmin = true;
    uint8_t opcode = 0;
    /// Of `fail` alone: Status Code in bits 7:0, Status Code Type in 10:8; of a SATA drive the register ERROR.
    uint16_t statusField = 0;
    bool isAnyOpcode = false;  ///< all commands of the queue
    uint32_t delayMs = 0;      ///< of `slow` alone: milliseconds until the answer
    bool isAta = false;        ///< of a SATA drive; isAdmin counts for NVMe alone
};

/// What is wrong with the drive: it lies over the true state and can be taken off.
struct Faults {
    uint8_t criticalWarning = 0;                ///< bits that are set in the SMART log beside the true ones
    std::optional<int32_t> temperatureCelsius;  ///< instead of the true composite temperature
    std::vector<SmartFault> smart;              ///< fields of the SMART log instead of the true ones
    std::vector<BlockRange> mediaErrors;        ///< blocks that cannot be read
    std::optional<BlockRange> selfTestFailure;  ///< the block at which a self-test fails
    std::vector<FaultyCommand> fail;            ///< commands that end in a status, undone
    std::vector<FaultyCommand> slow;            ///< commands that are answered late
    std::vector<FaultyCommand> hang;            ///< commands that are never answered, undone
    std::vector<FaultyCommand> powerLoss;       ///< commands over which the drive loses its power, undone
    std::vector<AnaFault> ana;                  ///< states of ANA groups; on a drive with two controllers alone
    TcgState tcg = TcgState::INACTIVE;          ///< how the owner of a self-encrypting drive left it
    // Of a SATA drive.
    std::vector<AttributeFault> attributes;  ///< SMART attributes instead of the true ones
    bool isFrozen = false;                   ///< the host's firmware froze the security feature set at boot
    bool isLocked = false;                   ///< a password locks it that the host does not know
    bool losesRegisters = false;             ///< no registers come back, as through some bridges
    bool isGone = false;                     ///< the drive has vanished
};

}  // namespace features::simulator
