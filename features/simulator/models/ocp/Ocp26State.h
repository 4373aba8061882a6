#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace features::simulator {

/// An event of a debug event FIFO: the data is of whole dwords.
struct OcpDebugEvent {
    uint8_t eventClass = 0;
    uint16_t id = 0;
    std::vector<uint8_t> data;

    template <class A>
    void fields(A& archive) {
        archive(eventClass, id, data);
    }
};

/// What a drive of OCP 2.6 remembers beside OcpState.
struct Ocp26State {
    static constexpr const char* NAME = "ocp-2.6";
    static constexpr size_t MAX_EVENTS = 32;  ///< of a FIFO
    static constexpr size_t MAX_EVENT_BYTES = 16;

    uint8_t panics = 0;
    std::array<uint64_t, 4> previousPanics{};  ///< latest first
    uint16_t diesOffline = 0;
    bool isThrottled = false;  ///< by an injected error
    uint32_t commandTimeouts = 0;
    uint8_t maximumCelsius = 0;  ///< of the excursions
    uint32_t refusedCommands = 0;
    std::vector<OcpDebugEvent> hostEvents;   ///< of FIFO 1, oldest first
    std::vector<OcpDebugEvent> driveEvents;  ///< of FIFO 2, oldest first

    template <class A>
    void fields(A& archive) {
        archive(panics, previousPanics, diesOffline, isThrottled, commandTimeouts, maximumCelsius, refusedCommands,
                hostEvents, driveEvents);
    }
    /// Whether the logs can show what is there.
    bool isPossible() const { return areEvents(hostEvents) && areEvents(driveEvents); }

private:
    static bool areEvents(const std::vector<OcpDebugEvent>& events) {
        const auto isEvent = [](const OcpDebugEvent& event) {
            return event.data.size() <= MAX_EVENT_BYTES && event.data.size() % 4 == 0;
        };
        return events.size() <= MAX_EVENTS && std::all_of(events.begin(), events.end(), isEvent);
    }
};

}  // namespace features::simulator
