#pragma once

#include <string>

#include "ostrel/core/Status.h"

namespace features::simulator {

/// Copies the files of a drive's folder, both folders opened: description, state, media, logs and downloads, but not
/// the locks. What was never written stays without room on the disk.
///
/// Errors: of the system with errno and the path; what is in `to` then is left to the caller. A folder with other files
///         than a drive's is 1/22 (EINVAL).
ostrel::core::Status copyDrive(int from, const std::string& fromPath, int to, const std::string& toPath);

/// Whether a file of this name belongs to a drive.
bool isDriveFile(const std::string& name);

}  // namespace features::simulator
