#include "features/jobs/settings/DssdPowerStates.h"

#include <cstring>
#include <vector>

#include "features/jobs/drive/LogReading.h"
#include "features/jobs/settings/Alternatives.h"
#include "ostrel/core/Payload.h"

namespace features::jobs {

namespace {

/// OCP Datacenter NVMe SSD Specification 2.0, section 4.8.10: 128 descriptors of a byte, and the GUID at the end.
constexpr uint8_t LID_CAPABILITIES = 0xC4;
constexpr uint32_t CAPABILITIES_BYTES = 4096;
constexpr size_t OFFSET_DESCRIPTORS = 16;
constexpr size_t DESCRIPTORS = 128;
constexpr uint8_t DESCRIPTOR_VALID = 0x80;
constexpr size_t OFFSET_GUID = 4080;
/// B7053C914B58495D98C9E1D10D054297h, little endian.
constexpr uint8_t GUID[] = {0x97, 0x42, 0x05, 0x0D, 0xD1, 0xE1, 0xC9, 0x98,
                            0x5D, 0x49, 0x58, 0x4B, 0x91, 0x3C, 0x05, 0xB7};

}  // namespace

std::string dssdPowerStates(nvme::Drive& drive) {
    bool hasList = false;
    bool isListed = false;
    // The refusal is what counts: what explains it may be missing.
    if (failed(drive.readListedLog(LID_CAPABILITIES, hasList, isListed)) || !isListed) return {};
    ostrel::core::Payload page;
    if (failed(readLog(drive, LID_CAPABILITIES, CAPABILITIES_BYTES, page))) return {};
    if (std::memcmp(page.getData() + OFFSET_GUID, GUID, sizeof GUID) != 0) return {};
    std::vector<std::string> watts;
    for (size_t i = 0; i < DESCRIPTORS; ++i) {
        const uint8_t descriptor = page.getData()[OFFSET_DESCRIPTORS + i];
        if ((descriptor & DESCRIPTOR_VALID) != 0) watts.push_back(std::to_string(descriptor & ~DESCRIPTOR_VALID));
    }
    return alternatives(watts);
}

}  // namespace features::jobs
