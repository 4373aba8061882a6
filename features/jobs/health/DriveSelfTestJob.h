#pragma once

#include "features/errors/Result.h"
#include "features/jobs/base/CloneableJob.h"
#include "features/jobs/health/SelfTestRequest.h"
#include "features/jobs/support/WaitClock.h"

namespace features::jobs {

/// The Device Self-test of a drive (NVMe Base Specification 1.4, section 5.8): started, or shown with its progress and
/// the results that the drive keeps. It takes in all namespaces, or the one that the user's path named.
///
/// Arguments of the start:
///   - "TestType": "short" (also when there is none) or "extended". What NVMe does not have is 10/46.
///   - "Mode": "offline" (also when there is none) returns when the test has begun. "captive" waits for the test's end
///     and gives its result; a test that did not pass is 10/215, and one whose progress stalls for twice the time
///     that the drive estimates for the whole is 10/235.
///
/// A SATA drive has the test "conveyance" too, and a captive mode of its own: the drive takes no other command until
/// the test has ended, so that a drive in use is refused (10/192, 10/241). 10/44 on a drive without self-tests, 10/209
/// while a test runs.
class DriveSelfTestJob : public CloneableJob<DriveSelfTestJob> {
public:
    explicit DriveSelfTestJob(std::shared_ptr<const WaitClock> clock = systemWaitClock());
    std::unique_ptr<DriveSelfTestJob> makeNew() const { return std::make_unique<DriveSelfTestJob>(clock_); }

protected:
    ostrel::core::Status checkRequest(const Arguments& arguments) override;
    ostrel::core::Status showDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) override;
    ostrel::core::Status showAtaDrive(ata::Drive& drive, const Arguments& arguments, DriveOutput& out) override;
    ostrel::core::Status actOnDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) override;
    ostrel::core::Status actOnAtaDrive(ata::Drive& drive, const Arguments& arguments, DriveOutput& out) override;

private:
    /// Waits for the end of the test that runs, `minutes` of the drive's own estimate, and takes its log.
    Result<ostrel::core::Payload> await(nvme::Drive& drive, unsigned minutes) const;
    /// Returns when the drive has ended a test that it does before anything else.
    ostrel::core::Status runCaptive(ata::Drive& drive, const SelfTestRow& test, unsigned minutes, DriveOutput& out);

    std::shared_ptr<const WaitClock> clock_;
};

}  // namespace features::jobs
