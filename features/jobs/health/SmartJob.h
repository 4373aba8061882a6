#pragma once

#include "features/jobs/base/CloneableJob.h"
#include "features/jobs/drive/DrivesWithoutOcp.h"

namespace features::jobs {

/// The SMART attributes of a drive: the SMART / Health Information log, and the OCP SMART log and the maker's Extended
/// SMART log on drives that have them.
///
/// Arguments: "ID" shows the one attribute of that name; "IncludeNVMeSmartHealthLog" with "false" leaves the logs of
/// OCP and maker alone, and is 10/3 on a drive without them.
class SmartJob : public CloneableJob<SmartJob> {
public:
    SmartJob();
    ostrel::core::Status getProperties(const std::shared_ptr<ostrel::core::xml::XmlObject>& output) override;

protected:
    ostrel::core::Status checkRequest(const Arguments& arguments) override;
    ostrel::core::Status showDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) override;
    ostrel::core::Status showAtaDrive(ata::Drive& drive, const Arguments& arguments, DriveOutput& out) override;

private:
    DrivesWithoutOcp withoutOcp_;
};

}  // namespace features::jobs
