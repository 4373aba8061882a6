#pragma once

#include <memory>
#include <string>

#include "features/simulator/store/Clock.h"
#include "features/transport/LookErrors.h"
#include "ostrel/core/DeviceFinder.h"

namespace features::transport {

/// Finds the folders of simulated drives. Of a drive only its description and the head of its state are read; one whose
/// files are damaged is found too, with the reason in ErrorString.
///
/// Ownership: the clock must outlive the devices. Clones share `errors`, in which each scan leaves what it could not
///            look at.
class SimulatedDeviceFinder : public ostrel::core::DeviceFinder {
public:
    /// `locks` is the folder of the locks of drives.
    SimulatedDeviceFinder(std::string folder, const simulator::Clock& clock, std::string locks,
                          std::shared_ptr<LookErrors> errors);

    void scan(std::vector<std::shared_ptr<ostrel::core::Device>>& devices) override;
    std::unique_ptr<DeviceFinder> clone() const override;

private:
    std::string folder_;
    const simulator::Clock& clock_;
    std::string locks_;
    std::shared_ptr<LookErrors> errors_;
};

}  // namespace features::transport
