#pragma once

#include <string>

#include "features/jobs/base/CloneableJob.h"

namespace features::jobs {

/// A job for one field of an OCP feature: shown with "Select", and set as setFeatureField() does it. 10/254 on a drive
/// without OCP's features, before anything is written.
///
/// The jobs: "OCPReadOnlyWriteMode", "OCPIEEESilo", "OCPPLPCheck" and "OCPDSSDPowerState".
class OcpFeatureJob : public CloneableJob<OcpFeatureJob> {
public:
    /// `name` is one of these.
    explicit OcpFeatureJob(const std::string& name);
    std::unique_ptr<OcpFeatureJob> makeNew() const { return std::make_unique<OcpFeatureJob>(getName()); }
    ostrel::core::AttributeList getSupportedProperties() const override;

protected:
    ostrel::core::Status checkRequest(const Arguments& arguments) override;
    ostrel::core::Status showDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) override;
    ostrel::core::Status setOnDrive(nvme::Drive& drive, const ostrel::core::Attribute& attribute) override;
    ostrel::core::Status ataRefusal() const override;

private:
    struct Row;
    static const Row ROWS[];
    static const Row& rowOf(const std::string& name);

    const Row& row_;
};

}  // namespace features::jobs
