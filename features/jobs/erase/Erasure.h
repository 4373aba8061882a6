#pragma once

#include <cstdint>
#include <ctime>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "features/errors/Result.h"
#include "features/jobs/erase/EraseCheck.h"
#include "features/jobs/erase/EraseMethod.h"
#include "features/jobs/erase/ErasureRecord.h"
#include "features/jobs/erase/ErasureRecords.h"
#include "features/jobs/erase/SampledDrive.h"
#include "features/nvme/NamespaceIds.h"
#include "ostrel/core/Device.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// What is known of a drive for the record of its erase.
struct ErasedDrive {
    std::string firmware;
    std::string capacityBytes;  ///< decimal; empty where the drive does not report it
};

/// One erase of a drive, and the record of it: the class that erases calls begins() and started(), the job that runs it
/// end(). The record is written as soon as the drive has answered the command, and again at the end: a process that is
/// killed between leaves one that says "started". An erase that was not started leaves none, nor does one that ends
/// with its command, as SECURITY ERASE UNIT and most formats do, where the process or the host ends before the answer.
///
/// One whose end was seen and is a success is checked by samples (EraseCheck), which are read before it begins.
///
/// Ownership: device, records and drive must outlive it.
class Erasure {
public:
    using Describe = std::function<ErasedDrive()>;
    using Report = std::function<std::vector<ErasureRecord::Fact>(EraseMethod)>;

    /// Without records nothing is kept, nor checked. `describe` is called when the erase begins.
    Erasure(const ostrel::core::Device& device, const ErasureRecords* records, SampledDrive& drive, Describe describe)
        : device_(device), records_(records), sampled_(drive), describe_(std::move(describe)) {}

    /// All checks have passed; only the safety gate is asked again before the command. `nsid`: what it reaches. An
    /// error where the node is by now that of another drive: then nothing is to be sent.
    ostrel::core::Status begins(EraseMethod method, uint32_t nsid = nvme::NSID_ALL);
    /// Before it begins: the erase writes one of these over and over.
    void overwritesWith(std::vector<uint32_t> patterns) { check_.expect(std::move(patterns)); }
    /// The drive took the command, or it is not known whether it did.
    void started();
    /// The drive goes on by itself, and no end will be seen.
    void goesOn() { goesOn_ = true; }

    /// The end, with what the drive reports then, where the end was seen. Returns `erased`, or that the record could
    /// not be written or that the check failed, with the result in the words: the erase is done nonetheless.
    Result<std::string> end(Result<std::string> erased, const Report& report);

private:
    Result<std::string> checked(const std::string& report);
    ErasureRecord record() const;
    ostrel::core::Status save();

    const ostrel::core::Device& device_;
    const ErasureRecords* records_;
    SampledDrive& sampled_;
    Describe describe_;
    EraseCheck check_;
    ErasedDrive drive_;
    EraseMethod method_ = EraseMethod::SANITIZE_BLOCK;  ///< the next three since begins()
    uint32_t nsid_ = 0;
    std::time_t begin_ = 0;
    bool wasStarted_ = false;
    bool goesOn_ = false;
    bool wasChecked_ = false;
    std::string name_;
    std::optional<std::time_t> end_;
    std::optional<ostrel::core::Status> outcome_;
    std::vector<ErasureRecord::Fact> reported_;
};

}  // namespace features::jobs
