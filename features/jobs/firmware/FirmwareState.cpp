#include "features/jobs/firmware/FirmwareState.h"

#include <cstring>

#include "features/jobs/drive/ControllerReset.h"
#include "features/jobs/drive/LogReading.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/LogPageIds.h"
#include "features/nvme/LogPages.h"
#include "features/nvme/structures/FirmwareSlotLog.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

/// Of the log, Active Firmware Info and the revisions; what follows is reserved.
constexpr size_t SLOTS_BYTES = offsetof(nvme::FirmwareSlotLog, reserved64);

}  // namespace

uint8_t FirmwareState::activeSlot() const {
    return static_cast<uint8_t>(nvme::bits(slots.getData()[offsetof(nvme::FirmwareSlotLog, afi)], 2, 0));
}

uint8_t FirmwareState::nextSlot() const {
    return static_cast<uint8_t>(nvme::bits(slots.getData()[offsetof(nvme::FirmwareSlotLog, afi)], 6, 4));
}

std::string FirmwareState::revision(uint8_t slot) const {
    return nvme::firmwareSlotRevision(slots.getData(), slot);
}

bool FirmwareState::operator==(const FirmwareState& other) const {
    return running == other.running && std::memcmp(slots.getData(), other.slots.getData(), SLOTS_BYTES) == 0;
}

Result<FirmwareState> readFirmwareState(nvme::Drive& drive) {
    TRY(const std::string running, runningFirmware(drive));
    TRY(const Payload slots, readLog(drive, nvme::LID_FIRMWARE_SLOT, sizeof(nvme::FirmwareSlotLog)));
    return FirmwareState{running, slots};
}

}  // namespace features::jobs
