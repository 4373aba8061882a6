#pragma once

#include <ctime>
#include <string>
#include <vector>

#include "exporter/Children.h"
#include "exporter/DriveReading.h"
#include "exporter/PrivateFolder.h"

namespace exporter {

/// What one run has of all drives of the host.
struct Collection {
    std::vector<DriveReading> drives{};
    std::string scanError{};  ///< why there may be more drives; empty: these are all
    std::time_t time = 0;     ///< when the run began
    double durationSeconds = 0;
};

std::string toJson(const Collection& collection);
/// Throws nlohmann::json::exception for another text.
Collection collectionFromJson(const std::string& text);

/// Reads drives, each in a process of its own that loads the feature library.
class Collector {
public:
    /// `locks` is where the drives' locks are; it outlives the collector.
    Collector(const PrivateFolder& locks, ChildLimits limits) : locks_(locks), limits_(limits) {}

    /// All drives, or those with one of the serial numbers or nodes. A name that no drive has is a reading with an
    /// error.
    Collection collect(const std::vector<std::string>& names) const;

private:
    std::vector<DriveName> list(Collection& collection) const;
    DriveReading toReading(const DriveName& drive, const ChildOutcome& outcome) const;

    const PrivateFolder& locks_;
    ChildLimits limits_;
};

}  // namespace exporter
