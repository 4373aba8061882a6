#pragma once

#include <string>

#include "ostrel/core/Status.h"

namespace features::transport {

// Why a drive is not changed although it was selected. `place` is its node or its folder.

/// 10/33: it is not known who was selected, or who is there. Neither may be a guess.
ostrel::core::Status unknownIdentity(const std::string& place);
/// 0/70: by now the place is that of another drive or namespace; both are named.
ostrel::core::Status anotherDrive(const std::string& place, const std::string& selected, const std::string& found);

}  // namespace features::transport
