#pragma once

#include "features/jobs/base/CloneableJob.h"

namespace features::jobs {

/// How the LED of a VELKO drive shows what it does: all of it shown, or one field changed and the rest kept. The drive
/// keeps it over a power cycle by itself. Other drives: 10/3.
class LedActivityJob : public CloneableJob<LedActivityJob> {
public:
    LedActivityJob();
    ostrel::core::AttributeList getSupportedProperties() const override;

protected:
    ostrel::core::Status showDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) override;
    ostrel::core::Status setOnDrive(nvme::Drive& drive, const ostrel::core::Attribute& attribute) override;
};

}  // namespace features::jobs
