#pragma once

#include "features/jobs/base/CloneableJob.h"

namespace features::jobs {

/// The data structures of Identify, decoded.
///
/// Arguments: "ControllerNamespaceStructure" (1 when absent; of several the last counts) and, for the structures of one
/// namespace, "NamespaceId"; without it the namespace that the user's path named.
///
/// A SATA drive has IDENTIFY DEVICE in the place of structure 1, and the pages of its log 30h; the other structures are
/// 0/35.
class IdentifyJob : public CloneableJob<IdentifyJob> {
public:
    IdentifyJob();

protected:
    ostrel::core::Status checkRequest(const Arguments& arguments) override;
    ostrel::core::Status actOnDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) override;
    ostrel::core::Status actOnAtaDrive(ata::Drive& drive, const Arguments& arguments, DriveOutput& out) override;
};

}  // namespace features::jobs
