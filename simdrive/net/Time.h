#pragma once

#include <chrono>
#include <cstdint>

namespace simdrive::net {

/// Milliseconds of the monotonic clock.
inline uint64_t nowMs() {
    using namespace std::chrono;
    return static_cast<uint64_t>(duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}

}  // namespace simdrive::net
