#pragma once

#include <string>

#include "ostrel/core/Status.h"

namespace features::jobs {

/// The status of the catalogue, its text followed by what is known of this case.
inline ostrel::core::Status withDetails(ostrel::core::Status status, const std::string& details) {
    status.setMessage(status.getMessage() + " " + details);
    return status;
}

}  // namespace features::jobs
