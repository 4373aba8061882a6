#pragma once

#include <string>

#include "features/simulator/store/Clock.h"
#include "features/simulator/store/DriveStore.h"
#include "features/transport/DriveLock.h"
#include "features/transport/DriveSource.h"

namespace features::transport {

/// The simulated drives of the machine. A path leads to one when it is the drive's folder, one of the names of
/// DriveNodes.h, or a link to one of them. None of them is ever the boot drive.
///
/// Ownership: the devices of its finder use its clock; it must outlive them.
class SimulatedDriveSource : public DriveSource {
public:
    explicit SimulatedDriveSource(std::string folder = simulator::SIMULATED_DRIVES, std::string locks = DRIVE_LOCKS)
        : folder_(std::move(folder)), locks_(std::move(locks)) {}

    std::unique_ptr<ostrel::core::DeviceFinder> finder() const override;
    const LookErrors& scanErrors() const override { return *scanErrors_; }
    std::optional<DriveLocation> locate(const std::string& path, LookErrors& errors) const override;
    std::optional<DriveLocation> bootDrive(const std::string& word, LookErrors& errors) const override;

private:
    std::string folder_;
    std::string locks_;  ///< the folder of the locks of drives
    simulator::SystemClock clock_;
    std::shared_ptr<LookErrors> scanErrors_ = std::make_shared<LookErrors>();
};

}  // namespace features::transport
