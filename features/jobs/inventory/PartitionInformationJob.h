#pragma once

#include "features/jobs/base/CloneableJob.h"

namespace features::jobs {

/// The partitions of a drive's namespaces, and the namespaces that are used as a whole, as the host sees them; of a
/// SATA drive those of its disk. The drive itself is not asked.
///
/// Argument: "Path" shows the one partition with this node; 10/108 when no drive that was named has it.
class PartitionInformationJob : public CloneableJob<PartitionInformationJob> {
public:
    PartitionInformationJob();
    ostrel::core::Status getProperties(const std::shared_ptr<ostrel::core::xml::XmlObject>& output) override;

protected:
    ostrel::core::Status showDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) override;
    ostrel::core::Status showAtaDrive(ata::Drive& drive, const Arguments& arguments, DriveOutput& out) override;

private:
    ostrel::core::Status show(ostrel::core::Device& device, const Arguments& arguments, DriveOutput& out);
};

}  // namespace features::jobs
