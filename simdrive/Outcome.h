#pragma once

#include <string>

#include "ostrel/core/Status.h"

namespace simdrive {

inline constexpr int EXIT_FAILED = 1;
inline constexpr int EXIT_USAGE = 2;

/// What a command prints and returns.
struct Outcome {
    int status = 0;
    std::string out;
    std::string error;

    static Outcome failed(const std::string& message) { return {EXIT_FAILED, "", message}; }
    static Outcome failed(const ostrel::core::Status& status) { return failed(status.getMessage()); }
    static Outcome misused(const std::string& message) { return {EXIT_USAGE, "", message}; }
};

}  // namespace simdrive
