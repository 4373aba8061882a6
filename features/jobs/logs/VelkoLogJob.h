#pragma once

#include "features/errors/Result.h"
#include "features/jobs/base/CloneableJob.h"
#include "features/jobs/base/DumpJob.h"
#include "features/nvme/CommandError.h"

namespace features::jobs {

/// A binary log of a VELKO drive as bytes: nlog, bridge nlog, event log, assert log or system snapshot, by the name of
/// the job. A log of which another host took another picture meanwhile is read again. Drives without it answer with
/// the catalogue's status for that log.
class VelkoLogJob : public CloneableJob<VelkoLogJob, DumpJob> {
public:
    /// `name`: of a job that has a row; another throws.
    explicit VelkoLogJob(const std::string& name);
    std::unique_ptr<VelkoLogJob> makeNew() const { return std::make_unique<VelkoLogJob>(getName()); }

    /// Whether the log page is one of these logs, on a VELKO drive.
    static bool isLog(uint8_t lid) { return findRow(lid) != nullptr; }
    /// When one of them has no data.
    static EmptyLog emptyLog(uint8_t lid);
    /// Reads one of them.
    static Result<void, nvme::CommandError> readLog(uint8_t lid, nvme::Drive& drive, LogSink& log);

protected:
    uint8_t logId(const Arguments& arguments) const override;
    ostrel::core::Status dumpDrive(nvme::Drive& drive, const Arguments& arguments, LogSink& log) override;
    ostrel::core::Status ataRefusal() const override;

private:
    struct Row;
    static const Row ROWS[];
    static const Row& rowOf(const std::string& name);
    static const Row& rowOf(uint8_t lid);
    static const Row* findRow(uint8_t lid);

    /// Whether what was read is one picture.
    static Result<bool, nvme::CommandError> readOnce(const Row& row, nvme::Drive& drive, LogSink& log);
};

}  // namespace features::jobs
