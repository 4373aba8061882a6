#pragma once

#include <ctime>
#include <optional>
#include <string>

#include "ostrel/core/FileDescriptor.h"

namespace exporter {

/// A folder of root's alone, below one of the system: locks, snapshots. Made where it is missing, with mode 0700; one
/// that other users can change is refused (ostrel::core::TrustedFile).
///
/// Errors: what is wrong, in words that name the path; empty for none.
class PrivateFolder {
public:
    /// With the folder above it, which is made the same way where it is missing.
    std::string open(const std::string& path);

    /// Only after a success.
    const ostrel::core::FileDescriptor& descriptor() const { return folder_; }
    const std::string& path() const { return path_; }

    /// Reads a file of it; one that is missing is empty.
    std::string read(const std::string& name, std::string& text) const;
    /// Puts the text in the place of a file, as a whole, mode 0600.
    std::string replace(const std::string& name, const std::string& text) const;

    /// Gives an empty file this time of modification.
    std::string touch(const std::string& name, std::time_t when) const;
    /// None where there is no such file.
    std::optional<std::time_t> touchedAt(const std::string& name) const;

private:
    std::string failure(int error, const std::string& name) const;

    std::string path_;
    ostrel::core::FileDescriptor folder_;
};

}  // namespace exporter
