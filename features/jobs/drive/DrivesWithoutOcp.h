#pragma once

#include <mutex>
#include <set>
#include <string>

#include "features/nvme/Drive.h"

namespace features::jobs {

/// Drives of the kernel's driver that offer no log page of OCP, so that a list does not ask each of them again. Kept by
/// serial number, firmware revision and model number, and until the system starts again: one text file, whose first
/// line is the kernel's boot ID, and a line "SERIAL FIRMWARE MODEL" for each drive.
///
/// Errors:  none. A file that cannot be read or written, or is damaged, knows nothing: the drives are asked again.
/// Threads: any. Of two processes that keep drives at once one may lose its own.
class DrivesWithoutOcp {
public:
    /// In stateFolder(). The file is read when the first drive is looked for.
    DrivesWithoutOcp();
    DrivesWithoutOcp(std::string folder, std::string bootIdPath);

    /// Reads the file now, where it was not: before threads that would wait for the one of them that reads it.
    void load();
    bool contains(const nvme::Drive& drive);
    /// Noted, and kept by the next keep().
    void add(const nvme::Drive& drive);
    /// Replaces the file as a whole where a drive was added. Makes the folder where it is missing.
    void keep();
    /// Removes the file: pages may have come to drives.
    void forget();

    static constexpr std::size_t MAX_DRIVES = 4096;

private:
    void read();

    std::string folder_;
    std::string path_;
    std::string bootIdPath_;
    std::mutex mutex_;
    bool isRead_ = false;
    bool isChanged_ = false;
    std::string bootId_;  ///< empty: not known, and nothing is kept
    std::set<std::string> lines_;
};

}  // namespace features::jobs
