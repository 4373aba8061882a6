#pragma once

#include "features/transport/DriveSource.h"
#include "features/transport/linux/LinuxPaths.h"
#include "features/transport/linux/LinuxSataFinder.h"

namespace features::transport {

/// The SATA SSDs of the kernel's SCSI layer: libata, SAS host bus adapters, iSCSI. A path leads to one when it is the
/// disk's node, its generic node, or a link to one of them; a partition does not. The drive of a USB enclosure is found
/// by its path alone.
class LinuxSataSource : public DriveSource {
public:
    explicit LinuxSataSource(LinuxPaths paths = LinuxPaths()) : paths_(std::move(paths)) {}

    std::unique_ptr<ostrel::core::DeviceFinder> finder() const override;
    const LookErrors& scanErrors() const override { return scan_->errors; }
    std::vector<std::string> scanOrder() const override { return scan_->devicePaths; }
    std::vector<std::shared_ptr<ostrel::core::Device>> unsupportedDrives() const override { return scan_->sasDrives; }
    std::optional<DriveLocation> locate(const std::string& path, LookErrors& errors) const override;
    std::optional<DriveLocation> bootDrive(const std::string& word, LookErrors& errors) const override;
    std::vector<std::string> controllersOfDrive(const std::string& devicePath, LookErrors& errors) const override;

    std::shared_ptr<ostrel::core::Device> namedDevice(const std::string& devicePath) const override;

private:
    LinuxPaths paths_;
    std::shared_ptr<LinuxSataFinder::ScanResult> scan_ = std::make_shared<LinuxSataFinder::ScanResult>();
};

}  // namespace features::transport
