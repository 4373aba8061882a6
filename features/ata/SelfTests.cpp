#include "features/ata/SelfTests.h"

#include <algorithm>
#include <iterator>
#include <string>

#include "features/ata/Checksum.h"
#include "features/ata/SmartAttributes.h"
#include "features/ata/structures/SelfTestLogs.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/FieldTable.h"

namespace features::ata {

using namespace nvme;
using ostrel::core::Payload;

namespace {

constexpr uint64_t NO_LBA_28 = 0xFFFFFFFF;
constexpr uint64_t NO_LBA_48 = 0xFFFFFFFFFFFF;

// Flags of log 09h.
constexpr unsigned SCAN_AFTER = 1;
constexpr unsigned SCAN_PENDING = 3;
constexpr unsigned SCAN_ACTIVE = 4;

template <typename Entry>
SelfTestResult resultOf(const Entry& entry, uint64_t noLba) {
    SelfTestResult result{entry.test, entry.status, entry.hours, std::nullopt};
    if (result.code() == SELF_TEST_READ_FAILURE && entry.failingLba != noLba) result.failingLba = entry.failingLba;
    return result;
}

template <typename Entry>
bool isUsed(const Entry& entry) {
    return entry.test != 0 || entry.status != 0 || entry.hours != 0;
}

std::string spanText(const SelfTestSpan& span) {
    if (span.firstLba == 0 && span.lastLba == 0) return "unused";
    return "LBA " + std::to_string(span.firstLba) + " to " + std::to_string(span.lastLba);
}

/// Drives keep a few dozen: a log of tens of thousands, which one can claim to have, is not for a reader.
constexpr size_t MAX_RESULTS = 1024;

/// From the newest, which `index` names, counted from 1, back and around.
template <typename Entry>
std::vector<SelfTestResult> newestFirst(const std::vector<Entry>& entries, size_t index, uint64_t noLba) {
    std::vector<SelfTestResult> results;
    if (index == 0 || index > entries.size()) return results;
    for (size_t i = 0; i < std::min(entries.size(), MAX_RESULTS); ++i) {
        const Entry& entry = entries[(index - 1 + entries.size() - i) % entries.size()];
        if (!isUsed(entry)) break;
        results.push_back(resultOf(entry, noLba));
    }
    return results;
}

}  // namespace

std::vector<SelfTestResult> selfTestsOf(const Payload& log) {
    if (log.getSize() < sizeof(SelfTestLog)) return {};
    const auto data = structureAt<SelfTestLog>(log.getData());
    return newestFirst(std::vector<SelfTestEntry>(std::begin(data.entries), std::end(data.entries)), data.index,
                       NO_LBA_28);
}

std::vector<SelfTestResult> extendedSelfTestsOf(const Payload& log) {
    std::vector<ExtendedSelfTestEntry> entries;
    size_t index = 0;
    for (size_t at = 0; at + sizeof(ExtendedSelfTestPage) <= log.getSize(); at += sizeof(ExtendedSelfTestPage)) {
        const auto page = structureAt<ExtendedSelfTestPage>(log.getData() + at);
        if (at == 0) index = page.index;
        entries.insert(entries.end(), std::begin(page.entries), std::end(page.entries));
    }
    return newestFirst(entries, index, NO_LBA_48);
}

FieldTree decodeSelfTests(const std::vector<SelfTestResult>& tests) {
    FieldTree tree{"Self-test Log", {}, {}};
    tree.add("Entries", std::to_string(tests.size()));
    for (size_t i = 0; i < tests.size(); ++i) {
        const SelfTestResult& test = tests[i];
        FieldTree& part = tree.addPart("Entry " + std::to_string(i));
        part.add("Test", selfTestName(test.test));
        part.add("Result", selfTestResultText(test.status));
        part.add("Remaining", withUnit(std::to_string((test.status & 0xF) * 10), "%"));
        part.add("Power On Hours", std::to_string(test.hours));
        part.add("Failing LBA", test.failingLba ? std::to_string(*test.failingLba) : NOT_REPORTED);
    }
    return tree;
}

FieldTree decodeSelectiveSelfTest(const Payload& log) {
    FieldTree tree{"Selective Self-test Log", {}, {}};
    if (log.getSize() < sizeof(SelectiveSelfTestLog)) return tree;
    if (!isChecksumGood(log.getData(), sizeof(SelectiveSelfTestLog))) tree.add("Checksum", "wrong");
    const auto data = structureAt<SelectiveSelfTestLog>(log.getData());
    for (size_t i = 0; i < std::size(data.spans); ++i)
        tree.add("Span " + std::to_string(i + 1), spanText(data.spans[i]));
    const bool isRunning = data.currentSpan != 0;
    tree.add("Current Span", isRunning ? std::to_string(data.currentSpan) : "none");
    tree.add("Current LBA", isRunning ? std::to_string(data.currentLba) : "none");
    tree.add("Off-line Scan After It", bit(data.flags, SCAN_AFTER) ? "yes" : "no");
    tree.add("Off-line Scan Pending", bit(data.flags, SCAN_PENDING) ? "yes" : "no");
    tree.add("Off-line Scan Active", bit(data.flags, SCAN_ACTIVE) ? "yes" : "no");
    tree.add("Pending Time", withUnit(std::to_string(data.pendingMinutes), "minutes"));
    return tree;
}

}  // namespace features::ata
