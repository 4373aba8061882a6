#pragma once

#include <string>
#include <utility>

#include "ostrel/core/Status.h"

/// A status as tests expect it: "10/4 Invalid log ID.".
inline std::string statusText(const ostrel::core::Status& status) {
    return std::to_string(status.getCategory()) + "/" + std::to_string(status.getCode()) + " " + status.getMessage();
}

/// The same of what returns a result or an error.
template <typename Result, typename = decltype(std::declval<const Result&>().error())>
std::string statusText(const Result& result) {
    return statusText(result ? ostrel::core::Status() : ostrel::core::Status(result.error()));
}
