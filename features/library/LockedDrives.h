#pragma once

#include <memory>
#include <vector>

#include "ostrel/core/Device.h"
#include "ostrel/core/Status.h"

namespace features::library {

/// The locks of the drives that a request changes, held as long as this object lives: from before the first look at a
/// drive to after the last.
///
/// Ownership: shares the devices.
/// Errors:    11/9 with the process id when another process holds the lock, others when there can be no lock: then the
///            drive must not be changed.
class LockedDrives {
public:
    LockedDrives() = default;
    ~LockedDrives();
    LockedDrives(const LockedDrives&) = delete;
    LockedDrives& operator=(const LockedDrives&) = delete;

    ostrel::core::Status add(const std::shared_ptr<ostrel::core::Device>& device);

private:
    std::vector<std::shared_ptr<ostrel::core::Device>> devices_;
};

}  // namespace features::library
