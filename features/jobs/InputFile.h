#pragma once

#include <cstdint>
#include <string>

#include "ostrel/core/Status.h"

namespace features::jobs {

/// Reads a file that the user named: a regular file of at most `mostBytes`. 10/54 with the reason and the path; `bytes`
/// changes only on success.
ostrel::core::Status readInputFile(const std::string& path, uint64_t mostBytes, std::string& bytes);

}  // namespace features::jobs
