#pragma once

#include "features/jobs/base/CloneableJob.h"

namespace features::jobs {

/// The drive's power mode: 0 high, 1 medium, 2 low. On a VELKO drive it is the maker's feature, unless OCP's has
/// its identifier; elsewhere it is the power state of that number, where the controller has it and
/// works in it, and the Workload Hint stays as it is. Set as setFeatureField() does it.
class PowerGovernorJob : public CloneableJob<PowerGovernorJob> {
public:
    PowerGovernorJob();
    ostrel::core::AttributeList getSupportedProperties() const override;

protected:
    ostrel::core::Status setOnDrive(nvme::Drive& drive, const ostrel::core::Attribute& attribute) override;
};

}  // namespace features::jobs
