#pragma once

#include <cstdint>

#include "features/jobs/base/CloneableJob.h"

namespace features::jobs {

/// Sets one of the three SMBus addresses of a VELKO drive; 255 disables the access. The drive keeps them over a power
/// cycle by itself. Other drives: 10/3.
class SmBusAddressJob : public CloneableJob<SmBusAddressJob> {
public:
    SmBusAddressJob();

protected:
    ostrel::core::Status checkRequest(const Arguments& arguments) override;
    ostrel::core::Status actOnDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) override;

private:
    uint32_t address_ = 0;
    uint32_t selector_ = 0;
};

}  // namespace features::jobs
