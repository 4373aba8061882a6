#include "features/simulator/store/NewDrive.h"

#include "features/simulator/store/Model.h"
#include "features/simulator/store/Namespaces.h"

namespace features::simulator {

DriveState newState(const Description& description, uint64_t nowMs, const std::string& firmware) {
    const Model& model = modelOf(description.model);
    DriveState state;
    state.model = static_cast<uint8_t>(description.model);
    state.health.createdMs = state.health.lastResetMs = nowMs;
    state.firmware.slots.resize(model.firmwareSlots);
    state.firmware.resets.resize(model.firmwareSlots);
    state.firmware.slots[0] = state.firmware.running = firmware.empty() ? model.firmware : firmware;
    makeFirstNamespace(description, model, state);
    return state;
}

}  // namespace features::simulator
