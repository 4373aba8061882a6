#pragma once

#include "features/transport/HostCommand.h"
#include "ostrel/core/Device.h"

namespace features::transport {

/// The name of the path that the kernel's NVMe driver is.
inline constexpr const char* KERNEL_NVME_PATH = "Linux NVMe";

/// Whether the kernel's NVMe driver carries the commands of the drive. It saw the drive arrive, and sees it leave.
inline bool isKernelNvmeDrive(const ostrel::core::Device& device) {
    const auto& sets = device.getCommandSets();
    const auto host = sets.find(COMMAND_SET_HOST);
    return host != sets.end() && host->second == KERNEL_NVME_PATH;
}

}  // namespace features::transport
