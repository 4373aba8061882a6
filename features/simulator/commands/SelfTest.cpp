#include "features/simulator/commands/SelfTest.h"

#include <algorithm>

#include "features/nvme/Bytes.h"
#include "features/nvme/Opcodes.h"
#include "features/nvme/StatusCodes.h"
#include "features/simulator/controller/Faults.h"
#include "features/simulator/controller/Happenings.h"
#include "ostrel/core/ScopeTrace.h"

namespace features::simulator {

using namespace nvme;

namespace {

constexpr uint8_t CODE_SHORT = 1;
constexpr uint8_t CODE_EXTENDED = 2;
constexpr uint8_t CODE_ABORT = 0xF;
constexpr size_t MOST_RESULTS = 20;
constexpr uint8_t SEGMENT_MEDIA = 5;
constexpr uint64_t MS_PER_HOUR = 3600000;

uint64_t durationMs(const CommandContext& context) {
    const bool isShort = context.state.selfTest.code == CODE_SHORT;
    return 1000 *
           uint64_t{isShort ? context.description.shortSelfTestSeconds : context.description.extendedSelfTestSeconds};
}

uint64_t elapsedMs(const CommandContext& context) {
    return context.nowMs - std::min(context.nowMs, context.state.selfTest.startedMs);
}

bool isTested(const CommandContext& context, uint32_t nsid) {
    const uint32_t tested = context.state.selfTest.nsid;
    return context.findAttached(nsid) != nullptr && (tested == NSID_ALL || tested == nsid);
}

/// The extended self-test reads the media of its namespaces. The first block that it cannot read, with its namespace.
/// One that a fault names fails the short one, too.
std::optional<BlockRange> unreadableBlock(const CommandContext& context) {
    const std::optional<BlockRange>& fault = context.description.faults.selfTestFailure;
    if (fault && isTested(context, fault->nsid)) return fault;
    if (context.state.selfTest.code != CODE_EXTENDED) return std::nullopt;
    for (const auto& [nsid, part] : context.state.namespaces) {
        if (!isTested(context, nsid)) continue;
        if (const auto block = firstUnreadable(context, {nsid, 0, part.size})) return BlockRange{nsid, *block, 1};
    }
    return std::nullopt;
}

void endSelfTest(CommandContext& context, SelfTestResult result, SelfTestEnd end) {
    SelfTestState& test = context.state.selfTest;
    result.status = static_cast<uint8_t>(test.code << 4 | static_cast<uint8_t>(end));
    result.powerOnHours = context.powerOnMs() / MS_PER_HOUR;
    if (result.nsid == 0) result.nsid = test.nsid;
    test.results.insert(test.results.begin(), result);
    if (test.results.size() > MOST_RESULTS) test.results.resize(MOST_RESULTS);
    test.code = 0;
    happened(context, {Happening::Kind::SELF_TEST_DONE});
}

}  // namespace

CompletionEntry deviceSelfTest(CommandContext& context) {
    OSTREL_TRACE();
    const auto code = static_cast<uint8_t>(context.command.cdw10);
    const uint32_t nsid = context.command.nsid;
    if (code == CODE_ABORT) {
        abortSelfTest(context, SelfTestEnd::COMMAND);
        return {};
    }
    if (code != CODE_SHORT && code != CODE_EXTENDED) return refusal(SCT_GENERIC, SC_INVALID_FIELD);
    if (nsid != 0 && nsid != NSID_ALL && context.findAttached(nsid) == nullptr) {
        return refusal(SCT_GENERIC, SC_INVALID_NAMESPACE);
    }
    SelfTestState& test = context.state.selfTest;
    if (test.code != 0) return passingRefusal(SCT_COMMAND_SPECIFIC, SC_SELF_TEST_IN_PROGRESS);
    test.code = code;
    test.nsid = nsid;
    test.startedMs = context.nowMs;
    return {};
}

void abortSelfTest(CommandContext& context, SelfTestEnd end) {
    OSTREL_TRACE();
    if (context.state.selfTest.code != 0) endSelfTest(context, {}, end);
}

void abortSelfTestOf(CommandContext& context, uint32_t nsid) {
    OSTREL_TRACE();
    if (isTested(context, nsid)) abortSelfTest(context, SelfTestEnd::NAMESPACE);
}

bool finishSelfTest(CommandContext& context) {
    OSTREL_TRACE();
    if (context.state.selfTest.code == 0 || elapsedMs(context) < durationMs(context)) return false;
    SelfTestResult result;
    const std::optional<BlockRange> unreadable = unreadableBlock(context);
    if (unreadable) {
        result.segment = SEGMENT_MEDIA;
        result.nsid = unreadable->nsid;
        result.failingLba = unreadable->first;
        result.statusCode = SCT_MEDIA << 8 | SC_UNRECOVERED_READ;
    }
    endSelfTest(context, result, unreadable ? SelfTestEnd::FAILED : SelfTestEnd::PASSED);
    return true;
}

CompletionEntry buildSelfTestLog(CommandContext& context, const LogRequest&, std::vector<uint8_t>& page) {
    OSTREL_TRACE();
    constexpr size_t RESULT_BYTES = 28;
    constexpr uint8_t NO_RESULT = 0x0F;
    const SelfTestState& test = context.state.selfTest;
    page.resize(4 + MOST_RESULTS * RESULT_BYTES);
    page[0] = test.code;
    if (test.code != 0)
        page[1] = static_cast<uint8_t>(std::min<uint64_t>(elapsedMs(context) * 100 / durationMs(context), 99));
    for (size_t i = 0; i < MOST_RESULTS; ++i) {
        uint8_t* at = page.data() + 4 + i * RESULT_BYTES;
        at[0] = NO_RESULT;
        if (i >= test.results.size()) continue;
        const SelfTestResult& result = test.results[i];
        at[0] = result.status;
        at[1] = result.segment;
        // Which of the fields behind hold something: NSID, failing LBA, status code type and status code.
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
