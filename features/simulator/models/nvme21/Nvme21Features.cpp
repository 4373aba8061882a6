#include "features/simulator/models/nvme21/Nvme21Features.h"

#include "features/nvme/FeatureIds.h"

namespace features::simulator {

using namespace nvme;

namespace {

/// The one endurance group of the drive.
constexpr uint32_t GROUP = 1;
constexpr uint32_t BITS_GROUP = 0xFFFF;
/// Placement Handle and Number of Event Types.
constexpr uint32_t BITS_EVENTS = 0xFFFFFF;

bool isNvme21(const CommandContext& context) {
    return isOfNvme21(context.model.id);
}

bool isGroup(uint32_t selector) {
    return selector == GROUP;
}

FeatureValue noWarnings(const CommandContext&, uint32_t) {
    return {};
}

/// Enabled, with the first configuration.
FeatureValue readPlacement(const CommandContext&, uint32_t) {
    return {1, {}};
}

/// All types of events, none of which is enabled.
FeatureValue readPlacementEvents(const CommandContext&, uint32_t) {
    return {6, {0x00, 0, 0x01, 0, 0x02, 0, 0x03, 0, 0x80, 0, 0x81, 0}};
}

constexpr std::nullptr_t null = nullptr;

// clang-format off
constexpr FeatureRow FEATURES[] = {
    // fid                     of drive  change save   of nsid  bits of dword 11    selector, its check
    //  data  default  check  read  write
    {FID_ENDURANCE_GROUP_EVENT, isNvme21, true,  true,  false, dword11(0xFFFFFF),   BITS_GROUP,  isGroup,
     0,   noWarnings, null, null, null},
    {FID_FDP,                   isNvme21, false, false, false, {},                  BITS_GROUP,  isGroup,
     0,   null,       null, readPlacement, null},
    {FID_FDP_EVENTS,            isNvme21, false, false, true,  {},                  BITS_EVENTS, null,
     512, null,       null, readPlacementEvents, null},
};
// clang-format on

}  // namespace

Rows<FeatureRow> nvme21Features() {
    return FEATURES;
}

}  // namespace features::simulator
