#pragma once

#include <cstdint>
#include <string>

namespace features::jobs {

/// How much of a drive is scanned. Units: bytes.
struct HealthScanExtent {
    uint64_t read = uint64_t{16} << 30;  ///< of a namespace; a full scan reads all of it
    uint64_t write = uint64_t{1} << 30;  ///< to a file system
    uint64_t fullWrite = uint64_t{64} << 30;
};

/// Which scans are made, and of what.
struct HealthScans {
    HealthScanExtent extent;
    bool logs = false;
    bool read = false;
    bool dataIntegrity = false;
    bool full = false;                ///< not only a part that is quickly done
    bool includeSystemDrive = false;  ///< read and write also where the running system lives
    bool isNamed = false;             ///< the drive was named: what is left out of it is not completed
    std::string path;                 ///< the data integrity scan is made on this file system alone; empty: on all
};

}  // namespace features::jobs
