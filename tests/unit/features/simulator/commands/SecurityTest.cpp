#include "tests/unit/features/simulator/SimulatedDrive.h"

using features::simulator::TcgState;

namespace {

class SecurityOfASimulatedDrive : public SimulatedDrive {
protected:
    SecurityOfASimulatedDrive() { become(TcgState::INACTIVE); }
    void become(TcgState state) {
        description.supportsSecurity = true;
        description.faults.tcg = state;
        describe();
    }
    /// Flags of the Locking feature.
    uint8_t locking() {
        EXPECT_EQ(status(admin(0x82, 0, 0x01000100, 512)), 0);
        return data.at(68);
    }
};

TEST_F(SecurityOfASimulatedDrive, HasTheListOfProtocolsAndLevel0Discovery) {
    EXPECT_EQ(number(identify(0x01), 256, 2) & 1, 1U);
    EXPECT_EQ(number(log(0x05, 4096), 0x82 * 4, 4), 1U) << "Commands Supported and Effects";
    EXPECT_EQ(status(admin(0x82, 0, 0, 512)), 0);
    Bytes list(512);
    list[7] = 2;
    list[9] = 1;
    EXPECT_EQ(data, list);
    EXPECT_EQ(status(admin(0x82, 0, 0x01000100, 512)), 0);
    Bytes discovery(512);
    const Bytes head{0, 0, 0, 0x60, 0, 0, 0, 1};
    const Bytes tper{0, 1, 0x10, 12, 0x11};
    const Bytes locks{0, 2, 0x10, 12, 0x09};
    const Bytes opal{2, 3, 0x10, 16, 0x07, 0xFE, 0, 1, 0, 0, 4, 0, 8};
    std::copy(head.begin(), head.end(), discovery.begin());
    std::copy(tper.begin(), tper.end(), discovery.begin() + 48);
    std::copy(locks.begin(), locks.end(), discovery.begin() + 64);
    std::copy(opal.begin(), opal.end(), discovery.begin() + 80);
    EXPECT_EQ(data, discovery);
    EXPECT_EQ(status(admin(0x82, 0, 0x01000100, 16)), 0);
    EXPECT_EQ(data, part(discovery, 0, 16)) << "as much as the host has room for";
}

TEST_F(SecurityOfASimulatedDrive, RefusesWhatItDoesNotHave) {
    EXPECT_EQ(status(admin(0x82, 0, 0x02000100, 512)), 0x4002) << "another protocol";
    EXPECT_EQ(status(admin(0x82, 0, 0x0107FE00, 512)), 0x4002) << "there are no sessions";
    EXPECT_EQ(status(admin(0x82, 0, 0x00000100, 512)), 0x4002) << "there are no certificates";
    EXPECT_EQ(status(admin(0x82, 0, 0x01000101, 512)), 0x4002) << "a field of other protocols";
    EXPECT_EQ(status(admin(0x82, 0, 0, 0xFFFFFFFF)), 0x4002) << "more than a command carries";
    EXPECT_EQ(status(admin(0x81, 0, 0, 0)), 0x4001) << "Security Send";
    description.supportsSecurity = false;
    describe();
    EXPECT_EQ(status(admin(0x82, 0, 0, 512)), 0x4001);
    EXPECT_EQ(number(identify(0x01), 256, 2) & 1, 0U);
}

TEST_F(SecurityOfASimulatedDrive, ReportsHowItIsLocked) {
    EXPECT_EQ(locking(), 0x09);
    become(TcgState::UNLOCKED);
    EXPECT_EQ(locking(), 0x0B);
    become(TcgState::LOCKED);
    EXPECT_EQ(locking(), 0x0F);
    become(TcgState::SHADOWED);
    EXPECT_EQ(locking(), 0x1F);
}

TEST_F(SecurityOfASimulatedDrive, IsKeptFromItsBlocksWhenLocked) {
    data.assign(512, 0x11);
    EXPECT_EQ(status(io(0x01, 1)), 0);
    for (const TcgState state : {TcgState::LOCKED, TcgState::SHADOWED}) {
        become(state);
        data.assign(512, 0x22);
        EXPECT_EQ(status(io(0x01, 1)), 0x4286) << "Write";
        EXPECT_EQ(status(io(0x02, 1)), 0x4286) << "Read";
        EXPECT_EQ(status(io(0x08, 1)), 0x4286) << "Write Zeroes";
        EXPECT_EQ(status(io(0x09, 1, 0, 4)), 0x4286) << "Dataset Management";
        EXPECT_EQ(status(io(0x00, 1)), 0) << "Flush";
        EXPECT_EQ(status(admin(0x80, 1)), 0x4015) << "Format NVM";
        EXPECT_EQ(status(admin(0x84, 0, 2)), 0x4015) << "Sanitize";
        EXPECT_EQ(status(admin(0x06, 0, 1)), 0) << "Identify";
        EXPECT_EQ(status(admin(0x02, 0, 0x007F0002)), 0) << "the SMART log";
    }
    become(TcgState::UNLOCKED);
    EXPECT_EQ(status(io(0x02, 1)), 0);
    EXPECT_EQ(data, Bytes(512, 0x11));
}

}  // namespace
