#pragma once

#include <string>
#include <vector>

#include "features/transport/LookErrors.h"
#include "features/transport/linux/BlockOpener.h"
#include "features/transport/linux/DeviceClaim.h"
#include "features/transport/linux/LinuxPaths.h"

namespace features::transport {

/// What the readers of DeviceClaims work with.
struct ClaimSearch {
    const LinuxPaths& paths;
    const BlockOpener& opener;
    std::vector<DeviceClaim>& claims;
    LookErrors& errors;
};

/// Loop devices do not claim what they are backed by: the device itself, or a file on it.
void readLoopClaims(const ClaimSearch& search);
/// The namespaces of the kernel's NVMe target, which opens its devices without a claim.
void readNvmeTargetClaims(const ClaimSearch& search);
/// The backstores of the kernel's SCSI target. The one for files opens a block device without a claim.
void readScsiTargetClaims(const ClaimSearch& search);
/// The devices of mounted btrfs file systems, of which the table of mounts names one alone.
void readBtrfsClaims(const ClaimSearch& search);

}  // namespace features::transport
