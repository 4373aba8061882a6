#pragma once

#include <string>

#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/Device.h"

namespace features {

/// "S123 (/dev/nvme0)": how a message names a drive.
inline std::string driveName(const ostrel::core::Device& device) {
    using namespace ostrel::core::attributes::device;
    return device.getAttribute(serialNumber()).getText() + " (" + device.getAttribute(devicePath()).getText() + ")";
}

}  // namespace features
