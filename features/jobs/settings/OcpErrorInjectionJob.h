#pragma once

#include <vector>

#include "features/jobs/base/CloneableJob.h"
#include "features/jobs/settings/ErrorInjectionList.h"

namespace features::jobs {

/// The errors that a drive injects, for tests of the software above it: feature C0h of the OCP specification.
///
///   - GetProperties, and Method with "SetGetType" "get": the entries that the drive has.
///   - Method with "set": exactly one of "ErrorInjectionEntries" and "ErrorInjectionEntryFile", on exactly one drive.
///     The entries take the place of those that the drive had. An error that is injected may make the drive panic and
///     cost its data, so entries that are enabled go through the safety gate (partitions alone do not stop them).
/// 10/254 on a drive without OCP's features.
class OcpErrorInjectionJob : public CloneableJob<OcpErrorInjectionJob> {
public:
    OcpErrorInjectionJob();

protected:
    ostrel::core::Status checkRequest(const Arguments& arguments) override;
    ostrel::core::Status showDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) override;
    ostrel::core::Status actOnDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) override;
    ostrel::core::Status ataRefusal() const override;

private:
    ostrel::core::Status readEntries(const Arguments& arguments);
    ostrel::core::Status write(nvme::Drive& drive, DriveOutput& out) const;
    /// Nothing to look at when no error will be injected.
    ostrel::core::Status checkUse(nvme::Drive& drive) const;

    std::vector<ErrorInjection> entries_;  ///< of the method that runs
    bool isSet_ = false;                   ///< of the method that runs
};

}  // namespace features::jobs
