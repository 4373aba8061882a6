// The maker's log pages and Force Flush, against what docs/vendor-interface.md publishes.

#include <algorithm>

#include "tests/unit/features/simulator/SimulatedDrive.h"

using features::simulator::ModelId;
using features::simulator::ResetKind;

namespace {

class VelkoLogs : public SimulatedDrive {
protected:
    void write(uint32_t lba, uint32_t blocks) {
        data.assign(blocks * 512, 0x5A);
        EXPECT_EQ(status(io(0x01, 1, lba, 0, blocks - 1)), 0);
    }
    void read(uint32_t lba, uint32_t blocks) { EXPECT_EQ(status(io(0x02, 1, lba, 0, blocks - 1)), 0); }
    uint16_t set(uint32_t fid, uint32_t dword11) { return status(admin(0x09, 0, fid, dword11)); }
    uint16_t flush(uint32_t dword10) { return status(admin(0xC0, 0, dword10)); }
    /// A part of a log page, from an offset on.
    Bytes logAt(uint8_t lid, uint32_t offset, uint32_t bytes) {
        EXPECT_EQ(run(admin(0x02, 0xFFFFFFFF, lid | (bytes / 4 - 1) << 16, 0, offset)).statusField, 0);
        return data;
    }
    /// A whole binary log, read as a host does.
    Bytes binaryLog(uint8_t lid) {
        Bytes whole = logAt(lid, 0, 64);
        const Bytes rest = logAt(lid, 64, static_cast<uint32_t>(number(whole, 8, 8)) - 64);
        whole.insert(whole.end(), rest.begin(), rest.end());
        return whole;
    }
    void reset() {
        if (!controller) reopen();
        EXPECT_TRUE(succeeded(controller->reset(ResetKind::CONTROLLER)));
    }
};

TEST_F(VelkoLogs, AreListedOnTheMakersModelAlone) {
    const Bytes mine = log(0x00, 1024);
    for (unsigned lid = 0xD0; lid <= 0xD9; ++lid) EXPECT_EQ(mine[lid * 4], 1) << lid;
    for (const unsigned lid : {0xCFU, 0xDAU}) EXPECT_EQ(mine[lid * 4], 0) << lid;
    EXPECT_EQ(log(0x05, 4096)[0xC0 * 4], 1) << "Force Flush is supported";
    describe(ModelId::OCP);
    reopen();
    const Bytes others = log(0x00, 1024);
    for (unsigned lid = 0xD0; lid <= 0xD9; ++lid) {
        EXPECT_EQ(others[lid * 4], 0) << lid;
        EXPECT_EQ(status(admin(0x02, 0xFFFFFFFF, lid | 0xF0000)), 0x4109);
    }
    EXPECT_EQ(log(0x05, 4096)[0xC0 * 4], 0);
    EXPECT_EQ(flush(1), 0x4001);
}

TEST_F(VelkoLogs, RefuseWhatTheyDoNotDefine) {
    EXPECT_EQ(status(admin(0x02, 1, 0xF00D0)), 0x4002) << "not of a namespace";
    EXPECT_EQ(status(admin(0x02, 0xFFFFFFFF, 0xF01D0)), 0x4002) << "no LSP";
    EXPECT_EQ(status(admin(0x02, 0xFFFFFFFF, 0xFF04D1)), 0x4002) << "type 4";
    EXPECT_EQ(status(admin(0x02, 0xFFFFFFFF, 0xF00D8, 0, 64)), 0x4002) << "an offset at the end";
    EXPECT_EQ(logAt(0xD8, 60, 8), Bytes(8, 0)) << "zeros after the end";
}

TEST_F(VelkoLogs, ExtendedSmartCountsTheWork) {
    write(0, 1024);
    write(0, 1);
    description.faults.temperatureCelsius = 71;  // throttled from 70 on
    describe();
    const Bytes page = log(0xD0, 512);
    Bytes expected(512, 0);
    const auto put = [&expected](size_t offset, std::initializer_list<uint8_t> bytes) {
        std::copy(bytes.begin(), bytes.end(), expected.begin() + static_cast<std::ptrdiff_t>(offset));
    };
    put(0, {1});
    put(52, {0xFF, 0xFF, 0xFF, 0xFF, 1});                       // throttle count not reported, light
    put(60, {0x58, 0x01, 0x2A, 0x01, 0x66, 0x01, 0x11, 0x01});  // 344, 298, 358 and 273 kelvin
    put(72, {0x80, 0x02, 0x0A});                                // 656,000 bytes
    put(88, {0x00, 0x02, 0x08});                                // 524,800 bytes
    put(116, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF});
    EXPECT_EQ(page, expected);
    EXPECT_EQ(set(0xD9, 1), 0);
    EXPECT_EQ(log(0xD0, 512)[56], 255) << "throttling is disabled";
}

TEST_F(VelkoLogs, LatencyIsCountedWhileItIsTracked) {
    read(0, 8);
    EXPECT_EQ(number(log(0xD1, 1024), 8, 8), 0U) << "not tracked";
    EXPECT_EQ(log(0xD1, 1024)[3], 0);
    clock.advanceMs(5000);
    EXPECT_EQ(set(0xE2, 1), 0);
    read(0, 8);     // 4 KiB: 70 + 2 microseconds
    read(0, 9);     // up to 64 KiB
    read(0, 1024);  // 512 KiB: 70 + 256
    write(0, 1);    // 15
    const Bytes all = log(0xD1, 1024);
    Bytes expected = {1,    0, 0, 1, 8,    0,    0, 0, 3,    0,    0,    0,    0,    0,    0, 0, 0x46, 1, 0, 0,
                      0,    0, 0, 0, 0x88, 0x13, 0, 0, 0,    0,    0,    0,    0,    0,    0, 0, 20,   0, 0, 0,
                      0,    0, 0, 0, 0,    0,    0, 0, 20,   0,    0,    0,    50,   0,    0, 0, 0,    0, 0, 0,
                      0,    0, 0, 0, 50,   0,    0, 0, 100,  0,    0,    0,    2,    0,    0, 0, 0,    0, 0, 0,
                      100,  0, 0, 0, 200,  0,    0, 0, 0,    0,    0,    0,    0,    0,    0, 0, 200,  0, 0, 0,
                      0xF4, 1, 0, 0, 1,    0,    0, 0, 0,    0,    0,    0,    0xF4, 1,    0, 0, 0xE8, 3, 0, 0,
                      0,    0, 0, 0, 0,    0,    0, 0, 0xE8, 3,    0,    0,    0x10, 0x27, 0, 0, 0,    0, 0, 0,
                      0,    0, 0, 0, 0x10, 0x27, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0,    0,    0, 0, 0,    0, 0, 0};
    expected.resize(1024);
    EXPECT_EQ(all, expected);
    const uint64_t counted[] = {3, 1, 1, 1};
    for (uint8_t type = 0; type < 4; ++type) {
        const Bytes page = log(0xD1, 1024, type);
        EXPECT_EQ(page[2], type);
        EXPECT_EQ(number(page, 8, 8), counted[type]) << "type " << int{type};
    }
    reopen();
    EXPECT_EQ(number(log(0xD2, 1024), 8, 8), 1U) << "writes, after the process has ended";
    EXPECT_EQ(number(log(0xD2, 1024), 16, 8), 15U);
    EXPECT_EQ(set(0xE2, 0), 0);
    read(0, 8);
    EXPECT_EQ(number(log(0xD1, 1024), 8, 8), 3U) << "switched off, the numbers stay";
    EXPECT_EQ(set(0xE2, 1), 0);
    EXPECT_EQ(number(log(0xD1, 1024), 8, 8), 0U) << "switched on, it begins at 0";
}

TEST_F(VelkoLogs, AnAssertLogWithoutEntriesIsHeaderAndTrailer) {
    clock.advanceMs(0x123456);
    Bytes expected = {0x41, 0x53, 0x52, 0x54, 0x01, 0x00, 0x40, 0x00, 0x44, 0,    0,    0, 0, 0, 0, 0,
                      0,    0,    0,    0,    0x40, 0,    0,    0,    0x56, 0x34, 0x12, 0, 0, 0, 0, 0};
    const std::string names = "SIM1                VSIM0100";
    expected.insert(expected.end(), names.begin(), names.end());
    for (int i = 0; i < 2; ++i) expected.insert(expected.end(), {1, 0, 0, 0});  // generation in header and trailer
    EXPECT_EQ(binaryLog(0xD6), expected);
}

TEST_F(VelkoLogs, AnInternalErrorIsAnAssert) {
    description.faults.fail = {{true, 0x0A, 0x006}};
    describe();
    clock.advanceMs(1000);
    EXPECT_EQ(status(admin(0x0A, 0, 0xC6)) & 0x7FF, 0x006);
    const Bytes log = binaryLog(0xD6);
    EXPECT_EQ(number(log, 16, 4), 1U);
    Bytes entry = {0xE8, 3, 0, 0, 0, 0, 0, 0, 0x0A, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0};
    const std::string file = "command.c                               ";
    entry.insert(entry.end(), file.begin(), file.end());
    EXPECT_EQ(part(log, 64, 64), entry);
    EXPECT_EQ(part(binaryLog(0xD5), 76, 3), (Bytes{11, 0, 3})) << "a critical event";
}

TEST_F(VelkoLogs, AMediaErrorIsAnEvent) {
    description.faults.mediaErrors = {{1, 100, 4}};
    describe();
    EXPECT_EQ(status(io(0x02, 1, 100)) & 0x7FF, 0x281);
    EXPECT_EQ(part(binaryLog(0xD5), 76, 16), (Bytes{10, 0, 2, 0, 1, 0, 0, 0, 100, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(number(log(0xD0, 512), 8, 8), 0U) << "a read that fails is no program that failed";
}

TEST_F(VelkoLogs, APowerLossIsACrcErrorUntilTheyAreReset) {
    description.faults.powerLoss = {{false, 0x02, 0}};
    describe();
    EXPECT_EQ(run(io(0x02, 1)).delivery, features::simulator::Delivery::GONE);
    description.faults = {};
    describe();
    EXPECT_EQ(run(admin(0x0A, 0, 0xD5)).dword0, 1U);
    EXPECT_EQ(number(log(0xD0, 512), 32, 8), 1U);
    const Bytes events = binaryLog(0xD5);
    EXPECT_EQ(number(events, 76, 2), 14U) << "unsafe shutdown";
    EXPECT_EQ(number(events, 108, 2), 1U) << "power on";
    EXPECT_EQ(number(events, 140, 2), 2U) << "the reset that comes with it";
    EXPECT_EQ(number(binaryLog(0xD4), 16, 4), 3U) << "all go over the bridge";
    EXPECT_EQ(set(0xD5, 1), 0);
    EXPECT_EQ(run(admin(0x0A, 0, 0xD5)).dword0, 0U);
    EXPECT_EQ(number(log(0xD0, 512), 32, 8), 0U);
}

TEST_F(VelkoLogs, APictureStaysUntilTheNextOneIsTaken) {
    EXPECT_EQ(set(0xCB, 1), 0);
    const Bytes header = logAt(0xD5, 0, 64);
    EXPECT_EQ(number(header, 8, 8), 64 + 32 + 4U);
    EXPECT_EQ(set(0xCB, 0), 0);
    reopen();
    EXPECT_EQ(part(logAt(0xD5, 64, 36), 32, 4), part(header, 60, 4)) << "still one entry, and its generation after it";
    EXPECT_EQ(number(logAt(0xD5, 0, 64), 16, 4), 2U);
    EXPECT_EQ(number(logAt(0xD5, 128, 4), 0, 4), number(header, 60, 4) + 1);
    reset();
    EXPECT_EQ(number(logAt(0xD5, 160, 4), 0, 4), number(header, 60, 4) + 2) << "a reset ends the picture";
}

TEST_F(VelkoLogs, EventLogAndNlogRecordWhatHappened) {
    clock.advanceMs(1000);
    EXPECT_EQ(set(0xC6, 1), 0);               // event 8
    EXPECT_EQ(set(0xC6, 3), 0x4002);          // of the nlog alone
    EXPECT_EQ(status(admin(0x80, 1, 0)), 0);  // event 4
    const Bytes events = binaryLog(0xD5);
    EXPECT_EQ(text(events, 0, 4), "EVNT");
    EXPECT_EQ(number(events, 16, 4), 2U);
    EXPECT_EQ(part(events, 64, 64), (Bytes{0xE8, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0,    0, 8, 0, 0, 0, 0xC6, 0, 0, 0, 0, 0,
                                           0,    0, 0, 0, 0, 0, 0, 0, 0, 0, 0xE8, 3, 0, 0, 0, 0, 0,    0, 1, 0, 0, 0,
                                           4,    0, 0, 0, 1, 0, 0, 0, 0, 0, 0,    0, 0, 0, 0, 0, 0,    0, 0, 0}));
    const Bytes nlog = binaryLog(0xD3);
    EXPECT_EQ(text(nlog, 0, 4), "NLOG");
    EXPECT_EQ(number(nlog, 16, 4), 3U);
    EXPECT_EQ(part(nlog, 96, 32), (Bytes{0x40, 0x42, 0x0F, 0, 0,    0, 0, 0, 1, 0, 0, 0, 0x09, 0x10, 1, 0,
                                         0,    0,    0,    0, 0xC6, 0, 0, 0, 3, 0, 0, 0, 0x02, 0x40, 0, 0}))
        << "the refused Set Features, a second after the reset";
    EXPECT_EQ(number(binaryLog(0xD4), 16, 4), 0U) << "nothing went over the bridge";
    reset();
    const Bytes bridge = binaryLog(0xD4);
    EXPECT_EQ(text(bridge, 0, 4), "BLOG");
    EXPECT_EQ(number(bridge, 16, 4), 1U);
    EXPECT_EQ(number(bridge, 76, 2), 2U) << "controller reset";
}

TEST_F(VelkoLogs, NamespacesThatComeAndGoAreEvents) {
    EXPECT_EQ(status(admin(0x0D, 1, 1)), 0);
    data.assign(4096, 0);
    data[1] = data[9] = 8;  // 2,048 blocks
    EXPECT_EQ(status(admin(0x0D)), 0);
    const Bytes events = binaryLog(0xD5);
    EXPECT_EQ(number(events, 16, 4), 2U);
    EXPECT_EQ(part(events, 76, 8), (Bytes{7, 0, 0, 0, 1, 0, 0, 0})) << "deleted: namespace 1";
    EXPECT_EQ(part(events, 108, 8), (Bytes{6, 0, 0, 0, 1, 0, 0, 0})) << "created: namespace 1";
}

TEST_F(VelkoLogs, TheEventLogKeepsTheLastEntries) {
    for (uint32_t i = 0; i < 130; ++i) EXPECT_EQ(set(0xCB, i % 2), 0);
    const Bytes events = binaryLog(0xD5);
    EXPECT_EQ(number(events, 16, 4), 128U);
    EXPECT_EQ(number(events, 64 + 8, 4), 2U) << "the oldest that is left";
    EXPECT_EQ(number(events, 64 + 127 * 32 + 8, 4), 129U);
}

TEST_F(VelkoLogs, AWarningIsAnEvent) {
    EXPECT_EQ(number(log(0x02, 512), 0, 1), 0U);
    description.faults.criticalWarning = 0x04;
    describe();
    EXPECT_EQ(number(log(0x02, 512), 0, 1), 4U);
    const Bytes events = binaryLog(0xD5);
    EXPECT_EQ(number(events, 16, 4), 1U);
    EXPECT_EQ(part(events, 76, 8), (Bytes{9, 0, 1, 0, 4, 0, 0, 0}));
}

TEST_F(VelkoLogs, TheSnapshotHoldsTheStructuresOfTheMoment) {
    const Bytes snapshot = binaryLog(0xD7);
    EXPECT_EQ(text(snapshot, 0, 4), "SNAP");
    EXPECT_EQ(number(snapshot, 16, 4), 6U);
    EXPECT_EQ(number(snapshot, 20, 4), 16U);
    const struct {
        uint64_t section;
        Bytes bytes;
    } SECTIONS[] = {
        {1, identify(0x01)}, {2, log(0x02, 512)},  {3, log(0xD0, 512)},
        {4, log(0x03, 512)}, {5, log(0x01, 4096)}, {6, log(0xD9, 64)},
    };
    size_t offset = 64 + 6 * 16;
    size_t entry = 64;
    for (const auto& c : SECTIONS) {
        EXPECT_EQ(number(snapshot, entry, 8), c.section);
        EXPECT_EQ(number(snapshot, entry + 8, 4), offset);
        EXPECT_EQ(number(snapshot, entry + 12, 4), c.bytes.size());
        EXPECT_EQ(part(snapshot, offset, c.bytes.size()), c.bytes) << "section " << c.section;
        offset += c.bytes.size();
        entry += 16;
    }
    EXPECT_EQ(snapshot.size(), offset + 4);
}

TEST_F(VelkoLogs, ForceFlushRunsToItsEnd) {
    EXPECT_EQ(log(0xD8, 64), Bytes(64, 0)) << "never run";
    EXPECT_EQ(flush(0), 0x01C1) << "nothing to stop";
    write(0, 1024);
    clock.advanceMs(1000);
    EXPECT_EQ(flush(1), 0);
    EXPECT_EQ(flush(1), 0x01C0) << "it runs";
    EXPECT_EQ(flush(2), 0x4002);
    clock.advanceMs(1250);
    Bytes expected(64, 0);
    const auto put = [&expected](size_t at, std::initializer_list<uint8_t> bytes) {
        std::copy(bytes.begin(), bytes.end(), expected.begin() + static_cast<std::ptrdiff_t>(at));
    };
    put(0, {1, 25, 0, 0, 4});  // 3.75 seconds to go
    put(8, {0, 0, 8});         // 512 KiB
    put(16, {0, 0, 2});        // 128 KiB
    put(24, {0xE8, 3});        // started after one second
    EXPECT_EQ(log(0xD8, 64), expected);
    EXPECT_EQ(number(log(0xD9, 64), 0, 8), 0x10U);
    clock.advanceMs(60000);
    put(0, {2, 100, 0, 0, 0});
    put(16, {0, 0, 8});
    put(32, {0x70, 0x17});  // six seconds
    EXPECT_EQ(log(0xD8, 64), expected);
    EXPECT_EQ(number(log(0xD9, 64), 0, 8), 0U);
    EXPECT_EQ(number(log(0xD9, 64), 8, 8), 4U) << "the media scan waits";
    EXPECT_EQ(flush(1), 0) << "again, with an empty cache";
    EXPECT_EQ(number(log(0xD8, 64), 8, 8), 0U);
}

TEST_F(VelkoLogs, ForceFlushIsStoppedByTheHostOrByAReset) {
    write(0, 1024);
    EXPECT_EQ(flush(1), 0);
    clock.advanceMs(2500);
    EXPECT_EQ(flush(0), 0);
    clock.advanceMs(60000);
    const Bytes page = log(0xD8, 64);
    EXPECT_EQ(part(page, 0, 2), (Bytes{3, 50}));
    EXPECT_EQ(number(page, 16, 8), 256U << 10);
    EXPECT_EQ(number(page, 32, 8), 2500U);
    EXPECT_EQ(flush(1), 0);
    EXPECT_EQ(number(log(0xD8, 64), 8, 8), 256U << 10) << "what was left";
    reset();
    EXPECT_EQ(log(0xD8, 64)[0], 3);
}

TEST_F(VelkoLogs, AQuickFormatErasesForAWhile) {
    EXPECT_EQ(set(0xE3, 1), 0);
    EXPECT_EQ(number(log(0xD9, 64), 0, 8), 0x20U);
    EXPECT_EQ(log(0xD9, 64)[16], 15);
    clock.advanceMs(10000);
    EXPECT_EQ(number(log(0xD9, 64), 0, 8), 0U);
    EXPECT_EQ(number(binaryLog(0xD5), 76, 2), 12U) << "the quick format, and that the feature was set";
}

}  // namespace
