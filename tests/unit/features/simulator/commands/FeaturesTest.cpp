#include "tests/unit/features/simulator/SimulatedDrive.h"

using features::simulator::ModelId;
using features::simulator::ResetKind;

namespace {

class FeaturesOfASimulatedDrive : public SimulatedDrive {
protected:
    static constexpr uint32_t SAVE = 0x80000000;
    static constexpr uint32_t DEFAULT = 0x100;
    static constexpr uint32_t SAVED = 0x200;
    static constexpr uint32_t CAPABILITIES = 0x300;

    uint16_t set(uint32_t dword10, uint32_t dword11, uint32_t nsid = 0) {
        return status(admin(0x09, nsid, dword10, dword11));
    }
    uint32_t get(uint32_t dword10, uint32_t dword11 = 0, uint32_t nsid = 0) {
        const auto completion = run(admin(0x0A, nsid, dword10, dword11));
        EXPECT_EQ(completion.statusField, 0);
        return completion.dword0;
    }
};

TEST_F(FeaturesOfASimulatedDrive, HaveDefaultsAndCapabilities) {
    const struct {
        uint32_t fid;
        uint32_t dword11;
        uint32_t nsid;
        uint32_t value;
        uint32_t capabilities;
    } CASES[] = {
        {0x01, 0, 0, 0x2, 5},
        {0x02, 0, 0, 0, 5},
        {0x04, 0, 0, 343, 5},
        {0x04, 0x10000, 0, 0x1FFFF, 5},
        {0x04, 0x100000, 0, 0x100000, 5},
        {0x05, 0, 1, 0, 7},
        {0x06, 0, 0, 1, 5},
        {0x07, 0, 0, 0x003F003F, 4},
        {0x08, 0, 0, 0, 5},
        {0x09, 3, 0, 3, 5},
        {0x0A, 0, 0, 0, 5},
        {0x0B, 0, 0, 0, 5},
        {0x0C, 0, 0, 0, 5},
        {0x0E, 0, 0, 0, 4},
        {0x0F, 0, 0, 0, 4},
        {0x10, 0, 0, 0, 5},
        {0x11, 0, 0, 0, 5},
        {0x16, 0, 0, 0, 4},
        {0x17, 0, 0, 0, 5},
        {0x80, 0, 0, 0, 5},
        {0x81, 0, 0, 0, 4},
        {0x84, 0, 1, 0, 6},
    };
    for (const auto& c : CASES) {
        EXPECT_EQ(get(c.fid, c.dword11, c.nsid), c.value) << "FID " << c.fid;
        EXPECT_EQ(get(c.fid | DEFAULT, c.dword11, c.nsid), c.value) << "FID " << c.fid;
        EXPECT_EQ(get(c.fid | SAVED, c.dword11, c.nsid), c.value) << "FID " << c.fid;
        EXPECT_EQ(get(c.fid | CAPABILITIES, c.dword11, c.nsid), c.capabilities) << "FID " << c.fid;
    }
}

TEST_F(FeaturesOfASimulatedDrive, KeepAfterAResetWhatWasSaved) {
    EXPECT_EQ(set(0x08, 0x0105), 0);
    EXPECT_EQ(set(0x02 | SAVE, 2), 0);
    reopen();
    EXPECT_EQ(get(0x08), 0x0105U) << "in another process";
    EXPECT_EQ(get(0x08 | SAVED), 0U);
    EXPECT_EQ(get(0x02 | SAVED), 2U);
    EXPECT_TRUE(succeeded(controller->reset(ResetKind::CONTROLLER)));
    EXPECT_EQ(get(0x08), 0U);
    EXPECT_EQ(get(0x02), 2U);
}

TEST_F(FeaturesOfASimulatedDrive, AreRefusedWithTheRightStatus) {
    data.assign(4096, 0);
    const struct {
        features::simulator::SubmissionEntry command;
        uint16_t status;
        const char* why;
    } CASES[] = {
        {admin(0x09, 0, 0x03), 0x4002, "no LBA ranges"},
        {admin(0x0A, 0, 0x03), 0x4002, "no LBA ranges"},
        {admin(0x0A, 0, 0x402), 0x4002, "a reserved selection"},
        {admin(0x09, 0, 0x02, 5), 0x4002, "no such power state"},
        {admin(0x09, 0, 0x02, 0x100), 0x4002, "a reserved bit"},
        {admin(0x09, 0, 0x02, 0, 1), 0x4002, "a dword that the feature does not have"},
        {admin(0x09, 0, SAVE | 0x07, 0), 0x410D, "number of queues is not saveable"},
        {admin(0x09, 1, 0x02, 1), 0x410F, "not of a namespace"},
        {admin(0x09, 0, 0x05, 1), 0x400B, "of a namespace"},
        {admin(0x0A, 0xFFFFFFFF, 0x05), 0x400B, "of one namespace"},
        {admin(0x09, 1, 0x05, 0x10000), 0x4002, "DULBE without NSFEAT bit 2"},
        {admin(0x09, 0, 0x04, 0x20000), 0x4002, "sensor 2"},
        {admin(0x09, 0, 0x04, 0x200000), 0x4002, "a reserved side"},
        {admin(0x0A, 0, 0x04, 0xF0000), 0x4002, "the threshold of all sensors cannot be read"},
        {admin(0x09, 0, 0x07, 0xFFFF), 0x4002, "65,536 queues"},
        {admin(0x09, 0, 0x09, 65), 0x4002, "no such interrupt vector"},
        {admin(0x09, 0, 0x10, 0x01380000), 0x4002, "TMT1 below 313 K"},
        {admin(0x09, 0, 0x10, 0x01400140), 0x4002, "TMT1 not below TMT2"},
        {admin(0x09, 0, 0x81, 1), 0x4002, "a host identifier of zeros"},
        {admin(0x09, 1, 0x84, 2), 0x4002, "write protect until power cycle"},
    };
    for (const auto& c : CASES) EXPECT_EQ(status(c.command), c.status) << c.why;
    data.assign(7, 0);
    EXPECT_EQ(status(admin(0x09, 0, 0x0E)), 0x4004) << "a timestamp has 8 bytes";
}

TEST_F(FeaturesOfASimulatedDrive, SetTheThresholdOfAllSensorsAtOnce) {
    EXPECT_EQ(set(0x04, 0xF0000 | 320), 0);
    EXPECT_EQ(get(0x04), 320U);
    EXPECT_EQ(get(0x04, 0x10000), 0x10000U | 320);
    EXPECT_EQ(get(0x04, 0x100000), 0x100000U) << "the other side";
}

TEST_F(FeaturesOfASimulatedDrive, WarnWhenAThresholdIsCrossed) {
    EXPECT_EQ(log(0x02, 512)[0], 0);
    EXPECT_EQ(set(0x04, 311), 0);
    EXPECT_EQ(log(0x02, 512)[0], 2) << "38 degrees Celsius are 311 K";
    EXPECT_EQ(set(0x04, 312), 0);
    EXPECT_EQ(log(0x02, 512)[0], 0);
    EXPECT_EQ(set(0x04, 0x100000 | 311), 0);
    EXPECT_EQ(log(0x02, 512)[0], 2);
}

TEST_F(FeaturesOfASimulatedDrive, GrantQueues) {
    const auto completion = run(admin(0x09, 0, 0x07, 0x00010100));
    EXPECT_EQ(completion.statusField, 0);
    EXPECT_EQ(completion.dword0, 0x0001003FU);
}

TEST_F(FeaturesOfASimulatedDrive, LetTheTimestampRun) {
    clock.advanceMs(5000);
    EXPECT_EQ(get(0x0E), 0U);
    EXPECT_EQ(data, (Bytes{0x88, 0x13, 0, 0, 0, 0, 0, 0})) << "5 s since the last reset";
    data = {0x00, 0x10, 0x20, 0x30, 0x40, 0x01, 0, 0};
    EXPECT_EQ(set(0x0E, 0), 0);
    clock.advanceMs(1);
    EXPECT_EQ(get(0x0E), 0U);
    EXPECT_EQ(data, (Bytes{0x01, 0x10, 0x20, 0x30, 0x40, 0x01, 2, 0})) << "set by the host";
    EXPECT_TRUE(succeeded(controller->reset(ResetKind::CONTROLLER)));
    EXPECT_EQ(get(0x0E), 0U);
    EXPECT_EQ(data, Bytes(8));
}

TEST_F(FeaturesOfASimulatedDrive, TakeHostIdentifiersOfBothSizes) {
    data.assign(16, 0xAB);
    EXPECT_EQ(set(0x81, 1), 0);
    EXPECT_EQ(get(0x81, 1), 1U);
    EXPECT_EQ(data, Bytes(16, 0xAB));
    EXPECT_EQ(get(0x81, 0), 1U);
    EXPECT_EQ(data, Bytes(8, 0xAB));
}

TEST_F(FeaturesOfASimulatedDrive, CheckPowerStateTransitions) {
    data.assign(256, 0);
    data[0] = 3 << 3;  // state 0 goes to state 3
    data[1] = 100;     // after 100 ms
    EXPECT_EQ(set(0x0C, 1), 0);
    EXPECT_EQ(get(0x0C), 1U);
    Bytes expected(256);
    expected[0] = 0x18;
    expected[1] = 100;
    EXPECT_EQ(data, expected);
    data[0] = 2 << 3;
    EXPECT_EQ(set(0x0C, 1), 0x4002) << "state 2 is operational";
}

TEST_F(FeaturesOfASimulatedDrive, DifferBetweenTheModels) {
    describe(ModelId::OCP);
    data.assign(256, 0);
    EXPECT_EQ(set(0x0C, 1), 0x4002) << "no autonomous power state transitions";
    EXPECT_EQ(set(0x11, 1), 0x4002) << "no non-operational power states";
}

TEST_F(FeaturesOfASimulatedDrive, ProtectANamespace) {
    EXPECT_EQ(set(0x84, 1, 1), 0);
    data.assign(512, 1);
    EXPECT_EQ(status(io(0x01, 1)), 0x4020);
    EXPECT_EQ(status(io(0x08, 1)), 0x4020);
    EXPECT_EQ(status(admin(0x80, 1)), 0x4020);
    EXPECT_EQ(status(admin(0x84, 0, 2)), 0x4020);
    EXPECT_EQ(identify(0x00, 1)[99], 1);
    EXPECT_TRUE(succeeded(controller->reset(ResetKind::SUBSYSTEM)));
    EXPECT_EQ(get(0x84, 0, 1), 1U) << "for good";
    EXPECT_EQ(set(0x84, 0, 0xFFFFFFFF), 0);
    data.assign(512, 1);
    EXPECT_EQ(status(io(0x01, 1)), 0);
}

}  // namespace
