#include <gtest/gtest.h>

#include "features/jobs/operations/BackgroundProcessingJob.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/unit/features/jobs/Commands.h"
#include "tests/unit/features/jobs/JobRun.h"
#include "tests/unit/features/jobs/Models.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::interfaces::ostreli;

/// With sanitize and self-test.
DriveBytes capableController() {
    return identifyController().le32(328, 0x02).le16(256, 0x0010);
}

/// The answer for drive S1.
std::string answer(const std::string& sanitize, const std::string& selfTest, const std::string& firmware,
                   bool isRunning) {
    return "0/0\n<Object category=\"Output\">\n<Object key=\"S1\" name=\"Background Processing\">\n"
           "<Property name=\"Sanitize\" value=\"" +
           sanitize + "\"/>\n<Property name=\"Device Self-test\" value=\"" + selfTest +
           "\"/>\n<Property name=\"Firmware\" value=\"" + firmware +
           "\"/>\n<Property name=\"BackgroundProcessing\" value=\"Background process is " + (isRunning ? "" : "not ") +
           "running.\"/>\n</Object>\n</Object>";
}

std::string show(FakeDrive& drive) {
    BackgroundProcessingJob job;
    return JobRun(job, JOBTYPE_METHOD).on({&drive});
}

TEST(BackgroundProcessingJob, ADriveThatCanDoNothingIsAskedForItsFirmwareAlone) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(identifyController()))
        .expect(lookAtLog(0x03, 512).answers(DriveBytes(512).byte(0, 1).text(8, "FW1", 8)));
    EXPECT_EQ(show(drive), answer("not supported", "not supported", "no activation is pending", false));
}

TEST(BackgroundProcessingJob, ADriveAtRest) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(capableController()))
        .expect(lookAtLog(0x81, 512).answers(DriveBytes(512).le16(0, 0xFFFF).le16(2, 1)))
        .expect(lookAtLog(0x06, 564).answers(DriveBytes(564)))
        .expect(lookAtLog(0x03, 512).answers(DriveBytes(512).byte(0, 1)));
    EXPECT_EQ(show(drive), answer("the most recent sanitize operation completed successfully",
                                  "no self-test is in progress", "no activation is pending", false));
}

TEST(BackgroundProcessingJob, ProgressIsReported) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(capableController()))
        .expect(lookAtLog(0x81, 512).answers(DriveBytes(512).le16(0, 0x4000).le16(2, 2)))
        .expect(lookAtLog(0x06, 564).answers(DriveBytes(564).put(0, {0x02, 0x1E})))
        .expect(lookAtLog(0x03, 512).answers(DriveBytes(512).byte(0, 0x21).text(16, "FW2", 8)));
    EXPECT_EQ(show(drive),
              answer("a sanitize operation is in progress, 25.00 % done", "extended self-test in progress, 30 % done",
                     "revision FW2 in slot 2 waits for a controller level reset", true));
}

TEST(BackgroundProcessingJob, MediaVerificationIsReportedWithHowItIsLeft) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(capableController()))
        .expect(lookAtLog(0x81, 512).answers(DriveBytes(512).le16(0, 0xFFFF).le16(2, 2).byte(36, 5)))
        .expect(lookAtLog(0x06, 564).answers(DriveBytes(564)))
        .expect(lookAtLog(0x03, 512).answers(DriveBytes(512).byte(0, 1)));
    EXPECT_EQ(show(drive), answer("the drive is in the Media Verification state until a host sends a Sanitize command "
                                  "with the action Exit Media Verification State (5h)",
                                  "no self-test is in progress", "no activation is pending", true));
}

TEST(BackgroundProcessingJob, FirmwareThatWaitsIsNotAtWork) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(identifyController()))
        .expect(lookAtLog(0x03, 512).answers(DriveBytes(512).byte(0, 0x71).text(56, "FW7", 8)));
    EXPECT_EQ(show(drive), answer("not supported", "not supported",
                                  "revision FW7 in slot 7 waits for a controller level reset", false));
}

TEST(BackgroundProcessingJob, ALogThatIsRefusedIsReportedInItsPlace) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(capableController()))
        .expect(lookAtLog(0x81, 512).refuses(NO_SUCH_LOG))
        .expect(lookAtLog(0x06, 564).answers(DriveBytes(564).put(0, {0x01, 0x05})))
        .expect(lookAtLog(0x03, 512).answers(DriveBytes(512).byte(0, 1)));
    EXPECT_EQ(show(drive),
              answer("not reported: Get Log Page failed on drive S1 (/dev/nvme0): Invalid Log Page (status code type "
                     "0x1, status code 0x09, opcode 0x02).",
                     "short self-test in progress, 5 % done", "no activation is pending", true));
}

TEST(BackgroundProcessingJob, ALogThatIsRefusedIsNotIdle) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(capableController()))
        .expect(lookAtLog(0x81, 512).refuses(0x006))
        .expect(lookAtLog(0x06, 564).answers(DriveBytes(564)))
        .expect(lookAtLog(0x03, 512).answers(DriveBytes(512).byte(0, 1)));
    const std::string shown = show(drive);
    EXPECT_NE(shown.find("<Property name=\"BackgroundProcessing\" value=\"not reported\"/>"), std::string::npos)
        << shown;

    FakeDrive atRest;
    atRest.expect(identify(0x01).answers(capableController()))
        .expect(lookAtLog(0x81, 512).answers(DriveBytes(512).le16(2, 1)))
        .expect(lookAtLog(0x06, 564).answers(DriveBytes(564)))
        .expect(lookAtLog(0x03, 512).refuses(0x006));
    EXPECT_EQ(show(atRest),
              answer("the most recent sanitize operation completed successfully", "no self-test is in progress",
                     "not reported: Get Log Page failed on drive S1 (/dev/nvme0): Internal Error (status "
                     "code type 0x0, status code 0x06, opcode 0x02).",
                     false))
        << "firmware that waits is not at work";
}

TEST(BackgroundProcessingJob, AFailingDriveDoesNotSpoilTheOthers) {
    FakeDrive first("S0", "/dev/nvme1");
    first.expect(identify(0x01).breaks(gone()));
    FakeDrive second;
    second.expect(identify(0x01).answers(identifyController()))
        .expect(lookAtLog(0x03, 512).answers(DriveBytes(512).byte(0, 1)));
    FakeDrive third("S3", "/dev/nvme2");
    third.expect(identify(0x01).answers(identifyController())).expect(lookAtLog(0x03, 512).breaks(gone()));
    FakeDrive fourth("S4", "/dev/nvme3");
    fourth.expect(identify(0x01).refuses(0x0006));
    BackgroundProcessingJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).on({&first, &second, &third, &fourth}), R"(0/0
<Object category="Output">
<Object category="status" key="S0" name="Background Processing">
<Property name="Category" value="0"/>
<Property name="Code" value="70"/>
<Property name="Message" value="The drive /dev/nvme0 is gone."/>
</Object>
<Object key="S1" name="Background Processing">
<Property name="Sanitize" value="not supported"/>
<Property name="Device Self-test" value="not supported"/>
<Property name="Firmware" value="no activation is pending"/>
<Property name="BackgroundProcessing" value="Background process is not running."/>
</Object>
<Object category="status" key="S3" name="Background Processing">
<Property name="Category" value="0"/>
<Property name="Code" value="70"/>
<Property name="Message" value="The drive /dev/nvme0 is gone."/>
</Object>
<Object category="status" key="S4" name="Background Processing">
<Property name="Category" value="0"/>
<Property name="Code" value="25"/>
<Property name="Message" value="Identify failed on drive S4 (/dev/nvme3): Internal Error (status code type 0x0, status code 0x06, opcode 0x06)."/>
</Object>
</Object>)");
}

std::string velkoAnswer(const std::string& flush, const std::string& maintenance, bool isRunning) {
    return "0/0\n<Object category=\"Output\">\n<Object key=\"S1\" name=\"Background Processing\">\n"
           "<Property name=\"Sanitize\" value=\"not supported\"/>\n"
           "<Property name=\"Device Self-test\" value=\"not supported\"/>\n"
           "<Property name=\"Firmware\" value=\"no activation is pending\"/>\n"
           "<Property name=\"Force Flush\" value=\"" +
           flush + "\"/>\n<Property name=\"Maintenance\" value=\"" + maintenance +
           "\"/>\n<Property name=\"BackgroundProcessing\" value=\"Background process is " + (isRunning ? "" : "not ") +
           "running.\"/>\n</Object>\n</Object>";
}

TEST(BackgroundProcessingJob, TheMakersDriveReportsOfItsOwnWork) {
    const struct {
        DriveBytes flush;
        DriveBytes background;
        std::string answer;
    } cases[] = {
        {DriveBytes(64), DriveBytes(64).byte(8, 0x04), velkoAnswer("never run", "none", false)},
        {DriveBytes(64).put(0, {1, 25}), DriveBytes(64), velkoAnswer("in progress, 25 % done", "none", true)},
        {DriveBytes(64).put(0, {2, 100}), DriveBytes(64).byte(0, 0x05),
         velkoAnswer("completed", "garbage collection and media scan", true)},
    };
    for (const auto& c : cases) {
        FakeDrive drive;
        velko(drive)
            .expect(identify(0x01).answers(identifyController()))
            .expect(lookAtLog(0x03, 512).answers(DriveBytes(512).byte(0, 1)))
            .expect(lookAtLog(0xD8, 64).answers(c.flush))
            .expect(lookAtLog(0xD9, 64).answers(c.background));
        EXPECT_EQ(show(drive), c.answer);
    }
}

}  // namespace
}  // namespace features::jobs
