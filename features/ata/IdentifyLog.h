#pragma once

#include <cstdint>
#include <optional>

#include "features/nvme/FieldTree.h"
#include "ostrel/core/Payload.h"

namespace features::ata {

/// Which download modes page 03h of log 30h reports.
struct DownloadSupport {
    bool inPieces;       ///< 03h
    bool whole;          ///< 07h
    bool deferred;       ///< 0Eh and 0Fh
    uint16_t minBlocks;  ///< of a piece, 512 bytes each; 0: not reported
    uint16_t maxBlocks;
};
/// Empty when the page does not report them, or is another one.
std::optional<DownloadSupport> downloadSupport(const ostrel::core::Payload& capabilities);
/// A page of log 30h: the fields that are known here, then the other quadwords that are not zero. Page 01h is IDENTIFY
/// DEVICE, see Identity.h.
nvme::FieldTree decodeIdentifyPage(uint8_t page, const ostrel::core::Payload& data);

}  // namespace features::ata
