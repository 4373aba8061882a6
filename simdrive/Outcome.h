#pragma once

#include <string>
#include <utility>

#include "ostrel/core/Status.h"

namespace simdrive {

inline constexpr int EXIT_FAILED = 1;
inline constexpr int EXIT_USAGE = 2;

/// What a command prints and returns.
struct Outcome {
    Outcome() = default;
    Outcome(int status, std::string out, std::string error)
        : status(status), out(std::move(out)), error(std::move(error)) {}
    /// The end of a command that has an error: implicit, for TRY.
    Outcome(const ostrel::core::Status& error) : Outcome(failed(error.getMessage())) {}

    static Outcome failed(const std::string& message) { return {EXIT_FAILED, "", message}; }
    static Outcome misused(const std::string& message) { return {EXIT_USAGE, "", message}; }

    int status = 0;
    std::string out;
    std::string error;
};

}  // namespace simdrive
