#pragma once

#include <cstdint>
#include <vector>

#include "features/errors/Result.h"
#include "features/jobs/base/CloneableJob.h"
#include "features/nvme/ControllerCapabilities.h"
#include "features/transport/HostCommand.h"

namespace features::jobs {

/// Deallocates "Count" blocks from "StartLBA" on of one namespace of one drive: Dataset Management, split as the
/// controller wants it. On a drive with several namespaces the path must name the one (10/242). On a SATA drive DATA
/// SET MANAGEMENT, in commands of at most 128 MiB.
///
/// Unused partitions do not stop it: the user has named the blocks.
class TrimJob : public CloneableJob<TrimJob> {
public:
    TrimJob();

protected:
    ostrel::core::Status checkRequest(const Arguments& arguments) override;
    ostrel::core::Status actOnDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) override;
    ostrel::core::Status actOnAtaDrive(ata::Drive& drive, const Arguments& arguments, DriveOutput& out) override;

private:
    /// What the controller takes at most. Units: blocks.
    struct Limits {
        uint32_t rangesPerCommand;
        uint32_t blocksPerRange;
        uint64_t blocksPerCommand;
    };

    Result<Limits> readLimits(nvme::Drive& drive) const;
    /// The size of a block of the namespace, which has the blocks that are asked for.
    Result<uint32_t> checkBounds(nvme::Drive& drive, uint32_t nsid) const;
    ostrel::core::Status deallocate(nvme::Drive& drive, uint32_t nsid, const Limits& limits) const;
    ostrel::core::Status deallocate(ata::Drive& drive, const ata::Identity& identity) const;

    uint64_t startLba_ = 0;  ///< of the method that runs; so is the next
    uint64_t count_ = 0;
};

}  // namespace features::jobs
