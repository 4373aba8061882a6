#pragma once

#include "features/jobs/base/CloneableJob.h"
#include "features/jobs/drive/DrivesWithoutOcp.h"
#include "features/jobs/firmware/FirmwareModules.h"
#include "features/jobs/inventory/SharedAttributes.h"

namespace features::jobs {

/// The list of drives and what is known of each: the attributes of the device vocabulary.
///
/// Without requested properties the key ones are shown, with "ShowAll" all that the drive has, and then each of its
/// namespaces under a heading of its own. Only what the wanted
/// attributes need is asked of a drive. FirmwareUpdateAvailable looks into the module directories that the request
/// names ("AdditionalModuleDirs").
class VelkoSsdJob : public CloneableJob<VelkoSsdJob> {
public:
    VelkoSsdJob();
    ostrel::core::AttributeList getSupportedProperties() const override;
    ostrel::core::Status getProperties(const std::shared_ptr<ostrel::core::xml::XmlObject>& output) override;

protected:
    ostrel::core::Status checkRequest(const Arguments& arguments) override;
    ostrel::core::Status showDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) override;
    ostrel::core::Status showAtaDrive(ata::Drive& drive, const Arguments& arguments, DriveOutput& out) override;
    std::size_t bytesOfDrive() const override;

private:
    static ostrel::core::AttributeList supportedOfSata();

    std::unique_ptr<const FirmwareModules> modules_;  // while the job runs
    DrivesWithoutOcp withoutOcp_;
    SharedAttributes shared_;
};

}  // namespace features::jobs
