#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "features/ata/AtaCommand.h"
#include "features/ata/AtaResult.h"
#include "features/errors/Result.h"

namespace features::transport {

/// How a SCSI command ended, as SG_IO returns it.
///
/// Ownership: the caller keeps the sense data alive.
struct ScsiEnd {
    uint8_t status = 0;       ///< of the command: 00h good, 02h check condition
    uint16_t hostStatus = 0;  ///< of the host adapter's driver: 0 unless the transport failed
    const uint8_t* sense = nullptr;
    std::size_t senseBytes = 0;  ///< those that the driver wrote
};

/// What ATA PASS-THROUGH returned for a command: the drive's registers are in the sense data, in the descriptor or the
/// fixed format (SAT-4 12.2.2.6 and 12.2.2.7).
///
/// Registers in fixed format are used with VALID or ASC/ASCQ 00h/1Dh alone. Linux 6.1 writes them to the wrong place
/// with neither: those are UNTRUSTED, for a message, and as a sign that the drive has had the command. So is a drive's
/// STATUS that does not agree with the sense key. A success must be beyond doubt: every other end is a failure, with or
/// without registers.
///
/// `place` is the node of the drive, for messages.
/// Errors:  a transport error is a status of HostStatus.h (0/69, 0/70, 0/86); a command that the driver or the
///          translator refused is 0/11 with sense key and ASC/ASCQ: it did not reach the drive.
/// Threads: no state.
Result<ata::AtaResult> ataResultOf(const ata::AtaCommand& command, const ScsiEnd& end, const std::string& place);

/// Whether the command was not carried out because there is something to report first: sent again, it is. Not with
/// registers of the drive, which has had the command then: libata makes a unit attention of some of its errors.
bool isUnitAttention(const ScsiEnd& end);
/// Whether the command timed out. Some drivers report that as an aborted command without more words: `isTimeOver` is
/// whether it took as long as it was given.
bool isTimeout(const ScsiEnd& end, bool isTimeOver);

}  // namespace features::transport
