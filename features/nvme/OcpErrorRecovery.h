#pragma once

#include <cstdint>

#include "ostrel/core/Payload.h"

namespace features::nvme {

/// Log page C1h of the OCP Datacenter NVMe SSD Specification 2.0, Error Recovery: 512 bytes.
inline constexpr uint8_t LID_OCP_ERROR_RECOVERY = 0xC1;
inline constexpr uint32_t OCP_ERROR_RECOVERY_BYTES = 512;

/// Whether a drive has the page, by the 512 bytes of its OCP SMART log (C0h): since version 3 of that, OCP 2.0.
bool hasOcpErrorRecovery(const uint8_t* ocpSmart);

/// Whether log C1h bears the GUID of the OCP page: on other drives it is the maker's own.
bool isOcpErrorRecovery(const ostrel::core::Payload& data);

/// What the firmware panicked over, in the maker's numbers; 0: it did not. `page`: 512 bytes.
uint64_t ocpPanicId(const uint8_t* page);

}  // namespace features::nvme
