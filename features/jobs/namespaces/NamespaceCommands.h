#pragma once

#include <cstdint>

#include "features/nvme/CommandError.h"
#include "features/nvme/Drive.h"
#include "features/nvme/NvmeCommand.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// Select in Namespace Management.
inline constexpr uint8_t SEL_CREATE = 0;
inline constexpr uint8_t SEL_DELETE = 1;

/// Namespace Management, without its data. It may take its time: a drive may erase what it deletes.
nvme::NvmeCommand namespaceManagement(uint8_t select, uint32_t nsid);

/// Attaches the namespace to the controller, or detaches it.
ostrel::core::Status sendNamespaceAttachment(nvme::Drive& drive, bool attach, uint32_t nsid, uint16_t controllerId);

/// The status of the catalogue for a refusal of the two commands, 0/25 where there is none.
ostrel::core::Status mapNamespaceStatus(const nvme::CommandError& error);

}  // namespace features::jobs
