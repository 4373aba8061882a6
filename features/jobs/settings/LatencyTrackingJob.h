#pragma once

#include <cstdint>
#include <optional>

#include "features/jobs/base/CloneableJob.h"

namespace features::jobs {

/// Latency tracking of a VELKO drive: switched on or off, and what it counted, of reads or of writes. Statistics of a
/// drive that does not track are 10/241. Other drives: 10/3.
class LatencyTrackingJob : public CloneableJob<LatencyTrackingJob> {
public:
    LatencyTrackingJob();
    ostrel::core::AttributeList getSupportedProperties() const override;

protected:
    ostrel::core::Status checkRequest(const Arguments& arguments) override;
    ostrel::core::Status actOnDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) override;
    ostrel::core::Status setOnDrive(nvme::Drive& drive, const ostrel::core::Attribute& attribute) override;

private:
    uint8_t lid_ = 0;
    uint8_t type_ = 0;
};

}  // namespace features::jobs
