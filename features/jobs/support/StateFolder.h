#pragma once

namespace features::jobs {

/// What the library keeps from one command to the next.
inline constexpr const char* STATE_FOLDER = "/var/lib/nimbrel";

}  // namespace features::jobs
