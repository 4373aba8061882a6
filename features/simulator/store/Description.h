#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "features/errors/Result.h"
#include "features/simulator/store/Faults.h"
#include "features/simulator/store/ModelId.h"

namespace features::simulator {

/// The largest drive: a file of its media may not be larger (ext4 with blocks of 4 KiB).
inline constexpr uint64_t MAX_DRIVE_BYTES = uint64_t{8} << 40;
inline constexpr uint32_t MAX_TELEMETRY_MIB = 1024;
/// As many entries as the log page of changed namespaces has.
inline constexpr uint32_t MAX_NAMESPACES = 1024;

/// The description file of a simulated drive: who it is, what it supports, what is wrong with it. A text file in the
/// INI form that people may edit; docs/simulated-drives.md explains each key.
///
/// Errors: a text that is no description gives 1/22 (EINVAL) with a message that names the key and what it takes.
struct Description {
    // [drive]
    ModelId model = ModelId::VELKO;
    std::string serialNumber;
    std::string modelNumber;         ///< empty: that of the model
    bool hasTwoControllers = false;  ///< with a port each, and ANA Reporting
    uint64_t sizeBytes = 0;
    std::optional<uint64_t> clockMs;  ///< the drive's clock is stopped at this time, see Clock
    // [supports]
    bool supportsFormat = true;
    bool supportsNamespaceManagement = true;
    bool supportsSanitize = true;
    bool supportsSelfTest = true;
    bool supportsFirmwareUpdate = true;
    bool supportsTelemetry = true;
    bool supportsPersistentEventLog = true;
    bool supportsSecurity = false;             ///< TCG's security protocol, of a self-encrypting drive
    bool supportsAccessibleMaxAddress = true;  ///< of a SATA drive; otherwise it has a host protected area
    bool supportsFirmwarePieces = true;        ///< of a SATA drive; otherwise it takes a whole image alone
    uint32_t telemetryMib = 0;  ///< by which data area 4 is larger, MAX_TELEMETRY_MIB at most; of NVMe 2.1 alone
    uint32_t maxNamespaces = 16;
    uint32_t maxTransferKib = 512;  ///< a power of two from 8 on; 0: no limit
    uint32_t shortSelfTestSeconds = 10;
    uint32_t extendedSelfTestSeconds = 60;
    uint32_t sanitizeSeconds = 10;
    // [faults]
    Faults faults;

    /// As Identify Controller has it.
    std::string shownModelNumber() const;
    uint16_t controllerCount() const { return hasTwoControllers ? 2 : 1; }
    /// Makes it that model's: with the optional commands and logs that the model has by default.
    void setModel(ModelId id);
    static Result<Description> parse(const std::string& text);
    /// The whole file, with its explanations.
    std::string toText() const;
};

}  // namespace features::simulator
