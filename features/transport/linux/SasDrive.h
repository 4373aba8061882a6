#pragma once

#include <memory>

#include "features/transport/LookErrors.h"
#include "features/transport/linux/LinuxPaths.h"
#include "features/transport/linux/SataTopology.h"
#include "ostrel/core/Device.h"

namespace features::transport {

/// Whether a disk is a SAS SSD: an end device of a SAS domain that is no ATA drive, and that the kernel does not take
/// for a rotating one. The volume of a RAID controller is no end device.
bool isSasSolidStateDrive(const ScsiDisk& disk);

/// A SAS drive by what the kernel read when it found it: DevicePath, SerialNumber (the Unit Serial Number VPD page),
/// ModelNumber and Firmware, and in ErrorString that it is not supported, with the tools that are. Without a command
/// path: nothing can be sent to it.
std::shared_ptr<ostrel::core::Device> makeSasDevice(const ScsiDisk& disk, const LinuxPaths& paths, LookErrors& errors);

}  // namespace features::transport
