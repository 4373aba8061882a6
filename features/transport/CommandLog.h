#pragma once

#include <chrono>
#include <string>

#include "features/ata/AtaCommand.h"
#include "features/nvme/NvmeCommand.h"
#include "ostrel/core/ProtocolResult.h"
#include "ostrel/core/Status.h"

namespace features::transport {

/// Writes one line to the debug log for an NVMe command that was sent: drive, name, opcode, NSID, command dwords, bytes
/// of data, outcome, time.
///
///     /dev/nvme0: Get Log Page (02h), NSID FFFFFFFFh, CDW10-15 007F0002h 00000000h 00000000h 00000000h 00000000h
///     00000000h, 512 bytes: Successful Completion (0/00h), 312 us
///
/// The data is not in the log. `completion` is null where none came back: then `status` says why. A line for which
/// there is no memory is dropped: a command that was sent keeps its outcome. Costs one comparison while the log is off.
void logCommand(const std::string& drive, const nvme::NvmeCommand& command, const ostrel::core::Status& status,
                const ostrel::core::ProtocolResult* completion, std::chrono::nanoseconds duration) noexcept;

/// The same for an ATA command: drive, name, COMMAND, the other registers, bytes of data, outcome, time.
///
///     /dev/sda: SMART READ DATA (B0h), FEATURE 00D0h, COUNT 0001h, LBA 000000C24F00h, DEVICE 00h, 512 bytes:
///     success, 312 us
///
/// `result` is null where none came back. A failure has the registers STATUS and ERROR, where they came.
void logCommand(const std::string& drive, const ata::AtaCommand& command, const ostrel::core::Status& status,
                const ostrel::core::ProtocolResult* result, std::chrono::nanoseconds duration) noexcept;

}  // namespace features::transport
