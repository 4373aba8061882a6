#include "ostrel/core/PathStatus.h"

#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/SystemError.h"

namespace ostrel::core {

Status pathStatus(const std::string& action, const std::string& path, int error) {
    OSTREL_TRACE();
    return Status(CATEGORY_OS, static_cast<uint32_t>(error),
                  "Unable to " + action + " " + path + ": " + systemErrorText(error));
}

}  // namespace ostrel::core
