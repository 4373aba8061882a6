#include "tests/unit/features/simulator/SimulatedDrive.h"

using features::simulator::Delivery;
using features::simulator::ModelId;
using features::simulator::ResetKind;

namespace {

class OcpModelOfASimulatedDrive : public SimulatedDrive {
protected:
    OcpModelOfASimulatedDrive() {
        describe(ModelId::OCP);
        reopen();
    }

    uint16_t set(uint8_t fid, uint32_t dword11, bool save = false) {
        return status(admin(0x09, 0, fid | (save ? 0x80000000U : 0), dword11));
    }
    uint16_t setData(uint8_t fid, uint32_t dword11, const Bytes& head) {
        data = head;
        data.resize(4096);
        return status(admin(0x09, 0, fid, dword11));
    }
    /// Dword 0 of Get Features. `select`: 0 current, 1 default, 2 saved, 3 capabilities.
    uint32_t get(uint8_t fid, uint32_t select = 0) {
        const auto completion = run(admin(0x0A, 0, fid | select << 8));
        EXPECT_EQ(completion.statusField, 0);
        return completion.dword0;
    }
    uint16_t readBlock() { return status(io(0x02, 1, 0, 0, 7)); }
    /// Log C0h, without NUSE: how much room blocks take is the file system's affair.
    Bytes smart() {
        Bytes page = log(0xC0, 512);
        std::fill_n(page.begin() + 152, 8, uint8_t{0});
        return page;
    }
};

TEST_F(OcpModelOfASimulatedDrive, FeaturesHaveTheirDefaultsAndCapabilities) {
    constexpr struct {
        uint8_t fid;
        uint32_t value;
        uint32_t capabilities;  // saveable 1, changeable 4
    } CASES[] = {
        {0xC0, 0, 4}, {0xC1, 0, 4}, {0xC2, 1, 5},  {0xC3, 0, 4},
        {0xC4, 0, 5}, {0xC5, 0, 5}, {0xC6, 15, 5}, {0xC7, 25, 5},
    };
    for (const auto& c : CASES) {
        EXPECT_EQ(get(c.fid), c.value) << int{c.fid};
        EXPECT_EQ(get(c.fid, 1), c.value) << int{c.fid};
        EXPECT_EQ(get(c.fid, 2), c.value) << int{c.fid};
        EXPECT_EQ(get(c.fid, 3), c.capabilities) << int{c.fid};
    }
    get(0xC5);
    EXPECT_EQ(part(data, 0, 16), (Bytes{0xE0, 0x07, 0x05, 0x13, 0x1E, 0x2E, 0xFF, 0x0F, 0x0A, 0, 0, 0, 1, 0, 0, 0}));
    EXPECT_EQ(data.size(), 4096U);
}

TEST_F(OcpModelOfASimulatedDrive, FeaturesAreSetInOnePlaceAndReadInAnother) {
    constexpr struct {
        uint8_t fid;
        uint32_t dword11;
        uint32_t value;
    } CASES[] = {
        {0xC2, 0x80000000, 2},
        {0xC4, 0x80000000, 1},
        {0xC6, 0x00640000, 100},
        {0xC7, 15, 15},
    };
    for (const auto& c : CASES) {
        EXPECT_EQ(set(c.fid, c.dword11), 0) << int{c.fid};
        EXPECT_EQ(get(c.fid), c.value) << int{c.fid};
        EXPECT_NE(get(c.fid, 2), c.value) << int{c.fid} << " was not saved";
        EXPECT_EQ(set(c.fid, c.dword11, true), 0) << int{c.fid};
        EXPECT_EQ(get(c.fid, 2), c.value) << int{c.fid};
    }
    EXPECT_EQ(set(0xC2, 0xC0000000), 0);
    EXPECT_TRUE(succeeded(controller->reset(ResetKind::SUBSYSTEM)));
    EXPECT_EQ(get(0xC2), 2U) << "the saved value";
}

TEST_F(OcpModelOfASimulatedDrive, RefusesWhatTheFeaturesDoNotTake) {
    EXPECT_EQ(set(0xC2, 0), 0x4002) << "a reserved mode";
    EXPECT_EQ(set(0xC2, 0x80000001), 0x4002) << "a reserved bit";
    EXPECT_EQ(set(0xC7, 16), 0x4002) << "no such power state";
    EXPECT_EQ(set(0xC3, 0x80000000, true), 0x410D) << "not saveable";
    EXPECT_EQ(setData(0xC5, 0, {0, 0, 9, 8, 7, 6, 0xFF, 0x0F, 10, 0, 0, 0, 1}), 0x4002) << "thresholds descend";
    EXPECT_EQ(setData(0xC5, 0, {0, 0, 1, 2, 3, 4, 0xFF, 0x1F, 10, 0, 0, 0, 1}), 0x4002) << "a reserved bit";
    EXPECT_EQ(setData(0xC0, 1, {3, 0, 12, 0}), 0x4002) << "type 0Ch";
    EXPECT_EQ(setData(0xC0, 1, {3, 0, 0, 0}), 0x4002) << "type 0";
    EXPECT_EQ(setData(0xC0, 1, {4, 0, 3, 0}), 0x4002) << "a reserved flag";
    EXPECT_EQ(get(0xC0), 0U);
}

TEST_F(OcpModelOfASimulatedDrive, OtherModelHasNoneOfThem) {
    describe(ModelId::VELKO);
    reopen();
    for (const uint32_t fid : {0xC0U, 0xC3U, 0xC4U, 0xC5U, 0xC7U})
        EXPECT_EQ(status(admin(0x0A, 0, fid)), 0x4002) << fid;
    for (const uint32_t lid : {0xC0U, 0xC1U, 0xC2U, 0xC3U, 0xC4U, 0xC5U}) {
        EXPECT_EQ(status(admin(0x02, 0, 0x007F0000 | lid)), 0x4109) << lid;
    }
}

TEST_F(OcpModelOfASimulatedDrive, ExtendedSmartLogMovesWithUse) {
    const Bytes first = smart();
    Bytes expected(512);
    expected[38] = expected[46] = 100;
    expected[103] = 2;
    expected[128] = 100;
    expected[144] = 1;
    expected[176 + 3] = 0xA0;  // 1,000 times 64 MiB: FA0000000h
    expected[176 + 4] = 0x0F;
    expected[494] = 3;
    const Bytes guid{0xC5, 0xAF, 0x10, 0x28, 0xEA, 0xBF, 0xF2, 0xA4, 0x9C, 0x4F, 0x6F, 0x7C, 0xC9, 0x14, 0xD5, 0xAF};
    std::copy(guid.begin(), guid.end(), expected.begin() + 496);
    EXPECT_EQ(first, expected);

    data.assign(8192, 1);
    EXPECT_EQ(status(io(0x01, 1, 8, 0, 15)), 0);
    EXPECT_EQ(status(io(0x02, 1, 9, 0, 0)), 0) << "unaligned";
    EXPECT_TRUE(succeeded(controller->reset(ResetKind::SUBSYSTEM)));
    EXPECT_EQ(set(0xC7, 10), 0);
    description.faults.mediaErrors = {{1, 100, 1}};
    description.faults.temperatureCelsius = 85;
    description.faults.powerLoss = {{false, 0x00, 0}};
    describe();
    EXPECT_EQ(status(io(0x02, 1, 100, 0, 7)), 0x4281);
    EXPECT_EQ(run(io(0x00, 1)).delivery, Delivery::GONE);
    expected[1] = 0x20;   // written
    expected[17] = 0x02;  // read
    expected[56] = 1;     // unrecovered
    expected[88] = 1;     // the block erased most
    expected[96] = 2;     // throttled, and again after the power loss
    expected[97] = 2;     // at the critical temperature
    expected[104] = 2;    // PCIe errors
    expected[136] = 1;    // unaligned
    expected[160] = 1;    // PLP starts
    expected[192] = 2;    // link trainings
    expected[200] = 1;    // power states
    EXPECT_EQ(smart(), expected);
    EXPECT_GE(number(log(0xC0, 512), 152, 8), 16U) << "blocks in use";

    EXPECT_EQ(set(0xC3, 0), 0);
    EXPECT_EQ(number(smart(), 104, 8), 2U) << "nothing was asked to be cleared";
    EXPECT_EQ(set(0xC3, 0x80000000), 0);
    EXPECT_EQ(number(smart(), 104, 8), 0U);
    EXPECT_EQ(number(smart(), 192, 8), 2U) << "other counters stay";
}

TEST_F(OcpModelOfASimulatedDrive, PanicFailsIoUntilAReset) {
    EXPECT_EQ(setData(0xC0, 2, Bytes{3, 0, 4, 0, 2, 0}), 0x4002) << "the second entry has type 0";
    EXPECT_EQ(setData(0xC0, 1, Bytes{3, 0, 4, 0, 2, 0}), 0);
    EXPECT_EQ(get(0xC0), 1U);
    EXPECT_EQ(part(data, 0, 8), (Bytes{3, 0, 4, 0, 2, 0, 0, 0}));
    EXPECT_EQ(readBlock(), 0);
    EXPECT_EQ(readBlock(), 0);
    EXPECT_EQ(readBlock(), 0x0006) << "two reads were to be completed before";
    EXPECT_EQ(status(io(0x00, 1)), 0x0006) << "and so it stays";
    EXPECT_EQ(part(log(0xC1, 512), 0, 16), (Bytes{100, 0, 3, 0, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0})) << "panic 4";
    EXPECT_EQ(number(log(0x01, 128), 0, 8), 3U) << "errors: the refused set and two commands";
    EXPECT_EQ(log(0x08, 512)[382], 1) << "telemetry was captured";
    get(0xC0);
    EXPECT_EQ(data[0], 2) << "injected once, and disabled";
    reopen();
    EXPECT_EQ(readBlock(), 0x0006) << "also for another process";
    EXPECT_TRUE(succeeded(controller->reset(ResetKind::CONTROLLER)));
    EXPECT_EQ(readBlock(), 0);
    EXPECT_EQ(get(0xC0), 0U) << "nothing is saved";
    EXPECT_EQ(number(log(0xC1, 512), 4, 8), 4U) << "the last panic is remembered";
}

TEST_F(OcpModelOfASimulatedDrive, HangAnswersNothingUntilAReset) {
    EXPECT_EQ(setData(0xC0, 1, Bytes{1, 0, 1, 0, 0, 0}), 0);
    EXPECT_EQ(run(io(0x02, 1)).delivery, Delivery::NEVER);
    EXPECT_EQ(run(admin(0x06, 0, 1)).delivery, Delivery::NEVER);
    EXPECT_TRUE(succeeded(controller->reset(ResetKind::CONTROLLER)));
    EXPECT_EQ(run(admin(0x06, 0, 1)).delivery, Delivery::COMPLETED);
    EXPECT_EQ(run(io(0x02, 1)).delivery, Delivery::COMPLETED);
}

TEST_F(OcpModelOfASimulatedDrive, DisabledErrorsDoNothing) {
    EXPECT_EQ(setData(0xC0, 1, Bytes{2, 0, 4, 0, 0, 0}), 0);
    EXPECT_EQ(readBlock(), 0);
    EXPECT_EQ(setData(0xC0, 0, {}), 0);
    EXPECT_EQ(readBlock(), 0);
}

TEST_F(OcpModelOfASimulatedDrive, FirmwareHistoryIsKeptAndCleared) {
    // An image for slot 2 that is active at once: see docs/simulated-drives.md.
    data.assign(128, 0);
    const std::string head = "NBSIMFW1";
    std::copy(head.begin(), head.end(), data.begin());
    data[8] = 128;
    const std::string model = "Simulated OCP Datacenter NVMe SSD       OSIM0200";
    std::copy(model.begin(), model.end(), data.begin() + 16);
    const Bytes crc{0x9F, 0x3C, 0xDC, 0x26};
    std::copy(crc.begin(), crc.end(), data.begin() + 12);
    EXPECT_EQ(status(admin(0x11, 0, 31, 0)), 0);
    clock.advanceMs(1000);
    EXPECT_EQ(status(admin(0x10, 0, 3 << 3 | 2)), 0);

    const Bytes history = log(0xC2, 4096);
    Bytes expected(4096);
    const Bytes entry{0xC2, 0,   0,   0,   1,   0,   0,   0,  // one entry
                      1,    64,  0,   0,   1,   0,            // the first activation
                      0xE8, 3,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,  // timestamp
                      1,    0,   0,   0,   0,   0,   0,   0,                                          // power cycles
                      'O',  'S', 'I', 'M', '0', '1', '0', '0', 'O', 'S', 'I', 'M', '0', '2', '0', '0', 2, 3};
    std::copy(entry.begin(), entry.end(), expected.begin());
    expected[4078] = 1;
    const Bytes guid{0x6D, 0x79, 0x9A, 0x76, 0xB4, 0xDA, 0xF6, 0xA3, 0xE2, 0x4D, 0xB2, 0x8A, 0xAC, 0xF3, 0x1C, 0xD1};
    std::copy(guid.begin(), guid.end(), expected.begin() + 4080);
    EXPECT_EQ(history, expected);

    EXPECT_EQ(set(0xC1, 0x80000000), 0);
    EXPECT_EQ(number(log(0xC2, 4096), 4, 4), 0U);
}

TEST_F(OcpModelOfASimulatedDrive, OtherLogsHaveTheirLayout) {
    EXPECT_EQ(setData(0xC5, 0, {0x01, 0x02, 1, 2, 3, 4, 0x33, 0x03, 20, 0x55, 0, 0, 1}), 0);
    Bytes latency(512);
    const Bytes setting{1, 0, 0, 0, 1, 2, 1, 2, 3, 4, 0x33, 3, 20};
    std::copy(setting.begin(), setting.end(), latency.begin());
    for (const ptrdiff_t stamps : {96, 304}) std::fill_n(latency.begin() + stamps, 96, uint8_t{0xFF});  // none
    std::fill_n(latency.begin() + 452, 8, uint8_t{0xFF});
    latency[448] = 0x55;
    latency[494] = 1;
    const Bytes latencyGuid{0x92, 0x7A, 0xC0, 0x8C, 0xD0, 0x84, 0x6C, 0x9C,
                            0x70, 0x43, 0xE6, 0xD4, 0x58, 0x5E, 0xD4, 0x85};
    std::copy(latencyGuid.begin(), latencyGuid.end(), latency.begin() + 496);
    EXPECT_EQ(log(0xC3, 512), latency);

    Bytes capabilities(4096);
    // One port; Write Zeroes; Sanitize with Crypto Erase, Block Erase and Overwrite; Dataset Management with
    // Deallocate.
    const Bytes head{1, 0, 0, 0, 0x01, 0x80, 0x0F, 0x80, 0x03, 0x80, 0, 0, 0, 0, 10, 0};
    std::copy(head.begin(), head.end(), capabilities.begin());
    capabilities[16 + 25] = 0x80;  // 25 watts are power state 0
    capabilities[16 + 15] = 0x81;
    capabilities[16 + 10] = 0x82;
    capabilities[4078] = 1;
    const Bytes capabilitiesGuid{0x97, 0x42, 0x05, 0x0D, 0xD1, 0xE1, 0xC9, 0x98,
                                 0x5D, 0x49, 0x58, 0x4B, 0x91, 0x3C, 0x05, 0xB7};
    std::copy(capabilitiesGuid.begin(), capabilitiesGuid.end(), capabilities.begin() + 4080);
    EXPECT_EQ(log(0xC4, 4096), capabilities);

    Bytes unsupported(4096);
    unsupported[4078] = 1;
    const Bytes unsupportedGuid{0x2F, 0x72, 0x9C, 0x0E, 0x99, 0x23, 0x2C, 0xBB,
                                0x63, 0x48, 0x32, 0xD0, 0xB7, 0x98, 0xBB, 0xC7};
    std::copy(unsupportedGuid.begin(), unsupportedGuid.end(), unsupported.begin() + 4080);
    EXPECT_EQ(log(0xC5, 4096), unsupported);
}

}  // namespace
