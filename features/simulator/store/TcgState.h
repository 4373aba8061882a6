#pragma once

#include <cstdint>

namespace features::simulator {

/// How a self-encrypting drive is locked, by what TCG's Level 0 Discovery reports.
enum class TcgState : uint8_t {
    INACTIVE,  ///< locking is not enabled
    UNLOCKED,
    LOCKED,
    SHADOWED,  ///< locked, with a shadow MBR, of which no host reads anything
};

inline bool isLocked(TcgState state) {
    return state == TcgState::LOCKED || state == TcgState::SHADOWED;
}

}  // namespace features::simulator
