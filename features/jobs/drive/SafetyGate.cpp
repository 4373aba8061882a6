#include "features/jobs/drive/SafetyGate.h"

#include <string>
#include <vector>

#include "features/errors/DriveName.h"
#include "features/errors/Result.h"
#include "features/jobs/drive/HostSide.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/NamespaceIds.h"
#include "features/transport/HostCommand.h"
#include "ostrel/core/Logging.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;
using transport::HostNamespace;
using transport::NamespaceUse;

namespace {

/// What a use of each kind is called, before and after the node; the use's detail comes last.
struct SentenceRow {
    NamespaceUse::Kind kind;
    const char* before;
    const char* after;
};
constexpr SentenceRow SENTENCES[] = {
    // clang-format off
    {NamespaceUse::Kind::PARTITION,  "",                  " is a partition"},
    {NamespaceUse::Kind::MOUNTED,    "",                  " is mounted on "},
    {NamespaceUse::Kind::SWAP,       "",                  " is used as swap"},
    {NamespaceUse::Kind::HELD,       "",                  " is part of "},
    {NamespaceUse::Kind::OPENED,     "",                  " is opened exclusively by another program"},
    {NamespaceUse::Kind::UNKNOWN,    "Whether ",          " is in use cannot be determined: "},
    {NamespaceUse::Kind::CONTENT,    "",                  " holds "},
    {NamespaceUse::Kind::UNREADABLE, "The content of ",   " cannot be read: "},
    // clang-format on
};

/// "/dev/nvme0n1p1 is mounted on /data"
std::string sentence(const NamespaceUse& use) {
    for (const SentenceRow& row : SENTENCES) {
        if (row.kind == use.kind) return row.before + use.node + row.after + use.detail;
    }
    return use.node + " is in use";
}

Status checkUse(const NamespaceUse& use, const DestructionScope& scope) {
    if (!use.isContentAlone()) return withDetails(statuses::featureBlockedByConfiguration(), sentence(use) + ".");
    if (scope.partitionsCount) return withDetails(statuses::driveContainsPartition(), sentence(use) + ".");
    return Status();
}

Status checkUses(Device& device, const DestructionScope& scope) {
    const auto check = scope.partitionsCount ? transport::UseCheck::CONTENT : transport::UseCheck::DESTROY;
    TRY(const std::vector<HostNamespace> namespaces, readUsedNamespaces(device, check));
    for (const HostNamespace& part : namespaces) {
        for (const NamespaceUse& use : part.uses) {
            if (use.holdsSystem) return withDetails(statuses::restrictedOnOsDrive(), sentence(use) + ".");
        }
    }
    // A use that no force can override goes first: the partition table of a mounted disk is not what the user must
    // mend.
    Status partitions;
    for (const HostNamespace& part : namespaces) {
        if (scope.nsid != nvme::NSID_ALL && scope.nsid != part.nsid) continue;
        for (const NamespaceUse& use : part.uses) {
            const Status status = checkUse(use, scope);
            if (succeeded(status)) continue;
            if (!use.isContentAlone()) return status;
            if (succeeded(partitions)) partitions = status;
        }
    }
    return partitions;
}

}  // namespace

Status checkDestruction(Device& device, const DestructionScope& scope) {
    Status status = checkUses(device, scope);
    if (failed(status)) logMessage(LOGSEVERITY_INFO, "Safety gate: ", driveName(device), ": ", status.getMessage());
    return status;
}

}  // namespace features::jobs
