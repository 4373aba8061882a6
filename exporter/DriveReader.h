#pragma once

#include <string>
#include <vector>

#include "exporter/DriveReading.h"
#include "exporter/LibraryClient.h"

namespace exporter {

/// The list of drives, for which no drive is asked anything.
struct DriveList {
    std::vector<DriveName> drives;
    std::string error;  ///< what could not be looked at: there may be more drives. Empty: nothing
};
DriveList listDrives(const LibraryClient& library);

/// Asks one drive what the rows of DriveReader.cpp say, and makes samples of the answers by the table of metrics. The
/// drive is named by its path; one with another serial number than the list had is an error.
DriveReading readDrive(const LibraryClient& library, const DriveName& drive);

}  // namespace exporter
