#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>

#include "features/simulator/controller/StateCheck.h"
#include "features/simulator/store/DriveFolder.h"
#include "tests/unit/features/simulator/SimulatedDrive.h"

using features::simulator::ResetKind;

namespace {

/// Bytes of an event, its header and its data.
SimulatedDrive::Bytes event(uint8_t type, const SimulatedDrive::Bytes& timestamp, const SimulatedDrive::Bytes& data) {
    SimulatedDrive::Bytes bytes{type, 1, 21, 0, 1, 0};
    bytes.insert(bytes.end(), timestamp.begin(), timestamp.end());
    bytes.resize(22);
    bytes.push_back(static_cast<uint8_t>(data.size()));
    bytes.push_back(static_cast<uint8_t>(data.size() >> 8));
    bytes.insert(bytes.end(), data.begin(), data.end());
    return bytes;
}

class PersistentEventLogOfASimulatedDrive : public SimulatedDrive {
protected:
    static constexpr uint8_t READ = 0;
    static constexpr uint8_t ESTABLISH = 1;
    static constexpr uint8_t RELEASE = 2;

    uint16_t act(uint8_t lsp, uint32_t bytes = 512, uint32_t offset = 0) {
        return status(admin(0x02, 0, 0x0D | static_cast<uint32_t>(lsp) << 8 | (bytes / 4 - 1) << 16, 0, offset));
    }
    /// The whole log of this moment.
    Bytes readLog() {
        EXPECT_EQ(act(ESTABLISH), 0);
        const auto length = static_cast<uint32_t>(number(data, 8, 8));
        EXPECT_EQ(act(READ, (length + 3) / 4 * 4), 0);
        Bytes page = data;
        page.resize(length);
        EXPECT_EQ(act(RELEASE), 0);
        return page;
    }
    /// The events without the SMART snapshot and the first power-on, with which each log of these tests ends.
    Bytes events() {
        const Bytes page = readLog();
        constexpr size_t TAIL = 24 + 512 + 24 + 44;
        EXPECT_GE(page.size(), 512 + TAIL);
        EXPECT_EQ(page[page.size() - TAIL], 0x01) << "SMART snapshot";
        EXPECT_EQ(page[page.size() - 68], 0x04) << "power-on";
        return part(page, 512, page.size() - 512 - TAIL);
    }
    static Bytes together(std::initializer_list<Bytes> parts) {
        Bytes all;
        for (const Bytes& piece : parts) all.insert(all.end(), piece.begin(), piece.end());
        return all;
    }
    const Bytes AT_START = Bytes(8);
    const Bytes AFTER_1_SECOND{0xE8, 0x03, 0, 0, 0, 0, 0, 0};
};

TEST_F(PersistentEventLogOfASimulatedDrive, NewDriveHasItsPowerOn) {
    clock.advanceMs(7200000);
    const Bytes page = readLog();
    EXPECT_EQ(page.size(), 512U + 68);
    EXPECT_EQ(part(page, 0, 56), (Bytes{0x0D, 0, 0,    0, 1,    0,    0,    0,   0x44, 2, 0, 0, 0, 0, 0, 0,  //
                                        1,    0, 0xEC, 1, 0,    0xDD, 0x6D, 0,   0,    0, 0, 0, 2, 0, 0, 0,  //
                                        0,    0, 0,    0, 0,    0,    0,    0,   0,    0, 0, 0, 1, 0, 0, 0,  //
                                        0,    0, 0,    0, 0xDE, 0xFA, 0xDE, 0xFA}));
    EXPECT_EQ(text(page, 56, 60), "SIM1                VELKO Simulated NVMe SSD                ");
    EXPECT_EQ(text(page, 116, 256), "nqn.2026-01.com.velko.nimbrel:simulated:SIM1" + std::string(256 - 44, '\0'));
    EXPECT_EQ(part(page, 372, 108), Bytes(108));
    Bytes supported(32);
    supported[0] = 0xFE;
    supported[1] = 0x3F;
    supported[27] = 0x40;
    EXPECT_EQ(part(page, 480, 32), supported);
    Bytes powerOn{'V', 'S', 'I', 'M', '0', '1', '0', '0', 1, 0, 0};
    powerOn.resize(44);
    powerOn[8 + 16] = 1;  // power cycle
    EXPECT_EQ(part(page, 512, 68), event(0x04, AT_START, powerOn));
}

TEST_F(PersistentEventLogOfASimulatedDrive, ContextIsEstablishedReadAndReleased) {
    EXPECT_EQ(act(READ), 0x400C) << "no context";
    EXPECT_EQ(act(RELEASE), 0) << "no error without one";
    EXPECT_EQ(act(ESTABLISH), 0);
    const Bytes header = data;
    EXPECT_EQ(act(ESTABLISH), 0x400C) << "there is one";
    EXPECT_EQ(act(3), 0x4002) << "a reserved action";
    EXPECT_EQ(act(READ, 4, 580), 0x4002) << "after the end";
    EXPECT_EQ(status(admin(0x09, 0, 0x01, 3)), 0) << "something happens meanwhile";
    reopen();
    EXPECT_EQ(act(READ), 0);
    EXPECT_EQ(data, header) << "what is read in a context is unchanged";
    EXPECT_EQ(act(RELEASE), 0);
    EXPECT_EQ(data, Bytes(512));
    EXPECT_EQ(act(READ), 0x400C);
    EXPECT_EQ(act(ESTABLISH), 0);
    EXPECT_EQ(number(data, 4, 4), 3U) << "power-on, SMART snapshot, set feature";
    EXPECT_TRUE(succeeded(controller->reset(ResetKind::CONTROLLER)));
    EXPECT_EQ(act(READ), 0x400C) << "a reset released it";
}

TEST_F(PersistentEventLogOfASimulatedDrive, DriveWithoutTheLogRefusesIt) {
    description.supportsPersistentEventLog = false;
    describe();
    EXPECT_EQ(status(admin(0x09, 0, 0x01, 3)), 0);
    EXPECT_EQ(act(ESTABLISH), 0x4109);
    EXPECT_EQ(identify(0x01)[261] & 0x10, 0) << "LPA";
}

TEST_F(PersistentEventLogOfASimulatedDrive, FeaturesAndTimestampAreRecorded) {
    clock.advanceMs(1000);
    EXPECT_EQ(status(admin(0x09, 0, 0x80000004, 0x161)), 0);
    data = {0x00, 0x28, 0x2E, 0x8C, 0x9A, 0x01, 0, 0};
    EXPECT_EQ(status(admin(0x09, 0, 0x0E)), 0);
    clock.advanceMs(2);
    data.assign(512, 0);
    EXPECT_EQ(status(admin(0x09, 0, 0x16)), 0);
    Bytes behavior{0x02, 0, 0, 2, 0x16, 0, 0, 0, 0, 0, 0, 0};
    behavior.resize(12 + 512);
    EXPECT_EQ(events(), together({event(0x0B, {0x02, 0x28, 0x2E, 0x8C, 0x9A, 0x01, 2, 0}, behavior),
                                  event(0x03, AFTER_1_SECOND, {0xE8, 3, 0, 0, 0, 0, 0, 0, 0xE8, 3, 0, 0, 0, 0, 0, 0}),
                                  event(0x0B, AFTER_1_SECOND, {2, 0, 0, 0, 4, 0, 0, 0x80, 0x61, 1, 0, 0})}))
        << "the newest first; the time that the host sets has an event of its own";
}

TEST_F(PersistentEventLogOfASimulatedDrive, NamespacesAndFormatAreRecorded) {
    clock.advanceMs(1000);
    EXPECT_EQ(status(admin(0x0D, 1, 1)), 0);
    data.assign(4096, 0);
    data[1] = data[9] = 0x20;  // 8,192 blocks
    data[26] = 2;
    data[30] = 1;
    EXPECT_EQ(status(admin(0x0D, 0, 0)), 0);
    EXPECT_EQ(status(admin(0x80, 0xFFFFFFFF, 0x0402)), 0);
    Bytes removed(48);
    removed[0] = 1;
    removed[10] = removed[26] = 2;  // 131,072 blocks
    removed[44] = 1;
    Bytes created(48);
    created[9] = created[25] = 0x20;
    created[32] = 2;
    created[34] = 1;
    created[44] = 1;
    EXPECT_EQ(events(), together({event(0x08, AFTER_1_SECOND, {0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 0, 0, 0, 0}),
                                  event(0x07, AFTER_1_SECOND, {0xFF, 0xFF, 0xFF, 0xFF, 4, 0, 0, 0, 2, 4, 0, 0}),
                                  event(0x06, AFTER_1_SECOND, created), event(0x06, AFTER_1_SECOND, removed)}));
}

TEST_F(PersistentEventLogOfASimulatedDrive, SanitizeIsRecordedFromStartToCompletion) {
    EXPECT_EQ(status(admin(0x84, 0, 0x02)), 0);
    clock.advanceMs(10000);
    EXPECT_EQ(events(), together({event(0x0A, {0x10, 0x27, 0, 0, 0, 0, 0, 0}, {0xFF, 0xFF, 0x01, 0x01, 0, 0, 0, 0}),
                                  event(0x09, AT_START, {7, 0, 0, 0x60, 2, 0, 0, 0, 0, 0, 0, 0})}));
}

TEST_F(PersistentEventLogOfASimulatedDrive, ResetsAreRecorded) {
    reopen();
    clock.advanceMs(1000);
    EXPECT_TRUE(succeeded(controller->reset(ResetKind::CONTROLLER)));
    clock.advanceMs(1000);
    EXPECT_TRUE(succeeded(controller->reset(ResetKind::SUBSYSTEM)));
    description.faults.powerLoss = {{true, 0x06, 0}};
    describe();
    EXPECT_EQ(run(admin(0x06, 0, 1)).delivery, features::simulator::Delivery::GONE);
    const auto reset = [](uint8_t cycle, const Bytes& sincePowerOn) {
        Bytes bytes{'V', 'S', 'I', 'M', '0', '1', '0', '0', 1, 0, 0};
        bytes.resize(44);
        bytes[24] = cycle;
        std::copy(sincePowerOn.begin(), sincePowerOn.end(), bytes.begin() + 28);
        return bytes;
    };
    EXPECT_EQ(events(), together({event(0x04, AT_START, reset(3, {0})),  //
                                  event(0x05, AT_START, {8, 0, 0, 0}),   // unsafe shutdown
                                  event(0x04, AT_START, reset(2, {0})), event(0x04, AT_START, reset(1, {0xE8, 3}))}));
}

TEST_F(PersistentEventLogOfASimulatedDrive, FaultsAreRecorded) {
    description.faults.criticalWarning = 0x08;
    description.faults.temperatureCelsius = 86;  // CCTEMP is 85
    description.faults.mediaErrors = {{1, 10, 1}};
    describe();
    EXPECT_EQ(status(io(0x02, 1, 10)), 0x4281);
    Bytes telemetry(512);
    const Bytes head{8, 0, 0, 0, 0, 0x4C, 0x56, 2, 2, 0, 10, 0, 13, 0};
    std::copy(head.begin(), head.end(), telemetry.begin());
    telemetry[382] = telemetry[383] = 1;
    const std::string reason = "Media and data integrity error";
    std::copy(reason.begin(), reason.end(), telemetry.begin() + 384);
    EXPECT_EQ(events(), together({event(0x0C, AT_START, telemetry),        //
                                  event(0x05, AT_START, {0x0A, 0, 0, 0}),  // media
                                  event(0x0D, AT_START, {1, 2}),           // 1 degree above the critical threshold
                                  event(0x05, AT_START, {6, 0, 0, 0, 0x0A, 0, 0, 0})}));
}

TEST_F(PersistentEventLogOfASimulatedDrive, RefusedFirmwareCommitIsRecorded) {
    EXPECT_EQ(status(admin(0x10, 0, 3 << 3 | 4)), 0x4107) << "there is nothing in slot 4";
    EXPECT_EQ(events(), event(0x02, AT_START, {'V', 'S', 'I', 'M', '0', '1', '0', '0', 'V', 'S', 'I',
                                               'M', '0', '1', '0', '0', 3,   4,   1,   7,   0,   0}));
}

TEST_F(PersistentEventLogOfASimulatedDrive, SelfTestIsAVendorSpecificEvent) {
    EXPECT_EQ(status(admin(0x14, 0, 1)), 0);
    clock.advanceMs(10000);
    Bytes data{1, 0, 1, 0, 9, 0, 'S', 'e', 'l', 'f', '-', 't', 'e', 's', 't', 1, 0, 3, 0, 28, 0, 0x10};
    data.resize(15 + 6 + 28);
    EXPECT_EQ(events(), event(0xDE, {0x10, 0x27, 0, 0, 0, 0, 0, 0}, data));
}

TEST_F(PersistentEventLogOfASimulatedDrive, SnapshotIsTakenEachDay) {
    EXPECT_EQ(status(admin(0x09, 0, 0x01, 3)), 0);
    EXPECT_EQ(status(admin(0x09, 0, 0x01, 3)), 0);
    clock.advanceMs(3 * 86400000);
    EXPECT_EQ(status(admin(0x09, 0, 0x01, 3)), 0);
    const Bytes page = readLog();
    EXPECT_EQ(number(page, 4, 4), 6U);
    EXPECT_EQ(page[512], 0x0B);
    EXPECT_EQ(page[512 + 36], 0x01);
    EXPECT_EQ(page[512 + 36 + 24 + 128], 72) << "power-on hours in the snapshot";
}

TEST_F(PersistentEventLogOfASimulatedDrive, OldestEventsGoFirst) {
    // Set Features of Host Behavior Support has 548 bytes with its data: 477 such events fill the log.
    const auto setFeature = [](uint16_t ms) {
        Bytes data{0x02, 0, 0, 2, 0x16, 0, 0, 0, 0, 0, 0, 0};
        data.resize(12 + 512);
        return event(0x0B, {static_cast<uint8_t>(ms), static_cast<uint8_t>(ms >> 8), 0, 0, 0, 0, 0, 0}, data);
    };
    EXPECT_EQ(status(admin(0x09, 0, 0x01, 3)), 0);
    std::ofstream file(path() + "/log-persistent-events-0", std::ios::binary);
    for (uint16_t ms = 1; ms <= 477; ++ms) {
        const Bytes bytes = setFeature(ms);
        file.write(reinterpret_cast<const char*>(bytes.data()), 548);
    }
    file.close();
    features::simulator::DriveFolder drive(path(), features::simulator::impossibleIn);
    ASSERT_TRUE(succeeded(drive.begin()));
    drive.state.extensions["persistent-events"] = {0, 0x14, 0xFD, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0};  // 261,396 bytes
    ASSERT_TRUE(succeeded(drive.commit()));
    EXPECT_EQ(readLog().size(), 512U + 477 * 548);

    clock.advanceMs(477);
    for (int i = 0; i < 10; ++i) {
        clock.advanceMs(1);
        data.assign(512, 0);
        ASSERT_EQ(status(admin(0x09, 0, 0x16)), 0);
    }
    const Bytes page = readLog();
    EXPECT_EQ(number(page, 4, 4), 360U) << "three quarters of the log when it was full, and two since";
    Bytes newestFirst;
    for (uint16_t ms = 487; ms > 487 - 360; --ms) {
        const Bytes bytes = setFeature(ms);
        newestFirst.insert(newestFirst.end(), bytes.begin(), bytes.end());
    }
    EXPECT_EQ(part(page, 512, page.size() - 512), newestFirst);
    struct stat info{};
    EXPECT_EQ(::stat((path() + "/state").c_str(), &info), 0);
    EXPECT_LT(info.st_size, 8192) << "the state stays small";
}

TEST_F(PersistentEventLogOfASimulatedDrive, BytesOfADeadProcessDoNotCount) {
    for (int i = 0; i < 10; ++i) {
        data.assign(512, 0);
        ASSERT_EQ(status(admin(0x09, 0, 0x16)), 0);
    }
    const Bytes before = readLog();
    // As if a process had written and died before the state showed it.
    std::FILE* file = std::fopen((path() + "/log-persistent-events-0").c_str(), "ab");
    ASSERT_NE(file, nullptr);
    std::fputs("garbage", file);
    std::fclose(file);
    EXPECT_EQ(readLog(), before);
    for (int i = 0; i < 10; ++i) {
        data.assign(512, 0);
        ASSERT_EQ(status(admin(0x09, 0, 0x16)), 0);
    }
    EXPECT_EQ(number(readLog(), 4, 4), 22U) << "the next events took their place";
}

TEST_F(PersistentEventLogOfASimulatedDrive, DamagedFileFailsTheLogAlone) {
    for (int i = 0; i < 10; ++i) {
        data.assign(512, 0);
        ASSERT_EQ(status(admin(0x09, 0, 0x16)), 0);
    }
    ASSERT_EQ(::truncate((path() + "/log-persistent-events-0").c_str(), 100), 0);
    EXPECT_EQ(act(ESTABLISH), 0x0006) << "Internal Error";
    EXPECT_EQ(status(admin(0x09, 0, 0x01, 3)), 0);
    EXPECT_EQ(status(admin(0x02, 0, 0x007F0107)), 0) << "telemetry is captured without it";
}

}  // namespace
