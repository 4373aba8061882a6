#include "ostrel/core/Connection.h"

#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/StatusCatalogue.h"

namespace ostrel::core {

Status Connection::getPartitionStatus() {
    OSTREL_TRACE();
    return statuses::deviceHasNoPartitions();
}

Connection& Connection::operator=(const Connection& other) {
    OSTREL_TRACE();
    priority = other.priority;
    name = other.name;
    return *this;
}

}  // namespace ostrel::core
