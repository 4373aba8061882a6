#pragma once

#include <memory>

#include "features/jobs/base/CloneableJob.h"
#include "features/jobs/erase/AtaDelete.h"
#include "features/jobs/erase/ErasePasswords.h"
#include "features/jobs/erase/ErasureRecords.h"
#include "features/jobs/erase/FormatNvm.h"
#include "features/jobs/erase/Sanitize.h"
#include "features/jobs/support/Notice.h"
#include "features/jobs/support/WaitClock.h"

namespace features::jobs {

/// Erases one drive. "Type" says how:
///
///   - "Delete":     the user data of all namespaces; each keeps its format. Of a SATA drive see AtaDelete.h.
///   - "NVMeFormat": one namespace or all, with the format and the erase that the arguments say. 0/35 on SATA drives.
///   - "Sanitize":   the whole drive, followed to the end.
///
/// Each erase leaves a record (Erasure); "NVMeFormat" without an erase does not.
///
/// Unused partitions are a reason to refuse unless "Force" is "true"; other uses always are.
class FormatJob : public CloneableJob<FormatJob> {
public:
    /// Without `records` none are kept.
    explicit FormatJob(std::shared_ptr<const WaitClock> clock = systemWaitClock(),
                       const ErasePasswords& passwords = ErasePasswords(),
                       std::shared_ptr<const Notice> notice = std::make_shared<const Notice>(),
                       std::shared_ptr<const ErasureRecords> records = nullptr);
    std::unique_ptr<FormatJob> makeNew() const {
        return std::make_unique<FormatJob>(clock_, passwords_, notice_, records_);
    }

protected:
    ostrel::core::Status checkRequest(const Arguments& arguments) override;
    ostrel::core::Status actOnDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) override;
    ostrel::core::Status actOnAtaDrive(ata::Drive& drive, const Arguments& arguments, DriveOutput& out) override;

private:
    enum class Type : uint8_t { DELETE, NVME_FORMAT, SANITIZE };

    Result<std::string> eraseNvme(nvme::Drive& drive, Erasure& erasure) const;
    Result<std::string> eraseAta(ata::Drive& drive, Erasure& erasure) const;

    std::shared_ptr<const WaitClock> clock_;
    ErasePasswords passwords_;
    std::shared_ptr<const Notice> notice_;
    std::shared_ptr<const ErasureRecords> records_;
    Type type_ = Type::DELETE;  ///< of the method that runs; so are the next two
    FormatRequest format_;
    SanitizeRequest sanitize_;
};

}  // namespace features::jobs
