#pragma once

#include <string>

#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/Device.h"

namespace features {

/// "S123 (/dev/nvme0)": how a message names a drive; its path alone where it has no serial number.
inline std::string driveName(const ostrel::core::Device& device) {
    using namespace ostrel::core::attributes::device;
    const std::string serial = device.getAttribute(serialNumber()).getText();
    const std::string path = device.getAttribute(devicePath()).getText();
    return serial.empty() ? path : serial + " (" + path + ")";
}

}  // namespace features
