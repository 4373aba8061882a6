#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "features/simulator/context/DriveEvent.h"
#include "features/simulator/context/Entries.h"
#include "features/simulator/store/Description.h"
#include "features/simulator/store/DriveState.h"
#include "features/simulator/store/Media.h"
#include "features/simulator/store/Model.h"

namespace features::simulator {

struct DriveTables;

/// Everything that the handler of a command may look at and change. The state is saved when the handler is back; when
/// it refuses the command, the state is what it was before.
struct CommandContext {
    const SubmissionEntry& command;
    std::vector<uint8_t>& data;  ///< to the controller, or from it: handlers fill it when the command reads
    const Description& description;
    const Model& model;
    const DriveTables& tables;  ///< of the model
    DriveState& state;
    Media& media;
    DriveFolder& folder;
    WorkCounters& work;           ///< counters that are not in the state yet
    uint32_t& heldEventRequests;  ///< Asynchronous Event Requests that this host waits on
    uint64_t nowMs;
    /// Done when the state is saved, whatever the process does then is a leftover: removal of old media files.
    std::vector<std::function<void()>> afterSave;
    /// What happened, to be recorded when the handler is back, see EventQueue.h.
    std::vector<DriveEvent> driveEvents = {};
    /// Of a command that is refused, for the Error Information log.
    std::optional<uint64_t> failingLba = {};
    uint16_t parameterLocation = 0xFFFF;  ///< byte in bits 7:0, bit in 10:8; FFFFh: not reported
    uint32_t delayMs = 0;                 ///< by which an injected error delays the completion
    uint16_t controllerId = 1;            ///< that carries the command out

    uint64_t powerOnMs() const { return nowMs > state.health.createdMs ? nowMs - state.health.createdMs : 0; }
    uint64_t powerOnHours() const { return powerOnMs() / 3600000; }
    /// Null: not allocated.
    NamespaceState* find(uint32_t nsid) const {
        const auto part = state.namespaces.find(nsid);
        return part == state.namespaces.end() ? nullptr : &part->second;
    }
    /// Null: not allocated or not attached.
    NamespaceState* findAttached(uint32_t nsid) const {
        NamespaceState* part = find(nsid);
        return part != nullptr && part->isAttachedTo(controllerId) ? part : nullptr;
    }
    /// Becomes another controller of the drive: `state` has what that one remembers.
    void turnTo(uint16_t id) {
        state.turnTo(id);
        controllerId = id;
    }
    /// Does something as each controller in turn, and is the one again that it was.
    template <class Action>
    void asEachController(Action action) {
        const uint16_t own = controllerId;
        for (uint16_t id = 1; id <= description.controllerCount(); ++id) {
            turnTo(id);
            action();
        }
        turnTo(own);
    }
    const LbaFormat& formatOf(const NamespaceState& part) const { return model.formats[part.format]; }
};

}  // namespace features::simulator
