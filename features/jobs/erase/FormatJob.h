#pragma once

#include <memory>

#include "features/jobs/base/CloneableJob.h"
#include "features/jobs/erase/Erasure.h"
#include "features/jobs/erase/ErasureRecords.h"
#include "features/jobs/erase/FormatNvm.h"
#include "features/jobs/erase/Sanitize.h"
#include "features/jobs/support/WaitClock.h"

namespace features::jobs {

/// Erases one drive. "Type" says how:
///
///   - "Delete":     the user data of all namespaces; each keeps its format.
///   - "NVMeFormat": one namespace or all, with the format and the erase that the arguments say.
///   - "Sanitize":   the whole drive, followed to the end.
///
/// Each erase leaves a record (Erasure); "NVMeFormat" without an erase does not.
///
/// Unused partitions are a reason to refuse unless "Force" is "true"; other uses always are.
class FormatJob : public CloneableJob<FormatJob> {
public:
    /// Without `records` none are kept.
    explicit FormatJob(std::shared_ptr<const WaitClock> clock = systemWaitClock(),
                       std::shared_ptr<const ErasureRecords> records = nullptr);
    std::unique_ptr<FormatJob> makeNew() const { return std::make_unique<FormatJob>(clock_, records_); }

protected:
    ostrel::core::Status checkRequest(const Arguments& arguments) override;
    ostrel::core::Status actOnDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) override;

private:
    Result<std::string> eraseNvme(nvme::Drive& drive, Erasure& erasure) const;

    std::shared_ptr<const WaitClock> clock_;
    std::shared_ptr<const ErasureRecords> records_;
    bool isSanitize_ = false;  ///< of the method that runs; so are the next two
    FormatRequest format_;
    SanitizeRequest sanitize_;
};

}  // namespace features::jobs
