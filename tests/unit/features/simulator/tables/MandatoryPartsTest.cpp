#include "tests/unit/features/simulator/SimulatedDrive.h"

using features::simulator::ModelId;
using features::simulator::SubmissionEntry;

namespace {

/// A drive with what NVMe 1.4 makes mandatory, and nothing else.
class DriveWithMandatoryPartsAlone : public SimulatedDrive {
protected:
    DriveWithMandatoryPartsAlone() { describe(ModelId::NVME_1_4); }

    uint64_t errorsInSmart() { return number(log(0x02, 512), 176, 8); }
};

TEST_F(DriveWithMandatoryPartsAlone, OffersNothingOptional) {
    const Bytes controllerData = identify(0x01);
    EXPECT_EQ(text(controllerData, 24, 40), "Simulated NVMe 1.4 SSD                  ");
    EXPECT_EQ(text(controllerData, 64, 8), "NSIM0100");
    EXPECT_EQ(number(controllerData, 80, 4), 0x00010400U);
    EXPECT_EQ(number(controllerData, 92, 4), 0U) << "OAES";
    EXPECT_EQ(number(controllerData, 96, 4), 0U) << "CTRATT";
    EXPECT_EQ(number(controllerData, 256, 2), 0U) << "OACS";
    EXPECT_EQ(controllerData[260], 2) << "FRMW: one slot";
    EXPECT_EQ(controllerData[261], 0) << "LPA";
    EXPECT_EQ(controllerData[265], 0) << "APSTA";
    EXPECT_EQ(number(controllerData, 322, 2), 0U) << "HCTMA";
    EXPECT_EQ(number(controllerData, 328, 4), 0U) << "SANICAP";
    EXPECT_EQ(number(controllerData, 520, 2), 0U) << "ONCS";
    EXPECT_EQ(controllerData[525], 6) << "VWC: none";
    EXPECT_EQ(controllerData[531], 0) << "NWPC";
}

TEST_F(DriveWithMandatoryPartsAlone, HasThreeLogPages) {
    for (uint32_t lid = 0; lid < 256; ++lid) {
        const uint16_t expected = lid >= 1 && lid <= 3 ? 0 : 0x4109;
        EXPECT_EQ(status(admin(0x02, 0xFFFFFFFF, lid | 0x007F0000)), expected) << "log page " << lid;
    }
    EXPECT_EQ(errorsInSmart(), 253U);
}

TEST_F(DriveWithMandatoryPartsAlone, HasTheMandatoryFeaturesAndKeepAlive) {
    for (uint32_t fid = 0; fid < 256; ++fid) {
        const bool isThere = fid == 1 || fid == 2 || fid == 4 || fid == 5 || (fid >= 7 && fid <= 0x0B) || fid == 0x0F;
        EXPECT_EQ(status(admin(0x0A, fid == 5 ? 1 : 0, fid)), isThere ? 0 : 0x4002) << "feature " << fid;
    }
    EXPECT_EQ(errorsInSmart(), 246U);
}

TEST_F(DriveWithMandatoryPartsAlone, HasFourIdentifyStructures) {
    for (uint32_t cns = 0; cns < 256; ++cns) {
        const uint32_t nsid = cns == 0 || cns == 3 ? 1 : 0;
        EXPECT_EQ(status(admin(0x06, nsid, cns)), cns <= 3 ? 0 : 0x4002) << "CNS " << cns;
    }
    EXPECT_EQ(errorsInSmart(), 252U);
}

TEST_F(DriveWithMandatoryPartsAlone, RefusesAndRecordsTheRest) {
    const struct {
        SubmissionEntry command;
        uint16_t status;
        const char* why;
    } CASES[] = {
        {admin(0x02, 0, 0x007F0002, 0, 512), 0x4002, "Log Page Offset"},
        {admin(0x02, 0, 0x10000001, 1), 0x4002, "Number of Dwords Upper"},
        {admin(0x0A, 0, 0x102), 0x4002, "Select"},
        {admin(0x09, 0, 0x80000002), 0x4002, "Save"},
        {admin(0x0D), 0x4001, "Namespace Management"},
        {admin(0x10), 0x4001, "Firmware Commit"},
        {admin(0x11), 0x4001, "Firmware Image Download"},
        {admin(0x14), 0x4001, "Device Self-test"},
        {admin(0x15), 0x4001, "Namespace Attachment"},
        {admin(0x80), 0x4001, "Format NVM"},
        {admin(0x84), 0x4001, "Sanitize"},
        {admin(0xC0), 0x4001, "vendor specific"},
        {io(0x05, 1), 0x4001, "Compare"},
        {io(0x08, 1), 0x4001, "Write Zeroes"},
        {io(0x09, 1), 0x4001, "Dataset Management"},
    };
    uint64_t errors = 0;
    for (const auto& c : CASES) {
        EXPECT_EQ(status(c.command), c.status) << c.why;
        const Bytes newest = log(0x01, 64);
        EXPECT_EQ(number(newest, 0, 8), ++errors) << c.why;
        EXPECT_EQ(number(newest, 12, 2), c.status * 2U) << c.why;
        EXPECT_EQ(errorsInSmart(), errors) << c.why;
    }
}

TEST_F(DriveWithMandatoryPartsAlone, HasWhatItsDescriptionTurnsOn) {
    description.supportsTelemetry = true;
    describe();
    EXPECT_EQ(identify(0x01)[261], 0x0C) << "telemetry is read from offsets";
    EXPECT_EQ(log(0x07, 512, 1)[0], 0x07) << "a capture";
    EXPECT_EQ(status(admin(0x02, 0, 0x007F0007, 0, 512)), 0) << "the next block";
}

}  // namespace
