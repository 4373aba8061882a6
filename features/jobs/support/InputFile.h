#pragma once

#include <cstdint>
#include <string>

#include "features/errors/Result.h"
#include "ostrel/core/File.h"
#include "ostrel/core/Status.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

/// Reads a file that the user named: a regular file of at most `maxBytes`. It never waits for another process. 10/54
/// or `tooLarge`, with the path and the reason.
Result<std::string> readInputFile(const std::string& path, uint64_t maxBytes,
                                  ostrel::core::SymbolicLink link = ostrel::core::SymbolicLink::FOLLOW,
                                  ostrel::core::Status (*tooLarge)() = ostrel::core::statuses::fileReadFailed);

}  // namespace features::jobs
