#pragma once

#include <array>
#include <cstdint>

#include "features/ata/AtaCommand.h"
#include "features/errors/Result.h"

namespace features::transport {

/// A command descriptor block, filled up with zeros.
using ScsiBlock = std::array<uint8_t, 16>;

/// The block that carries a command to its drive: ATA PASS-THROUGH (16) (SAT-4 12.2.2.3). The length of the data is
/// that of COUNT in blocks of 512 bytes: a translator that is given another length may hang. A download of more than
/// 255 blocks, whose number COUNT alone does not have, takes the length of the SCSI command's own data (T_LENGTH 3).
///
/// TRUSTED RECEIVE goes as SECURITY PROTOCOL IN: libata refuses it in ATA PASS-THROUGH without allow_tpm, but
/// translates that for drives whose log 30h reports trusted computing.
///
/// Errors:  0/27 for a command that no such block can carry: a number that does not fit its registers, or data of
///          another length than COUNT has. Nothing can be sent then.
/// Threads: no state.
Result<ScsiBlock> toScsi(const ata::AtaCommand& command);

/// The bytes of it that are the block.
uint8_t lengthOf(const ScsiBlock& block);

}  // namespace features::transport
