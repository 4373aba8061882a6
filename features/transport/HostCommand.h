#pragma once

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ostrel/core/Command.h"
#include "ostrel/core/ProtocolResult.h"

namespace features::transport {

/// The name of the command set of what is asked of the host's side of a drive.
inline constexpr const char* COMMAND_SET_HOST = "Host";

/// What the host can do with a drive beside passing NVMe commands on.
enum class HostRequest : uint8_t {
    NAMESPACES,        ///< the namespaces attached to the controller: identifiers and nodes; a few reads
    SIZES,             ///< the same, with the sizes that the host gives them
    USES,              ///< all that the host sees of the subsystem, each with its uses and partitions
    LOCATION,          ///< where the controller sits, and by which names the system knows its namespaces
    RESET_CONTROLLER,  ///< a controller level reset; returns when the controller answers again or the time is over
    RESET_SUBSYSTEM,   ///< the same by an NVM subsystem reset; 10/34 where the controller has none
    RESCAN,            ///< look for namespaces again, and for partitions on those that are unused
    LOCK_DRIVE,        ///< take the drive's lock (DriveLock): the lock of all controllers of its subsystem
    UNLOCK_DRIVE,      ///< release it, as often as it was taken
};

/// How closely HostRequest::USES looks. Each value includes the ones before it.
enum class UseCheck : uint8_t {
    SHOW,     ///< for the eye: creates nothing, reads no media
    DESTROY,  ///< what cannot be looked at is a use of Kind::UNKNOWN; a missing node is replaced by a temporary one
    CONTENT,  ///< what is on namespaces without any use is read: Kind::CONTENT and Kind::UNREADABLE
};

/// A request to the host's side. It takes the same transport as NVMe commands, so that the jobs need no second one.
///
/// Units: timeoutMs in milliseconds, 0: the path's own time-out.
class HostCommand : public ostrel::core::Command {
public:
    explicit HostCommand(HostRequest request);
    using Command::operator=;  // not hidden by this class's own

    std::unique_ptr<ostrel::core::Command> clone() const override;
    void toString(std::ostream& out) const override;
    std::unique_ptr<ostrel::core::xml::XmlObject> toXml() const override;

    HostRequest request;
    UseCheck useCheck = UseCheck::SHOW;  ///< of USES alone
    uint32_t timeoutMs = 0;
};

/// One use of a namespace or of a part of it. What is built on it is followed to the end: a namespace under a md
/// array that holds the root file system is used by the array and holds the system.
struct NamespaceUse {
    enum class Kind : uint8_t {
        PARTITION,  ///< a partition that is not used otherwise
        MOUNTED,
        SWAP,
        HELD,        ///< by a md array, device mapper, another block device, or the kernel's target
        OPENED,      ///< opened exclusively by another process
        UNKNOWN,     ///< whether it is used could not be looked at
        CONTENT,     ///< not used, but with a file system or other data of a known format on it
        UNREADABLE,  ///< not used, and what is on it cannot be read
    };
    Kind kind;
    std::string node;  ///< "/dev/nvme0n1p2"
    /// The mount point, the holder ("md0"), the content ("a file system (ext4)"), what failed; otherwise empty.
    std::string detail;
    bool holdsSystem = false;  ///< root, boot, EFI or swap of the running system is on it

    /// Data that an erase would lose, of a namespace that is not used: force overrides it, as it does partitions.
    bool isContentAlone() const { return kind == Kind::PARTITION || kind == Kind::CONTENT || kind == Kind::UNREADABLE; }
};

/// A partition as the kernel sees it. Units: bytes.
struct PartitionInfo {
    std::string node;
    uint64_t startBytes = 0;
    uint64_t sizeBytes = 0;
    std::string fileSystem;  ///< empty: unknown
    std::string label;
    std::string uuid;
    std::string mountPoint;  ///< empty: not mounted
    uint64_t freeBytes = 0;  ///< of a mounted file system
};

/// A namespace as the host sees it. Units: bytes.
struct HostNamespace {
    uint32_t nsid = 0;
    bool attached = true;     ///< to this controller; otherwise to another of the same subsystem
    std::string node;         ///< "/dev/nvme0n1"; empty when it has none
    uint64_t sizeBytes = 0;   ///< of SIZES and USES
    uint32_t blockBytes = 0;  ///< of SIZES and USES
    uint32_t metadataBytes = 0;
    std::vector<NamespaceUse> uses;
    std::vector<PartitionInfo> partitions;
};

/// Where a controller sits. What the host does not know, and all of a controller that is not on PCI Express, is empty.
struct HostLocation {
    std::string pciAddress;        ///< "0000:01:00.0"
    std::string slot;              ///< the physical slot's name: "4"
    std::string linkSpeed;         ///< "8.0 GT/s"
    std::string linkWidth;         ///< lanes: "4"
    std::string maximumLinkSpeed;  ///< of the controller, whatever the slot gives
    std::string maximumLinkWidth;

    /// A link in /dev/disk/by-id to a namespace's node.
    struct ById {
        std::string name;  ///< "nvme-eui.0025385b71b0c4a4"
        std::string node;  ///< "/dev/nvme0n1"
    };
    std::vector<ById> byId;  ///< in the order of the names
};

/// The answer to a HostCommand.
class HostResult : public ostrel::core::ProtocolResult {
public:
    HostResult() = default;
    explicit HostResult(std::vector<HostNamespace> found) : namespaces(std::move(found)) {}
    explicit HostResult(HostLocation found) : location(std::move(found)) {}

    std::unique_ptr<ostrel::core::ProtocolResult> clone() const override;
    void toString(std::ostream& out) const override;
    std::unique_ptr<ostrel::core::xml::XmlObject> toXml() const override;

    /// Of NAMESPACES, SIZES and USES, in the order of their identifiers. USES takes the whole subsystem in, since a
    /// command to one controller may reach what is attached to another.
    std::vector<HostNamespace> namespaces;
    HostLocation location;  ///< of LOCATION
};

}  // namespace features::transport
