#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "features/simulator/store/DriveFolder.h"
#include "features/simulator/store/DriveStore.h"
#include "ostrel/core/Status.h"

namespace simdrive {

/// A drive as commands show it. `status` is why it cannot be read; `identity` counts without an error alone.
struct DriveRow {
    std::string name;
    std::string folder;
    bool isListedByTool = false;
    ostrel::core::Status status;
    features::simulator::DriveFolder::Identity identity;
};

std::string modelText(features::simulator::ModelId model);
/// The drive of this name as it is now.
DriveRow readRow(const features::simulator::DriveStore& store, const std::string& name);
/// In the largest unit that leaves no fraction.
std::string sizeText(uint64_t bytes);

/// A JSON object in one line: the folder, the path where the tool takes one, and what the drive is or why it cannot be
/// read.
std::string jsonOf(const DriveRow& row);
/// A JSON array, a line a drive.
std::string jsonOf(const std::vector<DriveRow>& rows);
/// A line a drive below a line of titles, in columns; a drive that cannot be read has its name and the reason.
std::string tableOf(const std::vector<DriveRow>& rows);

}  // namespace simdrive
