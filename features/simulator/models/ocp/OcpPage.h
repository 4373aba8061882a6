#pragma once

#include <cstdint>
#include <vector>

#include "features/nvme/OcpGuids.h"
#include "features/nvme/structures/Fields.h"

namespace features::simulator {

/// The bytes of an OCP log page with its version and its GUID.
template <class Log>
std::vector<uint8_t> ocpPage(Log log, uint8_t version, const nvme::OcpGuid& guid) {
    log.logPageVersion = version;
    log.guid = guid;
    return nvme::bytesOf(log);
}

}  // namespace features::simulator
