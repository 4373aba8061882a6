#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "features/errors/Result.h"
#include "features/simulator/sata/SataContext.h"
#include "features/simulator/sata/TaskFile.h"
#include "features/simulator/store/CapturedAnswers.h"
#include "features/simulator/store/Clock.h"
#include "features/simulator/store/DriveFolder.h"
#include "features/simulator/store/Media.h"
#include "ostrel/core/Status.h"

namespace features::simulator::sata {

/// A simulated SATA drive at the level of registers, the counterpart of an NVMe Controller: it sees the registers of a
/// command and data, and answers with registers and data; what it remembers is in the drive's folder. Any number of
/// them, in any number of processes, may work on one folder: each command is a transaction.
///
/// A command that takes long (SECURITY ERASE UNIT, a captive self-test) is begun by execute(), which returns its
/// registers with the delay after which the host sees them. Until then the drive answers Delivery::BUSY to everything
/// else, and what the command does is not done: a loss of power in between ends it.
///
/// Ownership: the clock must outlive it.
/// Errors:    a Status speaks of the folder (a damaged or missing file, a full disk), the registers of the drive.
/// Threads:   one at a time per object.
class SataDrive {
public:
    SataDrive(std::string folder, const Clock& clock);
    /// Counters that are not in the state yet are saved.
    ~SataDrive();
    SataDrive(const SataDrive&) = delete;
    SataDrive& operator=(const SataDrive&) = delete;

    /// Whether the drive is the one that was meant, by its description; a failure ends the transaction, and nothing was
    /// done.
    using Check = std::function<ostrel::core::Status(const Description& description)>;

    /// Carries out a command. `data` goes to the drive with a command that writes; one that reads puts there what it
    /// read, TaskFile::dataBytes of it, or nothing when it failed.
    Result<Completion> execute(const TaskFile& command, std::vector<uint8_t>& data, const Check& check = nullptr);
    /// The power fails and comes back. 1/19 (ENODEV): the drive is gone.
    ostrel::core::Status powerCycle(const Check& check = nullptr);
    /// The drive's description, as of now.
    Result<Description> describe();
    /// See DriveFolder::expect().
    void expect(const DriveFolder::Identity& identity) { folder_.expect(identity); }
    /// Sectors that the host reaches.
    Result<uint64_t> sectors();

private:
    ostrel::core::Status begin(const Check& check);
    uint64_t nowMs() const { return folder_.description().clockMs.value_or(clock_.nowMs()); }
    SataContext contextOf(const TaskFile& command, std::vector<uint8_t>& data, SataState& state);
    /// Of a drive that answers what another one did.
    ostrel::core::Status loadCapture();
    ostrel::core::Status catchUp(SataContext& context);
    Completion run(SataContext& context);
    ostrel::core::Status finish(SataContext& context);

    const Clock& clock_;
    DriveFolder folder_;
    Media media_;
    WorkCounters work_;
    bool isCaptureKnown_ = false;
    std::optional<CapturedAnswers> capture_;
};

}  // namespace features::simulator::sata
