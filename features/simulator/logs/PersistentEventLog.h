#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "features/nvme/PersistentEventTypes.h"
#include "features/simulator/context/CommandContext.h"
#include "features/simulator/context/LogRow.h"

namespace features::simulator {

/// Records an event with the time at which it happened; `data` is what follows its header. On a drive without the log
/// nothing is recorded. The drive's first power-on goes before the first event, and a SMART / Health snapshot before
/// the first of each day of power-on time.
void recordPersistentEvent(CommandContext& context, nvme::PersistentEvent type, const std::array<uint8_t, 8>& timestamp,
                           const std::vector<uint8_t>& data);
/// Records a reset that has taken place, and releases the reader's context.
void recordReset(CommandContext& context, bool isPowerOn);

/// The log page as of now, newest event first; no value: the drive has none, or its file is damaged.
std::optional<std::vector<uint8_t>> composePersistentEventLog(CommandContext& context);

/// Log page 0Dh, Persistent Event Log: LSP establishes a context, reads in it, or releases it. What is read in a
/// context is unchanged until a reset.
CompletionEntry buildPersistentEventLog(CommandContext& context, const LogRequest& request, std::vector<uint8_t>& page);

}  // namespace features::simulator
