#include "features/simulator/models/ocp/OcpRecords.h"

#include "features/nvme/Bytes.h"
#include "features/nvme/FeatureIds.h"
#include "features/simulator/context/Timestamp.h"
#include "features/simulator/models/ocp/OcpDebugEvents.h"
#include "features/simulator/models/ocp/OcpState.h"
#include "features/simulator/store/Extension.h"

namespace features::simulator {

using namespace nvme;

namespace {

constexpr unsigned BIT_TEMPERATURE = 1;

/// Adds an entry to the history when other firmware runs than when it was looked last.
void noteActivation(const CommandContext& context, OcpState& state) {
    const FirmwareState& firmware = context.state.firmware;
    const std::string before = state.firmware.empty() ? context.model.firmware : state.firmware;
    state.firmware = firmware.running;
    if (before == firmware.running) return;
    OcpActivation entry;
    entry.count = ++state.activationCount;
    entry.timestamp = le64(timestampData(context).data());
    entry.powerCycles = context.state.health.powerCycles;
    entry.before = before;
    entry.after = firmware.running;
    entry.slot = firmware.activeSlot;
    entry.commitAction = state.commitAction;
    state.activations.push_back(entry);
    if (state.activations.size() > OcpState::MAX_ACTIVATIONS) state.activations.erase(state.activations.begin());
}

}  // namespace

void recordForOcpLogs(CommandContext& context, const DriveEvent& event) {
    if (!isOfOcp(context.model.id)) return;
    recordDebugEvents(context, event);
    auto state = readExtension<OcpState>(context.state);
    const auto fid = static_cast<uint8_t>(context.command.cdw10);
    switch (event.kind) {
        case DriveEvent::Kind::RESET:
            state.panic = 0;
            // A power cycle trains the link again.
            if (event.value != 0) {
                ++state.linkTrainings;
                ++state.pcieErrors;
            }
            noteActivation(context, state);
            break;
        case DriveEvent::Kind::FIRMWARE_COMMIT:
            if (event.before == event.after) return;  // nothing new, or refused
            state.commitAction = static_cast<uint8_t>(event.value);
            noteActivation(context, state);
            break;
        case DriveEvent::Kind::FEATURE_SET:
            if (fid != FID_POWER_MANAGEMENT && fid != FID_OCP_DSSD_POWER_STATE) return;
            ++state.powerStateChanges;
            break;
        case DriveEvent::Kind::WARNING:
            if (!bit(event.value, BIT_TEMPERATURE)) return;
            ++state.throttlings;
            break;
        default:
            return;
    }
    writeExtension(context.state, state);
}

}  // namespace features::simulator
