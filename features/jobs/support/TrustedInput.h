#pragma once

#include <cstdint>
#include <string>

#include "features/errors/Result.h"

namespace features::jobs {

/// Reads a file that decides what the tool does: a regular file of at most `maxBytes` that no other user can change
/// (ostrel::core::TrustedFile), and not by a link. 10/54 with the path and the reason.
Result<std::string> readTrustedInput(const std::string& path, uint64_t maxBytes);

}  // namespace features::jobs
