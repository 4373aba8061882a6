#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "features/errors/Result.h"
#include "features/simulator/context/CommandContext.h"
#include "features/simulator/context/Entries.h"
#include "features/simulator/store/CapturedAnswers.h"
#include "features/simulator/store/Clock.h"
#include "features/simulator/store/DriveFolder.h"
#include "features/simulator/store/Media.h"
#include "ostrel/core/Status.h"

namespace features::simulator {

enum class ResetKind : uint8_t { CONTROLLER, SUBSYSTEM };

/// A controller of a simulated drive. It sees submission entries and data, and answers with completion entries and
/// data; what it remembers is in the drive's folder. Any number of them, in any number of processes, may work on one
/// folder: each command is a transaction.
///
/// Ownership: the clock must outlive it.
/// Errors:    a Status speaks of the folder (a damaged or missing file, a full disk), the completion of the drive.
/// Threads:   one at a time per object.
class Controller {
public:
    /// `id`: 1, or 2 of a drive with two controllers.
    Controller(std::string folder, const Clock& clock, uint16_t id = 1);
    /// Counters that are not in the state yet are saved.
    ~Controller();
    Controller(const Controller&) = delete;
    Controller& operator=(const Controller&) = delete;

    /// Whether the drive is the one that was meant, by its description; a failure ends the transaction, and nothing was
    /// done.
    using Check = std::function<ostrel::core::Status(const Description& description)>;

    /// Carries out a command. `data` goes to the controller with a command that writes; one that reads puts there what
    /// it read, as many bytes as its dwords ask for.
    Result<CompletionEntry> execute(const SubmissionEntry& command, std::vector<uint8_t>& data,
                                    const Check& check = nullptr);
    /// A reset: what was not saved is forgotten, firmware that waits for it is activated. 1/19 (ENODEV): the drive is
    /// gone.
    ostrel::core::Status reset(ResetKind kind, const Check& check = nullptr);

    /// An event for an Asynchronous Event Request that was held: to be asked now and then while there is one. Empty:
    /// nothing happened.
    Result<std::optional<CompletionEntry>> takeEvent();
    /// The host aborted an Asynchronous Event Request that was held.
    void cancelEventRequest() {
        if (heldEventRequests_ != 0) --heldEventRequests_;
    }

    uint16_t id() const { return id_; }
    /// The drive's description, as of now.
    Result<Description> describe();
    /// See DriveFolder::expect().
    void expect(const DriveFolder::Identity& identity) { folder_.expect(identity); }

private:
    ostrel::core::Status begin(const Check& check = nullptr);
    /// Of a drive that answers what another one did.
    ostrel::core::Status loadCapture();
    uint64_t nowMs() const { return folder_.description().clockMs.value_or(clock_.nowMs()); }
    /// What lies before every command; a failure ends the transaction.
    ostrel::core::Status catchUp(CommandContext& context);
    CommandContext contextOf(const SubmissionEntry& command, std::vector<uint8_t>& data);
    CompletionEntry run(CommandContext& context);
    ostrel::core::Status finish(CommandContext& context);

    const Clock& clock_;
    const uint16_t id_;
    DriveFolder folder_;
    Media media_;
    WorkCounters work_;
    uint32_t heldEventRequests_ = 0;
    bool isCaptureKnown_ = false;
    std::optional<CapturedAnswers> capture_;
};

}  // namespace features::simulator
