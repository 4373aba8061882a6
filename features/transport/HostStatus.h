#pragma once

#include <string>

#include "ostrel/core/Status.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::transport {

// What an error of the operating system means for a command to a drive: a status of the catalogue, with errno in the
// words. No status of a command path is of category 1: its code becomes the tool's exit status, where an errno would
// be read as something else ("bad configuration" for EINTR).
//
//   - the drive did not answer in time (EINTR, ETIME, ETIMEDOUT)            0/69
//   - the drive is gone, or its node or folder is (ENODEV, ENXIO, ENOENT),
//     or the state of a simulated drive is damaged (EBADMSG)                0/70
//   - the drive may not be opened (EACCES, EPERM)                           10/238
//   - no memory (ENOMEM)                                                    0/87
//   - anything else: 0/64 of an open, 0/75 for EINVAL of a command (nothing was sent), else 0/86

/// `place` is the drive's node or folder:
/// "The device (object) was unavailable. The drive of /dev/nvme0 is gone (errno 19: No such device)."
ostrel::core::Status hostStatus(int error, const std::string& place,
                                ostrel::core::Status (*otherwise)() = ostrel::core::statuses::completionUnavailable);

/// The same for a status of category 1 that has words of its own, as those of the simulated drives' files; any other
/// status is returned as it is.
ostrel::core::Status hostStatus(const ostrel::core::Status& status);

/// Whether a command's status says that the transport failed: not what the drive answered.
bool isTransportError(const ostrel::core::Status& status);

}  // namespace features::transport
