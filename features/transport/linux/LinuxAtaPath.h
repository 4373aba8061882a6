#pragma once

#include <chrono>
#include <memory>
#include <mutex>
#include <string>

#include "features/ata/AtaCommand.h"
#include "features/ata/Identity.h"
#include "features/errors/Result.h"
#include "features/transport/HostCommand.h"
#include "features/transport/linux/AtaSense.h"
#include "features/transport/linux/LinuxPaths.h"
#include "features/transport/linux/SataTopology.h"
#include "ostrel/core/CommandPath.h"
#include "ostrel/core/CommandResult.h"
#include "ostrel/core/Payload.h"

namespace features::transport {

/// The transport to a SATA drive through the kernel's SCSI layer: ATA PASS-THROUGH (16) by SG_IO on the disk's node.
/// Serves the command sets "ATA" and "Host".
///
/// Ownership: the node is opened at the first command and shared by clones; it closes with the last of them.
/// Units:     the path's time-out is that of every command that has none of its own.
/// Errors:    the Status reports transport errors, the AtaResult how the drive ended the command: one that the drive
///            failed is a success here. What the system refused is a status of HostStatus.h; without CAP_SYS_RAWIO that
///            is 10/238 with node and capability. More data than the kernel takes at a time is 0/75: nothing was sent.
///            0/11 is a command that did not reach the drive (AtaSense.h), 0/27 one that no SCSI command can carry.
/// Time-outs: libata resets the link after one, which aborts the commands of every process to that drive. So a drive
///            that did not answer once is sent nothing more by this path and its clones: 0/69 at once.
/// Identity:  before the first command that changes the drive, or reads what a change is judged by
///            (AtaCommand::needsSelectedDrive()), IDENTIFY DEVICE over the open node itself must show the drive that
///            was selected; otherwise that is 0/70 with both serial numbers. So again after a unit attention, by which
///            a SCSI target reports that another drive is there: what was not carried out is sent once more after that.
/// Enclosures: the drive of a USB enclosure is neither changed nor locked (10/34): its translator may cut commands to
///            28 bits, hang, or reach another drive.
/// Threads:   any number at once; commands to drives of one port, as after a port multiplier, wait for each other,
///            since a time-out of one resets all.
class LinuxAtaPath : public ostrel::core::CommandPath {
public:
    /// `port` is locked while a command runs: one for all drives of a port.
    LinuxAtaPath(ScsiDisk disk, LinuxPaths paths, std::shared_ptr<std::mutex> port);

    /// Which drive this is, for all clones; before the first command. Without it the drive is neither locked nor
    /// changed.
    void select(const ata::Identity& identity);

    std::unique_ptr<CommandPath> clone() const override;
    ostrel::core::CommandResult send(const ostrel::core::Command& command, const ostrel::core::Payload& payload,
                                     const ostrel::core::AttributeList& attributes) override;
    bool isSupported(const ostrel::core::AttributeList& attributes) const override;

private:
    struct Node;
    class ScsiRequest;

    // The data and what the command brought back go into `result`; its status is what is returned.
    ostrel::core::Status sendAta(const ata::AtaCommand& command, const ostrel::core::Payload& payload,
                                 ostrel::core::CommandResult& result);
    ostrel::core::Status sendHost(const HostCommand& command, ostrel::core::CommandResult& result);
    /// 10/34 for the drive of a USB enclosure.
    ostrel::core::Status checkEnclosure() const;
    /// 10/96 for a drive whose TRIM the kernel does not use.
    ostrel::core::Status checkTrim() const;
    /// Sends the command and logs it.
    ostrel::core::Status passThrough(int node, const ata::AtaCommand& command, const ostrel::core::Payload& toDrive,
                                     ostrel::core::CommandResult& result);
    ostrel::core::Status submit(int node, const ata::AtaCommand& command, const ostrel::core::Payload& toDrive,
                                ostrel::core::CommandResult& result);
    ostrel::core::Status run(int node, ScsiRequest& request);
    /// Sends the drive nothing more from now on.
    ostrel::core::Status timedOut();
    /// The descriptor of the disk's node, which stays open.
    Result<int> openNode();
    /// The same for what changes the drive: it is that of the drive that was selected.
    Result<int> openSelected();
    ostrel::core::Status checkIdentity(int node);
    ostrel::core::Status rescan() const;
    Result<HostNamespace> hostNamespace() const;
    Result<HostNamespace> usedNamespace(UseCheck check) const;
    /// The names of all disks that are this drive: it may be connected twice.
    std::vector<std::string> blocksOfDrive(LookErrors& errors) const;
    uint32_t timeoutMs(uint32_t ofCommand) const;
    std::string nodePath() const { return paths_.dev + "/" + disk_.block; }

    ScsiDisk disk_;
    LinuxPaths paths_;
    std::shared_ptr<Node> node_;
};

}  // namespace features::transport
