#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// OCP Datacenter NVMe SSD Specification, log page C5h: Unsupported Requirements.
struct OcpUnsupportedRequirementsLog {
    Le16 count;
    ByteArray<14> reserved2;
    ByteArray<16> requirements[253];  ///< padded with zeros, not always terminated
    ByteArray<14> reserved4064;
    Le16 logPageVersion;
    ByteArray<16> guid;  ///< from its last byte to its first
};
static_assert(sizeof(OcpUnsupportedRequirementsLog) == 4096 && alignof(OcpUnsupportedRequirementsLog) == 1);
static_assert(offsetof(OcpUnsupportedRequirementsLog, requirements) == 16 &&
              offsetof(OcpUnsupportedRequirementsLog, logPageVersion) == 4078);

}  // namespace features::nvme
