#pragma once

#include <string>

#include "exporter/DriveReading.h"
#include "exporter/PrivateFolder.h"

namespace exporter {

/// The lines of a drive's file with that of the day of `when` added, the oldest ones dropped; `old` itself where the
/// day has a line already. docs/snapshots.md is the form.
std::string withSnapshot(const std::string& old, const DriveReading& reading, std::time_t when);

/// Adds the day's line to the drive's file, where it lacks one. A drive that was not read as a whole is left out.
/// Empty, or what went wrong.
std::string keepSnapshot(const PrivateFolder& folder, const DriveReading& reading, std::time_t when);

}  // namespace exporter
