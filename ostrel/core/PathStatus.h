#pragma once

#include <string>

#include "ostrel/core/Status.h"

namespace ostrel::core {

/// The errno in CATEGORY_OS with "Unable to open /a/b: Permission denied"; the action is "open".
Status pathStatus(const std::string& action, const std::string& path, int error);

}  // namespace ostrel::core
