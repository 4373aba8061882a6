#pragma once

#include <cstdint>
#include <vector>

namespace features::simulator {

/// Log page C9h, whole: the names of what the telemetry of a drive of OCP 2.6 has of the maker.
std::vector<uint8_t> ocpStringPage();

}  // namespace features::simulator
