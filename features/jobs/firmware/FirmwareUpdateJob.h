#pragma once

#include "features/errors/Result.h"
#include "features/jobs/base/CloneableJob.h"
#include "features/jobs/firmware/FirmwareCommit.h"
#include "features/jobs/firmware/FirmwareModules.h"
#include "features/jobs/support/Notice.h"
#include "features/jobs/support/WaitClock.h"

namespace features::jobs {

/// Gives a drive new firmware: from a file, or the newest module that fits it. Everything that can be wrong with the
/// image, the slot or the action is looked at before the first byte goes to the drive. A module whose origin is not
/// verified is warned of before that, where the policy of its directory wants it (SignaturePolicy.h).
///
/// Arguments: "FirmwareFile" (none: a module of the directories in "AdditionalModuleDirs"), "FirmwareSlot" and
/// "CommitAction" (see FirmwareCommit.h). Action 2 is 10/174: it would activate what was in the slot before, and not
/// the image that was sent. SATA drives have neither slots (10/175) nor commit actions (10/174), see AtaFirmware.h.
class FirmwareUpdateJob : public CloneableJob<FirmwareUpdateJob> {
public:
    explicit FirmwareUpdateJob(std::shared_ptr<const WaitClock> clock = systemWaitClock(),
                               std::shared_ptr<const Notice> notice = std::make_shared<const Notice>());
    std::unique_ptr<FirmwareUpdateJob> makeNew() const { return std::make_unique<FirmwareUpdateJob>(clock_, notice_); }

protected:
    ostrel::core::Status checkRequest(const Arguments& arguments) override;
    ostrel::core::Status actOnDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) override;
    ostrel::core::Status actOnAtaDrive(ata::Drive& drive, const Arguments& arguments, DriveOutput& out) override;

private:
    /// The newest module for a drive of this model.
    Result<const FirmwareModule*> findModule(const std::string& model, const std::string& running) const;
    /// The same; 10/64 also when the drive has its revision staged for the next reset.
    Result<const FirmwareModule*> chooseModule(nvme::Drive& drive, const FirmwareState& now) const;
    /// An image for a drive.
    struct KnownImage {
        std::string bytes;
        std::string revision;  ///< that it is known to have; empty: none
        std::string warning;   ///< see FirmwareModule
    };
    static Result<KnownImage> readModule(const FirmwareModule& module);
    Result<KnownImage> chooseImage(nvme::Drive& drive, const FirmwareState& now) const;
    Result<KnownImage> chooseImage(const std::string& model, const std::string& running) const;

    /// Shows the warning about an image, and puts it into the answer.
    void warn(const KnownImage& image, const std::string& drive, DriveOutput& out) const;

    std::shared_ptr<const WaitClock> clock_;
    std::shared_ptr<const Notice> notice_;
    CommitRequest commit_;
    std::string image_;                               // of the file that the user named
    std::shared_ptr<const FirmwareModules> modules_;  // null when the user named a file
};

}  // namespace features::jobs
