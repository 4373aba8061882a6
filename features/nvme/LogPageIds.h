#pragma once

#include <cstdint>

namespace features::nvme {

/// Log page identifiers (NVMe Base Specification 1.4, section 5.14.1; 00h is of 2.0).
inline constexpr uint8_t LID_SUPPORTED_LOGS = 0x00;
inline constexpr uint8_t LID_ERROR_INFORMATION = 0x01;
inline constexpr uint8_t LID_SMART_HEALTH = 0x02;
inline constexpr uint8_t LID_FIRMWARE_SLOT = 0x03;
inline constexpr uint8_t LID_CHANGED_NAMESPACES = 0x04;
inline constexpr uint8_t LID_COMMAND_EFFECTS = 0x05;
inline constexpr uint8_t LID_DEVICE_SELF_TEST = 0x06;
inline constexpr uint8_t LID_TELEMETRY_HOST = 0x07;
inline constexpr uint8_t LID_TELEMETRY_CONTROLLER = 0x08;
inline constexpr uint8_t LID_ENDURANCE_GROUP = 0x09;
inline constexpr uint8_t LID_PREDICTABLE_LATENCY_SET = 0x0A;
inline constexpr uint8_t LID_PREDICTABLE_LATENCY_AGGREGATE = 0x0B;
inline constexpr uint8_t LID_ANA = 0x0C;
inline constexpr uint8_t LID_PERSISTENT_EVENT = 0x0D;
inline constexpr uint8_t LID_LBA_STATUS = 0x0E;
inline constexpr uint8_t LID_ENDURANCE_GROUP_AGGREGATE = 0x0F;
// From here to 28h: of NVMe 2.0 and 2.1.
inline constexpr uint8_t LID_MEDIA_UNIT_STATUS = 0x10;
inline constexpr uint8_t LID_CAPACITY_CONFIGURATIONS = 0x11;
inline constexpr uint8_t LID_SUPPORTED_FEATURES = 0x12;
inline constexpr uint8_t LID_SUPPORTED_MI_COMMANDS = 0x13;
inline constexpr uint8_t LID_LOCKDOWN = 0x14;
inline constexpr uint8_t LID_BOOT_PARTITION = 0x15;
inline constexpr uint8_t LID_ROTATIONAL_MEDIA = 0x16;
inline constexpr uint8_t LID_DISPERSED_NAMESPACE_SUBSYSTEMS = 0x17;
inline constexpr uint8_t LID_MANAGEMENT_ADDRESSES = 0x18;
inline constexpr uint8_t LID_EYE_OPENING = 0x19;
inline constexpr uint8_t LID_REACHABILITY_GROUPS = 0x1A;
inline constexpr uint8_t LID_REACHABILITY_ASSOCIATIONS = 0x1B;
inline constexpr uint8_t LID_CHANGED_ALLOCATED_NAMESPACES = 0x1C;
inline constexpr uint8_t LID_DEVICE_PERSONALITY = 0x1D;
inline constexpr uint8_t LID_CROSS_CONTROLLER_RESET = 0x1E;
inline constexpr uint8_t LID_LOST_HOST_COMMUNICATION = 0x1F;
inline constexpr uint8_t LID_FDP_CONFIGURATIONS = 0x20;
inline constexpr uint8_t LID_FDP_USAGE = 0x21;
inline constexpr uint8_t LID_FDP_STATISTICS = 0x22;
inline constexpr uint8_t LID_FDP_EVENTS = 0x23;
inline constexpr uint8_t LID_MANUFACTURING_DEFAULT = 0x24;
inline constexpr uint8_t LID_POWER_MEASUREMENT = 0x25;
inline constexpr uint8_t LID_VOLTAGE_MEASUREMENT = 0x27;
inline constexpr uint8_t LID_RATE_LIMITING = 0x28;
inline constexpr uint8_t LID_DISCOVERY = 0x70;  // of discovery controllers: NVMe over Fabrics
inline constexpr uint8_t LID_SANITIZE_NAMESPACES = 0x7F;
inline constexpr uint8_t LID_RESERVATION = 0x80;
inline constexpr uint8_t LID_SANITIZE_STATUS = 0x81;
inline constexpr uint8_t LID_CHANGED_ZONES = 0xBF;  // of the Zoned Namespace command set
/// From here on the meaning depends on the drive.
inline constexpr uint8_t FIRST_VENDOR_LID = 0xC0;

/// Log pages of the OCP Datacenter NVMe SSD Specification. On other drives these identifiers are the maker's own.
inline constexpr uint8_t LID_OCP_SMART = 0xC0;
inline constexpr uint8_t LID_OCP_ERROR_RECOVERY = 0xC1;
inline constexpr uint8_t LID_OCP_FIRMWARE_HISTORY = 0xC2;
inline constexpr uint8_t LID_OCP_LATENCY_MONITOR = 0xC3;
inline constexpr uint8_t LID_OCP_CAPABILITIES = 0xC4;
inline constexpr uint8_t LID_OCP_UNSUPPORTED_REQUIREMENTS = 0xC5;
inline constexpr uint8_t LID_OCP_HARDWARE_COMPONENTS = 0xC6;
inline constexpr uint8_t LID_OCP_TCG_CONFIGURATION = 0xC7;
inline constexpr uint8_t LID_OCP_TELEMETRY_STRINGS = 0xC9;

}  // namespace features::nvme
