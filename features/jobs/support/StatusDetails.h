#pragma once

#include <string>

#include "ostrel/core/Status.h"

namespace features::jobs {

/// The status of the catalogue, its text followed by what is known of this case.
inline ostrel::core::Status withDetails(ostrel::core::Status status, const std::string& details) {
    status.setMessage(status.getMessage() + " " + details);
    return status;
}

/// An error of a file (category 1) as `kind` of the catalogue, in its own words; any other status as it is. The code of
/// an answer becomes the tool's exit status, where an errno would be read as something else.
inline ostrel::core::Status ofFile(const ostrel::core::Status& status, const ostrel::core::Status& kind) {
    if (status.getCategory() != ostrel::core::CATEGORY_OS) return status;
    return ostrel::core::Status(kind.getCategory(), kind.getCode(), status.getMessage());
}

}  // namespace features::jobs
