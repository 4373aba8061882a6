#pragma once

#include <string>

#include "features/errors/Result.h"
#include "features/simulator/store/DriveStore.h"

namespace simdrive {

/// Asks a drive for all that it offers and makes `folder` of the answers (CaptureFolder.h), which must not be there
/// yet. `path`: of a drive as nimbrel takes it, one of the simulated drives of `store` included. `isMasked`: with what
/// identifies drive and host replaced (Mask.h). Returns what to say of it, in lines.
features::Result<std::string> capture(const features::simulator::DriveStore& store, const std::string& path,
                                      const std::string& folder, bool isMasked);

/// A new simulated drive that answers what a capture has, without a name.
features::Result<features::simulator::DriveStore::NewDrive> driveOfCapture(const std::string& folder);

}  // namespace simdrive
