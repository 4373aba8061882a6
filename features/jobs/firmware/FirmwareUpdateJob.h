#pragma once

#include "features/errors/Result.h"
#include "features/jobs/base/CloneableJob.h"
#include "features/jobs/firmware/FirmwareCommit.h"
#include "features/jobs/firmware/FirmwareModules.h"

namespace features::jobs {

/// Gives a drive new firmware: from a file, or the newest module that fits it. Everything that can be wrong with the
/// image, the slot or the action is looked at before the first byte goes to the drive.
///
/// Arguments: "FirmwareFile" (none: a module of the directories in "AdditionalModuleDirs"), "FirmwareSlot" and
/// "CommitAction" (see FirmwareCommit.h). Action 2 is 10/174: it would activate what was in the slot before, and not
/// the image that was sent.
class FirmwareUpdateJob : public CloneableJob<FirmwareUpdateJob> {
public:
    FirmwareUpdateJob();

protected:
    ostrel::core::Status checkRequest(const Arguments& arguments) override;
    ostrel::core::Status actOnDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) override;

private:
    /// The newest module for a drive; 10/64 also when the drive has its revision staged for the next reset.
    Result<const FirmwareModule*> chooseModule(nvme::Drive& drive, const FirmwareState& now) const;
    /// An image for a drive, and the revision that it is known to have; empty: none.
    struct KnownImage {
        std::string bytes;
        std::string revision;
    };
    Result<KnownImage> chooseImage(nvme::Drive& drive, const FirmwareState& now) const;

    CommitRequest commit_;
    std::string image_;                               // of the file that the user named
    std::shared_ptr<const FirmwareModules> modules_;  // null when the user named a file
};

}  // namespace features::jobs
