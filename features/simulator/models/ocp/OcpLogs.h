#pragma once

#include <cstdint>
#include <vector>

#include "features/nvme/structures/OcpErrorRecoveryLog.h"
#include "features/nvme/structures/OcpLatencyMonitorLog.h"
#include "features/nvme/structures/OcpSmartLog.h"
#include "features/simulator/context/DriveTables.h"

namespace features::simulator {

/// Log pages of the OCP Datacenter NVMe SSD specification 2.0, C0h to C5h, in the order of their identifiers.
Rows<LogRow> ocpLogs();

// What drives of all versions have in these pages; without version and GUID.

/// SMART / Health Information Extended (C0h). What a drive without NAND and capacitors cannot have is perfect.
nvme::OcpSmartLog ocpSmartLog(const CommandContext& context);
/// Error Recovery (C1h).
nvme::OcpErrorRecoveryLog ocpErrorRecoveryLog(const CommandContext& context);
/// Latency Monitor (C3h): what it is set to, with empty buckets.
nvme::OcpLatencyMonitorLog ocpLatencyMonitorLog(const CommandContext& context);

// Whole pages, the same in all versions.

/// Firmware Activation History (C2h).
CompletionEntry buildOcpFirmwareHistory(CommandContext& context, const LogRequest& request, std::vector<uint8_t>& page);
/// Device Capabilities (C4h).
CompletionEntry buildOcpCapabilities(CommandContext& context, const LogRequest& request, std::vector<uint8_t>& page);

}  // namespace features::simulator
