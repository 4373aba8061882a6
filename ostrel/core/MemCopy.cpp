#include "ostrel/core/MemCopy.h"

#include <cerrno>
#include <cstring>

#include "ostrel/core/Logging.h"
#include "ostrel/core/ScopeTrace.h"

namespace ostrel::core {

int memCopy(void* destination, size_t destinationSize, const void* source, size_t count) {
    OSTREL_TRACE();
    if (destination == nullptr || source == nullptr) return EINVAL;
    if (count > destinationSize) {
        logMessage(LOGSEVERITY_FATAL, "Invalid call to memCopy: source size (", count,
                   ") is greater than destination size (", destinationSize, ")");
        return ERANGE;
    }
    std::memcpy(destination, source, count);
    return 0;
}

}  // namespace ostrel::core
