#pragma once

#include <string>
#include <vector>

#include "features/transport/HostCommand.h"
#include "tests/support/fakedrive/Expected.h"

namespace features::jobs {

/// What a host may report to a gate: namespaces as they are used.
inline transport::HostNamespace withUse(uint32_t nsid, transport::NamespaceUse::Kind kind, bool holdsSystem = false) {
    transport::HostNamespace space = fakedrive::unusedNamespace(nsid);
    const bool isMount = kind == transport::NamespaceUse::Kind::MOUNTED;
    space.uses.push_back({kind, space.node + "p1", isMount ? "/data" : "", holdsSystem});
    return space;
}
inline transport::HostNamespace mounted(uint32_t nsid) {
    return withUse(nsid, transport::NamespaceUse::Kind::MOUNTED);
}
inline transport::HostNamespace partitioned(uint32_t nsid) {
    return withUse(nsid, transport::NamespaceUse::Kind::PARTITION);
}
inline transport::HostNamespace withSystem(uint32_t nsid) {
    return withUse(nsid, transport::NamespaceUse::Kind::MOUNTED, true);
}

/// The command that has the kernel look at the drive's namespaces again.
inline fakedrive::Expected lookAgain() {
    return fakedrive::Expected::host(transport::HostRequest::RESCAN);
}

/// How the gate refuses them.
inline std::string mountedRefusal(uint32_t nsid) {
    return "10/241 Cannot run selected feature with the given configuration. /dev/nvme0n" + std::to_string(nsid) +
           "p1 is mounted on /data.";
}
inline std::string partitionRefusal(uint32_t nsid) {
    return "10/94 Selected Drive contains a partition. Remove all partitions to proceed. /dev/nvme0n" +
           std::to_string(nsid) + "p1 is a partition.";
}
inline std::string systemRefusal(uint32_t nsid) {
    return "10/192 Restricted feature on OS drive. /dev/nvme0n" + std::to_string(nsid) + "p1 is mounted on /data.";
}

}  // namespace features::jobs
