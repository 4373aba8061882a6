#pragma once

#include <cstdint>

namespace features::nvme {

/// Controller or Namespace Structure values of Identify (NVMe Base Specification 1.4, section 5.15.1).
inline constexpr uint8_t CNS_NAMESPACE = 0x00;
inline constexpr uint8_t CNS_CONTROLLER = 0x01;
inline constexpr uint8_t CNS_ACTIVE_NAMESPACES = 0x02;
inline constexpr uint8_t CNS_NAMESPACE_DESCRIPTORS = 0x03;
inline constexpr uint8_t CNS_COMMAND_SET_CONTROLLER = 0x06;  // of NVMe 2.0
inline constexpr uint8_t CNS_ALLOCATED_NAMESPACES = 0x10;
inline constexpr uint8_t CNS_ALLOCATED_NAMESPACE = 0x11;
inline constexpr uint8_t CNS_NAMESPACE_CONTROLLERS = 0x12;
inline constexpr uint8_t CNS_CONTROLLERS = 0x13;
inline constexpr uint8_t CNS_GRANULARITIES = 0x16;
inline constexpr uint8_t CNS_UUID_LIST = 0x17;

}  // namespace features::nvme
