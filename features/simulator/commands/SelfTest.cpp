#include "features/simulator/commands/SelfTest.h"

#include "features/nvme/Bytes.h"
#include "features/nvme/NamespaceIds.h"
#include "features/nvme/StatusCodes.h"
#include "features/simulator/context/EventQueue.h"
#include "features/simulator/logs/SelfTestLog.h"
#include "features/simulator/store/RewrittenBlocks.h"

namespace features::simulator {

using namespace nvme;

namespace {

constexpr uint8_t CODE_SHORT = 1;
constexpr uint8_t CODE_EXTENDED = 2;
constexpr uint8_t CODE_ABORT = 0xF;
constexpr uint8_t SEGMENT_MEDIA = 5;

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
        if (const auto block = firstUnreadable(context.description, context.state, {nsid, 0, part.size}))
            return BlockRange{nsid, *block, 1};
    }
    return std::nullopt;
}

void endSelfTest(CommandContext& context, SelfTestResult result, SelfTestEnd end) {
    SelfTestState& test = context.state.selfTest;
    result.status = static_cast<uint8_t>(test.code << 4 | static_cast<uint8_t>(end));
    result.powerOnHours = context.powerOnHours();
    if (result.nsid == 0) result.nsid = test.nsid;
    test.results.insert(test.results.begin(), result);
    if (test.results.size() > MAX_SELF_TEST_RESULTS) test.results.resize(MAX_SELF_TEST_RESULTS);
    test.code = 0;
    queueEvent(context, {DriveEvent::Kind::SELF_TEST_DONE});
}

}  // namespace

CompletionEntry deviceSelfTest(CommandContext& context) {
    const auto code = static_cast<uint8_t>(context.command.cdw10);
    const uint32_t nsid = context.command.nsid;
    if (code == CODE_ABORT) {
        abortSelfTest(context, SelfTestEnd::COMMAND);
        return {};
    }
    if (code != CODE_SHORT && code != CODE_EXTENDED) return refusal(SC_INVALID_FIELD);
    if (nsid != 0 && nsid != NSID_ALL && context.findAttached(nsid) == nullptr) {
        return refusal(SC_INVALID_NAMESPACE);
    }
    SelfTestState& test = context.state.selfTest;
    if (test.code != 0) return passingRefusal(SC_SELF_TEST_IN_PROGRESS);
    test.code = code;
    test.nsid = nsid;
    test.startedMs = context.nowMs;
    return {};
}

void abortSelfTest(CommandContext& context, SelfTestEnd end) {
    if (context.state.selfTest.code != 0) endSelfTest(context, {}, end);
}

void abortSelfTestOf(CommandContext& context, uint32_t nsid) {
    if (isTested(context, nsid)) abortSelfTest(context, SelfTestEnd::NAMESPACE);
}

bool finishSelfTest(CommandContext& context) {
    if (context.state.selfTest.code == 0 || !isSelfTestOver(context)) return false;
    SelfTestResult result;
    const std::optional<BlockRange> unreadable = unreadableBlock(context);
    if (unreadable) {
        result.segment = SEGMENT_MEDIA;
        result.nsid = unreadable->nsid;
        result.failingLba = unreadable->first;
        result.statusCode = SC_UNRECOVERED_READ.field();
    }
    endSelfTest(context, result, unreadable ? SelfTestEnd::FAILED : SelfTestEnd::PASSED);
    return true;
}

}  // namespace features::simulator
