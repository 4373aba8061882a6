#pragma once

#include "features/jobs/base/CloneableJob.h"

namespace features::jobs {

/// Log pages: which of them a drive has, one or all of them decoded, or one as bytes in a file.
///
/// Of all pages those are shown that the drive has and that can be decoded; one that it still refuses is reported
/// in its place. The file is for one page of one drive, and is replaced as a whole or not at all; a failure is the
/// status of the request.
class NvmeLogJob : public CloneableJob<NvmeLogJob> {
public:
    NvmeLogJob();
    ostrel::core::Status runMethod(const std::shared_ptr<ostrel::core::xml::XmlObject>& output) override;

protected:
    ostrel::core::Status checkRequest(const Arguments& arguments) override;
    ostrel::core::Status actOnDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) override;
    ostrel::core::Status ataRefusal() const override;
};

}  // namespace features::jobs
