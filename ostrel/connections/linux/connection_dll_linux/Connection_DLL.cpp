#include "ostrel/connections/linux/connection_dll_linux/Connection_DLL.h"

#include "ostrel/core/ScopeTrace.h"

namespace ostrel::connections::common::dll {

Connection& Connection::operator=(const Connection& other) {
    OSTREL_TRACE();
    core::Connection::operator=(other);
    return *this;
}

}  // namespace ostrel::connections::common::dll
