#pragma once

#include <cstdint>
#include <string>

namespace features::jobs {

/// A drive's status in words, by the Critical Warning byte of its SMART / Health log: a sentence for each bit that is
/// set, or "Healthy".
std::string deviceStatusText(uint8_t criticalWarning);

}  // namespace features::jobs
