#pragma once

#include <cstdint>

namespace features::simulator {

/// The kinds of simulated drives. States keep the numbers: a new one goes last.
enum class ModelId : uint8_t {
    VELKO,     ///< with the maker's vendor features
    OCP,       ///< after the OCP Datacenter NVMe SSD specification 2.0
    NVME_1_4,  ///< with what the NVMe Base Specification 1.4 makes mandatory, and nothing else
    NVME_2_1,  ///< with much of what 2.0 and 2.1 added, and nothing of a maker
    SATA,      ///< a SATA SSD: ATA commands and no NVMe controller
    OCP_2_6,   ///< after version 2.6 of the OCP specification, with NVMe 2.0
};

/// Whether drives of the model take ATA commands, see sata/SataDrive.h; the others have NVMe controllers.
inline bool isSata(ModelId model) {
    return model == ModelId::SATA;
}
inline bool isOfNvme21(ModelId model) {
    return model == ModelId::NVME_2_1;
}
/// After any version of the OCP specification.
inline bool isOfOcp(ModelId model) {
    return model == ModelId::OCP || model == ModelId::OCP_2_6;
}

}  // namespace features::simulator
