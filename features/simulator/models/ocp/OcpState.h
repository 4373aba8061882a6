#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace features::simulator {

/// An entry of the Firmware Activation History (C2h).
struct OcpActivation {
    uint16_t count = 0;
    uint64_t timestamp = 0;  ///< as the Timestamp feature has it
    uint64_t powerCycles = 0;
    std::string before;
    std::string after;
    uint8_t slot = 0;
    uint8_t commitAction = 0;

    template <class A>
    void fields(A& archive) {
        archive(count, timestamp, powerCycles, before, after, slot, commitAction);
    }
};

/// What a drive after the OCP Datacenter NVMe SSD specification remembers beside the standard's state.
struct OcpState {
    static constexpr const char* NAME = "ocp";

    uint64_t pcieErrors = 0;  ///< correctable; each training of the link makes one
    uint64_t linkTrainings = 0;
    uint64_t powerStateChanges = 0;
    uint64_t throttlings = 0;
    uint32_t incompleteShutdowns = 0;
    static constexpr size_t MAX_ACTIVATIONS = 20;
    std::vector<OcpActivation> activations;  ///< oldest first
    uint16_t activationCount = 0;
    std::string firmware;        ///< that ran when the last activation was looked for; empty: the model's
    uint8_t commitAction = 0;    ///< of the last Firmware Commit
    uint16_t panic = 0;          ///< the type of the injected error that the drive is in; 0: none
    uint16_t lastPanic = 0;      ///< for the Error Recovery log (C1h)
    uint64_t injectedReads = 0;  ///< Read commands since the errors were set

    template <class A>
    void fields(A& archive) {
        archive(pcieErrors, linkTrainings, powerStateChanges, throttlings, incompleteShutdowns, activations,
                activationCount, firmware, commitAction, panic, lastPanic, injectedReads);
    }
    /// Whether the logs can show what is there.
    bool isPossible() const { return activations.size() <= MAX_ACTIVATIONS; }
};

}  // namespace features::simulator
