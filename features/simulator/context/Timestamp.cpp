#include "features/simulator/context/Timestamp.h"

#include <algorithm>

#include "features/nvme/Bytes.h"

namespace features::simulator {

namespace {

// 6 bytes of milliseconds since 1970; what they are in byte 6.
constexpr uint8_t ORIGIN_SET_BY_HOST = 1 << 1;
constexpr uint64_t MASK_48_BITS = 0xFFFFFFFFFFFF;

uint64_t timestampNow(const CommandContext& context) {
    const TimestampState& timestamp = context.state.timestamp;
    const uint64_t from = timestamp.setTo ? timestamp.setAtMs : context.state.health.lastResetMs;
    return (timestamp.setTo.value_or(0) + (context.nowMs - std::min(from, context.nowMs))) & MASK_48_BITS;
}

}  // namespace

std::array<uint8_t, 8> timestampData(const CommandContext& context) {
    std::array<uint8_t, 8> data{};
    if (!context.model.hasOptions) return data;
    nvme::putLe64(data.data(), timestampNow(context));
    if (context.state.timestamp.setTo) data[6] = ORIGIN_SET_BY_HOST;
    return data;
}

}  // namespace features::simulator
