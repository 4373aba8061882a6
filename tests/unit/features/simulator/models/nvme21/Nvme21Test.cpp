#include "tests/unit/features/simulator/SimulatedDrive.h"

using features::simulator::ModelId;

namespace {

/// Most of it is laid out in golden files of the conformance tests; here is what it takes and refuses.
class DriveOfNvme21 : public SimulatedDrive {
protected:
    DriveOfNvme21() { describe(ModelId::NVME_2_1); }

    /// Host Behavior Support with ETDAS and LBAFEE.
    uint16_t setBehavior(uint8_t etdas, uint8_t lbafee) {
        data.assign(512, 0);
        data[1] = etdas;
        data[2] = lbafee;
        return status(admin(0x09, 0, 0x16));
    }
    /// Of a page of the endurance group.
    Bytes groupLog(uint8_t lid, uint32_t bytes, uint16_t group = 1) {
        EXPECT_EQ(status(admin(0x02, 0xFFFFFFFF, lid | (bytes / 4 - 1) << 16, uint32_t{group} << 16)), 0);
        return data;
    }
    Bytes sanitizeLog() { return log(0x81, 512); }
};

TEST_F(DriveOfNvme21, ReportsWhatItAdds) {
    const Bytes id = identify(1);
    EXPECT_EQ(number(id, 80, 4), 0x00020100U) << "VER";
    EXPECT_EQ(number(id, 96, 4) & 0x00088010U, 0x00088010U) << "CTRATT: endurance groups, ELBAS, FDP";
    EXPECT_EQ(id[261], 0x7E) << "LPA with data area 4";
    EXPECT_EQ(number(id, 328, 4), 0x6000000FU) << "SANICAP with verification";
    EXPECT_EQ(number(id, 340, 2), 1U) << "ENDGIDMAX";
    EXPECT_EQ(number(identify(0, 1), 102, 2), 1U) << "ENDGID";
    const Bytes descriptors = identify(3, 1);
    EXPECT_EQ(part(descriptors, 52, 5), (Bytes{4, 1, 0, 0, 0})) << "the NVM command set";
    EXPECT_EQ(number(identify(0x06), 20, 4), 0x00010100U);
    EXPECT_EQ(identify(0x08, 1)[14], 1) << "NSTAT: ready";
    EXPECT_EQ(number(identify(0x1C), 0, 8), 1U);
    EXPECT_EQ(identify(0x05, 1), Bytes(4096)) << "guards of 16 bits";
    EXPECT_EQ(identify(0x08, 2), Bytes(4096)) << "nothing is attached";
    EXPECT_EQ(status(admin(0x06, 0, 0x08)), 0x400B);
    EXPECT_EQ(status(admin(0x06, 1, 0x05, 0x02000000)), 0x4002) << "no zones";
}

TEST_F(DriveOfNvme21, HasThesePagesAndNoneOfAMaker) {
    const Bytes supported = log(0x00, 1024);
    Bytes lids;
    for (unsigned lid = 0; lid < 256; ++lid) {
        if (number(supported, 4 * lid, 4) == 1) lids.push_back(static_cast<uint8_t>(lid));
    }
    EXPECT_EQ(lids, (Bytes{0x00, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x09, 0x0D, 0x0F, 0x12, 0x13, 0x20,
                           0x21, 0x22, 0x23, 0x81}));
    const Bytes features = log(0x12, 1024);
    EXPECT_EQ(number(features, 4 * 0x02, 4), 0x00200001U) << "of the controller";
    EXPECT_EQ(number(features, 4 * 0x17, 4), 0x02000001U) << "of the NVM subsystem";
    EXPECT_EQ(number(features, 4 * 0x1D, 4), 0x00800001U) << "of the endurance group";
    EXPECT_EQ(number(features, 4 * 0x1E, 4), 0x00100001U) << "of the namespace";
    EXPECT_EQ(number(features, 4 * 0x1F, 4), 0U);
    EXPECT_EQ(log(0x13, 4096), Bytes(4096)) << "no Management Interface";
}

TEST_F(DriveOfNvme21, HasOneGroupAndOneConfiguration) {
    EXPECT_EQ(number(groupLog(0x09, 512), 160, 8), uint64_t{64} << 20) << "total capacity";
    EXPECT_EQ(status(admin(0x02, 0xFFFFFFFF, 0x007F0009)), 0x4002) << "no group";
    EXPECT_EQ(status(admin(0x02, 0xFFFFFFFF, 0x007F0009, 0x00020000)), 0x4002) << "group 2";
    EXPECT_EQ(status(admin(0x02, 0xFFFFFFFF, 0x007F0002, 0x00010000)), 0x4002) << "a page without groups";
    const Bytes configurations = groupLog(0x20, 96);
    EXPECT_EQ(number(configurations, 0, 2), 0U) << "one, counted from 0";
    EXPECT_EQ(number(configurations, 4, 4), 96U);
    EXPECT_EQ(part(configurations, 80, 16), (Bytes{1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0}));
    EXPECT_EQ(part(groupLog(0x21, 40), 0, 16), (Bytes{4, 0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(run(admin(0x0A, 0, 0x1D, 1)).dword0, 1U) << "enabled, configuration 0";
    EXPECT_EQ(status(admin(0x0A, 0, 0x1D, 2)), 0x4002) << "group 2";
    EXPECT_EQ(status(admin(0x09, 0, 0x1D, 1)), 0x410E) << "not changeable";
    EXPECT_EQ(run(admin(0x0A, 1, 0x1E, 0x00FF0000)).dword0 & 0xFF, 6U);
    EXPECT_EQ(data.size(), 510U) << "as many event types as are asked for";
    EXPECT_EQ(part(data, 0, 14), (Bytes{0x00, 0, 0x01, 0, 0x02, 0, 0x03, 0, 0x80, 0, 0x81, 0, 0, 0}));
    EXPECT_EQ(run(admin(0x0A, 1, 0x1E, 0x00020000)).dword0 & 0xFF, 6U);
    EXPECT_EQ(data, (Bytes{0x00, 0, 0x01, 0}));
    EXPECT_EQ(part(identify(0x19), 0, 6), (Bytes{1, 0, 1, 0, 0, 0})) << "the list of endurance groups";
    EXPECT_EQ(status(admin(0x06, 0, 0x19, 2)), 0);
    EXPECT_EQ(data, Bytes(4096)) << "none from 2 on";
}

TEST_F(DriveOfNvme21, ShowsMoreThanSixteenFormatsToAHostThatKnowsOfThem) {
    EXPECT_EQ(identify(0, 1)[25], 15) << "NLBAF";
    EXPECT_EQ(status(admin(0x80, 1, 0x1001)), 0x410A) << "format 17";
    EXPECT_EQ(setBehavior(0, 1), 0);
    EXPECT_EQ(identify(0, 1)[25], 63);
    EXPECT_EQ(status(admin(0x80, 1, 0x1001)), 0);
    const Bytes id = identify(0, 1);
    EXPECT_EQ(id[26], 0x21) << "FLBAS: format 17";
    EXPECT_EQ(part(id, 128 + 4 * 17, 3), (Bytes{64, 0, 12})) << "4096 bytes and 64 of metadata";
    EXPECT_EQ(status(admin(0x80, 1, 0x300F)), 0) << "format 63";
    EXPECT_EQ(identify(0, 1)[26], 0x6F);
    EXPECT_EQ(setBehavior(0, 0), 0);
    EXPECT_EQ(identify(0, 1)[25], 15);
    EXPECT_EQ(identify(0, 1)[26], 0x6F) << "it stays as it was formatted";
}

TEST_F(DriveOfNvme21, TakesFlagsAloneInHostBehaviorSupport) {
    EXPECT_EQ(setBehavior(1, 1), 0);
    EXPECT_EQ(setBehavior(2, 0), 0x4002);
    data.assign(512, 0);
    data[3] = 1;
    EXPECT_EQ(status(admin(0x09, 0, 0x16)), 0x4002);
    describe(ModelId::VELKO);
    EXPECT_EQ(setBehavior(1, 0), 0x4002) << "before NVMe 2.0";
}

TEST_F(DriveOfNvme21, HandsOutDataArea4ToAHostThatKnowsOfIt) {
    const Bytes plain = log(0x07, 512, 1);
    EXPECT_EQ(number(plain, 16, 4), 0U);
    const auto last = static_cast<uint32_t>(number(plain, 12, 2));
    EXPECT_EQ(setBehavior(1, 0), 0);
    const Bytes extended = log(0x07, 512);
    EXPECT_EQ(number(extended, 16, 4), last + 1) << "of the same capture";
    EXPECT_EQ(log(0x07, (last + 2) * 512).back(), 0x4A);
    EXPECT_EQ(setBehavior(0, 0), 0);
    EXPECT_EQ(number(log(0x07, 512), 16, 4), 0U);
}

TEST_F(DriveOfNvme21, HasADataArea4OfAnySize) {
    description.telemetryMib = 1;
    describe();
    EXPECT_EQ(setBehavior(1, 0), 0);
    const Bytes header = log(0x07, 512, 1);
    const auto last = static_cast<uint32_t>(number(header, 12, 2));
    EXPECT_EQ(number(header, 16, 4), last + 1 + 2048);
    const auto piece = [this](uint32_t offset, uint32_t bytes) {
        return status(admin(0x02, 0, 0x07 | (bytes / 4 - 1) << 16, 0, offset));
    };
    const uint32_t begin = (last + 2) * 512;
    EXPECT_EQ(piece(begin - 512, 1024), 0) << "from the block that every data area 4 has on";
    EXPECT_EQ(part(data, 504, 8), Bytes(8, 0x4A));
    EXPECT_EQ(number(data, 512, 8), begin);
    EXPECT_EQ(number(data, 1016, 8), begin + 504);
    const uint32_t end = begin + (1 << 20);
    EXPECT_EQ(piece(end - 512, 1024), 0) << "over the end";
    EXPECT_EQ(number(data, 504, 8), end - 8);
    EXPECT_EQ(part(data, 512, 512), Bytes(512));
    EXPECT_EQ(piece(end, 512), 0x4002);
    EXPECT_EQ(setBehavior(0, 0), 0);
    EXPECT_EQ(piece(begin, 512), 0x4002) << "of a host that does not know of it";
}

TEST_F(DriveOfNvme21, StaysInMediaVerificationUntilAHostEndsIt) {
    data.assign(512, 0xAB);
    EXPECT_EQ(status(io(0x01, 1)), 0);
    EXPECT_EQ(status(admin(0x84, 0, 5)), 0x4002) << "nothing is verified";
    EXPECT_EQ(status(admin(0x84, 0, 0x402)), 0);
    EXPECT_EQ(sanitizeLog()[36], 1) << "restricted processing";
    EXPECT_EQ(status(io(0x02, 1)), 0x001D);
    EXPECT_EQ(status(admin(0x84, 0, 5)), 0x001D) << "not verified yet";
    clock.advanceMs(10000);
    Bytes bytes = sanitizeLog();
    EXPECT_EQ(part(bytes, 0, 4), (Bytes{0xFF, 0xFF, 0x02, 0x00})) << "in progress";
    EXPECT_EQ(bytes[36], 5);
    clock.advanceMs(100000000);
    reopen();
    EXPECT_EQ(sanitizeLog()[36], 5) << "it waits";
    data.assign(512, 0xFF);
    EXPECT_EQ(status(io(0x02, 1)), 0);
    EXPECT_EQ(data, Bytes(512)) << "what is verified";
    EXPECT_EQ(status(io(0x01, 1)), 0x001D) << "no write";
    EXPECT_EQ(status(admin(0x84, 0, 2)), 0x001D);
    EXPECT_EQ(status(admin(0x84, 0, 5)), 0);
    bytes = sanitizeLog();
    EXPECT_EQ(part(bytes, 0, 4), (Bytes{0xFF, 0xFF, 0x01, 0x01}));
    EXPECT_EQ(bytes[36], 0);
    EXPECT_EQ(status(io(0x02, 1)), 0);
    describe(ModelId::VELKO);
    EXPECT_EQ(status(admin(0x84, 0, 0x402)), 0x4002) << "before NVMe 2.1";
}

TEST_F(DriveOfNvme21, SanitizesWithoutVerificationAsOthers) {
    EXPECT_EQ(status(admin(0x84, 0, 0x00A)), 0);
    EXPECT_EQ(sanitizeLog()[36], 3) << "unrestricted processing";
    clock.advanceMs(10000);
    EXPECT_EQ(part(sanitizeLog(), 0, 4), (Bytes{0xFF, 0xFF, 0x01, 0x01}));
}

}  // namespace
