#pragma once

#include "features/jobs/base/CloneableJob.h"

namespace features::jobs {

/// The last block that the host can use (MaximumLba): of a VELKO drive, which has one namespace then, by the maker's
/// feature, of a SATA drive see AtaMaxAddress.h. A drive that has neither is 10/237.
///
/// What lies after it is lost, so that it goes through the safety gate, and partitions count.
class MaxAddressJob : public CloneableJob<MaxAddressJob> {
public:
    MaxAddressJob();
    ostrel::core::AttributeList getSupportedProperties() const override;

protected:
    ostrel::core::Status setOnDrive(nvme::Drive& drive, const ostrel::core::Attribute& attribute) override;
    ostrel::core::Status setOnAtaDrive(ata::Drive& drive, const ostrel::core::Attribute& attribute) override;
};

}  // namespace features::jobs
