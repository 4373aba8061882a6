#pragma once

#include "features/transport/linux/LinuxPaths.h"
#include "ostrel/core/DeviceFinder.h"

namespace features::transport {

/// Finds the controllers of the kernel's NVMe driver in sysfs. No drive is asked anything: a list of many drives, or a
/// drive that hangs, costs nothing here.
class LinuxDeviceFinder : public ostrel::core::DeviceFinder {
public:
    explicit LinuxDeviceFinder(LinuxPaths paths);

    void scan(std::vector<std::shared_ptr<ostrel::core::Device>>& devices) override;
    std::unique_ptr<DeviceFinder> clone() const override;

private:
    LinuxPaths paths_;
};

}  // namespace features::transport
