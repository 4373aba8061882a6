#pragma once

#include <cstdint>

namespace features::nvme {

/// Feature identifiers (NVMe Base Specification 1.4, section 5.21.1).
inline constexpr uint8_t FID_ARBITRATION = 0x01;
inline constexpr uint8_t FID_POWER_MANAGEMENT = 0x02;
inline constexpr uint8_t FID_LBA_RANGE_TYPE = 0x03;
inline constexpr uint8_t FID_TEMPERATURE_THRESHOLD = 0x04;
inline constexpr uint8_t FID_ERROR_RECOVERY = 0x05;
inline constexpr uint8_t FID_VOLATILE_WRITE_CACHE = 0x06;
inline constexpr uint8_t FID_NUMBER_OF_QUEUES = 0x07;
inline constexpr uint8_t FID_INTERRUPT_COALESCING = 0x08;
inline constexpr uint8_t FID_INTERRUPT_VECTOR = 0x09;
inline constexpr uint8_t FID_WRITE_ATOMICITY = 0x0A;
inline constexpr uint8_t FID_ASYNCHRONOUS_EVENT = 0x0B;
inline constexpr uint8_t FID_AUTONOMOUS_POWER_STATE = 0x0C;
inline constexpr uint8_t FID_HOST_MEMORY_BUFFER = 0x0D;
inline constexpr uint8_t FID_TIMESTAMP = 0x0E;
inline constexpr uint8_t FID_KEEP_ALIVE = 0x0F;
inline constexpr uint8_t FID_HOST_THERMAL_MANAGEMENT = 0x10;
inline constexpr uint8_t FID_NON_OPERATIONAL_POWER_STATE = 0x11;
inline constexpr uint8_t FID_READ_RECOVERY_LEVEL = 0x12;
inline constexpr uint8_t FID_PREDICTABLE_LATENCY_CONFIG = 0x13;
inline constexpr uint8_t FID_PREDICTABLE_LATENCY_WINDOW = 0x14;
inline constexpr uint8_t FID_LBA_STATUS_INTERVAL = 0x15;
inline constexpr uint8_t FID_HOST_BEHAVIOR_SUPPORT = 0x16;
inline constexpr uint8_t FID_SANITIZE_CONFIG = 0x17;
inline constexpr uint8_t FID_ENDURANCE_GROUP_EVENT = 0x18;
// From here to 28h: of NVMe 2.0 and 2.1.
inline constexpr uint8_t FID_COMMAND_SET_PROFILE = 0x19;
inline constexpr uint8_t FID_SPINUP_CONTROL = 0x1A;
inline constexpr uint8_t FID_POWER_LOSS_SIGNALING = 0x1B;
inline constexpr uint8_t FID_PERFORMANCE_CHARACTERISTICS = 0x1C;
inline constexpr uint8_t FID_FDP = 0x1D;
inline constexpr uint8_t FID_FDP_EVENTS = 0x1E;
inline constexpr uint8_t FID_NAMESPACE_ADMIN_LABEL = 0x1F;
inline constexpr uint8_t FID_KEY_VALUE = 0x20;
inline constexpr uint8_t FID_CONTROLLER_DATA_QUEUE = 0x21;
inline constexpr uint8_t FID_DEVICE_PERSONALITY = 0x22;
inline constexpr uint8_t FID_POWER_LIMIT = 0x23;
inline constexpr uint8_t FID_POWER_THRESHOLD = 0x24;
inline constexpr uint8_t FID_POWER_MEASUREMENT = 0x25;
inline constexpr uint8_t FID_VOLTAGE_THRESHOLD = 0x26;
inline constexpr uint8_t FID_VOLTAGE_MEASUREMENT = 0x27;
inline constexpr uint8_t FID_RATE_LIMITING = 0x28;
inline constexpr uint8_t FID_SOFTWARE_PROGRESS = 0x80;
inline constexpr uint8_t FID_HOST_IDENTIFIER = 0x81;
inline constexpr uint8_t FID_RESERVATION_MASK = 0x82;
inline constexpr uint8_t FID_RESERVATION_PERSISTENCE = 0x83;
inline constexpr uint8_t FID_NAMESPACE_WRITE_PROTECTION = 0x84;
inline constexpr uint8_t FID_BOOT_PARTITION_WRITE_PROTECTION = 0x85;  // of NVMe 2.1

/// Features of the OCP Datacenter NVMe SSD Specification. On drives without OCP's logs these identifiers are the
/// maker's own: code that writes one has made sure that it is OCP's.
inline constexpr uint8_t FID_OCP_ERROR_INJECTION = 0xC0;
inline constexpr uint8_t FID_OCP_CLEAR_FIRMWARE_HISTORY = 0xC1;
inline constexpr uint8_t FID_OCP_END_OF_LIFE_MODE = 0xC2;
inline constexpr uint8_t FID_OCP_CLEAR_PCIE_ERRORS = 0xC3;
inline constexpr uint8_t FID_OCP_IEEE1667_SILO = 0xC4;
inline constexpr uint8_t FID_OCP_LATENCY_MONITOR = 0xC5;
inline constexpr uint8_t FID_OCP_PLP_CHECK_INTERVAL = 0xC6;
inline constexpr uint8_t FID_OCP_DSSD_POWER_STATE = 0xC7;
inline constexpr uint8_t FID_OCP_TELEMETRY_PROFILE = 0xC8;
inline constexpr uint8_t FID_OCP_ASYNCHRONOUS_EVENT = 0xC9;
inline constexpr uint8_t FID_OCP_IDLE_WAKE_UP_TIME = 0xCA;

}  // namespace features::nvme
