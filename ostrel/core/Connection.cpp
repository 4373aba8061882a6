#include "ostrel/core/Connection.h"

#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/Status.h"

namespace ostrel::core {

Status Connection::getPartitionStatus() {
    OSTREL_TRACE();
    return Status(3, "Device has no partitions.");
}

Connection& Connection::operator=(const Connection& other) {
    OSTREL_TRACE();
    priority = other.priority;
    name = other.name;
    return *this;
}

}  // namespace ostrel::core
