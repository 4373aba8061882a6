#pragma once

#include "features/nvme/FieldTree.h"
#include "ostrel/core/Payload.h"

namespace features::ata {

/// Log 03h, all its pages: the number of errors, and a part for each that is remembered, the newest first, with the
/// command that failed and its registers.
nvme::FieldTree decodeExtendedErrors(const ostrel::core::Payload& log);
/// The same of log 01h, the last five errors, and of log 02h, all its pages: for drives without log 03h. Their
/// addresses have 28 bits.
nvme::FieldTree decodeSummaryErrors(const ostrel::core::Payload& log);
nvme::FieldTree decodeComprehensiveErrors(const ostrel::core::Payload& log);

}  // namespace features::ata
