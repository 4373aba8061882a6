#include "features/jobs/settings/DssdPowerStates.h"

#include <vector>

#include "features/jobs/drive/LogReading.h"
#include "features/jobs/settings/Alternatives.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/LogPageIds.h"
#include "features/nvme/OcpLogPages.h"
#include "ostrel/core/Payload.h"

namespace features::jobs {

std::string dssdPowerStates(nvme::Drive& drive) {
    // The refusal is what counts: what explains it may be missing.
    const auto listed = drive.isLogListed(nvme::LID_OCP_CAPABILITIES);
    if (!listed || !listed->value_or(false)) return {};
    const auto page = readLog(drive, nvme::LID_OCP_CAPABILITIES, nvme::OCP_CAPABILITIES_BYTES);
    if (!page || nvme::identifyOcpLogPage(nvme::LID_OCP_CAPABILITIES, *page) == nullptr) return {};
    std::vector<std::string> states;
    for (unsigned watts = nvme::OCP_MAX_WATTS; watts > 0; --watts) {
        const uint8_t descriptor = page->getData()[nvme::OCP_POWER_STATE_DESCRIPTORS + watts];
        if (nvme::bit(descriptor, nvme::OCP_POWER_STATE_VALID_BIT)) states.push_back(std::to_string(watts));
    }
    return alternatives(states);
}

}  // namespace features::jobs
