#include "ostrel/core/DeviceIOControlUtility.h"

#include "ostrel/core/ScopeTrace.h"

namespace ostrel::core {

bool DeviceIOControlUtility::sendIoctl(void*, uint32_t, void*, uint32_t, void*, uint32_t, uint32_t*) {
    OSTREL_TRACE();
    logMessage(LOGSEVERITY_FATAL,
               "Attempted to call DeviceIoControl (WINAPI) wrapper method on non-Windows system (probably Linux)");
    logMessage(LOGSEVERITY_FATAL, "Trying to invoke Windows only functionality! Why did you call this method?");
    return false;
}

}  // namespace ostrel::core
