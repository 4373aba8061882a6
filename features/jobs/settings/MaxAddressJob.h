#pragma once

#include "features/jobs/base/CloneableJob.h"

namespace features::jobs {

/// The last block that the host can use of a VELKO drive, which has one namespace then: as a block's address, in
/// gigabytes ("200GB", of 1,000,000,000 bytes), in percent of what the drive has ("80%"), or "native". A drive without
/// the maker's feature is 10/237.
///
/// What lies after it is lost, so that it goes through the safety gate, and partitions count.
class MaxAddressJob : public CloneableJob<MaxAddressJob> {
public:
    MaxAddressJob();
    ostrel::core::AttributeList getSupportedProperties() const override;

protected:
    ostrel::core::Status setOnDrive(nvme::Drive& drive, const ostrel::core::Attribute& attribute) override;
};

}  // namespace features::jobs
