#include "features/simulator/sata/SelfTest.h"

#include <algorithm>
#include <optional>

#include "features/simulator/store/RewrittenBlocks.h"

namespace features::simulator::sata {

namespace {

constexpr uint64_t SMART_KEY = 0xC24F00;
constexpr uint64_t SMART_KEY_FAILED = 0x2CF400;
constexpr uint64_t TENTHS = 10;
constexpr uint8_t COLLECTION_NEVER = 0x00;
constexpr uint8_t COLLECTION_DONE = 0x02;
constexpr uint8_t COLLECTION_RUNNING = 0x03;
constexpr uint8_t AUTO_COLLECTION = 0x80;

uint64_t elapsedMs(const SataContext& context) {
    const uint64_t started = context.state.selfTest.startedMs;
    return context.nowMs > started ? context.nowMs - started : 0;
}

uint64_t durationMs(const SataContext& context, uint8_t test) {
    return uint64_t{selfTestSeconds(context.description, test)} * 1000;
}

/// The sector at which a test ends.
std::optional<uint64_t> failingSector(const SataContext& context) {
    const auto& fault = context.description.faults.selfTestFailure;
    if (fault && fault->nsid == 1) return fault->first;
    return firstUnreadable(context.description, context.drive, {1, 0, context.nativeSectors()});
}

/// How far into a test, in ms, it comes to the sector.
uint64_t failureMs(const SataContext& context, uint64_t sector, uint64_t duration) {
    const double part = static_cast<double>(sector) / static_cast<double>(context.nativeSectors());
    return static_cast<uint64_t>(std::min(part, 1.0) * static_cast<double>(duration));
}

uint8_t tenthsLeft(uint64_t doneMs, uint64_t duration) {
    if (duration == 0 || doneMs >= duration) return 0;
    return static_cast<uint8_t>(std::min<uint64_t>(((duration - doneMs) * TENTHS + duration - 1) / duration, 9));
}

void enter(SataContext& context, uint8_t status, std::optional<uint64_t> failingLba) {
    SelfTestState& test = context.state.selfTest;
    test.status = status;
    test.entries.insert(test.entries.begin(),
                        {test.running, status, static_cast<uint16_t>(context.powerOnHours()), failingLba});
    if (test.entries.size() > MAX_SELF_TEST_ENTRIES) test.entries.pop_back();
    test.running = 0;
}

bool isTest(uint8_t test) {
    return test == TEST_SHORT || test == TEST_EXTENDED || test == TEST_CONVEYANCE;
}

/// Off-line collection takes as long as a short test.
ata::Registers collect(SataContext& context) {
    SelfTestState& test = context.state.selfTest;
    test.offlineStatus = COLLECTION_RUNNING;
    test.offlineEndMs = context.nowMs + durationMs(context, TEST_SHORT);
    return completed(0, SMART_KEY);
}

ata::Registers runCaptive(SataContext& context) {
    const uint64_t duration = durationMs(context, context.state.selfTest.running & ~CAPTIVE);
    const auto sector = failingSector(context);
    const uint64_t heldMs = sector ? failureMs(context, *sector, duration) : duration;
    context.busyMs = static_cast<uint32_t>(heldMs);
    if (!sector) return completed(0, SMART_KEY);
    return failedWith(ata::ERROR_ABORT, SMART_KEY_FAILED);
}

}  // namespace

ata::Registers executeOffline(SataContext& context) {
    const auto subcommand = static_cast<uint8_t>(context.command.lba);
    SelfTestState& test = context.state.selfTest;
    if (subcommand == OFFLINE_COLLECTION) return collect(context);
    if (!context.description.supportsSelfTest) return aborted();
    if (subcommand == ABORT_TEST) {
        endSelfTest(context, TEST_ABORTED);
        return completed(0, SMART_KEY);
    }
    if (!isTest(subcommand & ~CAPTIVE)) return aborted();
    endSelfTest(context, TEST_ABORTED);
    test.running = subcommand;
    test.startedMs = context.nowMs;
    return (subcommand & CAPTIVE) != 0 ? runCaptive(context) : completed(0, SMART_KEY);
}

bool finishSelfTest(SataContext& context) {
    SelfTestState& test = context.state.selfTest;
    if (test.offlineStatus == COLLECTION_RUNNING && context.nowMs >= test.offlineEndMs) {
        test.offlineStatus = COLLECTION_DONE;
    }
    if (test.running == 0) return false;
    const uint64_t duration = durationMs(context, test.running & ~CAPTIVE);
    const uint64_t elapsed = elapsedMs(context);
    const auto sector = failingSector(context);
    if (sector && elapsed >= failureMs(context, *sector, duration)) {
        const uint8_t left = tenthsLeft(failureMs(context, *sector, duration), duration);
        enter(context, static_cast<uint8_t>(TEST_READ_FAILED << 4 | left), *sector);
        return true;
    }
    if (elapsed >= duration) enter(context, TEST_PASSED << 4, std::nullopt);
    return false;
}

void endSelfTest(SataContext& context, uint8_t code) {
    SelfTestState& test = context.state.selfTest;
    if (test.running == 0) return;
    const uint8_t left = tenthsLeft(elapsedMs(context), durationMs(context, test.running & ~CAPTIVE));
    enter(context, static_cast<uint8_t>(code << 4 | left), std::nullopt);
}

uint8_t selfTestStatus(const SataContext& context) {
    const SelfTestState& test = context.state.selfTest;
    if (test.running == 0) return test.status;
    const uint8_t left = tenthsLeft(elapsedMs(context), durationMs(context, test.running & ~CAPTIVE));
    return static_cast<uint8_t>(TEST_RUNNING << 4 | left);
}

uint8_t offlineStatus(const SataContext& context) {
    const SataState& state = context.state;
    static_assert(COLLECTION_NEVER == 0, "of a new drive");
    return static_cast<uint8_t>(state.selfTest.offlineStatus | (state.isAutoOffline ? AUTO_COLLECTION : 0));
}

uint32_t selfTestSeconds(const Description& description, uint8_t test) {
    return test == TEST_EXTENDED ? description.extendedSelfTestSeconds : description.shortSelfTestSeconds;
}

uint64_t captiveEndMs(const SataContext& context) {
    const SelfTestState& test = context.state.selfTest;
    if ((test.running & CAPTIVE) == 0) return 0;
    const uint64_t duration = durationMs(context, test.running & ~CAPTIVE);
    const auto sector = failingSector(context);
    return test.startedMs + (sector ? failureMs(context, *sector, duration) : duration);
}

}  // namespace features::simulator::sata
