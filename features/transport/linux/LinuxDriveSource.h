#pragma once

#include "features/transport/DriveSource.h"
#include "features/transport/linux/LinuxPaths.h"

namespace features::transport {

/// The drives of the kernel's NVMe driver, all transports.
class LinuxDriveSource : public DriveSource {
public:
    explicit LinuxDriveSource(LinuxPaths paths = LinuxPaths()) : paths_(std::move(paths)) {}

    std::unique_ptr<ostrel::core::DeviceFinder> finder() const override;
    const LookErrors& scanErrors() const override { return *scanErrors_; }
    std::optional<DriveLocation> locate(const std::string& path, LookErrors& errors) const override;
    std::optional<DriveLocation> bootDrive(const std::string& word, LookErrors& errors) const override;
    std::vector<std::string> controllersOfDrive(const std::string& devicePath, LookErrors& errors) const override;

private:
    /// Of a namespace's generic node, "ng0n1".
    std::optional<DriveLocation> locateGeneric(const std::string& name, LookErrors& errors) const;
    /// Of a block device, a partition included.
    std::optional<DriveLocation> locateBlock(const std::string& block, LookErrors& errors) const;

    LinuxPaths paths_;
    std::shared_ptr<LookErrors> scanErrors_ = std::make_shared<LookErrors>();
};

}  // namespace features::transport
