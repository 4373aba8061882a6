#pragma once

#include <cstdint>

#include "features/nvme/StatusCodes.h"

namespace features::simulator {

/// What a controller reads of a submission queue entry (NVMe Base Specification 1.4, figure 105). The data pointers are
/// the transport's affair: data goes beside the entry.
struct SubmissionEntry {
    bool isAdmin = true;  ///< which queue it came by; otherwise an I/O queue
    uint8_t opcode = 0;
    uint32_t nsid = 0;
    uint32_t cdw2 = 0;
    uint32_t cdw3 = 0;
    uint32_t cdw10 = 0;
    uint32_t cdw11 = 0;
    uint32_t cdw12 = 0;
    uint32_t cdw13 = 0;
    uint32_t cdw14 = 0;
    uint32_t cdw15 = 0;
};

/// What became of a command.
enum class Delivery : uint8_t {
    COMPLETED,  ///< the completion entry holds
    HELD,       ///< Asynchronous Event Request: Controller::takeEvent() completes it some day
    NEVER,      ///< the drive does not answer; the host's time-out ends the wait
    GONE,       ///< the drive is not there any more, or lost its power in the middle of the command
};

/// What a controller writes of a completion queue entry (figure 122). `statusField` is without the phase bit: Status
/// Code in bits 7:0, Status Code Type in 10:8, More in 13, Do Not Retry in 14.
struct CompletionEntry {
    uint16_t statusField = 0;
    uint32_t dword0 = 0;
    uint32_t dword1 = 0;
    Delivery delivery = Delivery::COMPLETED;
    uint32_t delayMs = 0;  ///< a slow drive: the host gets the entry that much later

    nvme::StatusCode status() const { return nvme::StatusCode::ofField(statusField); }
    bool isSuccess() const { return status() == nvme::SC_SUCCESSFUL_COMPLETION; }
};

inline constexpr uint16_t STATUS_DO_NOT_RETRY = 0x4000;

/// A refusal that the same command would meet again.
constexpr CompletionEntry refusal(nvme::StatusCode status) {
    return CompletionEntry{static_cast<uint16_t>(STATUS_DO_NOT_RETRY | status.field()), 0, 0, Delivery::COMPLETED, 0};
}
/// A refusal that may pass, or a success with a word of warning: without Do Not Retry.
constexpr CompletionEntry passingRefusal(nvme::StatusCode status) {
    return CompletionEntry{status.field(), 0, 0, Delivery::COMPLETED, 0};
}

}  // namespace features::simulator
