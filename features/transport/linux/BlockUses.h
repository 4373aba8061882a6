#pragma once

#include <set>
#include <string>
#include <vector>

#include "features/transport/HostCommand.h"
#include "features/transport/LookErrors.h"
#include "features/transport/linux/BlockOpener.h"
#include "features/transport/linux/DeviceClaims.h"
#include "features/transport/linux/LinuxPaths.h"

namespace features::transport {

/// What the running system does with block devices: mounts, swap, what is built on them, what exports them. A snapshot:
/// the tables of the system are read when the object is made, so a caller that needs the present makes a new one.
class BlockUses {
public:
    explicit BlockUses(LinuxPaths paths, UseCheck check = UseCheck::SHOW);

    /// What could not be looked at, when the object was made and in every call since: that no use was found means
    /// nothing then.
    const LookErrors& errors() const { return errors_; }
    /// Every use of a block device and of its partitions. Without any, the device is opened exclusively for a moment,
    /// which fails when it is in use in a way that no table shows; and its content is read where the check says so.
    std::vector<NamespaceUse> usesOf(const std::string& block) const;
    /// The uses of a controller, and so of all its namespaces: "nvme0".
    std::vector<NamespaceUse> usesOfController(const std::string& controller) const;
    std::vector<PartitionInfo> partitionsOf(const std::string& block) const;
    /// The block devices at the bottom of the root file system: "nvme0n1p2", or several below an array.
    std::vector<std::string> rootDevices() const;

private:
    struct Mount {
        std::string device;  ///< "259:1"
        std::string block;   ///< the name after the source, for file systems whose device number is their own
        std::string point;
        std::string type;
    };

    void readMounts();
    void readSwaps();
    std::string blockOf(const std::string& node) const;
    std::string folder(const std::string& block) const { return paths_.sys + "/class/block/" + block; }
    std::vector<std::string> partitionNames(const std::string& block) const;
    std::vector<const Mount*> mountsOf(const std::string& block) const;
    bool isSwap(const std::string& block) const;
    std::vector<const DeviceClaim*> claimsOn(DeviceClaim::Kind kind, const std::string& deviceFolder) const;
    bool holdsSystem(const std::string& block) const;
    bool holdsSystem(const std::string& block, std::set<std::string>& seen) const;
    bool holdsSystem(const DeviceClaim& claim) const;
    std::string holderText(const std::string& holder) const;
    void addUses(const std::string& block, std::vector<NamespaceUse>& uses) const;
    void addBottom(const std::string& block, std::set<std::string>& seen, std::vector<std::string>& bottom) const;
    ostrel::core::FileDescriptor openExclusively(const std::string& block, int& error, LookErrors& errors) const;
    /// What no table shows: that the device cannot be opened exclusively, or what it holds.
    void addUnlisted(const std::string& block, bool hasPartitions, std::vector<NamespaceUse>& uses) const;

    LinuxPaths paths_;
    UseCheck check_;
    BlockOpener opener_;
    mutable LookErrors errors_;
    DeviceClaims claims_;
    std::vector<Mount> mounts_;
    std::vector<std::string> swaps_;  ///< names of block devices
};

}  // namespace features::transport
