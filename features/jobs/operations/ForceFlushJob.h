#pragma once

#include "features/jobs/base/CloneableJob.h"

namespace features::jobs {

/// The performance booster of a VELKO drive: moves what lies in its cache blocks to its place. Started, stopped, or its
/// progress shown. One that runs already is 10/198, none to be stopped 10/199. Other drives: 10/3.
class ForceFlushJob : public CloneableJob<ForceFlushJob> {
public:
    ForceFlushJob();

    ostrel::core::Status runMethod(const std::shared_ptr<ostrel::core::xml::XmlObject>& output) override;

protected:
    ostrel::core::Status showDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) override;
    ostrel::core::Status actOnDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) override;
};

}  // namespace features::jobs
