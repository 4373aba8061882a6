#pragma once

#include <cstdint>

namespace features::ata {

/// What SANITIZE STATUS EXT reports.
struct SanitizeState {
    bool hasCompleted;  ///< the last operation, without an error
    bool isRunning;
    bool isFrozen;
    uint16_t progress;  ///< of SANITIZE_PROGRESS_OF_ALL, while it runs
};
inline constexpr uint32_t SANITIZE_PROGRESS_OF_ALL = 65536;

}  // namespace features::ata
