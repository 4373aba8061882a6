#pragma once

#include <optional>
#include <string>

#include "features/errors/Result.h"
#include "features/simulator/store/CapturedAnswers.h"
#include "ostrel/core/Status.h"

/// A capture as files: capture.json, which lists the answers, and a file with the data of each that has some,
/// capture-0001.bin and so on. docs/captures.md has the format. A simulated drive of a capture has the same files in
/// its own folder.
///
/// Errors: of the system with errno and the path; what is no capture, or breaks a bound, is 1/22 (EINVAL) or 1/27
///         (EFBIG) and says where.
namespace features::simulator {

inline constexpr const char* FILE_CAPTURE = "capture.json";
/// Of all files of a capture.
inline constexpr const char* CAPTURE_PREFIX = "capture";

/// `path`: of the opened folder, for the words. No link is followed, and nothing is read without a bound.
Result<CapturedAnswers> readCapture(int folder, const std::string& path);
/// Of a folder that may belong to another user: what is in it is checked as any other input.
Result<CapturedAnswers> readCapture(const std::string& path);

/// The capture in the folder of a simulated drive; empty: it has none.
Result<std::optional<CapturedAnswers>> readCaptureOfDrive(int folder, const std::string& path);

/// Writes the files into an empty folder, the list at last: without it there is no capture.
ostrel::core::Status writeCapture(const CapturedAnswers& capture, const std::string& folder);

}  // namespace features::simulator
