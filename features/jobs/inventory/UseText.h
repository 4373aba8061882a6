#pragma once

#include <string>

#include "features/transport/HostCommand.h"

namespace features::jobs {

/// What uses a block device, for people: "mounted at /data", "swap", "part of md0".
std::string useText(const transport::NamespaceUse& use);

}  // namespace features::jobs
