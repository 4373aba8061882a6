#pragma once

#include "features/jobs/base/CloneableJob.h"
#include "features/jobs/base/DumpJob.h"

namespace features::jobs {

/// The persistent event log as bytes, in a reporting context that lasts over commands. "Action":
///   - "new_context" (also without one): a new context, in the place of one that is there. It stays for "read"; a
///     command that fails leaves none.
///   - "read": the context that is there; 10/238 when there is none.
///   - "release": releases the context, and dumps nothing.
/// Another word is 10/240.
class PersistentEventLogJob : public CloneableJob<PersistentEventLogJob, DumpJob> {
public:
    PersistentEventLogJob();

protected:
    ostrel::core::Status checkRequest(const Arguments& arguments) override;
    uint8_t logId(const Arguments& arguments) const override;
    ostrel::core::Status dumpDrive(nvme::Drive& drive, const Arguments& arguments, LogSink& log) override;
    ostrel::core::Status ataRefusal() const override;
};

}  // namespace features::jobs
