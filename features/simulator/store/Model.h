#pragma once

#include <cstdint>
#include <string>

#include "features/simulator/store/ModelId.h"

namespace features::simulator {

struct LbaFormat {
    uint8_t dataShift;  ///< blocks of 2 to the power of it bytes
    uint16_t metadataBytes;
    uint8_t performance;  ///< Relative Performance: 0 best to 3 degraded
};

struct PowerState {
    uint32_t maximumCentiwatts;
    bool isNonOperational;
    uint32_t entryMicroseconds;
    uint32_t exitMicroseconds;
};

/// What all drives of one model have in common.
struct Model {
    ModelId id;
    const char* name;         ///< as the description has it
    const char* modelNumber;  ///< says that the drive is simulated
    const char* firmware;     ///< revision of a new drive
    uint16_t vendorId;
    uint16_t subsystemVendorId;
    uint32_t oui;
    uint8_t firmwareSlots;
    bool isSlot1ReadOnly;
    bool activatesWithoutReset;
    uint32_t warningKelvin;   ///< WCTEMP
    uint32_t criticalKelvin;  ///< CCTEMP
    uint32_t errorEntries;
    uint8_t formatCount;
    LbaFormat formats[64];
    uint8_t powerStateCount;
    PowerState powerStates[8];
    /// The log pages, features, fields and NVM commands that the NVMe Base Specification 1.4 leaves to the controller,
    /// and no key of the description turns on or off.
    bool hasOptions;
    uint32_t nvmeVersion;  ///< VER
    /// Where the UUID List has OCP's UUID, by which its log pages and features can be addressed; those before it are
    /// the maker's. 0: the drive has no UUID List.
    uint8_t ocpUuidIndex;
};

/// Temperatures that Host Controlled Thermal Management takes, in Kelvin: MNTMT and MXTMT.
inline constexpr uint16_t MIN_THERMAL_KELVIN = 313;
inline constexpr uint16_t MAX_THERMAL_KELVIN = 353;
/// Cryptographic and block erase and overwrite; blocks are always deallocated (No-Deallocate Inhibited), and media is
/// not modified afterwards.
inline constexpr uint32_t SANICAP = 0x60000007;
/// Format NVM Attributes (FNA): cryptographic erase.
inline constexpr uint8_t FORMAT_ATTRIBUTES = 0x04;
/// What else SANICAP has on drives of NVMe 2.1: media verification.
inline constexpr uint32_t SANICAP_VERIFICATION = 0x08;
/// As many LBA formats a host sees that does not know of more.
inline constexpr uint8_t PLAIN_FORMATS = 16;
/// The largest persistent event log, in units of 64 KiB.
inline constexpr uint32_t PERSISTENT_EVENT_LOG_64KIB = 4;

/// Whether the drive may idle in a state in which it carries out no command.
inline bool hasIdleStates(const Model& model) {
    return model.powerStates[model.powerStateCount - 1].isNonOperational;
}

/// Whether the drive has what NVMe 2.0 made mandatory.
inline bool isOfNvme2(const Model& model) {
    return model.nvmeVersion >= 0x00020000;
}

const Model& modelOf(ModelId id);
/// Null: there is no model of that name.
const Model* findModel(const std::string& name);

}  // namespace features::simulator
