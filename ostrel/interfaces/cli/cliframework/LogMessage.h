#pragma once

#include <cstdint>
#include <string>

namespace cli::framework {

inline constexpr uint32_t LOG_LEVEL_ERROR = 0;
inline constexpr uint32_t LOG_LEVEL_TRACE = 3;

/// One message of the framework log.
struct LogMessage {
    uint32_t level = LOG_LEVEL_TRACE;
    std::string message{};
    std::string file{};  ///< Source file of a trace message, folder and name only; otherwise empty.
    uint32_t line = 0;   ///< Source line of a trace message; otherwise 0.
};

}  // namespace cli::framework
