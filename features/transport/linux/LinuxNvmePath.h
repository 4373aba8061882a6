#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "features/errors/Result.h"
#include "features/nvme/ControllerIdentity.h"
#include "features/nvme/NvmeCommand.h"
#include "features/transport/HostCommand.h"
#include "features/transport/linux/NvmeTopology.h"
#include "ostrel/core/CommandPath.h"
#include "ostrel/core/CommandResult.h"
#include "ostrel/core/FileDescriptor.h"

namespace features::transport {

class BlockUses;

/// The transport to a controller through the kernel's NVMe driver: admin commands by the passthrough request of
/// /dev/nvmeN, I/O commands by that of the namespace's node. Serves the command sets "NVMe" and "Host".
///
/// Ownership: the node is opened at the first command and shared by clones; it closes with the last of them. So does
///            that of a namespace that is read.
/// Units:     the path's time-out is that of every command that has none of its own.
/// Errors:    the Status reports transport errors, the completion the drive's answer: a command that the drive
///            refused is a success here. What the system refused is a status of HostStatus.h. A process that waits in
///            the kernel cannot be killed, so no command goes without a time-out.
/// Buffers:   data from the drive comes in a new buffer that was cleared before. A caller of many reads that drops
///            their data brings a buffer instead: a payload of whole pages for all of it, which is neither cleared nor
///            cut.
/// Identity:  the name of a node may pass to another drive between the scan and the opening. Before anything that
///            changes the drive, or reads what a change is judged by (NvmeCommand::needsSelectedDrive(), resets),
///            Identify over the open node itself must show the drive that was selected; otherwise that is 0/70 with
///            both serial numbers, and only Identify was sent. The same holds for a namespace's node that is by now
///            that of another namespace. Identify is sent again after a reset that the path asked for or met.
/// Threads:   any number at once.
class LinuxNvmePath : public ostrel::core::CommandPath {
public:
    /// `controller` is the name in /sys/class/nvme.
    LinuxNvmePath(std::string controller, LinuxPaths paths, std::shared_ptr<const NvmeTopology> topology);

    /// Whose controller this is, for all clones; before the first command. Without it the drive is neither locked nor
    /// changed.
    void select(const nvme::ControllerIdentity& identity);

    std::unique_ptr<CommandPath> clone() const override;
    ostrel::core::CommandResult send(const ostrel::core::Command& command, const ostrel::core::Payload& payload,
                                     const ostrel::core::AttributeList& attributes) override;
    bool isSupported(const ostrel::core::AttributeList& attributes) const override;

private:
    struct Node;
    struct NamespaceFile {
        std::string path;
        ostrel::core::FileDescriptor descriptor;
        /// After how many resets it was seen to be that namespace of the drive that was selected.
        std::optional<uint32_t> selectedAfter{};
    };

    // The data and what the command brought back go into `result`; its status is what is returned.
    ostrel::core::Status sendNvme(const nvme::NvmeCommand& command, const ostrel::core::Payload& payload,
                                  ostrel::core::CommandResult& result);
    ostrel::core::Status sendHost(const HostCommand& command, ostrel::core::CommandResult& result);
    /// Sends the command and logs it.
    ostrel::core::Status passThrough(int node, const std::string& nodePath, const nvme::NvmeCommand& command,
                                     const ostrel::core::Payload& toController, ostrel::core::CommandResult& result);
    ostrel::core::Status submit(int node, const std::string& nodePath, const nvme::NvmeCommand& command,
                                const ostrel::core::Payload& toController, ostrel::core::CommandResult& result);
    Result<ostrel::core::FileDescriptor> openNode(const std::string& path) const;
    /// The descriptor of the controller's node, which stays open.
    Result<int> openController();
    /// The same for what changes the drive: it is that of the drive that was selected.
    Result<int> openSelected();
    ostrel::core::Status checkIdentity(int node, const std::string& nodePath);
    /// After a reset.
    void forgetIdentity();
    ostrel::core::Status checkNamespace(int node, const std::string& nodePath, uint32_t nsid);
    Result<NamespaceFile> openNamespace(uint32_t nsid) const;
    /// The node of a namespace for commands that read alone: it stays open.
    Result<const NamespaceFile*> openToRead(uint32_t nsid, bool onlySelectedDrive);
    ostrel::core::Status resetController(unsigned long request, uint32_t timeoutMs);
    ostrel::core::Status awaitController(uint32_t timeoutMs);
    ostrel::core::Status rescan();
    Result<std::vector<HostNamespace>> attachedNamespaces(bool withSizes);
    /// Sends a command that reads; what the controller refuses is an error, too.
    Result<ostrel::core::Payload> read(const nvme::NvmeCommand& command);
    Result<std::vector<HostNamespace>> usedNamespaces(UseCheck check) const;
    /// The uses of a namespace by one of its nodes.
    void addUses(const BlockUses& uses, const NamespaceNode& node, UseCheck check, HostNamespace& entry) const;
    static HostNamespace hostNamespace(const NamespaceNode& node, bool attached);
    void addSizes(const NamespaceNode& node, HostNamespace& entry, LookErrors& errors) const;
    /// The controller's state as sysfs has it; absent without errors: the controller is gone.
    std::optional<std::string> state(LookErrors& errors) const;
    /// Whether the controller is gone or on its way out: a failed command reports that then, whatever its own error.
    bool isLeaving() const;
    uint32_t timeoutMs(uint32_t ofCommand) const;
    std::string controllerNode() const { return paths_.dev + "/" + controller_; }

    std::string controller_;
    LinuxPaths paths_;
    std::shared_ptr<const NvmeTopology> topology_;
    std::shared_ptr<Node> node_;
};

}  // namespace features::transport
