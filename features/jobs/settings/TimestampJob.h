#pragma once

#include "features/jobs/base/CloneableJob.h"

namespace features::jobs {

/// The drive's clock: milliseconds since the beginning of 1970, UTC, of 48 bits. Shown with where it comes from,
/// whether it may have stopped at times, and as a date. 10/245 on a drive without one.
class TimestampJob : public CloneableJob<TimestampJob> {
public:
    TimestampJob();
    ostrel::core::AttributeList getSupportedProperties() const override;

protected:
    ostrel::core::Status showDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) override;
    ostrel::core::Status showAtaDrive(ata::Drive& drive, const Arguments& arguments, DriveOutput& out) override;
    ostrel::core::Status setOnDrive(nvme::Drive& drive, const ostrel::core::Attribute& attribute) override;
    ostrel::core::Status setOnAtaDrive(ata::Drive& drive, const ostrel::core::Attribute& attribute) override;
};

}  // namespace features::jobs
