#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "features/nvme/structures/IdentifyController.h"

namespace features::nvme {

/// Which drive a controller belongs to, as sysfs and Identify Controller both have it: selected by the one, it is
/// compared with the other before the drive is changed, since a node's name may pass to another drive.
///
/// The texts are as the drive has them, any byte among them, in one form: up to the first byte 0 or line end, without
/// the blanks at the end. That is what is left of a field of Identify once it has gone through sysfs.
struct ControllerIdentity {
    /// Of the texts of sysfs. A Linux kernel makes up a name for a subsystem that has none, or one that it does not
    /// trust, out of the numbers and texts of Identify Controller: that one counts as no name.
    ControllerIdentity(std::string_view serial, std::string_view model, std::string_view subsystem);
    /// Of the Identify Controller structure, 4,096 bytes.
    explicit ControllerIdentity(const uint8_t* identify);
    explicit ControllerIdentity(const IdentifyController& identify);

    /// Whether `found`, of Identify Controller, is of the drive that was selected: the serial and the model number are
    /// the same, and so is the subsystem's name if the selected one has a name.
    bool isThatOf(const ControllerIdentity& found) const;
    /// What no two drives have in common: the subsystem's name, otherwise model and serial number.
    std::string driveName() const;
    /// For a message: "serial number S1 (model M1, subsystem nqn.1)".
    std::string text() const;

    std::string serialNumber;
    std::string modelNumber;
    std::string subsystemName;  ///< NVMe Qualified Name; empty: none
};

}  // namespace features::nvme
