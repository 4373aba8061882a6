#pragma once

#include <string>

#include "ostrel/core/Status.h"

/// A status as tests expect it: "10/4 Invalid log ID.".
inline std::string statusText(const ostrel::core::Status& status) {
    return std::to_string(status.getCategory()) + "/" + std::to_string(status.getCode()) + " " + status.getMessage();
}
