#include <gtest/gtest.h>

#include "features/jobs/operations/NvmeResetJob.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/unit/features/jobs/Commands.h"
#include "tests/unit/features/jobs/JobRun.h"
#include "tests/unit/features/jobs/StatusAnswer.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;
using features::transport::HostRequest;
using ostrel::interfaces::ostreli::JOBTYPE_METHOD;

Expected reset() {
    return Expected::host(HostRequest::RESET_CONTROLLER);
}

std::string child(const std::string& key, const std::string& category, const std::string& code,
                  const std::string& message) {
    return statusObject("NVMe Reset", category, code, message, key);
}

std::string run(const std::vector<const FakeDrive*>& drives) {
    NvmeResetJob job;
    return JobRun(job, JOBTYPE_METHOD).on(drives);
}

TEST(NvmeResetJob, TheControllerIsAskedAfterItsReset) {
    FakeDrive drive;
    drive.expect(reset()).expect(identify(0x01).answers(identifyController().text(64, "FW\x1B", 8)));
    EXPECT_EQ(run({&drive}),
              output(child("S1", "0", "0", "The controller was reset. It is ready and runs firmware FW?.")));
}

TEST(NvmeResetJob, EachDriveReportsWhatCameOfIt) {
    FakeDrive unsupported("S0", "/dev/nvme1");
    unsupported.expect(reset().breaks(statuses::featureNotSupported()));
    FakeDrive unplugged;
    unplugged.expect(reset().breaks(gone()));
    FakeDrive mute("S2", "/dev/nvme2");
    mute.expect(reset()).expect(identify(0x01).refuses(0x0006));
    FakeDrive good("S3", "/dev/nvme3");
    good.expect(reset()).expect(identify(0x01).answers(identifyController().text(64, "FW3", 8)));
    EXPECT_EQ(
        run({&unsupported, &unplugged, &mute, &good}),
        output(child("S0", "10", "34", "Feature is not supported.") +
               child("S1", "10", "176", "NVMe Reset Failed. The drive /dev/nvme0 is gone.") +
               child("S2", "10", "176",
                     "NVMe Reset Failed. Identify failed on drive S2 (/dev/nvme2): Internal Error (status code type "
                     "0x0, status code 0x06, opcode 0x06).") +
               child("S3", "0", "0", "The controller was reset. It is ready and runs firmware FW3.")));
}

}  // namespace
}  // namespace features::jobs
