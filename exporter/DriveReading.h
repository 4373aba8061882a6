#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "exporter/Sample.h"

namespace exporter {

/// Which drive: what the list of drives says of it without a question to the drive.
struct DriveName {
    std::string device;  ///< DevicePath
    std::string serial;
    std::string model;
    std::string firmware;

    /// "S1 (/dev/nvme0)".
    std::string text() const;
};

/// What one run has of a drive. Travels between processes as JSON, in which bytes that are no UTF-8 are replaced.
struct DriveReading {
    DriveName drive;
    bool isUp = false;     ///< every request was answered
    bool isStuck = false;  ///< a process that reads the drive has not come back
    double durationSeconds = 0;
    std::optional<std::time_t> lastSuccess{};
    std::vector<std::string> errors{};  ///< one line each, without the name of the drive
    std::vector<Sample> samples{};      ///< of the drive, without the labels "serial" and "device"
};

std::string toJson(const DriveReading& reading);
std::string toJson(const std::vector<DriveName>& drives);
/// Throw nlohmann::json::exception for a text that is not from the functions above.
DriveReading readingFromJson(const std::string& text);
std::vector<DriveName> drivesFromJson(const std::string& text);

/// Of the name; the same on every machine. FNV-1a, 16 hexadecimal digits: names of files.
std::string hashText(const std::string& text);

}  // namespace exporter
