#pragma once

#include "features/jobs/base/CloneableJob.h"

namespace features::jobs {

/// A telemetry log decoded: that of a drive, read as TelemetryLogJob reads it, or that in the file that
/// "TelemetryBinaryFilePath" names. Of a drive after the OCP Datacenter NVMe SSD Specification 2.5 statistics and
/// events are shown, by name; the maker's names come from the drive's string log (C9h), or for a file out of the file
/// with that page that "InputConfiguration" names, where it is given.
///
/// A damaged log is shown as far as it is valid, with a status 10/214 that says what is wrong. A file that is too short
/// for a log is 10/213, one that cannot be read the status of the request.
class TelemetryLogParseJob : public CloneableJob<TelemetryLogParseJob> {
public:
    TelemetryLogParseJob();
    ostrel::core::Status runMethod(const std::shared_ptr<ostrel::core::xml::XmlObject>& output) override;

protected:
    ostrel::core::Status checkRequest(const Arguments& arguments) override;
    ostrel::core::Status actOnDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) override;
};

}  // namespace features::jobs
