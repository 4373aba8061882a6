#pragma once

#include <cstdint>

namespace features::nvme {

/// Controller or Namespace Structure values of Identify (NVMe Base Specification 1.4, section 5.15.1).
inline constexpr uint8_t CNS_NAMESPACE = 0x00;
inline constexpr uint8_t CNS_CONTROLLER = 0x01;
inline constexpr uint8_t CNS_ACTIVE_NAMESPACES = 0x02;
inline constexpr uint8_t CNS_NAMESPACE_DESCRIPTORS = 0x03;
inline constexpr uint8_t CNS_COMMAND_SET_NAMESPACE = 0x05;   // of NVMe 2.0
inline constexpr uint8_t CNS_COMMAND_SET_CONTROLLER = 0x06;  // the same
inline constexpr uint8_t CNS_INDEPENDENT_NAMESPACE = 0x08;   // the same
inline constexpr uint8_t CNS_ALLOCATED_NAMESPACES = 0x10;
inline constexpr uint8_t CNS_ALLOCATED_NAMESPACE = 0x11;
inline constexpr uint8_t CNS_NAMESPACE_CONTROLLERS = 0x12;
inline constexpr uint8_t CNS_CONTROLLERS = 0x13;
inline constexpr uint8_t CNS_GRANULARITIES = 0x16;
inline constexpr uint8_t CNS_UUID_LIST = 0x17;
inline constexpr uint8_t CNS_DOMAIN_LIST = 0x18;               // of NVMe 2.0
inline constexpr uint8_t CNS_ENDURANCE_GROUP_LIST = 0x19;      // of NVMe 1.4
inline constexpr uint8_t CNS_COMMAND_SET_COMBINATIONS = 0x1C;  // of NVMe 2.0

/// Command Set Identifiers.
inline constexpr uint8_t CSI_NVM = 0x00;
inline constexpr uint8_t CSI_KEY_VALUE = 0x01;
inline constexpr uint8_t CSI_ZONED = 0x02;

}  // namespace features::nvme
