#pragma once

#include "features/simulator/store/Extension.h"

namespace features::simulator {

/// Where a sanitize operation with media verification (NVMe 2.1) is: processing is over, and the drive waits for a host
/// to end the verification. What sanitize operations are otherwise is in SanitizeState.
struct SanitizeVerification {
    static constexpr const char* NAME = "sanitize-verification";
    bool isActive = false;

    template <class A>
    void fields(A& archive) {
        archive(isActive);
    }
};

/// Whether it is there now.
inline bool isInMediaVerification(const DriveState& state) {
    return state.sanitize.isRunning && readExtension<SanitizeVerification>(state).isActive;
}

}  // namespace features::simulator
