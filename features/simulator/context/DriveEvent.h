#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "features/simulator/store/DriveState.h"

namespace features::simulator {

/// Something that the drive keeps a record of. Which members count depends on the kind.
struct DriveEvent {
    enum class Kind : uint8_t {
        RESET,                ///< value: a ResetKind
        POWER_LOSS,           ///< the drive lost its power; a RESET follows
        FIRMWARE_COMMIT,      ///< before, after: active revisions; value: Commit Action; selector: slot; statusField
        TIMESTAMP_CHANGE,     ///< queued before it happens
        NAMESPACE_CHANGE,     ///< nsid, NSID_ALL for delete of all; ns; value: cdw10; the command is in the context
        FORMAT_START,         ///< nsid; the command is in the context
        FORMAT_COMPLETION,    ///< nsid; statusField
        SANITIZE_START,       ///< the state says which
        SANITIZE_COMPLETION,  ///< the state says how it ended
        FEATURE_SET,          ///< the command and its data are in the context; statusField
        SELF_TEST_DONE,       ///< the first result in the state
        WARNING,              ///< value: bits of Critical Warning that were not set before
        MEDIA_ERROR,          ///< a command failed over the media
    };

    Kind kind;
    uint32_t nsid = 0;
    uint64_t value = 0;
    uint32_t selector = 0;
    uint16_t statusField = 0;
    std::string before = {};
    std::string after = {};
    std::optional<NamespaceState> ns = {};  ///< as it was made, or before it was deleted
    std::array<uint8_t, 8> timestamp = {};  ///< when it happened, see timestampData()
};

}  // namespace features::simulator
