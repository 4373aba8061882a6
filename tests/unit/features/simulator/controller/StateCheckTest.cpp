#include <cerrno>

#include "features/simulator/controller/StateCheck.h"
#include "features/simulator/models/ocp/OcpState.h"
#include "features/simulator/models/velko/VelkoState.h"
#include "features/simulator/store/DriveFolder.h"
#include "features/simulator/store/Extension.h"
#include "features/simulator/store/NewDrive.h"
#include "tests/unit/features/simulator/SimulatedDrive.h"

using namespace features::simulator;

namespace {

constexpr uint64_t START_MS = SimulatedDrive::START_MS;

DriveState newDrive(ModelId model = ModelId::VELKO) {
    Description description;
    description.model = model;
    description.serialNumber = "SIM1";
    description.sizeBytes = 64 << 20;
    return newState(description, START_MS);
}

std::string faultOf(const DriveState& state) {
    const char* fault = impossibleIn(state);
    return fault == nullptr ? "" : fault;
}

TEST(StateCheck, TakesNewDrives) {
    EXPECT_EQ(faultOf(newDrive()), "");
    EXPECT_EQ(faultOf(newDrive(ModelId::OCP)), "");
}

TEST(StateCheck, TakesWhatIsJustPossible) {
    DriveState state = newDrive();
    state.nextMediaGeneration = 2000;
    state.namespacesMade = 1024;
    for (uint32_t nsid = 1; nsid <= 1024; ++nsid) state.namespaces[nsid].mediaGeneration = nsid;
    state.namespaces[1024].size = state.namespaces[1024].capacity = uint64_t{8} << (40 - 9);
    state.features.current[{0x01, 0, 0}] = {0xFFFFFF07, {}};
    state.features.current[{0x04, 0, 0x110000}] = {0x11FFFF, {}};
    state.features.saved[{0x05, 1024, 0}] = {0x1FFFF, {}};
    state.features.current[{0x16, 0, 0}] = {0, std::vector<uint8_t>(512)};
    state.health.createdMs = state.timestamp.setAtMs = (uint64_t{1} << 48) - 1;
    state.timestamp.setTo = (uint64_t{1} << 48) - 1;
    state.errors.resize(64);
    state.errorCount = 64;
    state.firmware.slots = {"VSIM0100", "", "", "12345678"};
    state.firmware.pendingSlot = 4;
    state.firmware.resets[3] = 3;
    state.selfTest.code = 2;
    state.selfTest.nsid = 0xFFFFFFFF;
    state.selfTest.results.resize(20);
    state.sanitize.status = 4;
    state.events.pending = state.events.masked = 0xFF;
    state.events.changedNamespaces = {1, 2, 1024};
    state.deallocating.assign(256, {1024, 0, uint64_t{8} << 31});
    state.extensions["unknown"] = {1, 2, 3};
    EXPECT_EQ(faultOf(state), "");
}

/// The archive of such a record, as the state holds it.
template <class Record>
void put(DriveState& state, Record record) {
    writeExtension(state, record);
}

constexpr uint64_t TOO_LATE = uint64_t{1} << 48;

// clang-format off
const struct {
    const char* part;
    void (*change)(DriveState& state);
    const char* why;
} IMPOSSIBLE[] = {
    {"model", [](DriveState& s) { s.model = 6; }, "no such model"},
    {"namespaces", [](DriveState& s) { s.namespaces[1].controllers = 4; }, "attached to a third controller"},
    {"namespaces", [](DriveState& s) { s.namespaces[0] = s.namespaces[1]; }, "NSID 0"},
    {"namespaces", [](DriveState& s) { s.namespaces[1025] = s.namespaces[1]; }, "NSID 1025"},
    {"namespaces",
     [](DriveState& s) {
         s.namespacesMade = 20000;
         for (uint32_t nsid = 1; nsid <= 20000; ++nsid) s.namespaces[nsid] = s.namespaces[1];
     },
     "20,000 of them"},
    {"namespaces", [](DriveState& s) { s.namespacesMade = 0; }, "more than were ever made"},
    {"namespaces", [](DriveState& s) { s.namespaces[1].format = 4; }, "a format beyond the model's"},
    {"namespaces", [](DriveState& s) { s.namespaces[1].capacity = 1; }, "thin provisioning"},
    {"namespaces",
     [](DriveState& s) { s.namespaces[1].size = s.namespaces[1].capacity = (uint64_t{8} << 31) + 1; },
     "one block more than the largest drive"},
    {"namespaces",
     [](DriveState& s) { s.namespaces[1].size = s.namespaces[1].capacity = uint64_t{1} << 63; },
     "bytes that 64 bits do not count"},
    {"namespaces", [](DriveState& s) { s.namespaces[1].mediaGeneration = 0; }, "a medium before the first"},
    {"namespaces", [](DriveState& s) { s.nextMediaGeneration = s.namespaces[1].mediaGeneration; }, "a later medium"},
    {"namespaces", [](DriveState& s) { s.namespaces[1].protection = 1; }, "protection information"},
    {"namespaces", [](DriveState& s) { s.namespaces[1].writeProtection = 2; }, "a state beyond NWPC"},
    {"features", [](DriveState& s) { s.features.current[{0x03, 0, 0}] = {}; }, "no such feature"},
    {"features", [](DriveState& s) { s.features.saved[{0x03, 0, 0}] = {}; }, "no such saved feature"},
    {"features", [](DriveState& s) { s.features.current[{0x05, 0, 0}] = {}; }, "of the controller, but has namespaces"},
    {"features", [](DriveState& s) { s.features.current[{0x02, 1, 0}] = {}; }, "of a namespace, but is the controller's"},
    {"features", [](DriveState& s) { s.features.current[{0x05, 1025, 0}] = {}; }, "of NSID 1025"},
    {"features", [](DriveState& s) { s.features.current[{0x02, 0, 1}] = {}; }, "a selector it does not have"},
    {"features", [](DriveState& s) { s.features.current[{0x04, 0, 2 << 16}] = {}; }, "of temperature sensor 2"},
    {"features", [](DriveState& s) { s.features.current[{0x06, 0, 0}] = {0x2, {}}; }, "a reserved bit"},
    {"features", [](DriveState& s) { s.features.current[{0x16, 0, 0}] = {0, std::vector<uint8_t>(511)}; }, "short data"},
    {"features", [](DriveState& s) { s.features.current[{0x02, 0, 0}] = {0, {0}}; }, "data where there are none"},
    {"times of the drive's life", [](DriveState& s) { s.health.createdMs = TOO_LATE; }, "48 bits of milliseconds"},
    {"times of the drive's life", [](DriveState& s) { s.health.lastResetMs = TOO_LATE; }, "48 bits of milliseconds"},
    {"error log entries", [](DriveState& s) { s.errorCount = s.errors.emplace_back().count; }, "more than were counted"},
    {"error log entries",
     [](DriveState& s) {
         s.errorCount = 65;
         s.errors.resize(65);
     },
     "more than the log page has"},
    {"error log entries",
     [](DriveState& s) {
         s.errorCount = 1;
         s.errors.emplace_back().statusField = 0x8000;
     },
     "a status of 16 bits"},
    {"firmware slots", [](DriveState& s) { s.firmware.slots.clear(); }, "no slots"},
    {"firmware slots", [](DriveState& s) { s.firmware.resets.clear(); }, "no resets"},
    {"firmware slots", [](DriveState& s) { s.firmware.activeSlot = 0; }, "slot 0"},
    {"firmware slots", [](DriveState& s) { s.firmware.activeSlot = 5; }, "slot 5 of 4"},
    {"firmware slots", [](DriveState& s) { s.firmware.activeSlot = 2; }, "an empty slot runs"},
    {"firmware slots", [](DriveState& s) { s.firmware.pendingSlot = 5; }, "slot 5 waits"},
    {"firmware slots", [](DriveState& s) { s.firmware.pendingSlot = 2; }, "an empty slot waits"},
    {"firmware slots", [](DriveState& s) { s.firmware.running = ""; }, "nothing runs"},
    {"firmware slots", [](DriveState& s) { s.firmware.running = "123456789"; }, "a revision of 9 bytes"},
    {"firmware slots", [](DriveState& s) { s.firmware.slots[1] = "123456789"; }, "a slot's revision of 9 bytes"},
    {"firmware slots", [](DriveState& s) { s.firmware.resets[0] = 4; }, "a reset that does not exist"},
    {"self-tests", [](DriveState& s) { s.selfTest.code = 3; }, "code 3"},
    {"self-tests", [](DriveState& s) { s.selfTest.nsid = 1025; }, "of NSID 1025"},
    {"self-tests", [](DriveState& s) { s.selfTest.startedMs = TOO_LATE; }, "48 bits of milliseconds"},
    {"self-tests", [](DriveState& s) { s.selfTest.results.resize(21); }, "more than the log page has"},
    {"sanitize state", [](DriveState& s) { s.sanitize.status = 5; }, "a reserved status"},
    {"sanitize state", [](DriveState& s) { s.sanitize.startedMs = TOO_LATE; }, "48 bits of milliseconds"},
    {"timestamp", [](DriveState& s) { s.timestamp.setTo = TOO_LATE; }, "48 bits of milliseconds"},
    {"timestamp", [](DriveState& s) { s.timestamp.setAtMs = TOO_LATE; }, "48 bits of milliseconds"},
    {"events", [](DriveState& s) { s.events.pending = 0x100; }, "no such event"},
    {"events", [](DriveState& s) { s.events.masked = 0x100; }, "no such event"},
    {"events", [](DriveState& s) { s.events.changedNamespaces = {0}; }, "NSID 0 changed"},
    {"events", [](DriveState& s) { s.events.changedNamespaces = {1025}; }, "NSID 1025 changed"},
    {"events", [](DriveState& s) { s.events.changedNamespaces = {2, 2}; }, "one namespace twice: the page has room for each once"},
    {"blocks to be deallocated", [](DriveState& s) { s.deallocating = {{0, 0, 1}}; }, "of NSID 0"},
    {"blocks to be deallocated", [](DriveState& s) { s.deallocating = {{1, ~uint64_t{0}, 1}}; }, "at the end of 64 bits"},
    {"blocks to be deallocated", [](DriveState& s) { s.deallocating = {{1, 0, ~uint64_t{0}}}; }, "all that 64 bits count"},
    {"blocks to be deallocated", [](DriveState& s) { s.deallocating.assign(257, {1, 0, 1}); }, "more than a command has"},
    {"vendor specific records",
     [](DriveState& s) {
         OcpState ocp;
         ocp.activations.resize(21);
         put(s, ocp);
     },
     "more firmware activations than the log page has"},
    {"vendor specific records",
     [](DriveState& s) {
         VelkoState velko;
         velko.nlog.records.resize(129);
         put(s, velko);
     },
     "more records than the log keeps"},
    {"vendor specific records",
     [](DriveState& s) {
         VelkoState velko;
         velko.asserts.resize(17);
         put(s, velko);
     },
     "more asserts than the log keeps"},
    {"vendor specific records",
     [](DriveState& s) {
         VelkoState velko;
         velko.pictures[0xC0].resize((1 << 20) + 1);
         put(s, velko);
     },
     "a picture larger than any log"},
};
// clang-format on

TEST(StateCheck, RefusesWhatNoCommandCouldHaveBroughtAbout) {
    for (const auto& c : IMPOSSIBLE) {
        DriveState state = newDrive();
        c.change(state);
        EXPECT_EQ(faultOf(state), c.part) << c.why;
    }
}

class ImpossibleState : public SimulatedDrive {};

TEST_F(ImpossibleState, IsAnErrorOfTheDriveAndChangesNothing) {
    identify(0x01);
    const std::string media = path() + "/media-1-1";
    writeWholeFile(media, "data");
    DriveState state = newState(description, START_MS);
    state.firmware.slots.clear();
    const std::vector<uint8_t> bytes = DriveFolder::stateBytes(state, 1000);
    const std::string text(bytes.begin(), bytes.end());
    writeWholeFile(path() + "/state", text);
    for (const bool isReopened : {false, true}) {
        if (isReopened) reopen();
        const auto status = statusOf(controller->execute(admin(0x06, 0, 1), data));
        EXPECT_TRUE(status.is(1, EBADMSG));
        EXPECT_EQ(status.getMessage(), "The state of the simulated drive is damaged: " + path() +
                                           "/state has impossible contents: firmware slots.");
    }
    EXPECT_EQ(readWholeFile(path() + "/state"), text);
    EXPECT_EQ(readWholeFile(media), "data");
}

}  // namespace
