#include "features/jobs/drive/CriticalWarnings.h"

#include <iterator>

#include "features/nvme/Bytes.h"

namespace features::jobs {

namespace {

/// By bit (NVMe Base Specification 1.4, figure 194).
constexpr const char* CRITICAL_WARNINGS[] = {
    "Available spare has fallen below the threshold.",
    "A temperature is beyond its threshold.",
    "Reliability is degraded.",
    "Media is in read only mode.",
    "The volatile memory backup device has failed.",
    "The persistent memory region is read only or unreliable.",
};

}  // namespace

std::string deviceStatusText(uint8_t criticalWarning) {
    std::string text;
    for (unsigned i = 0; i < std::size(CRITICAL_WARNINGS); ++i) {
        if (nvme::bit(criticalWarning, i)) text.append(text.empty() ? "" : " ").append(CRITICAL_WARNINGS[i]);
    }
    return text.empty() ? "Healthy" : text;
}

}  // namespace features::jobs
