#pragma once

#include "features/jobs/base/DriveJob.h"
#include "features/jobs/base/EmptyLog.h"
#include "features/jobs/base/LogSink.h"

namespace features::jobs {

/// The base of the jobs that hand out a log as bytes: one output object for each drive, its name that of the log, its
/// key the drive's name, with the bytes in a "payload" property.
///
/// When one drive was named and its log cannot be had, that is the status of the request, and there is no output;
/// otherwise it is a status inside that drive's output, its message names the drive, and the others are dumped.
///
/// A log that has a header and no data is a failure (EmptyLog.h).
///
/// Deriving: dumpDrive(), of a SATA drive dumpAtaDrive(), gives the log of one drive to the sink. One that dumps
/// nothing (an action that has no bytes) returns without begin(), and there is no output for it.
class DumpJob : public DriveJob {
public:
    ostrel::core::Status runMethod(const std::shared_ptr<ostrel::core::xml::XmlObject>& output) override;

protected:
    /// `logName` becomes the beginning of the file's name ("TelemetryLog").
    DumpJob(std::string name, std::string logName, const EmptyLog& empty)
        : DriveJob(std::move(name), std::move(logName)), empty_(empty) {}

    /// The log page that is dumped.
    virtual uint8_t logId(const Arguments& arguments) const = 0;
    virtual ostrel::core::Status dumpDrive(nvme::Drive& drive, const Arguments& arguments, LogSink& log) = 0;
    virtual ostrel::core::Status dumpAtaDrive(ata::Drive& drive, const Arguments& arguments, LogSink& log);

private:
    ostrel::core::Status dump(ostrel::core::Device& device, LogSink& log);

    EmptyLog empty_;
};

}  // namespace features::jobs
