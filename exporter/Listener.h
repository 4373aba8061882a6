#pragma once

#include <functional>
#include <string>

#include "exporter/Collector.h"

namespace exporter {

/// Serves metrics over HTTP by two processes. This one goes on to read the drives, in a network namespace without a
/// network; the other one, its child, listens, has the user and group 65534, to which nothing belongs, no capabilities
/// and no way to get any, and knows what comes through a pipe.
///
/// Threads: the caller has one. The process that listens has more.
struct ListenerOptions {
    std::string address;  ///< ADDRESS:PORT
    unsigned intervalSeconds = 60;
};

/// Calls `collect` at each interval, in this process. Returns when the other process has ended: why.
std::string serve(const ListenerOptions& options, const std::function<Collection()>& collect);

}  // namespace exporter
