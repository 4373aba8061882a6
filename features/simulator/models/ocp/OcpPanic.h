#pragma once

#include <cstdint>
#include <optional>

#include "features/simulator/context/CommandContext.h"
#include "features/simulator/store/DriveState.h"

namespace features::simulator {

/// Error injection (OCP feature C0h): a drive that panics over an injected error. An error of the types 1 and 2, which
/// hang the controller or its NAND, lets no command be answered; the other types let commands of the NVM command set
/// fail with Internal Error, and the admin commands go on, so that the Error Recovery log can be read. Any reset ends
/// the panic. A drive of OCP 2.6 takes errors that are no panic, too, up to type 16h: commands that fail, are not
/// answered or take long, and events of the telemetry.

/// The check of Set Features: types that the drive knows, each at most once.
CompletionEntry checkErrorInjections(CommandContext& context, FeatureValue& value);

/// What becomes of the command when the drive panics or panics over it, or another injected error hits it.
std::optional<CompletionEntry> panicCompletion(CommandContext& context);

}  // namespace features::simulator
