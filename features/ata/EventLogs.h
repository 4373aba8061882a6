#pragma once

#include "features/nvme/FieldTree.h"
#include "ostrel/core/Payload.h"

namespace features::ata {

// Logs of what happened to a drive and its link, in words. What is cut off, or says nothing, is an empty part.

/// Log 0Ch, all its pages: the logical sectors that the drive could not read, with the power-on hours at which it saw
/// that.
nvme::FieldTree decodePendingDefects(const ostrel::core::Payload& log);
/// Log 10h: the newest error of a queued command.
nvme::FieldTree decodeQueuedError(const ostrel::core::Payload& page);
/// Log 11h: the counters of the link's errors.
nvme::FieldTree decodePhyEvents(const ostrel::core::Payload& page);
/// Log E0h: state and temperatures by SCT.
nvme::FieldTree decodeSctStatus(const ostrel::core::Payload& page);

}  // namespace features::ata
