#pragma once

#include <cstdint>

#include "features/nvme/NamespaceIds.h"
#include "ostrel/core/Device.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// What a destructive command is about to scope.
struct DestructionScope {
    /// NSID_ALL: every namespace, attached or not.
    uint32_t nsid = nvme::NSID_ALL;
    /// Partitions and other content that is not in use are a reason to refuse, too.
    bool partitionsCount = true;
};

/// The one gate in front of every command that destroys data. It looks at the drive's use as the host sees it at this
/// moment, at every namespace that the command reaches, whichever node the user named.
///
///   - 10/192: the drive holds the running system (root, boot, swap, or what they are built on). No force helps.
///   - 10/241: a namespace is mounted, used as swap, held by another device or process, or this cannot be
///     determined; the message names node and use. No force helps.
///   - 10/94:  a namespace that is not in use has partitions, a file system or other data of a known format, or cannot
///     be read, where that counts.
///
/// Call it before anything is asked of the drive, and again immediately before the destructive command is sent.
ostrel::core::Status checkDestruction(ostrel::core::Device& device, const DestructionScope& scope);

}  // namespace features::jobs
