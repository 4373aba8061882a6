#include "features/simulator/sata/SelfTestLogs.h"

#include <algorithm>

#include "features/nvme/Bytes.h"
#include "features/simulator/sata/IdentifyData.h"

namespace features::simulator::sata {

using nvme::putLe16;
using nvme::putLe64;

namespace {

/// Where the entries of a log are. The newest one is the last that was written, as if the log had never been full.
struct Layout {
    size_t first;
    size_t entryBytes;
    size_t lbaBytes;
};

void putEntries(const SelfTestState& tests, const Layout& layout, uint8_t* page) {
    constexpr uint64_t NO_LBA = ~uint64_t{0};
    uint8_t* at = page + layout.first;
    for (auto entry = tests.entries.rbegin(); entry != tests.entries.rend(); ++entry) {
        at[0] = entry->test;
        at[1] = entry->status;
        putLe16(at + 2, entry->hours);
        uint8_t lba[8];
        putLe64(lba, entry->failingLba.value_or(NO_LBA));
        std::copy_n(lba, layout.lbaBytes, at + 5);
        at += layout.entryBytes;
    }
}

}  // namespace

std::vector<uint8_t> selfTests(SataContext& context) {
    const SelfTestState& tests = context.state.selfTest;
    std::vector<uint8_t> page(SECTOR_BYTES);
    putLe16(page.data(), 0x0001);
    putEntries(tests, {2, 24, 4}, page.data());
    page[508] = static_cast<uint8_t>(tests.entries.size());
    putChecksum(page);
    return page;
}

std::vector<uint8_t> extendedSelfTests(SataContext& context) {
    const SelfTestState& tests = context.state.selfTest;
    std::vector<uint8_t> page(SECTOR_BYTES);
    page[0] = 0x01;
    putLe16(page.data() + 2, static_cast<uint16_t>(tests.entries.size()));
    putEntries(tests, {4, 26, 6}, page.data());
    putChecksum(page);
    return page;
}

}  // namespace features::simulator::sata
