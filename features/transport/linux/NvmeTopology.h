#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "features/transport/LookErrors.h"
#include "features/transport/linux/LinuxPaths.h"
#include "ostrel/core/Once.h"

namespace features::transport {

/// A namespace that is attached to a controller.
struct NamespaceNode {
    uint32_t nsid;
    std::string block;  ///< the block device that a host uses, "nvme0n1"; the one above all paths under multipath
};

/// The controllers and namespaces of the NVMe driver, as sysfs shows them. Nothing is asked of a drive.
///
/// Which namespace belongs to which controller is read from the folders and links of sysfs, never from names: the X of
/// nvmeXnY is the number of the subsystem, not of the controller, and under native multipath a controller only has
/// hidden nvmeXcYnZ entries without a node of their own.
///
/// Controllers and namespaces are read at each call; which controller belongs to which subsystem, which never changes,
/// once for the object.
///
/// Errors:  what could not be looked at goes into `errors`; what was found is still returned.
/// Threads: any number at once.
class NvmeTopology {
public:
    explicit NvmeTopology(LinuxPaths paths) : paths_(std::move(paths)) {}

    /// "nvme0", "nvme1", "nvme10": in byte order. After an error those that have a node are among them.
    std::vector<std::string> controllers(LookErrors& errors) const;
    /// In the order of the identifiers.
    std::vector<NamespaceNode> namespacesOf(const std::string& controller, LookErrors& errors) const;
    /// All controllers of the controller's subsystem, itself included, in byte order.
    std::vector<std::string> subsystemOf(const std::string& controller, LookErrors& errors) const;
    /// The controllers to which the block device `block` is attached; the lowest one is the one commands go to.
    std::vector<std::string> controllersOf(const std::string& block, LookErrors& errors) const;

    /// Whether sysfs is there to be looked at; otherwise an error.
    bool isVisible(LookErrors& errors) const;
    /// The same, asked until the answer is yes: for looks at many controllers, each of which notices its loss.
    bool wasVisible(LookErrors& errors) const;

    std::string controllerFolder(const std::string& controller) const {
        return paths_.sys + "/class/nvme/" + controller;
    }
    std::string blockFolder(const std::string& block) const { return paths_.sys + "/class/block/" + block; }

private:
    void addNodes(std::vector<std::string>& names, LookErrors& errors) const;
    /// The folder of the controller's subsystem; empty when there is none.
    std::string subsystemFolder(const std::string& controller, LookErrors& errors) const;
    /// The namespaces above all paths of the controller's subsystem, by identifier.
    std::map<uint32_t, std::string> multipathHeads(const std::string& controller, LookErrors& errors) const;

    LinuxPaths paths_;
    mutable std::atomic<bool> wasVisible_{false};
    mutable ostrel::core::Once subsystemsRead_;
    mutable std::map<std::string, std::string> subsystemFolders_;  ///< by controller
    mutable LookErrors subsystemErrors_;                           ///< of that one look
};

}  // namespace features::transport
