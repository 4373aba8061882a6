#pragma once

#include <functional>
#include <vector>

#include "features/errors/Result.h"
#include "features/nvme/NvmeCommand.h"
#include "features/transport/HostCommand.h"
#include "ostrel/core/Payload.h"
#include "ostrel/core/Status.h"

namespace features::transport {

/// Sends a command that reads and hands out its data; an error also when the controller refuses it.
using SendRead = std::function<Result<ostrel::core::Payload>(const nvme::NvmeCommand& command)>;

/// The attached namespaces as the controller itself reports them, for a host without sysfs: their nodes are not known,
/// since the numbers in the names of nodes are not namespace identifiers. One command for each namespace and each
/// 1,024.
Result<std::vector<HostNamespace>> identifyNamespaces(const SendRead& send);

}  // namespace features::transport
