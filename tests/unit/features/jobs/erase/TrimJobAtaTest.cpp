#include <gtest/gtest.h>

#include "features/jobs/erase/TrimJob.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/unit/features/jobs/JobRun.h"
#include "tests/unit/features/jobs/StatusAnswer.h"
#include "tests/unit/features/jobs/Unplugged.h"
#include "tests/unit/features/jobs/UsedNamespaces.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::interfaces::ostreli;

Expected unused() {
    return hostUses({unusedNamespace(1)});
}
Expected trim(const DriveBytes& ranges) {
    return Expected::ata(0x06, ata::Protocol::DMA_OUT, ata::Addressing::BITS_48)
        .feature(0x0001)
        .count(static_cast<uint16_t>(ranges.size() / 512))
        .writes(ranges)
        .timeoutMs(30000);
}
std::string run(FakeSataDrive& drive, const std::string& start, const std::string& count) {
    TrimJob job;
    return JobRun(job, JOBTYPE_METHOD).with("StartLBA", start).with("Count", count).on({&drive});
}

TEST(TrimJobAta, SendsOneRangeInOneBlock) {
    FakeSataDrive drive;
    drive.expect(unused())
        .expect(identifyAta().answers(identifyDevice()))
        .expect(unused())
        .expect(trim(DriveBytes(512).put(0, {0x00, 0x10, 0, 0, 0, 0, 0x08, 0x00})));
    EXPECT_EQ(run(drive, "4096", "8"),
              statusAnswer("Trim", "0", "0", "8 blocks of 512 bytes from block 4096 on were deallocated."));
}

TEST(TrimJobAta, SplitsRangesAt65535SectorsAndCommandsAt128MiB) {
    // 262,144 sectors are 128 MiB: four ranges of 65,535 and one of 4; then one command for the one that is left.
    FakeSataDrive drive;
    drive.expect(unused())
        .expect(identifyAta().answers(identifyDevice()))
        .expect(unused())
        .expect(trim(DriveBytes(512)
                         .put(0, {0x01, 0x00, 0x00, 0, 0, 0, 0xFF, 0xFF})
                         .put(8, {0x00, 0x00, 0x01, 0, 0, 0, 0xFF, 0xFF})
                         .put(16, {0xFF, 0xFF, 0x01, 0, 0, 0, 0xFF, 0xFF})
                         .put(24, {0xFE, 0xFF, 0x02, 0, 0, 0, 0xFF, 0xFF})
                         .put(32, {0xFD, 0xFF, 0x03, 0, 0, 0, 0x04, 0x00})))
        .expect(unused())
        .expect(trim(DriveBytes(512).put(0, {0x01, 0x00, 0x04, 0, 0, 0, 0x01, 0x00})));
    EXPECT_EQ(run(drive, "1", "262145"),
              statusAnswer("Trim", "0", "0", "262145 blocks of 512 bytes from block 1 on were deallocated."));
}

TEST(TrimJobAta, ReportsHowMuchWasDoneBeforeAFailure) {
    FakeSataDrive drive;
    drive.expect(unused())
        .expect(identifyAta().answers(identifyDevice()))
        .expect(unused())
        .expect(trim(DriveBytes(512)
                         .put(0, {0x00, 0x00, 0x00, 0, 0, 0, 0xFF, 0xFF})
                         .put(8, {0xFF, 0xFF, 0x00, 0, 0, 0, 0xFF, 0xFF})
                         .put(16, {0xFE, 0xFF, 0x01, 0, 0, 0, 0xFF, 0xFF})
                         .put(24, {0xFD, 0xFF, 0x02, 0, 0, 0, 0xFF, 0xFF})
                         .put(32, {0xFC, 0xFF, 0x03, 0, 0, 0, 0x04, 0x00})))
        .expect(unused())
        .expect(trim(DriveBytes(512).put(0, {0x00, 0x00, 0x04, 0, 0, 0, 0x01, 0x00})).aborts());
    EXPECT_EQ(run(drive, "0", "262145"),
              statusAnswer("Trim", "0", "10",
                           "DATA SET MANAGEMENT failed on drive S1 (/dev/sda): command aborted (command 0x06, FEATURE "
                           "0x01, ERROR 0x04, STATUS 0x51). The first 262144 blocks were deallocated before that."));
}

TEST(TrimJobAta, ChecksDriveAndBoundsBeforeItSendsAnything) {
    FakeSataDrive without;
    without.expect(unused()).expect(identifyAta().answers(identifyDevice().word(169, 0)));
    EXPECT_EQ(run(without, "0", "8"), statusAnswer("Trim", "10", "96", "Drive does not support Trim."));
    FakeSataDrive beyond;
    beyond.expect(unused()).expect(identifyAta().answers(identifyDevice()));
    EXPECT_EQ(run(beyond, "2000000", "1"),
              statusAnswer("Trim", "10", "119",
                           "Given LBA is not in user LBA range. Drive S1 (/dev/sda) has 2000000 blocks."));
    FakeSataDrive longer;
    longer.expect(unused()).expect(identifyAta().answers(identifyDevice()));
    EXPECT_EQ(run(longer, "1999999", "2"),
              statusAnswer("Trim", "10", "120",
                           "Given count will exceed LBA range. Drive S1 (/dev/sda) has 2000000 blocks."));
}

TEST(TrimJobAta, IsRefusedOnADriveThatIsUsed) {
    FakeSataDrive drive;
    drive.expect(hostUses({mounted(1)}));
    EXPECT_EQ(run(drive, "0", "8"), statusAnswer("Trim", mountedRefusal(1)));
    FakeSataDrive mountedMeanwhile;
    mountedMeanwhile.expect(unused()).expect(identifyAta().answers(identifyDevice())).expect(hostUses({mounted(1)}));
    EXPECT_EQ(run(mountedMeanwhile, "0", "8"), statusAnswer("Trim", mountedRefusal(1)));
}

TEST(TrimJobAta, ADriveThatGoesAwayIsReportedWhereverItHappens) {
    expectUnplugged<FakeSataDrive>({unused(), identifyAta().answers(identifyDevice()), unused(),
                                    trim(DriveBytes(512).put(0, {0x00, 0x10, 0, 0, 0, 0, 0x08, 0x00}))},
                                   statusAnswer("Trim", "0/70 The drive /dev/nvme0 is gone."),
                                   [](FakeSataDrive& drive) { return run(drive, "4096", "8"); });
}

}  // namespace
}  // namespace features::jobs
