#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "features/nvme/structures/IdentifyController.h"
#include "features/nvme/structures/IdentifyNamespace.h"
#include "features/simulator/context/CommandContext.h"
#include "features/simulator/context/LogRow.h"

/// Asymmetric Namespace Access Reporting, of drives with two controllers. Each namespace is an ANA group of its own,
/// with its NSID as the group's identifier; the description says which state a group has on which controller.
namespace features::simulator {

/// What Identify Controller says of it.
void putAnaCapabilities(const CommandContext& context, nvme::IdentifyController& identify);
/// What Identify Namespace says of it, when all else is there.
void putAnaGroup(const CommandContext& context, uint32_t nsid, nvme::IdentifyNamespace& identify);

/// How this controller refuses a command that uses a namespace in a state in which it cannot; none: it does not.
std::optional<CompletionEntry> anaRefusal(const CommandContext& context);

/// Counts changes of the log page of each controller, and raises their events. True when the state changed.
bool noteAnaChanges(CommandContext& context);
/// A reset of this controller: its counts of changes begin at 0 again.
void resetAnaCounts(CommandContext& context);

CompletionEntry buildAnaLog(CommandContext& context, const LogRequest& request, std::vector<uint8_t>& page);

}  // namespace features::simulator
