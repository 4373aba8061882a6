#pragma once

#include <cstdint>

#include "features/nvme/StatusCodes.h"
#include "features/nvme/structures/VelkoLogs.h"

/// The numbers of the vendor interface of VELKO drives, as docs/vendor-interface.md publishes it. Another maker's drive
/// means something else by them, and so does OCP by the features C0h to CAh: code that sends one has made sure that it
/// is this maker's.
namespace features::nvme {

inline constexpr uint8_t FID_VELKO_MAXIMUM_LBA = 0xC1;
inline constexpr uint8_t FID_VELKO_NATIVE_MAXIMUM_LBA = 0xC2;
inline constexpr uint8_t FID_VELKO_POWER_GOVERNOR = 0xC6;
inline constexpr uint8_t FID_VELKO_SMBUS_ADDRESS = 0xC8;
inline constexpr uint8_t FID_VELKO_LED_ACTIVITY = 0xC9;
inline constexpr uint8_t FID_VELKO_DYNAMIC_MMIO = 0xCB;
inline constexpr uint8_t FID_VELKO_RESET_CRC = 0xD5;
inline constexpr uint8_t FID_VELKO_THERMAL_THROTTLE_DISABLE = 0xD9;
inline constexpr uint8_t FID_VELKO_LATENCY_TRACKING = 0xE2;
inline constexpr uint8_t FID_VELKO_QUICK_FORMAT = 0xE3;

inline constexpr uint8_t LID_VELKO_EXTENDED_SMART = 0xD0;
inline constexpr uint8_t LID_VELKO_READ_LATENCY = 0xD1;
inline constexpr uint8_t LID_VELKO_WRITE_LATENCY = 0xD2;
inline constexpr uint8_t LID_VELKO_NLOG = 0xD3;
inline constexpr uint8_t LID_VELKO_BRIDGE_NLOG = 0xD4;
inline constexpr uint8_t LID_VELKO_EVENT_LOG = 0xD5;
inline constexpr uint8_t LID_VELKO_ASSERT_LOG = 0xD6;
inline constexpr uint8_t LID_VELKO_SYSTEM_SNAPSHOT = 0xD7;
inline constexpr uint8_t LID_VELKO_FORCE_FLUSH = 0xD8;
inline constexpr uint8_t LID_VELKO_BACKGROUND = 0xD9;

/// Bytes of the pages whose length is fixed.
inline constexpr uint32_t VELKO_EXTENDED_SMART_BYTES = sizeof(VelkoExtendedSmartLog);
inline constexpr uint32_t VELKO_LATENCY_BYTES = sizeof(VelkoLatencyLog);
inline constexpr uint32_t VELKO_FORCE_FLUSH_BYTES = sizeof(VelkoForceFlushLog);
inline constexpr uint32_t VELKO_BACKGROUND_BYTES = sizeof(VelkoBackgroundLog);
/// Of the binary logs D3h to D7h: header, trailer, and the most that a whole log may be.
inline constexpr uint32_t VELKO_LOG_HEADER_BYTES = sizeof(VelkoBinaryLogHeader);
inline constexpr uint32_t VELKO_LOG_TRAILER_BYTES = sizeof(VelkoBinaryLogHeader::generation);
inline constexpr uint64_t VELKO_MAX_LOG_BYTES = 256ULL * 1024 * 1024;

/// Maximum LBA and Native Maximum LBA.
inline constexpr uint32_t VELKO_LBA_BYTES = 16;

/// Admin command Force Flush: bit 0 of dword 10 starts or stops.
inline constexpr uint8_t OPC_VELKO_FORCE_FLUSH = 0xC0;
/// Its command specific status codes.
inline constexpr StatusCode SC_VELKO_FLUSH_IN_PROGRESS{SCT_COMMAND_SPECIFIC, 0xC0};
inline constexpr StatusCode SC_VELKO_FLUSH_NOT_IN_PROGRESS{SCT_COMMAND_SPECIFIC, 0xC1};

}  // namespace features::nvme
