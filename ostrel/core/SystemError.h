#pragma once

#include <string>

namespace ostrel::core {

/// What an errno means: "Permission denied". Threads: any, which std::strerror() does not promise.
std::string systemErrorText(int error);

}  // namespace ostrel::core
