#pragma once

#include <string>
#include <vector>

#include "features/errors/Result.h"
#include "ostrel/core/Device.h"
#include "ostrel/core/Status.h"

namespace simdrive {

/// Asks a drive for all that it offers, with commands that only read, and looks at no answer itself: a RecordingDevice
/// keeps them. What a drive does not offer is not asked for (docs/optional-pages.md), and nothing that has to be made
/// first: telemetry is read as it is, the persistent event log is left out.
///
/// Errors: of the transport. What the drive refuses of what it offers goes into `refused`, in words, and is part of the
///         capture.
struct DriveWalk {
    std::vector<std::string> refused;

    ostrel::core::Status nvme(ostrel::core::Device& device);
    ostrel::core::Status ata(ostrel::core::Device& device);
};

}  // namespace simdrive
