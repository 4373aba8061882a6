#pragma once

#include <cstdint>

namespace features::simulator {

/// The kinds of simulated drives. States keep the numbers: a new one goes last.
enum class ModelId : uint8_t {
    VELKO,     ///< with the maker's vendor features
    OCP,       ///< after the OCP Datacenter NVMe SSD specification 2.0
    NVME_1_4,  ///< with what the NVMe Base Specification 1.4 makes mandatory, and nothing else
};

}  // namespace features::simulator
