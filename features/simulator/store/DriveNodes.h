#pragma once

#include <cstdint>
#include <string>

namespace features::simulator {

/// How a simulated drive and its namespaces are named, as if its folder had a /dev of its own: for the drive "one"
/// "one/dev/one", and "one/dev/onen1" for its namespace 1. No such files are there, but the tool knows a path by the
/// "/dev/" in it.
std::string controllerNode(const std::string& folder);
std::string namespaceNode(const std::string& folder, uint32_t nsid);

}  // namespace features::simulator
