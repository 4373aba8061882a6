#pragma once

#include <memory>
#include <vector>

namespace ostrel::core {

class Device;

/// Marks the devices of a list that DeviceManager::removeDuplicateLSIDevices() has to remove, and logs what led there;
/// see there for the rule. Devices are compared through tables by path and by serial number, so the time grows with
/// their number and not with the number of pairs.
std::vector<bool> findLsiDuplicates(const std::vector<std::shared_ptr<Device>>& devices);

}  // namespace ostrel::core
