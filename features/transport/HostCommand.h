#pragma once

#include <cstdint>
#include <memory>
#include <ostream>
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
    NAMESPACES,        ///< the namespaces attached to the controller: identifiers, nodes, sizes; a few reads
    USES,              ///< all that the host sees of the subsystem, each with its uses and partitions
    RESET_CONTROLLER,  ///< a controller level reset; returns when the controller answers again or the time is over
    RESET_SUBSYSTEM,   ///< an NVM subsystem reset, likewise; 10/34 where the controller has none
    RESCAN,            ///< look for namespaces again, and for partitions on those that nobody uses
};

/// A request to the host's side. It travels the same road as NVMe commands, so that the jobs need no second one.
///
/// Units: timeoutMs in milliseconds, 0: the path's own time-out.
class HostCommand : public ostrel::core::Command {
public:
    explicit HostCommand(HostRequest request);

    std::unique_ptr<ostrel::core::Command> clone() const override;
    void toString(std::ostream& out) const override;
    std::unique_ptr<ostrel::core::xml::XmlObject> toXml() const override;

    HostRequest request;
    uint32_t timeoutMs = 0;
};

/// One use of a namespace or of a part of it. What stands on top of it is followed to the end: a namespace under a md
/// array that holds the root file system is used by the array and holds the system.
struct NamespaceUse {
    enum class Kind : uint8_t {
        PARTITION,  ///< a partition that is not used otherwise
        MOUNTED,
        SWAP,
        HELD,    ///< by a md array, device mapper, or another block device
        OPENED,  ///< opened exclusively by somebody unknown
    };
    Kind kind;
    std::string node;          ///< "/dev/nvme0n1p2"
    std::string detail;        ///< the mount point, or the holder ("md0"); otherwise empty
    bool holdsSystem = false;  ///< root, boot, EFI or swap of the running system is on it
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
    bool attached = true;  ///< to this controller; otherwise to another of the same subsystem
    std::string node;      ///< "/dev/nvme0n1"; empty when it has none
    uint64_t sizeBytes = 0;
    uint32_t blockBytes = 0;
    uint32_t metadataBytes = 0;
    std::vector<NamespaceUse> uses;
    std::vector<PartitionInfo> partitions;
};

/// The answer to a HostCommand.
class HostResult : public ostrel::core::ProtocolResult {
public:
    HostResult() = default;
    explicit HostResult(std::vector<HostNamespace> found) : namespaces(std::move(found)) {}

    std::unique_ptr<ostrel::core::ProtocolResult> clone() const override;
    void toString(std::ostream& out) const override;
    std::unique_ptr<ostrel::core::xml::XmlObject> toXml() const override;

    /// Of NAMESPACES and USES, in the order of their identifiers. USES takes the whole subsystem in, since a command to
    /// one controller may reach what is attached to another.
    std::vector<HostNamespace> namespaces;
};

}  // namespace features::transport
