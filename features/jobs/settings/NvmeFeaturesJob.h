#pragma once

#include "features/jobs/base/CloneableJob.h"
#include "features/jobs/settings/AnyFeature.h"

namespace features::jobs {

/// Features of a drive: some fields by their names, and any feature by its identifier.
///
///   - SetProperty: one field, as setFeatureField() sets it; the other fields of the feature stay as they are.
///     "ClearCounter" clears the counters of correctable PCIe errors, on drives with OCP's features.
///   - Method: "SetGetType" is "get" or "set", the rest as AnyFeature reads it. A set takes exactly one drive.
class NvmeFeaturesJob : public CloneableJob<NvmeFeaturesJob> {
public:
    NvmeFeaturesJob();
    ostrel::core::AttributeList getSupportedProperties() const override;

protected:
    ostrel::core::Status checkRequest(const Arguments& arguments) override;
    ostrel::core::Status actOnDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) override;
    ostrel::core::Status setOnDrive(nvme::Drive& drive, const ostrel::core::Attribute& attribute) override;
    ostrel::core::Status actOnAtaDrive(ata::Drive& drive, const Arguments& arguments, DriveOutput& out) override;

private:
    AnyFeature feature_;  ///< of the method that runs
    bool isSet_ = false;  ///< of the method that runs
};

}  // namespace features::jobs
