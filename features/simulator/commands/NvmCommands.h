#pragma once

#include "features/simulator/context/CommandContext.h"

namespace features::simulator {

/// The commands of the NVM command set, on the media of a namespace.
CompletionEntry flush(CommandContext& context);
CompletionEntry write(CommandContext& context);
CompletionEntry read(CommandContext& context);
CompletionEntry compare(CommandContext& context);
CompletionEntry writeZeroes(CommandContext& context);
CompletionEntry manageDataset(CommandContext& context);

}  // namespace features::simulator
