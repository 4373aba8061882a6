// The maker's features, against what docs/vendor-interface.md publishes.

#include "tests/unit/features/simulator/SimulatedDrive.h"

using features::simulator::ModelId;
using features::simulator::ResetKind;

namespace {

class VelkoFeatures : public SimulatedDrive {
protected:
    static constexpr uint32_t SAVE = 0x80000000;

    uint16_t set(uint32_t dword10, uint32_t dword11, uint32_t nsid = 0) {
        return status(admin(0x09, nsid, dword10, dword11));
    }
    uint32_t get(uint32_t dword10) {
        const auto completion = run(admin(0x0A, 0, dword10));
        EXPECT_EQ(completion.statusField, 0);
        return completion.dword0;
    }
    uint16_t setMaximumLba(const Bytes& lba) {
        data = lba;
        data.resize(16);
        return set(0xC1, 0);
    }
    Bytes getLba(uint32_t dword10) {
        EXPECT_EQ(get(dword10), 0U);
        return data;
    }
    void reset() {
        if (!controller) reopen();
        EXPECT_TRUE(succeeded(controller->reset(ResetKind::SUBSYSTEM)));
    }
    Bytes block(uint32_t lba) {
        EXPECT_EQ(status(io(0x02, 1, lba)), 0);
        return data;
    }
    void writeBlock(uint32_t lba, uint8_t byte) {
        data.assign(512, byte);
        EXPECT_EQ(status(io(0x01, 1, lba)), 0);
    }
};

TEST_F(VelkoFeatures, HaveDefaultsAndCapabilities) {
    const struct {
        uint32_t fid;
        uint32_t value;
        uint32_t capabilities;
    } CASES[] = {
        {0xC1, 0, 4}, {0xC2, 0, 0}, {0xC6, 0x00191400, 5}, {0xC8, 0x003AA6D4, 4}, {0xC9, 0x01328822, 4},
        {0xCB, 0, 5}, {0xD5, 0, 4}, {0xD9, 0, 5},          {0xE2, 0, 5},          {0xE3, 0, 4},
    };
    for (const auto& c : CASES) {
        EXPECT_EQ(get(c.fid), c.value) << "FID " << c.fid;
        EXPECT_EQ(get(c.fid | 0x100), c.value) << "default of FID " << c.fid;
        EXPECT_EQ(get(c.fid | 0x300), c.capabilities) << "capabilities of FID " << c.fid;
    }
}

TEST_F(VelkoFeatures, AreOfTheMakersModelAlone) {
    describe(ModelId::OCP);
    for (const uint32_t fid : {0xC8U, 0xC9U, 0xCBU, 0xD5U, 0xD9U, 0xE2U, 0xE3U}) {
        EXPECT_EQ(status(admin(0x0A, 0, fid)), 0x4002) << "FID " << fid;
        EXPECT_EQ(set(fid, 1), 0x4002) << "FID " << fid;
    }
}

TEST_F(VelkoFeatures, AreSetAndReadBack) {
    const struct {
        uint32_t fid;
        uint32_t dword11;
        uint32_t value;
    } CASES[] = {
        {0xC6, 1, 0x00120E01},
        {0xC6, 2, 0x000C0A02},
        {0xC6, 0, 0x00191400},
        {0xC8, 0x1FF, 0x003AFFD4},
        {0xC8, 1, 0x003AFF01},
        {0xC8, 0x210, 0x0010FF01},
        {0xC9, 0x01328842, 0x01328842},
        {0xC9, 0x00190000, 0x00190000},
        {0xCB, 1, 1},
        {0xD9, 1, 1},
        {0xE2, 1, 1},
        {0xE2, 0, 0},
    };
    for (const auto& c : CASES) {
        EXPECT_EQ(set(c.fid, c.dword11, c.fid % 2 == 0 ? 0 : 0xFFFFFFFF), 0) << "FID " << c.fid;
        EXPECT_EQ(get(c.fid), c.value) << "FID " << c.fid;
    }
}

TEST_F(VelkoFeatures, RefuseWhatTheyDoNotDefine) {
    const struct {
        uint32_t dword10;
        uint32_t dword11;
        uint16_t status;
    } CASES[] = {
        {0xC6, 3, 0x4002},
        {0xC6, 0x100, 0x4002},
        {0xC8, 0, 0x4002},
        {0xC8, 0x301, 0x4002},
        {0xC8, 0x401, 0x4002},
        {0xC9, 0x011A8822, 0x4002},
        {0xC9, 0x03328822, 0x4002},
        {0xCB, 2, 0x4002},
        {0xD5, 0, 0x4002},
        {0xD5, 3, 0x4002},
        {0xD9, 2, 0x4002},
        {0xE2, 2, 0x4002},
        {0xE3, 0, 0x4002},
        {0xE3, 2, 0x4002},
        {0xC2, 0, 0x410E},
        {SAVE | 0xC8, 1, 0x410D},
        {SAVE | 0xC9, 0x01328822, 0x410D},
        {SAVE | 0xD5, 1, 0x410D},
        {SAVE | 0xE3, 1, 0x410D},
    };
    for (const auto& c : CASES) EXPECT_EQ(set(c.dword10, c.dword11), c.status) << c.dword10 << " " << c.dword11;
    EXPECT_EQ(set(0xC6, 1, 1), 0x410F) << "not of a namespace";
    EXPECT_EQ(get(0xC6), 0x00191400U) << "nothing has changed";
    EXPECT_EQ(get(0xC8), 0x003AA6D4U);
    EXPECT_EQ(get(0xC9), 0x01328822U);
}

TEST_F(VelkoFeatures, OutliveAResetWhenSavedOrPersistent) {
    EXPECT_EQ(set(SAVE | 0xC6, 2), 0);
    EXPECT_EQ(set(0xCB, 1), 0);
    EXPECT_EQ(set(SAVE | 0xE2, 1), 0);
    EXPECT_EQ(set(0xC8, 0x1FF), 0);
    EXPECT_EQ(set(0xC9, 0x00190000), 0);
    reset();
    reopen();
    EXPECT_EQ(get(0xC6), 0x000C0A02U);
    EXPECT_EQ(get(0xCB), 0U) << "neither saved nor persistent";
    EXPECT_EQ(get(0xE2), 1U);
    EXPECT_EQ(get(0xC8), 0x003AFFD4U);
    EXPECT_EQ(get(0xC9), 0x00190000U);
}

TEST_F(VelkoFeatures, MaximumLbaResizesTheOnlyNamespace) {
    const Bytes native = {0xFF, 0xFF, 0x01, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(getLba(0xC1), native);
    EXPECT_EQ(getLba(0xC2), native);
    writeBlock(65535, 0x11);
    writeBlock(65536, 0x22);
    EXPECT_EQ(setMaximumLba({0xFF, 0xFF}), 0);
    reset();
    reopen();
    EXPECT_EQ(getLba(0xC1), (Bytes{0xFF, 0xFF, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(getLba(0xC1 | 0x100), native);
    EXPECT_EQ(getLba(0xC2), native);
    const Bytes part = identify(0x00, 1);
    EXPECT_EQ(number(part, 0, 8), 65536U);
    EXPECT_EQ(number(part, 8, 8), 65536U);
    EXPECT_EQ(number(identify(0x01), 296, 8), 32U << 20) << "unallocated capacity";
    EXPECT_EQ(block(65535), Bytes(512, 0x11));
    EXPECT_EQ(status(io(0x02, 1, 65536)), 0x4080);
    EXPECT_EQ(setMaximumLba({0xFF, 0xFF, 0x01}), 0);
    EXPECT_EQ(block(65535), Bytes(512, 0x11));
    EXPECT_EQ(block(65536), Bytes(512, 0x00)) << "what was cut off is not readable again";
    EXPECT_EQ(number(identify(0x01), 296, 8), 0U);
}

TEST_F(VelkoFeatures, MaximumLbaNotifiesHostsOfTheChange) {
    EXPECT_EQ(setMaximumLba({0xFF, 0xFF}), 0);
    EXPECT_EQ(number(log(0x04, 4096), 0, 8), 1U) << "namespace 1 has changed";
}

TEST_F(VelkoFeatures, MaximumLbaRefusesWhatTheDriveDoesNotHave) {
    EXPECT_EQ(setMaximumLba({0}), 0x4002);
    EXPECT_EQ(setMaximumLba({0x00, 0x00, 0x02}), 0x4002) << "one more than native";
    EXPECT_EQ(setMaximumLba({1, 0, 0, 0, 0, 0, 0, 0, 1}), 0x4002) << "a reserved byte";
    data.assign(8, 0);
    EXPECT_EQ(set(0xC1, 0), 0x4004) << "less data than the structure";
    EXPECT_EQ(number(getLba(0xC1), 0, 8), 131071U);
}

TEST_F(VelkoFeatures, MaximumLbaIsNotThereBesideASecondNamespaceOrMetadata) {
    EXPECT_EQ(setMaximumLba({0xFF, 0xFF}), 0);
    data.assign(4096, 0);
    data[0] = data[8] = 100;
    EXPECT_EQ(status(admin(0x0D, 0, 0)), 0) << "create";
    for (const uint32_t fid : {0xC1U, 0xC2U}) EXPECT_EQ(status(admin(0x0A, 0, fid)), 0x4002);
    EXPECT_EQ(setMaximumLba({0xFF, 0x0F}), 0x4002);
    EXPECT_EQ(status(admin(0x0D, 2, 1)), 0) << "delete";
    EXPECT_EQ(number(getLba(0xC1), 0, 8), 65535U);
    EXPECT_EQ(status(admin(0x80, 1, 1)), 0) << "format with metadata";
    EXPECT_EQ(status(admin(0x0A, 0, 0xC1)), 0x4002);
    EXPECT_EQ(status(admin(0x80, 1, 2)), 0) << "format in blocks of 4 KiB";
    EXPECT_EQ(number(getLba(0xC1), 0, 8), 8191U);
    EXPECT_EQ(number(getLba(0xC2), 0, 8), 16383U);
}

TEST_F(VelkoFeatures, QuickFormatEmptiesTheDrive) {
    writeBlock(7, 0x77);
    EXPECT_EQ(set(0xE3, 1), 0);
    EXPECT_EQ(block(7), Bytes(512, 0));
    EXPECT_EQ(get(0xE3), 1U);
    EXPECT_EQ(set(0xE3, 1), 0);
    reset();
    EXPECT_EQ(get(0xE3), 2U) << "counted over the life of the drive";
}

TEST_F(VelkoFeatures, ResetCrcIsTakenWithoutErrors) {
    EXPECT_EQ(set(0xD5, 1), 0);
    EXPECT_EQ(get(0xD5), 0U);
}

}  // namespace
