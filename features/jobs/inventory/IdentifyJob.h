#pragma once

#include "features/jobs/base/CloneableJob.h"

namespace features::jobs {

/// The data structures of Identify, decoded.
///
/// Arguments: "ControllerNamespaceStructure" (1 when absent; of several the last counts) and, for the structures of one
/// namespace, "NamespaceId"; without it the namespace that the user's path named.
class IdentifyJob : public CloneableJob<IdentifyJob> {
public:
    IdentifyJob();

protected:
    ostrel::core::Status checkRequest(const Arguments& arguments) override;
    ostrel::core::Status actOnDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) override;
};

}  // namespace features::jobs
