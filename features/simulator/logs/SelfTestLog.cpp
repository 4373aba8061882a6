#include "features/simulator/logs/SelfTestLog.h"

#include <algorithm>

#include "features/nvme/StatusCodes.h"
#include "features/nvme/structures/SelfTestLog.h"

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

SelfTestResultEntry unusedEntry() {
    SelfTestResultEntry entry{};
    entry.status = 0x0F;
    return entry;
}

SelfTestResultEntry entryOf(const SelfTestResult& result) {
    SelfTestResultEntry entry{};
    entry.status = result.status;
    entry.segment = result.segment;
    entry.valid = static_cast<uint8_t>((result.nsid != 0 ? 1 : 0) | (result.failingLba ? 2 : 0) |
                                       (result.statusCode != 0 ? 0xC : 0));
    entry.powerOnHours = result.powerOnHours;
    entry.nsid = result.nsid;
    entry.failingLba = result.failingLba.value_or(0);
    const StatusCode status = StatusCode::ofField(result.statusCode);
    entry.statusCodeType = status.type;
    entry.statusCode = status.code;
    return entry;
}

}  // namespace

bool isSelfTestOver(const CommandContext& context) {
    return elapsedMs(context) >= durationMs(context);
}

CompletionEntry buildSelfTestLog(CommandContext& context, const LogRequest&, std::vector<uint8_t>& page) {
    const SelfTestState& test = context.state.selfTest;
    SelfTestLog log{};
    log.operation = test.code;
    if (test.code != 0)
        log.completion = static_cast<uint8_t>(std::min<uint64_t>(elapsedMs(context) * 100 / durationMs(context), 99));
    for (size_t i = 0; i < MAX_SELF_TEST_RESULTS; ++i)
        log.results[i] = i < test.results.size() ? entryOf(test.results[i]) : unusedEntry();
    page = bytesOf(log);
    return {};
}

}  // namespace features::simulator
