#include "features/jobs/SafetyGate.h"

#include <string>

#include "features/jobs/StatusDetails.h"
#include "features/transport/HostCommand.h"
#include "ostrel/core/CommandResult.h"
#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;
using transport::HostNamespace;
using transport::NamespaceUse;

namespace {

constexpr uint32_t EVERY_NAMESPACE = 0xFFFFFFFF;

/// "/dev/nvme0n1p1 is mounted on /data"
std::string sentence(const NamespaceUse& use) {
    switch (use.kind) {
        case NamespaceUse::Kind::MOUNTED:
            return use.node + " is mounted on " + use.detail;
        case NamespaceUse::Kind::SWAP:
            return use.node + " is used as swap";
        case NamespaceUse::Kind::HELD:
            return use.node + " is part of " + use.detail;
        case NamespaceUse::Kind::OPENED:
            return use.node + " is opened exclusively by another program";
        case NamespaceUse::Kind::PARTITION:
            return use.node + " is a partition";
    }
    return use.node + " is in use";
}

Status checkUse(const NamespaceUse& use, const Reach& reach) {
    if (use.kind != NamespaceUse::Kind::PARTITION)
        return withDetails(statuses::featureBlockedByConfiguration(), sentence(use) + ".");
    if (reach.partitionsCount) return withDetails(statuses::driveContainsPartition(), sentence(use) + ".");
    return Status();
}

}  // namespace

Status checkDestruction(nvme::Drive& drive, const Reach& reach) {
    OSTREL_TRACE();
    CommandResult result;
    drive.device().sendCommand(transport::HostCommand(transport::HostRequest::USES), result);
    if (!result.status.is(0, 0)) return result.status;
    const auto* host = dynamic_cast<const transport::HostResult*>(result.protocolResult.get());
    if (host == nullptr) return statuses::deviceDataRetrievalFailed();
    for (const HostNamespace& part : host->namespaces) {
        for (const NamespaceUse& use : part.uses) {
            if (use.holdsSystem) return withDetails(statuses::restrictedOnOsDrive(), sentence(use) + ".");
        }
    }
    // A use that no force can override goes first: the partition table of a mounted disk is not what the user must
    // mend.
    Status partitions;
    for (const HostNamespace& part : host->namespaces) {
        if (reach.nsid != EVERY_NAMESPACE && reach.nsid != part.nsid) continue;
        for (const NamespaceUse& use : part.uses) {
            const Status status = checkUse(use, reach);
            if (status.is(0, 0)) continue;
            if (use.kind != NamespaceUse::Kind::PARTITION) return status;
            if (partitions.is(0, 0)) partitions = status;
        }
    }
    return partitions;
}

}  // namespace features::jobs
