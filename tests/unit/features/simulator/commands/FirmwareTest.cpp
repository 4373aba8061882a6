#include "tests/unit/features/simulator/FirmwareImageBytes.h"
#include "tests/unit/features/simulator/SimulatedDrive.h"

using features::simulator::ModelId;
using features::simulator::ResetKind;

namespace {

class FirmwareOfASimulatedDrive : public SimulatedDrive {
protected:
    uint16_t downloadPiece(const Bytes& bytes, size_t offset, size_t size) {
        data = part(bytes, offset, size);
        return status(admin(0x11, 0, static_cast<uint32_t>(size / 4 - 1), static_cast<uint32_t>(offset / 4)));
    }
    void download(const Bytes& bytes) {
        for (size_t at = 0; at < bytes.size(); at += 4096) {
            EXPECT_EQ(downloadPiece(bytes, at, std::min<size_t>(4096, bytes.size() - at)), 0);
        }
    }
    uint16_t commit(uint32_t slot, uint32_t action) { return status(admin(0x10, 0, slot | action << 3)); }
    std::string running() { return text(identify(0x01), 64, 8); }
    /// Active and pending slot, and the revisions.
    std::string slots() {
        const Bytes page = log(0x03, 512);
        std::string shown = std::to_string(page[0] & 7) + "/" + std::to_string(page[0] >> 4);
        for (size_t i = 0; i < 4; ++i) shown += "," + (page[8 + 8 * i] == 0 ? "-" : text(page, 8 + 8 * i, 8));
        return shown;
    }
};

TEST_F(FirmwareOfASimulatedDrive, IsActivatedAtAReset) {
    EXPECT_EQ(slots(), "1/0,VSIM0100,-,-,-");
    download(firmwareImage("NEW1", 1));
    EXPECT_EQ(commit(2, 0), 0) << "replaced, not activated";
    EXPECT_EQ(slots(), "1/0,VSIM0100,NEW1    ,-,-");
    EXPECT_EQ(commit(2, 2), 0);
    EXPECT_EQ(slots(), "1/2,VSIM0100,NEW1    ,-,-");
    EXPECT_EQ(running(), "VSIM0100");
    reopen();
    EXPECT_TRUE(succeeded(controller->reset(ResetKind::CONTROLLER)));
    EXPECT_EQ(slots(), "2/0,VSIM0100,NEW1    ,-,-");
    EXPECT_EQ(running(), "NEW1    ");
}

TEST_F(FirmwareOfASimulatedDrive, IsActivatedAtOnceWhereImageAndModelAllowIt) {
    download(firmwareImage("NOW00001", 0));
    EXPECT_EQ(commit(3, 3), 0);
    EXPECT_EQ(running(), "NOW00001");
    EXPECT_EQ(slots(), "3/0,VSIM0100,-,NOW00001,-");
    EXPECT_EQ(commit(1, 3), 0) << "back to the first, without a download";
    EXPECT_EQ(running(), "VSIM0100");
    download(firmwareImage("LATER001", 1));
    EXPECT_EQ(commit(2, 3), 0x0111) << "needs a controller level reset";
    EXPECT_EQ(running(), "VSIM0100");
    EXPECT_EQ(slots(), "1/2,VSIM0100,LATER001,NOW00001,-");
    EXPECT_EQ(status(admin(0x84, 0, 2)), 0x0111) << "Sanitize waits for it";
    EXPECT_EQ(number(log(0x02, 512), 176, 8), 1U) << "only that is an error";
}

TEST_F(FirmwareOfASimulatedDrive, WaitsForTheResetThatItNeeds) {
    download(firmwareImage("SUBSYST1", 2));
    EXPECT_EQ(commit(2, 1), 0x0110);
    EXPECT_TRUE(succeeded(controller->reset(ResetKind::CONTROLLER)));
    EXPECT_EQ(slots(), "1/2,VSIM0100,SUBSYST1,-,-");
    EXPECT_TRUE(succeeded(controller->reset(ResetKind::SUBSYSTEM)));
    EXPECT_EQ(slots(), "2/0,VSIM0100,SUBSYST1,-,-");
    EXPECT_EQ(number(log(0x02, 512), 112, 8), 2U) << "power cycles";
    download(firmwareImage("CONVENT1", 3));
    EXPECT_EQ(commit(0, 1), 0x010B);
    EXPECT_EQ(slots(), "2/3,VSIM0100,SUBSYST1,CONVENT1,-") << "the controller chose the slot";
}

TEST_F(FirmwareOfASimulatedDrive, ComesInPiecesOfAnyOrder) {
    const Bytes bytes = firmwareImage("PIECES01", 1, 4096 * 3 + 128);
    EXPECT_EQ(downloadPiece(bytes, 0, 4096), 0);
    EXPECT_EQ(downloadPiece(bytes, 8192, 4096), 0);
    EXPECT_EQ(downloadPiece(bytes, 8192, 4096), 0x4114) << "overlaps";
    EXPECT_EQ(commit(2, 1), 0x4107) << "a gap";
    reopen();
    EXPECT_EQ(downloadPiece(bytes, 12288, 128), 0);
    EXPECT_EQ(downloadPiece(bytes, 4096, 4096), 0);
    EXPECT_EQ(commit(2, 1), 0);
    EXPECT_EQ(commit(3, 1), 0x4107) << "the image is used up";
}

TEST_F(FirmwareOfASimulatedDrive, IgnoresAPieceThatAKilledProcessLeftHalf) {
    const Bytes bytes = firmwareImage("HALF0001", 1);
    EXPECT_EQ(downloadPiece(bytes, 0, 4096), 0);
    const std::string file = readWholeFile(path() + "/firmware-download");
    writeWholeFile(path() + "/firmware-download", file + std::string("\0\x10\0\0\0\x10\0\0half", 12));
    EXPECT_EQ(downloadPiece(bytes, 4096, 4096), 0);
    EXPECT_EQ(commit(2, 0), 0);
}

TEST_F(FirmwareOfASimulatedDrive, RefusesWhatIsNoImageOfItsOwn) {
    Bytes bytes = firmwareImage("WRONG001", 1);
    bytes[5000] = 0;
    download(bytes);
    EXPECT_EQ(commit(2, 0), 0x4107) << "a wrong checksum";
    download(firmwareImage("WRONG002", 1, 8192, "Simulated OCP Datacenter NVMe SSD"));
    EXPECT_EQ(commit(2, 0), 0x4107) << "of another model";
    download(firmwareImage("WRONG003", 4));
    EXPECT_EQ(commit(2, 0), 0x4107) << "no such reset";
    download(Bytes(4096));
    EXPECT_EQ(commit(2, 0), 0x4107);
    EXPECT_EQ(slots(), "1/0,VSIM0100,-,-,-");
}

TEST_F(FirmwareOfASimulatedDrive, RefusesWrongFields) {
    const Bytes bytes = firmwareImage("FIELDS01", 1);
    EXPECT_EQ(downloadPiece(bytes, 2048, 4096), 0x4002) << "not a multiple of 4 KiB";
    download(bytes);
    EXPECT_EQ(commit(1, 0), 0x4106) << "slot 1 is read only";
    EXPECT_EQ(commit(5, 0), 0x4106) << "four slots";
    EXPECT_EQ(commit(0, 2), 0x4106) << "which one?";
    EXPECT_EQ(commit(4, 2), 0x4107) << "an empty slot";
    EXPECT_EQ(commit(2, 4), 0x4002) << "a reserved action";
    EXPECT_EQ(commit(0, 6), 0x4002) << "boot partitions";
    EXPECT_EQ(status(admin(0x10, 0, 0x80000002)), 0x4002);
    EXPECT_TRUE(succeeded(controller->reset(ResetKind::CONTROLLER)));
    EXPECT_EQ(commit(2, 0), 0x4107) << "a reset forgets what was downloaded";
    data.assign(4092, 0);
    EXPECT_EQ(status(admin(0x11, 0, 1023, 0)), 0x4004);
}

TEST_F(FirmwareOfASimulatedDrive, OfTheOtherModelMayReplaceItsFirstSlot) {
    describe(ModelId::OCP);
    EXPECT_EQ(identify(0x01)[260], 0x16) << "three slots, activation without a reset";
    download(firmwareImage("OCP00002", 1, 8192, "Simulated OCP Datacenter NVMe SSD"));
    EXPECT_EQ(commit(1, 0), 0);
    EXPECT_EQ(running(), "OSIM0100") << "the running revision is in no slot any more";
    EXPECT_TRUE(succeeded(controller->reset(ResetKind::CONTROLLER)));
    EXPECT_EQ(running(), "OCP00002");
}

}  // namespace
