#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "features/simulator/store/DriveState.h"
#include "features/simulator/store/SmartFaults.h"
#include "ostrel/core/Status.h"

namespace features::simulator {

/// The largest drive: a file of its media may not be larger (ext4 with blocks of 4 KiB).
inline constexpr uint64_t MAX_DRIVE_BYTES = uint64_t{8} << 40;
/// As many entries as the log page of changed namespaces has.
inline constexpr uint32_t MAX_NAMESPACES = 1024;

/// The kinds of simulated drives. States keep the numbers: a new one goes last.
enum class ModelId : uint8_t {
    VELKO,     ///< with the maker's vendor features
    OCP,       ///< after the OCP Datacenter NVMe SSD specification 2.0
    NVME_1_4,  ///< with what the NVMe Base Specification 1.4 makes mandatory, and nothing else
};

/// A command that a fault is about.
struct FaultyCommand {
    bool isAdmin = true;
    uint8_t opcode = 0;
    uint16_t statusField = 0;  ///< of `fail` alone: Status Code in bits 7:0, Status Code Type in 10:8
    bool isAnyOpcode = false;  ///< all commands of the queue
    uint32_t delayMs = 0;      ///< of `slow` alone: milliseconds until the answer
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
    bool isGone = false;                        ///< the drive has vanished
};

/// The description file of a simulated drive: who it is, what it supports, what is wrong with it. A text file in the
/// INI form that people may edit; docs/simulated-drives.md explains each key.
///
/// Errors: a text that is no description gives 1/22 (EINVAL) with a message that names the key and what it takes.
struct Description {
    // [drive]
    ModelId model = ModelId::VELKO;
    std::string serialNumber;
    std::string modelNumber;  ///< empty: that of the model
    uint64_t sizeBytes = 0;
    std::optional<uint64_t> clockMs;  ///< the drive's clock stands at this time, see Clock
    // [supports]
    bool supportsFormat = true;
    bool supportsNamespaceManagement = true;
    bool supportsSanitize = true;
    bool supportsSelfTest = true;
    bool supportsFirmwareUpdate = true;
    bool supportsTelemetry = true;
    bool supportsPersistentEventLog = true;
    uint32_t mostNamespaces = 16;
    uint32_t maxTransferKib = 512;  ///< a power of two from 4 on; 0: no limit
    uint32_t shortSelfTestSeconds = 10;
    uint32_t extendedSelfTestSeconds = 60;
    uint32_t sanitizeSeconds = 10;
    // [faults]
    Faults faults;

    /// As Identify Controller has it.
    std::string shownModelNumber() const;
    /// Makes it that model's: with the optional commands and logs that the model has by default.
    void setModel(ModelId id);
    static ostrel::core::Status parse(const std::string& text, Description& description);
    /// The whole file, with its explanations.
    std::string toText() const;
};

}  // namespace features::simulator
