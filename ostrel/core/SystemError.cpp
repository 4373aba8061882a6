#include "ostrel/core/SystemError.h"

#include <system_error>

#include "ostrel/core/ScopeTrace.h"

namespace ostrel::core {

std::string systemErrorText(int error) {
    OSTREL_TRACE();
    return std::generic_category().message(error);
}

}  // namespace ostrel::core
