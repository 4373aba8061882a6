#pragma once

#include <exception>
#include <memory>
#include <string>

#include "ostrel/interfaces/cli/cliframework/ErrorCode.h"
#include "ostrel/interfaces/cli/cliframework/ErrorResult.h"

namespace cli {

inline std::unique_ptr<framework::ErrorResult> libraryFailure(const char* function, const std::string& reason) {
    return std::make_unique<framework::ErrorResult>(
        framework::ERRORCODE_GENERAL,
        std::string("The feature library failed in ") + function + " with an exception: " + reason, "");
}

/// Makes a call of a function of the feature library. Null when it returns. An exception, which the interface forbids,
/// ends here: a result of code 1 that names the function and the reason, also for std::bad_alloc, which says nothing
/// about the memory of this process then. The exception is destroyed before this returns, so the library may be
/// unmapped after it. Allocates nothing before the call: where memory runs out, Unload is still called.
template <typename Call>
std::unique_ptr<framework::ErrorResult> callLibrary(const char* function, Call call) {
    try {
        call();
        return nullptr;
    } catch (const std::exception& exception) {
        return libraryFailure(function, exception.what());
    } catch (...) {
        return libraryFailure(function, "unknown exception");
    }
}

}  // namespace cli
