#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "features/ata/Identity.h"

namespace features::transport {

/// Which ATA drive was selected: found by what the kernel read at its scan, it is compared with IDENTIFY DEVICE before
/// the drive is changed, since a node's name may pass to another drive.
struct SelectedAtaDrive {
    explicit SelectedAtaDrive(const ata::Identity& identity);

    /// Whether these numbers distinguish the drive from any other of its model: cheap drives have blank ones.
    bool isKnown() const { return !serialNumber.empty() || worldWideName.has_value(); }
    /// Whether `found` is the drive that was selected: serial number, model and World Wide Name are the same.
    bool isThatOf(const SelectedAtaDrive& found) const;
    /// Whether both are one drive on two ways: a World Wide Name is in no two drives, a serial number may be.
    bool isOneDriveWith(const SelectedAtaDrive& other) const { return worldWideName.has_value() && isThatOf(other); }
    /// What no two drives have in common.
    std::string driveName() const;
    /// For a message: "serial number S1 (model M1)".
    std::string text() const;

    std::string serialNumber;
    std::string modelNumber;
    std::optional<uint64_t> worldWideName;
};

}  // namespace features::transport
