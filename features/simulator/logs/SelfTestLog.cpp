#include "features/simulator/logs/SelfTestLog.h"

#include <algorithm>

#include "features/nvme/Bytes.h"

namespace features::simulator {

using namespace nvme;

namespace {

constexpr uint8_t CODE_SHORT = 1;

uint64_t durationMs(const CommandContext& context) {
    const bool isShort = context.state.selfTest.code == CODE_SHORT;
    return 1000 *
           uint64_t{isShort ? context.description.shortSelfTestSeconds : context.description.extendedSelfTestSeconds};
}

uint64_t elapsedMs(const CommandContext& context) {
    return context.nowMs - std::min(context.nowMs, context.state.selfTest.startedMs);
}

}  // namespace

bool isSelfTestOver(const CommandContext& context) {
    return elapsedMs(context) >= durationMs(context);
}

CompletionEntry buildSelfTestLog(CommandContext& context, const LogRequest&, std::vector<uint8_t>& page) {
    constexpr size_t RESULT_BYTES = 28;
    constexpr uint8_t NO_RESULT = 0x0F;
    const SelfTestState& test = context.state.selfTest;
    page.resize(4 + MAX_SELF_TEST_RESULTS * RESULT_BYTES);
    page[0] = test.code;
    if (test.code != 0)
        page[1] = static_cast<uint8_t>(std::min<uint64_t>(elapsedMs(context) * 100 / durationMs(context), 99));
    for (size_t i = 0; i < MAX_SELF_TEST_RESULTS; ++i) {
        uint8_t* at = page.data() + 4 + i * RESULT_BYTES;
        at[0] = NO_RESULT;
        if (i >= test.results.size()) continue;
        const SelfTestResult& result = test.results[i];
        at[0] = result.status;
        at[1] = result.segment;
        // Which of the next fields hold something: NSID, failing LBA, status code type and status code.
        at[2] = static_cast<uint8_t>((result.nsid != 0 ? 1 : 0) | (result.failingLba ? 2 : 0) |
                                     (result.statusCode != 0 ? 0xC : 0));
        putLe64(at + 4, result.powerOnHours);
        putLe32(at + 12, result.nsid);
        putLe64(at + 16, result.failingLba.value_or(0));
        at[24] = static_cast<uint8_t>(result.statusCode >> 8);
        at[25] = static_cast<uint8_t>(result.statusCode);
    }
    return {};
}

}  // namespace features::simulator
