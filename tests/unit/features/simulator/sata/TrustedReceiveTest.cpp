#include "tests/unit/features/simulator/sata/SimulatedSataDrive.h"

using features::simulator::TcgState;

namespace {

class SataTrustedReceive : public SimulatedSataDrive {
protected:
    SataTrustedReceive() { become(TcgState::INACTIVE); }
    void become(TcgState state) {
        description.supportsSecurity = true;
        description.faults.tcg = state;
        describe();
    }
    /// Protocol in FEATURE, what is asked in LBA 23:8.
    Registers receive(uint8_t protocol, uint16_t specific, uint8_t blocks = 1) {
        return registers(readIn(0x5C, protocol, blocks, uint64_t{specific} << 8, blocks * 512U));
    }
};

TEST_F(SataTrustedReceive, HasTheListOfProtocolsAndLevel0Discovery) {
    EXPECT_EQ(word(48), 0x4001);
    const Bytes page = log(0x30, 6);
    EXPECT_EQ(number(page, 40, 8), 0x8000000000000001U) << "libata asks for it";
    EXPECT_EQ(receive(0, 0).status, 0x50);
    Bytes list(512);
    list[7] = 2;
    list[9] = 1;
    EXPECT_EQ(data, list);
    EXPECT_EQ(receive(1, 1, 2).status, 0x50);
    Bytes discovery(1024);
    const Bytes head{0, 0, 0, 0x60, 0, 0, 0, 1};
    const Bytes tper{0, 1, 0x10, 12, 0x11};
    const Bytes locks{0, 2, 0x10, 12, 0x09};
    const Bytes opal{2, 3, 0x10, 16, 0x07, 0xFE, 0, 1, 0, 0, 4, 0, 8};
    std::copy(head.begin(), head.end(), discovery.begin());
    std::copy(tper.begin(), tper.end(), discovery.begin() + 48);
    std::copy(locks.begin(), locks.end(), discovery.begin() + 64);
    std::copy(opal.begin(), opal.end(), discovery.begin() + 80);
    EXPECT_EQ(data, discovery);
    EXPECT_EQ(registers({0x5D, Protocol::DMA_IN, false, 1, 2, 0x0100, 0, 1024}).status, 0x50);
    EXPECT_EQ(data, discovery);
}

TEST_F(SataTrustedReceive, AbortsWhatItDoesNotHave) {
    EXPECT_EQ(receive(2, 1).error, 0x04) << "another protocol";
    EXPECT_EQ(receive(1, 0x07FE).error, 0x04) << "there are no sessions";
    EXPECT_EQ(registers(readIn(0x5C, 1, 2, 0x0100, 512)).error, 0x04) << "another length than the host takes";
    description.supportsSecurity = false;
    description.faults.tcg = TcgState::INACTIVE;
    describe();
    EXPECT_EQ(receive(0, 0).error, 0x04);
    EXPECT_EQ(word(48), 0x4000);
    EXPECT_EQ(number(log(0x30, 6), 40, 8), 0x8000000000000000U);
}

TEST_F(SataTrustedReceive, ALockedDriveKeepsHostsFromItsBlocks) {
    EXPECT_EQ(write(8, 0x11).status, 0x50);
    become(TcgState::LOCKED);
    EXPECT_EQ(receive(1, 1).status, 0x50);
    EXPECT_EQ(data.at(68), 0x0F);
    EXPECT_EQ(read(8).error, 0x04);
    EXPECT_EQ(write(8, 0x22).error, 0x04);
    EXPECT_EQ(registers(noDataExt(0xB4, 0x12, 0, 0x426B4572)).error, 0x04) << "BLOCK ERASE EXT";
    EXPECT_EQ(registers(noDataExt(0xB4)).status, 0x50) << "SANITIZE STATUS EXT";
    EXPECT_EQ(word(48), 0x4001);
    become(TcgState::SHADOWED);
    EXPECT_EQ(receive(1, 1).status, 0x50);
    EXPECT_EQ(data.at(68), 0x1F);
    become(TcgState::UNLOCKED);
    EXPECT_EQ(read(8).status, 0x50);
    EXPECT_EQ(data, Bytes(512, 0x11));
}

}  // namespace
