#pragma once

#include "features/jobs/base/CloneableJob.h"

namespace features::jobs {

/// The persistent event log decoded: that of a drive, read in a passing context, or that in the file that "PELFilePath"
/// names. The same log gives the same answer, since it names its drive itself.
///
/// A damaged log is shown as far as it is valid, with a status 10/248 that says where it ends and why. A file that
/// holds no such log, or cannot be read, is the status of the request.
class PersistentEventLogParseJob : public CloneableJob<PersistentEventLogParseJob> {
public:
    PersistentEventLogParseJob();
    ostrel::core::Status runMethod(const std::shared_ptr<ostrel::core::xml::XmlObject>& output) override;

protected:
    ostrel::core::Status actOnDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) override;
};

}  // namespace features::jobs
