#include "tests/unit/features/simulator/SimulatedDrive.h"

using features::simulator::Delivery;
using features::simulator::ModelId;
using features::simulator::ResetKind;

using namespace std::string_literals;

namespace {

/// What a drive of OCP 2.6 has beside one of 2.0.
class Ocp26ModelOfASimulatedDrive : public SimulatedDrive {
protected:
    Ocp26ModelOfASimulatedDrive() {
        describe(ModelId::OCP_2_6);
        reopen();
    }

    uint16_t set(uint8_t fid, uint32_t dword11, uint8_t uuidIndex = 0) {
        return status(admin(0x09, 0, fid, dword11, 0, 0, uuidIndex));
    }
    uint16_t setData(uint8_t fid, uint32_t dword11, const Bytes& head) {
        data = head;
        data.resize(4096);
        return status(admin(0x09, 0, fid, dword11));
    }
    uint32_t get(uint8_t fid, uint32_t select = 0) {
        const auto completion = run(admin(0x0A, 0, fid | select << 8));
        EXPECT_EQ(completion.statusField, 0);
        return completion.dword0;
    }
    /// An error of one entry, injected once after so many reads.
    uint16_t injectOnce(uint8_t type, uint8_t reads) { return setData(0xC0, 1, Bytes{3, 0, type, 0, reads, 0}); }
    uint16_t readBlock() { return status(io(0x02, 1, 0, 0, 0)); }
    /// Lets commands of the I/O queues with this opcode take so long; 0: as always.
    void slow(uint8_t opcode, uint32_t ms) {
        description.faults.slow.clear();
        if (ms != 0) description.faults.slow = {{false, opcode, 0, false, ms}};
        describe();
    }
    void expectGuid(const Bytes& page, size_t offset, const Bytes& guid) { EXPECT_EQ(part(page, offset, 16), guid); }

    /// The bytes of a data area of a new capture, from its beginning.
    Bytes captureArea(unsigned area) {
        const Bytes head = log(0x07, 512, 1);
        const auto first = area == 1 ? uint64_t{0} : number(head, 8, 2);
        const auto last = number(head, area == 1 ? 8 : 10, 2);
        const Bytes page = log(0x07, static_cast<uint32_t>((last + 1) * 512));
        return part(page, static_cast<size_t>((first + 1) * 512), static_cast<size_t>((last - first) * 512));
    }
    /// A part of an area: start and size in dwords are at `offset` of the head of area 1.
    Bytes partAt(const Bytes& head, size_t offset, const Bytes& area) {
        return part(area, static_cast<size_t>(number(head, offset, 8) * 4),
                    static_cast<size_t>(number(head, offset + 8, 8) * 4));
    }
};

TEST_F(Ocp26ModelOfASimulatedDrive, ReportsNvme20AndTwoUuids) {
    const Bytes id = identify(1);
    EXPECT_EQ(number(id, 80, 4), 0x00020000U) << "VER";
    EXPECT_EQ(number(id, 96, 4) & 0x00088210U, 0x200U) << "CTRATT: a UUID List; no endurance groups and no FDP";
    EXPECT_EQ(id[261], 0x3E) << "LPA without data area 4";
    EXPECT_EQ(identify(0x1C)[0], 1) << "what 2.0 made mandatory";
    const Bytes list = identify(0x17);
    Bytes expected(4096);
    const Bytes maker{1,    0,    0,    0,    0,    0,    0,    0,    0,    0,    0,    0,    0,    0,    0,    0,
                      0x5E, 0x1A, 0x09, 0xD2, 0x4B, 0x77, 0x4E, 0x3C, 0x91, 0x0F, 0xC6, 0x2D, 0x38, 0xA4, 0x70, 0xBE};
    const Bytes ocp{0xC1, 0x94, 0xD5, 0x5B, 0xE0, 0x94, 0x47, 0x94, 0xA2, 0x1D, 0x29, 0x99, 0x8F, 0x56, 0xBE, 0x6F};
    std::copy(maker.begin(), maker.end(), expected.begin() + 32);
    std::copy(ocp.begin(), ocp.end(), expected.begin() + 80);
    EXPECT_EQ(list, expected);
}

TEST_F(Ocp26ModelOfASimulatedDrive, IsAddressedByOcpsUuidIndexOrNone) {
    constexpr struct {
        uint8_t uuidIndex;
        uint16_t status;
        const char* why;
    } CASES[] = {
        {0, 0, "none"},
        {1, 0x4002, "the maker has no pages and features there"},
        {2, 0, "OCP's"},
        {3, 0x4002, "not in the list"},
    };
    for (const auto& c : CASES) {
        for (const uint32_t lid : {0xC0U, 0xC1U, 0xC2U, 0xC3U, 0xC4U, 0xC5U, 0xC6U, 0xC7U, 0xC9U}) {
            EXPECT_EQ(status(admin(0x02, 0xFFFFFFFF, lid | 0x0F0000, 0, 0, 0, c.uuidIndex)), c.status)
                << lid << ", " << c.why;
        }
        for (const uint32_t fid : {0xC0U, 0xC2U, 0xC3U, 0xC4U, 0xC5U, 0xC6U, 0xC7U, 0xC8U, 0xC9U, 0xCAU})
            EXPECT_EQ(status(admin(0x0A, 0, fid, 0, 0, 0, c.uuidIndex)), c.status) << fid << ", " << c.why;
        EXPECT_EQ(set(0xC9, 1, c.uuidIndex), c.status) << c.why;
    }
    EXPECT_EQ(status(admin(0x02, 0xFFFFFFFF, 0x7F0002, 0, 0, 0, 2)), 0x4002) << "a page of the standard";
    EXPECT_EQ(status(admin(0x0A, 0, 0x01, 0, 0, 0, 2)), 0x4002) << "a feature of the standard";
    EXPECT_EQ(status(admin(0x02, 0xFFFFFFFF, 0x7F00C8)), 0x4109) << "C8h is reserved";
    EXPECT_EQ(status(admin(0x0A, 0, 0xC1)), 0x4002) << "C1h is obsolete";
}

TEST_F(Ocp26ModelOfASimulatedDrive, ListsItsFeaturesWithTheirScope) {
    const Bytes features = log(0x12, 1024);
    EXPECT_EQ(number(features, 4 * 0xC0, 4), 0x02080001U) << "of the NVM subsystem, by UUID Index";
    EXPECT_EQ(number(features, 4 * 0xC1, 4), 0U);
    EXPECT_EQ(number(features, 4 * 0xC5, 4), 0x00280001U) << "of the controller, by UUID Index";
    EXPECT_EQ(number(features, 4 * 0xC8, 4), 0x02080001U);
    EXPECT_EQ(number(features, 4 * 0x01, 4), 0x00200001U);
}

TEST_F(Ocp26ModelOfASimulatedDrive, NewFeaturesHaveTheirDefaultsAndLimits) {
    EXPECT_EQ(get(0xC8), 0U);
    EXPECT_EQ(set(0xC8, 2), 0);
    EXPECT_EQ(get(0xC8), 2U);
    EXPECT_EQ(set(0xC8, 3), 0x4002) << "two profiles beside 0";
    EXPECT_EQ(get(0xC8, 3), 5U) << "saveable and changeable";
    EXPECT_EQ(set(0xC9, 1), 0);
    EXPECT_EQ(get(0xC9), 1U);
    EXPECT_EQ(set(0xC9, 2), 0x4002) << "a reserved bit";
    EXPECT_EQ(get(0xCA), 0U);
    EXPECT_EQ(set(0xCA, 1), 0x410E) << "not changeable";
}

TEST_F(Ocp26ModelOfASimulatedDrive, ExtendedSmartLogHasAllFields) {
    const Bytes page = log(0xC0, 512);
    EXPECT_EQ(part(page, 98, 6), (Bytes{0, 0, 0, 6, 0, 2})) << "version 2.6";
    Bytes expected(156);  // from byte 208 on
    expected[216 - 208] = 32;
    expected[218 - 208] = 1;
    expected[222 - 208] = 38;
    expected[240 - 208] = expected[248 - 208] = expected[256 - 208] = 100;
    const std::string revision = "OSIM0260";
    std::copy(revision.begin(), revision.end(), expected.begin() + 270 - 208);
    const Bytes uuid{0x9B, 0x2F, 0x61, 0xC4, 0x0D, 0x5A, 0x4F, 0x17, 0xA8, 0x33, 0x7E, 0x10, 0xD9, 0x46, 0xB2, 0x5C};
    std::copy(uuid.begin(), uuid.end(), expected.begin() + 278 - 208);
    const std::string label = "simulated" + std::string(55, ' ');
    std::copy(label.begin(), label.end(), expected.begin() + 294 - 208);
    EXPECT_EQ(part(page, 208, 156), expected);
    EXPECT_EQ(part(page, 364, 2), (Bytes{100, 0})) << "dies in use";
    EXPECT_EQ(part(page, 366, 128), Bytes(128));
    EXPECT_EQ(number(page, 494, 2), 6U);
}

TEST_F(Ocp26ModelOfASimulatedDrive, KeepsThePanicsBefore) {
    EXPECT_EQ(injectOnce(4, 0), 0);
    EXPECT_EQ(readBlock(), 0x0006);
    EXPECT_TRUE(succeeded(controller->reset(ResetKind::CONTROLLER)));
    EXPECT_EQ(injectOnce(9, 0), 0);
    EXPECT_EQ(readBlock(), 0x0006);
    EXPECT_EQ(readBlock(), 0x0006) << "the same panic";
    EXPECT_TRUE(succeeded(controller->reset(ResetKind::CONTROLLER)));
    Bytes expected(496);
    expected[0] = 100;
    expected[2] = 3;
    expected[4] = 9;
    expected[31] = 2;  // panics
    expected[32] = 4;  // the one before
    expected[494] = 3;
    EXPECT_EQ(part(log(0xC1, 512), 0, 496), expected);
}

TEST_F(Ocp26ModelOfASimulatedDrive, InjectedErrorsHitTheirCommands) {
    EXPECT_EQ(injectOnce(0x17, 0), 0x4002) << "of version 2.7";
    EXPECT_EQ(injectOnce(0x0F, 1), 0);
    EXPECT_EQ(readBlock(), 0);
    EXPECT_EQ(readBlock(), 0x0006) << "I/O command failure";
    EXPECT_EQ(readBlock(), 0) << "once";
    EXPECT_EQ(number(log(0xC1, 512), 4, 8), 0U) << "no panic";
    EXPECT_EQ(injectOnce(0x10, 0), 0);
    EXPECT_EQ(run(io(0x02, 1)).delivery, Delivery::NEVER) << "I/O command timeout";
    EXPECT_EQ(readBlock(), 0);
    EXPECT_EQ(injectOnce(0x11, 0), 0);
    EXPECT_EQ(readBlock(), 0);
    EXPECT_EQ(status(admin(0x06, 0, 1)), 0x0006) << "Admin command failure";
    EXPECT_EQ(injectOnce(0x12, 0), 0);
    EXPECT_EQ(run(admin(0x06, 0, 1)).delivery, Delivery::NEVER) << "Admin command timeout";
    EXPECT_EQ(number(log(0xC0, 512), 232, 4), 2U) << "Command Timeouts";
    EXPECT_EQ(injectOnce(0x13, 0), 0);
    EXPECT_EQ(readBlock(), 0);
    EXPECT_EQ(part(log(0xC0, 512), 96, 2), (Bytes{1, 1})) << "throttled";
    EXPECT_EQ(injectOnce(0x14, 0), 0);
    EXPECT_EQ(readBlock(), 0);
    EXPECT_EQ(part(log(0xC0, 512), 96, 2), (Bytes{1, 0}));
    EXPECT_EQ(injectOnce(0x16, 0), 0);
    EXPECT_EQ(readBlock(), 0);
    EXPECT_EQ(number(log(0xC0, 512), 220, 2), 1U) << "a die is offline";
    EXPECT_EQ(injectOnce(0x0E, 0), 0);
    EXPECT_EQ(run(io(0x02, 1)).delayMs, 300U) << "latency spike";
}

TEST_F(Ocp26ModelOfASimulatedDrive, LatencyMonitorCountsSlowCommands) {
    // Thresholds of 10, 20, 30 and 40 ms, 10 minutes; stamps but for Read in bucket 0; a debug log of Write in
    // bucket 3.
    EXPECT_EQ(setData(0xC5, 0, {2, 0, 1, 3, 5, 7, 0xFE, 0x0F, 10, 0x00, 0x04, 0, 1}), 0);
    data.assign(8, 0);
    data[0] = 5;  // the host's time: 5 ms since 1970
    EXPECT_EQ(status(admin(0x09, 0, 0x0E)), 0);
    slow(0x02, 9);
    EXPECT_EQ(readBlock(), 0);
    slow(0x02, 10);
    EXPECT_EQ(readBlock(), 0);
    EXPECT_EQ(readBlock(), 0);
    slow(0x01, 45);
    data.assign(512, 1);
    EXPECT_EQ(status(io(0x01, 1, 0, 0, 0)), 0);
    clock.advanceMs(1000);
    data.assign(512, 1);
    slow(0x01, 44);
    EXPECT_EQ(status(io(0x01, 1, 0, 0, 0)), 0) << "shorter: the stamp stays";
    slow(0x02, 25);
    EXPECT_EQ(status(io(0x02, 1, 0xFFFFFF, 0, 0)), 0x4080) << "a command that fails is not counted";
    slow(0, 0);
    Bytes expected(496);
    const Bytes head{1, 0, 0, 0, 2, 0, 1, 3, 5, 7, 0xFE, 0x0F, 10};
    std::copy(head.begin(), head.end(), expected.begin());
    expected[32 + 12] = 2;          // bucket 0: Read
    expected[32 + 3 * 16 + 8] = 2;  // bucket 3: Write
    std::fill_n(expected.begin() + 96, 96, uint8_t{0xFF});
    std::fill_n(expected.begin() + 304, 96, uint8_t{0xFF});
    const Bytes stamp{5, 0, 0, 0, 0, 0, 0, 0};
    std::copy(stamp.begin(), stamp.end(), expected.begin() + 96 + 8);  // bucket 3 is first: Write
    expected[192 + 2] = 45;
    expected[217] = 0x04;  // bit 10: the host's time
    expected[449] = 0x04;  // Debug Log Trigger Enable
    expected[450] = 45;
    std::copy(stamp.begin(), stamp.end(), expected.begin() + 452);
    expected[463] = 0x04;
    expected[464] = 1;
    expected[494] = 4;
    EXPECT_EQ(part(log(0xC3, 512), 0, 496), expected);

    clock.advanceMs(300000);
    EXPECT_EQ(log(0xC3, 512)[2], 1) << "5 minutes";
    clock.advanceMs(300000);
    const Bytes settled = log(0xC3, 512);
    EXPECT_EQ(settled[2], 0);
    EXPECT_EQ(part(settled, 32, 64), Bytes(64)) << "the active buckets are empty";
    EXPECT_EQ(part(settled, 240, 64), part(expected, 32, 64)) << "they are the static ones";
    EXPECT_EQ(part(settled, 304, 122), part(expected, 96, 122));
    clock.advanceMs(1200000);
    EXPECT_EQ(part(log(0xC3, 512), 240, 64), Bytes(64)) << "after a time without such commands";
    EXPECT_EQ(log(0xC3, 512)[450], 45) << "the debug log stays";
    EXPECT_EQ(setData(0xC5, 0, {2, 0, 1, 3, 5, 7, 0xFE, 0x0F, 10, 0, 0, 1, 1}), 0);
    EXPECT_EQ(part(log(0xC3, 512), 450, 10), (Bytes{0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}))
        << "discarded";
}

TEST_F(Ocp26ModelOfASimulatedDrive, LatencyMonitorThatIsOffCountsNothing) {
    EXPECT_EQ(setData(0xC5, 0, {2, 0, 1, 3, 5, 7, 0xFF, 0x0F, 10, 0, 0, 0, 0}), 0);
    slow(0x02, 50);
    EXPECT_EQ(readBlock(), 0);
    EXPECT_EQ(part(log(0xC3, 512), 32, 64), Bytes(64));
}

TEST_F(Ocp26ModelOfASimulatedDrive, ListsComponentsRequirementsAndNames) {
    const Bytes unsupported = log(0xC5, 4096);
    EXPECT_EQ(number(unsupported, 0, 2), 1U);
    EXPECT_EQ(text(unsupported, 16, 16), "NVMe-IO-14" + std::string(6, '\0'));
    EXPECT_EQ(number(unsupported, 4078, 2), 1U);

    const Bytes hardware = log(0xC6, 300);
    EXPECT_EQ(number(hardware, 0, 2), 2U);
    expectGuid(hardware, 16,
               {0xDC, 0x57, 0x0F, 0x9F, 0xB9, 0x31, 0x6B, 0xB7, 0xD0, 0x4E, 0xCD, 0x30, 0x1F, 0x82, 0xB6, 0xBC});
    EXPECT_EQ(number(hardware, 32, 8), 272U) << "bytes: a head of 64, four of 44, texts of 8 + 12, 8 and 4";
    EXPECT_EQ(part(hardware, 64, 20), (Bytes{2, 0, 0, 0, 0, 0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0}));
    EXPECT_EQ(text(hardware, 84, 44), "SIMULATEA1      0001    2026W01\0controller\0\0"s.substr(0, 44));
    EXPECT_EQ(number(hardware, 224 + 16, 4), 9U) << "the serial number";
    EXPECT_EQ(text(hardware, 268, 4), "SIM1");

    const Bytes tcg = log(0xC7, 512);
    EXPECT_EQ(part(tcg, 0, 494), Bytes(494)) << "no Security Provider";
    EXPECT_EQ(number(tcg, 494, 2), 1U);
    expectGuid(tcg, 496,
               {0x06, 0x40, 0x24, 0xBD, 0x7E, 0xE0, 0xE6, 0x83, 0xC0, 0x47, 0x54, 0xFA, 0x9D, 0x2A, 0xE0, 0x54});
}

TEST_F(Ocp26ModelOfASimulatedDrive, NamesTheMakersStatisticsAndEvents) {
    const Bytes names = log(0xC9, 628);
    EXPECT_EQ(names[0], 1);
    expectGuid(names, 16,
               {0x44, 0xAA, 0x57, 0x00, 0x94, 0x95, 0xA4, 0x9E, 0x8B, 0x40, 0x8F, 0x1A, 0x69, 0x83, 0x3A, 0xB1});
    EXPECT_EQ(number(names, 32, 8), 157U) << "dwords";
    const struct {
        size_t offset;
        uint64_t start;
        uint64_t size;
    } PARTS[] = {{64, 108, 4}, {80, 112, 8}, {96, 120, 12}, {112, 132, 25}};
    for (const auto& each : PARTS) {
        EXPECT_EQ(number(names, each.offset, 8), each.start) << each.offset;
        EXPECT_EQ(number(names, each.offset + 8, 8), each.size) << each.offset;
    }
    EXPECT_EQ(text(names, 128, 32), "Host and resets\0Drive\0\0\0\0\0\0\0\0\0\0\0"s);
    EXPECT_EQ(part(names, 432, 16), (Bytes{0x01, 0x80, 0, 15, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(part(names, 448, 16), (Bytes{0x80, 1, 0, 17, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(part(names, 480, 16), (Bytes{6, 1, 0, 13, 13, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(text(names, 528, 100),
              "Commands refusedFirmware activated  Error injected  Injected panic  Failed blockEvents in the drive ");
}

TEST_F(Ocp26ModelOfASimulatedDrive, TelemetryHasStatisticsAndHostEventsInArea1) {
    EXPECT_EQ(set(0xC8, 1), 0);
    data.assign(8, 0);
    EXPECT_EQ(status(admin(0x09, 0, 0x0E)), 0);
    EXPECT_EQ(status(admin(0x02, 0xFFFFFFFF, 0x7F00C8)), 0x4109);
    EXPECT_TRUE(succeeded(controller->reset(ResetKind::SUBSYSTEM)));
    EXPECT_TRUE(succeeded(controller->reset(ResetKind::CONTROLLER)));
    const Bytes area = captureArea(1);
    EXPECT_EQ(part(area, 0, 4), (Bytes{2, 0, 6, 0})) << "version";
    EXPECT_EQ(part(area, 32, 2), (Bytes{2, 0})) << "profiles: two, and the saved one";
    EXPECT_EQ(number(area, 40, 8), 157U) << "dwords of log page C9h";
    EXPECT_EQ(text(area, 56, 8), "OSIM0260");
    EXPECT_EQ(part(area, 160, 16), (Bytes{1, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(part(area, 512, 7), part(log(0x02, 512), 0, 7));
    EXPECT_EQ(number(area, 1024 + 494, 2), 6U);
    EXPECT_EQ(number(area, 96, 8), 384U) << "after the copies";
    const Bytes statistics = partAt(area, 96, area);
    EXPECT_EQ(part(statistics, 0, 36), (Bytes{0x04, 0, 0, 0, 1, 0, 0,    0, 1, 0, 0, 0, 0x0B, 0, 0,  0, 1, 0,
                                              0,    0, 0, 0, 0, 0, 0x0C, 0, 0, 0, 1, 0, 0,    0, 25, 0, 0, 0}));
    EXPECT_EQ(part(statistics, statistics.size() - 12, 12), (Bytes{0x01, 0x80, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0}))
        << "one command was refused";
    const Bytes events = partAt(area, 176, area);
    EXPECT_EQ(events, (Bytes{1, 0, 0, 2, 0,    0,    0,    0, 0, 0, 0, 0,                 // the host set the time
                             3, 7, 0, 2, 0x02, 0x12, 0x82, 0, 0, 0, 0, 0xC8,              // Get Log Page of C8h
                             4, 1, 0, 0, 2,    0,    0,    1, 0, 4, 3, 0,    5, 0, 0, 0,  // power cycle, link, firmware
                             3, 0, 0, 2, 0,    0,    0,    0, 0, 0, 0, 0,                 // CC.EN
                             3, 1, 0, 2, 0,    0,    0,    0, 0, 0, 0, 0,    3, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST_F(Ocp26ModelOfASimulatedDrive, TelemetryHasDriveEventsInArea2) {
    description.faults.mediaErrors = {{1, 100, 1}};
    description.faults.temperatureCelsius = 90;
    describe();
    EXPECT_EQ(status(io(0x02, 1, 100, 0, 0)), 0x4281);
    EXPECT_EQ(injectOnce(0x16, 0), 0);
    EXPECT_EQ(readBlock(), 0);
    EXPECT_EQ(injectOnce(4, 0), 0);
    EXPECT_EQ(readBlock(), 0x0006);
    const Bytes head = captureArea(1);
    const Bytes area = captureArea(2);
    EXPECT_EQ(head[1024 + 222], 90) << "the highest temperature";
    const Bytes statistics = partAt(head, 112, area);
    EXPECT_EQ(part(statistics, 12, 12), (Bytes{0x48, 0, 0, 0, 1, 0, 0, 0, 0x6B, 0x01, 0, 0})) << "363 K";
    EXPECT_EQ(partAt(head, 192, area),
              (Bytes{0x0B, 0, 0, 1, 1,    0, 0,   0,                          // start
                     7,    2, 0, 0,                                           // CCTEMP was reached
                     8,    1, 0, 3, 1,    0, 100, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // block 100
                     0x80, 2, 0, 1, 0x16, 0, 0,   0,                          // the die that went offline
                     6,    6, 0, 1, 1,    0, 4,   0,                          // panic 4
                     9,    0, 0, 3, 0,    0, 0,   0, 0, 0, 0, 0, 0, 0, 0, 0,  // no terabyte yet
                     0x0A, 0, 0, 0, 0x45, 0, 0,   0, 1, 0, 0, 0, 1, 0, 0, 0,  // one panic
                     0x0B, 2, 0, 1, 1,    0, 0,   0}));                       // end
}

}  // namespace
