#include <functional>

#include "features/simulator/sata/SataState.h"
#include "features/simulator/sata/StateCheck.h"
#include "features/simulator/store/Extension.h"
#include "features/simulator/store/NewDrive.h"
#include "tests/unit/features/simulator/sata/SimulatedSataDrive.h"

namespace {

using features::simulator::BlockRange;
using features::simulator::DriveState;
using features::simulator::NamespaceState;
using features::simulator::sata::ErrorEntry;
using features::simulator::sata::impossibleIn;
using features::simulator::sata::SataState;
using features::simulator::sata::SelfTestEntry;

constexpr uint64_t TIME_END = uint64_t{1} << 48;  // ms

class SataStateCheck : public SimulatedSataDrive {
protected:
    /// What is impossible in the state of a new drive of 131,072 sectors after a change.
    std::string faultAfter(const std::function<void(DriveState&)>& change) {
        DriveState state = newState(description, START_MS);
        change(state);
        const char* fault = impossibleIn(state);
        return fault == nullptr ? "none" : fault;
    }
    std::string faultOfRecordsAfter(const std::function<void(SataState&)>& change) {
        return faultAfter([&](DriveState& state) {
            SataState sata;
            change(sata);
            writeExtension(state, sata);
        });
    }
};

NamespaceState& mediaOf(DriveState& state) {
    return state.namespaces.at(1);
}

TEST_F(SataStateCheck, TakesWhatIsJustPossible) {
    const std::function<void(DriveState&)> changes[] = {
        [](DriveState& state) { mediaOf(state).size = 17179869184; },  // 8 TiB
        [](DriveState& state) { mediaOf(state).mediaGeneration = state.nextMediaGeneration - 1; },
        [](DriveState& state) { state.health.createdMs = state.health.lastResetMs = TIME_END - 1; },
        [](DriveState& state) { state.firmware.running = "12345678"; },
        [](DriveState& state) { state.deallocating = {{1, 131071, 1}, {1, 0, 131072}}; },
        [](DriveState& state) { state.deallocating.assign(512, BlockRange{1, 0, 1}); },
    };
    for (const auto& change : changes) EXPECT_EQ(faultAfter(change), "none") << &change - changes;
    const std::function<void(SataState&)> records[] = {
        [](SataState& sata) { sata.maxLba = sata.volatileMaxLba = 131071; },
        [](SataState& sata) { sata.security.attemptsLeft = 5; },
        [](SataState& sata) { sata.security.eraseStartedMs = sata.sanitize.startedMs = TIME_END - 1; },
        [](SataState& sata) { sata.selfTest.startedMs = sata.selfTest.offlineEndMs = TIME_END - 1; },
        [](SataState& sata) { sata.timeSetAtMs = *(sata.timeSetTo = TIME_END - 1); },
        [](SataState& sata) { sata.selfTest.entries.assign(19, SelfTestEntry()); },
        [](SataState& sata) { sata.errors.assign(4, ErrorEntry()); },
        [](SataState& sata) { sata.pending.assign(64, 1); },
        [](SataState& sata) { sata.waitingFirmware = "12345678"; },
        [](SataState& sata) { sata.current.pages.assign(64 * 512, 0); },
        [](SataState& sata) { sata.saved.pages.assign(64 * 512, 0); },
    };
    for (const auto& change : records) EXPECT_EQ(faultOfRecordsAfter(change), "none") << &change - records;
}

TEST_F(SataStateCheck, NamesThePartThatNoCommandCouldHaveBroughtAbout) {
    const struct {
        const char* part;
        std::function<void(DriveState&)> change;
    } cases[] = {
        {"media", [](DriveState& state) { state.namespaces[2] = mediaOf(state); }},
        {"media", [](DriveState& state) { state.namespaces = {{2, mediaOf(state)}}; }},
        {"media", [](DriveState& state) { mediaOf(state).format = 1; }},
        {"media", [](DriveState& state) { mediaOf(state).size = 0; }},
        {"media", [](DriveState& state) { mediaOf(state).size = 17179869185; }},
        {"media", [](DriveState& state) { mediaOf(state).mediaGeneration = 0; }},
        {"media", [](DriveState& state) { mediaOf(state).mediaGeneration = state.nextMediaGeneration; }},
        {"times of the drive's life", [](DriveState& state) { state.health.lastResetMs = TIME_END; }},
        {"firmware slots", [](DriveState& state) { state.firmware.slots.emplace_back("12345678"); }},
        {"firmware slots", [](DriveState& state) { state.firmware.running = "123456789"; }},
        {"blocks to be deallocated", [](DriveState& state) { state.deallocating = {{2, 0, 1}}; }},
        {"blocks to be deallocated", [](DriveState& state) { state.deallocating = {{1, 131072, 0}}; }},
        {"blocks to be deallocated", [](DriveState& state) { state.deallocating.assign(513, BlockRange{1, 0, 1}); }},
    };
    for (const auto& c : cases) EXPECT_EQ(faultAfter(c.change), c.part) << &c - cases;
}

TEST_F(SataStateCheck, NamesRecordsThatAreNotOfADrive) {
    const std::function<void(SataState&)> changes[] = {
        [](SataState& sata) { sata.volatileMaxLba = 131072; },
        [](SataState& sata) { sata.security.attemptsLeft = 6; },
        [](SataState& sata) { sata.security.eraseStartedMs = TIME_END; },
        [](SataState& sata) { sata.sanitize.startedMs = TIME_END; },
        [](SataState& sata) { sata.selfTest.startedMs = TIME_END; },
        [](SataState& sata) { sata.selfTest.offlineEndMs = TIME_END; },
        [](SataState& sata) { sata.timeSetAtMs = TIME_END; },
        [](SataState& sata) { sata.timeSetTo = TIME_END; },
        [](SataState& sata) { sata.selfTest.entries.assign(20, SelfTestEntry()); },
        [](SataState& sata) { sata.errors.assign(5, ErrorEntry()); },
        [](SataState& sata) { sata.pending.assign(65, 1); },
        [](SataState& sata) { sata.waitingFirmware = "123456789"; },
        [](SataState& sata) { sata.current.pages.assign(511, 0); },
        [](SataState& sata) { sata.current.pages.assign(65 * 512, 0); },
        [](SataState& sata) { sata.saved.pages.assign(513, 0); },
        [](SataState& sata) { sata.saved.pages.assign(65 * 512, 0); },
    };
    for (const auto& change : changes)
        EXPECT_EQ(faultOfRecordsAfter(change), "records of a SATA drive") << &change - changes;
}

}  // namespace
