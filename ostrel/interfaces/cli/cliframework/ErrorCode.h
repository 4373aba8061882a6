#pragma once

#include <cstdint>

namespace cli::framework {

/// The error codes of results: each is an exit status, which scripts read, so no number ever changes its meaning.
enum ErrorCode : std::int32_t {
    ERRORCODE_SUCCESS = 0,
    ERRORCODE_GENERAL = 1,  ///< also every failure at the feature library's boundary
    ERRORCODE_OUT_OF_MEMORY = 2,
    ERRORCODE_NOT_SUPPORTED = 3,          ///< also every failure that the feature library reports
    ERRORCODE_INVALID_CONFIGURATION = 4,  ///< bad configuration or debug log path, found by the library binding
    ERRORCODE_FILE_NOT_WRITTEN = 5,
    ERRORCODE_NOT_BOOLEAN = 6,       ///< a boolean setting with another value
    ERRORCODE_INVALID_PROPERTY = 7,  ///< also an invalid action option
    ERRORCODE_INVALID_VALUE = 8,     ///< of a target or option; also a missing directory or file
    ERRORCODE_INVALID_LOG_FILE = 9,
    ERRORCODE_SYMBOLIC_LINK = 11,  ///< the configuration or debug log file is one
    ERRORCODE_CORRUPT_CONFIGURATION = 12,
    ERRORCODE_SYNTAX = 201,
};

}  // namespace cli::framework
