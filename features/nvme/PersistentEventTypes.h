#pragma once

#include <cstdint>

namespace features::nvme {

/// Types of persistent events (NVMe Base Specification 1.4, section 5.14.1.13.1).
enum class PersistentEvent : uint8_t {
    SMART_SNAPSHOT = 0x01,
    FIRMWARE_COMMIT = 0x02,
    TIMESTAMP_CHANGE = 0x03,
    POWER_ON_OR_RESET = 0x04,
    HARDWARE_ERROR = 0x05,
    CHANGE_NAMESPACE = 0x06,
    FORMAT_START = 0x07,
    FORMAT_COMPLETION = 0x08,
    SANITIZE_START = 0x09,
    SANITIZE_COMPLETION = 0x0A,
    SET_FEATURE = 0x0B,
    TELEMETRY_CREATED = 0x0C,
    THERMAL_EXCURSION = 0x0D,
    SANITIZE_MEDIA_VERIFICATION = 0x0E,  // this and the next two: NVMe 2.1
    PERSONALITY_CHANGE = 0x0F,
    EXPORTED_SUBSYSTEM_CHANGE = 0x10,
    VENDOR_SPECIFIC = 0xDE,
    TCG_DEFINED = 0xDF,
};

/// Codes of the event NVM Subsystem Hardware Error.
inline constexpr uint16_t HARDWARE_ERROR_PCIE_CORRECTABLE = 0x01;
inline constexpr uint16_t HARDWARE_ERROR_PCIE_NON_FATAL = 0x02;
inline constexpr uint16_t HARDWARE_ERROR_PCIE_FATAL = 0x03;
inline constexpr uint16_t HARDWARE_ERROR_PCIE_LINK_STATUS = 0x04;
inline constexpr uint16_t HARDWARE_ERROR_PCIE_LINK_INACTIVE = 0x05;
inline constexpr uint16_t HARDWARE_ERROR_CRITICAL_WARNING = 0x06;
inline constexpr uint16_t HARDWARE_ERROR_ENDURANCE_GROUP_WARNING = 0x07;
inline constexpr uint16_t HARDWARE_ERROR_UNSAFE_SHUTDOWN = 0x08;
inline constexpr uint16_t HARDWARE_ERROR_CONTROLLER_FATAL = 0x09;
inline constexpr uint16_t HARDWARE_ERROR_MEDIA = 0x0A;
inline constexpr uint16_t HARDWARE_ERROR_READY_TIMEOUT = 0x0B;  // since NVMe 2.0

}  // namespace features::nvme
