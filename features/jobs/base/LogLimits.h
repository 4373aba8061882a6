#pragma once

#include <cstdint>
#include <string>

#include "ostrel/core/Device.h"
#include "ostrel/core/Status.h"

/// What a length may cost that a drive claims: docs/files.md has these numbers for users.
///
/// Errors:  0/37, also for a log that this host has not the memory for: 0/87 of a command that failed is another thing.
///          The message names the drive, the lengths and the way that is left.
namespace features::jobs {

/// Decoded and shown, a log costs up to 290 bytes of memory for each of its bytes (events of the persistent event log),
/// and a second for each MiB: the tree, its XML on both sides of the library's interface, the result, the text.
inline constexpr uint64_t MAX_DECODED_BYTES = uint64_t{4} * 1024 * 1024;
inline constexpr uint64_t DECODED_COST = 300;

/// As the payload of an answer it costs 2.1 bytes of memory for each, its digits, but addresses for twice that: the
/// library releases the memory of its digits while it fills the tool's buffer, and the limit of a process may be one of
/// addresses.
inline constexpr uint64_t PAYLOAD_COST = 5;

/// Written to a file as it comes it costs one piece of memory. Twice the longest page that a head can announce, that of
/// log 0Ch: a length beyond is a damaged one.
inline constexpr uint64_t MAX_LOG_BYTES = uint64_t{32} * 1024 * 1024 * 1024;

/// How many bytes may be decoded now: by MAX_DECODED_BYTES and by the memory.
uint64_t decodableBytes();
/// A log, for the words of a refusal.
struct NamedLog {
    /// `logId`: the log page of an NVMe drive; no matter for a SATA drive.
    NamedLog(const ostrel::core::Device& device, uint8_t logId);

    std::string driveName;
    /// The command that writes it to a file piece by piece, as it is typed.
    std::string copyCommand;
};

/// Whether `bytes` bytes may be decoded.
ostrel::core::Status checkDecoding(const NamedLog& log, uint64_t bytes);
/// Whether so many more may travel in an answer that has `earlierBytes` of other drives already.
ostrel::core::Status checkPayload(const NamedLog& log, uint64_t bytes, uint64_t earlierBytes);
/// Whether this status says that a log is too long.
bool isTooLong(const ostrel::core::Status& status);
/// Whether a log can be as long as its head says.
ostrel::core::Status checkLogLength(const std::string& driveName, uint64_t bytes);

}  // namespace features::jobs
