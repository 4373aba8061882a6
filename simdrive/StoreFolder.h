#pragma once

#include <optional>
#include <string>

#include "features/errors/Result.h"
#include "features/simulator/store/DriveStore.h"

namespace simdrive {

/// The drives that a command is about: those that the tool lists, or those in the folder of --folder. Such a folder
/// holds drives alone, since it is closed to other users: it is missing, empty, or has a store's lock already.
///
/// `chosen`: what --folder names. `mayMake`: the command makes drives, so that the folder may be missing.
features::Result<features::simulator::DriveStore> chooseStore(const std::optional<std::string>& chosen, bool mayMake);

}  // namespace simdrive
