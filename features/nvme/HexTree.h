#pragma once

#include <cstdint>
#include <string>

#include "features/nvme/FieldTree.h"
#include "ostrel/core/Payload.h"

namespace features::nvme {

/// Bytes without a decoder: sixteen bytes a line, under their offset, which begins with `offset`.
FieldTree hexTree(const std::string& heading, uint64_t offset, const ostrel::core::Payload& data);

}  // namespace features::nvme
