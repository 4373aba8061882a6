#pragma once

#include <optional>
#include <string>
#include <vector>

#include "features/transport/LookErrors.h"
#include "features/transport/linux/LinuxPaths.h"
#include "features/transport/linux/ScsiAddress.h"
#include "ostrel/core/Payload.h"

namespace features::transport {

/// A disk of the kernel's SCSI layer that an ATA drive may be.
struct ScsiDisk {
    std::string block;  ///< "sda"
    ScsiAddress address;
    std::string port;    ///< of libata: "ata1"; empty: another driver translates
    bool isUsb = false;  ///< an enclosure translates, more or less
    bool isSas = false;  ///< an end device of a SAS domain: a SAS drive, or a SATA drive after a SAS host bus adapter
    /// Its controller or driver says that it translates for an ATA drive.
    bool isAtaVendor = false;
    bool isRotational = false;  ///< what the kernel, or a rule of the administrator's, takes it for
    /// IDENTIFY DEVICE, 512 bytes, as the kernel read it when it found the disk; no buffer where it did not. Stale
    /// after an update of the firmware: for a list, not for a decision.
    ostrel::core::Payload identify;
};

/// The SATA drives of this machine, as sysfs shows them. Nothing is asked of a drive.
///
/// A disk is an ATA drive when the ATA Information VPD page (89h) that the kernel read has its IDENTIFY DEVICE,
/// whatever the driver: libata, a SAS host bus adapter, iSCSI. The volume of a RAID controller and the disk of a
/// virtual machine have no such page.
///
/// Errors:  what could not be looked at goes into `errors`; what was found is still returned.
/// Threads: any number at once.
class SataTopology {
public:
    explicit SataTopology(LinuxPaths paths) : paths_(std::move(paths)) {}

    /// Direct access devices, in the order of their addresses.
    std::vector<ScsiDisk> disks(LookErrors& errors) const;
    /// Absent when the name is not that of a direct access device, or of a partition.
    std::optional<ScsiDisk> disk(const std::string& block, LookErrors& errors) const;
    /// What libata does with TRIM of a drive: "unqueued", "queued", "unsupported", or one of them forced by its list of
    /// drives: "forced_unsupported". Absent where libata does not serve the drive.
    std::optional<std::string> trim(const ScsiDisk& disk, LookErrors& errors) const;
    /// The disk of a SCSI generic node, "sg0"; empty when there is none.
    std::string diskOfGeneric(const std::string& name, LookErrors& errors) const;

    std::string blockFolder(const std::string& block) const { return paths_.sys + "/class/block/" + block; }

private:
    LinuxPaths paths_;
};

}  // namespace features::transport
