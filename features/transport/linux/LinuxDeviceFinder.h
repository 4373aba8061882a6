#pragma once

#include "features/transport/LookErrors.h"
#include "features/transport/linux/LinuxPaths.h"
#include "ostrel/core/DeviceFinder.h"

namespace features::transport {

/// Finds the controllers of the kernel's NVMe driver in sysfs. No drive is asked anything: a list of many drives, or a
/// drive that hangs, costs nothing here.
///
/// Where sysfs cannot be looked at, the nodes in /dev are the controllers, and a drive whose identity sysfs does not
/// give is asked for it (Identify Controller); one that does not answer has the reason in ErrorString.
///
/// Ownership: clones share `errors`, in which each scan leaves what it could not look at.
class LinuxDeviceFinder : public ostrel::core::DeviceFinder {
public:
    LinuxDeviceFinder(LinuxPaths paths, std::shared_ptr<LookErrors> errors);

    void scan(std::vector<std::shared_ptr<ostrel::core::Device>>& devices) override;
    std::unique_ptr<DeviceFinder> clone() const override;

private:
    LinuxPaths paths_;
    std::shared_ptr<LookErrors> errors_;
};

}  // namespace features::transport
