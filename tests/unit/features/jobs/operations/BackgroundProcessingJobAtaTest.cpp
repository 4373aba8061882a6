#include <gtest/gtest.h>

#include "features/jobs/operations/BackgroundProcessingJob.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/unit/features/jobs/JobRun.h"
#include "tests/unit/features/jobs/SataCommands.h"
#include "tests/unit/features/jobs/StatusAnswer.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::interfaces::ostreli;

constexpr const char* RUNNING = "Background process is running.";
constexpr const char* NOT_RUNNING = "Background process is not running.";

std::string answer(const std::string& sanitize, const std::string& selfTest, const std::string& collection,
                   const std::string& whole) {
    return output("<Object key=\"S1\" name=\"Background Processing\">\n<Property name=\"Sanitize\" value=\"" +
                  sanitize + "\"/>\n<Property name=\"Device Self-test\" value=\"" + selfTest +
                  "\"/>\n<Property name=\"Offline Collection\" value=\"" + collection +
                  "\"/>\n<Property name=\"Firmware\" value=\"not reported\"/>\n<Property "
                  "name=\"BackgroundProcessing\" value=\"" +
                  whole + "\"/>\n</Object>\n");
}
std::string show(FakeSataDrive& drive) {
    BackgroundProcessingJob job;
    return JobRun(job, JOBTYPE_METHOD).on({&drive});
}
Expected sanitizeStatus(uint16_t count, uint16_t progress) {
    return Expected::ata(0xB4, ata::Protocol::NON_DATA, ata::Addressing::BITS_48)
        .wantsRegisters()
        .returns({0x00, 0x50, 0x40, count, progress});
}

TEST(BackgroundProcessingJobAta, ADriveAtRest) {
    FakeSataDrive drive;
    drive.expect(identifyAta().answers(identifyDevice())).expect(smartPage(0xD0).answers(smartData().byte(362, 0x82)));
    EXPECT_EQ(show(drive), answer("not supported", "no self-test is in progress", "not in progress", NOT_RUNNING));
}

TEST(BackgroundProcessingJobAta, ProgressIsReported) {
    FakeSataDrive drive;
    drive.expect(identifyAta().answers(identifyDevice().word(59, 0x9000)))
        .expect(sanitizeStatus(0x4000, 0x4000))
        .expect(smartPage(0xD0).answers(smartData().put(362, {0x83, 0xF9})));
    EXPECT_EQ(show(drive), answer("a sanitize operation is in progress, 25.00 % done",
                                  "self-test in progress, 10 % done", "in progress", RUNNING));
}

TEST(BackgroundProcessingJobAta, ARegisterThatIsMissingIsNotIdle) {
    FakeSataDrive drive;
    drive.expect(identifyAta().answers(identifyDevice().word(59, 0x9000).word(85, 0x0020)))
        .expect(Expected::ata(0xB4, ata::Protocol::NON_DATA, ata::Addressing::BITS_48)
                    .wantsRegisters()
                    .lacksRegisters(ata::RegistersMissing::NO_SENSE));
    EXPECT_EQ(
        show(drive),
        answer("not reported: No sense data available when attempting to get returned task file. (SANITIZE STATUS "
               "EXT on drive S1 (/dev/sda))",
               "not reported: SMART is not enabled. (drive S1 (/dev/sda))",
               "not reported: SMART is not enabled. (drive S1 (/dev/sda))", "not reported"));
}

}  // namespace
}  // namespace features::jobs
