#include "features/jobs/erase/AtaSanitize.h"

#include <algorithm>
#include <iterator>

#include "features/ata/AtaCommand.h"
#include "features/jobs/drive/DriveLocking.h"
#include "features/jobs/drive/HostSide.h"
#include "features/jobs/drive/SafetyGate.h"
#include "features/jobs/support/ProgressLine.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/Units.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;
using ata::SanitizeState;

namespace {

constexpr uint64_t SECOND_MS = 1000;
constexpr uint64_t MINUTE_MS = 60 * SECOND_MS;
constexpr uint64_t DAY_MS = uint64_t{24} * 60 * MINUTE_MS;
/// The end of a short operation is seen soon, a long one does not keep the drive busy with questions.
constexpr uint64_t FAST_POLL_MS = SECOND_MS;
constexpr uint64_t SLOW_POLL_MS = 10 * SECOND_MS;
/// A link that is reset comes up again in this time.
constexpr uint64_t SILENCE_MS = 30 * SECOND_MS;

struct ActionRow {
    SanitizeAction action;
    EraseMethod method;
    ata::IdentifyBit capability;
    Status (*refusal)();
    const ata::CommandRow& command;
};
constexpr ActionRow ACTIONS[] = {
    {SanitizeAction::CRYPTO_ERASE, EraseMethod::ATA_CRYPTO_SCRAMBLE, ata::identify::SANITIZE_CRYPTO,
     statuses::sanitizeCryptoScrambleNotSupported, ata::commands::cryptoScrambleExt},
    {SanitizeAction::BLOCK_ERASE, EraseMethod::ATA_BLOCK_ERASE, ata::identify::SANITIZE_BLOCK,
     statuses::sanitizeBlockEraseNotSupported, ata::commands::blockEraseExt},
};

const ActionRow* rowOf(SanitizeAction action) {
    const auto* const row =
        std::find_if(std::begin(ACTIONS), std::end(ACTIONS), [&](const ActionRow& r) { return r.action == action; });
    return row == std::end(ACTIONS) ? nullptr : row;
}

/// Why a drive aborts a sanitize command (LBA 7:0 of the error).
struct ReasonRow {
    uint8_t code;
    const char* text;
};
constexpr ReasonRow REASONS[] = {
    {1, "the sanitize command was unsuccessful"},
    {2, "a parameter is not supported"},
    {3, "the drive is in the sanitize frozen state"},
    {4, "the antifreeze lock is set"},
};

std::string reasonOf(const ata::AtaError& error) {
    const bool isKnown = error.isOfDrive() && error.result->missing == ata::RegistersMissing::NOTHING;
    if (!isKnown) return "";
    const auto code = static_cast<uint8_t>(error.result->registers->lba);
    const auto* const row =
        std::find_if(std::begin(REASONS), std::end(REASONS), [&](const ReasonRow& r) { return r.code == code; });
    return row == std::end(REASONS) ? "" : std::string(" The drive's reason: ") + row->text + ".";
}

std::string percentText(uint16_t progress) {
    return nvme::decimalFraction(uint64_t{progress} * 10000 / ata::SANITIZE_PROGRESS_OF_ALL, 2) + " percent";
}

/// What SATA drives do not have: the user thinks that it counts.
Status checkRequest(const SanitizeRequest& request) {
    if (rowOf(request.action) == nullptr)
        return withDetails(statuses::sanitizeOverwriteNotSupported(),
                           "A SATA drive takes block erase and crypto erase.");
    if (request.unrestrictedExit || request.noDeallocate || request.invertPattern)
        return withDetails(statuses::unsupportedSanitizeValue(), "SATA drives do not have this option.");
    return Status();
}

}  // namespace

Result<std::string> AtaSanitize::run(const SanitizeRequest& request) {
    request_ = request;
    RETURN_IF_FAILED(checkRequest(request_));
    RETURN_IF_FAILED(checkGate());
    RETURN_IF_FAILED(checkDrive());
    RETURN_IF_FAILED(checkState());
    RETURN_IF_FAILED(erasure_.begins(rowOf(request_.action)->method));
    RETURN_IF_FAILED(checkGate());
    RETURN_IF_FAILED(start());
    if (request_.returnImmediately) erasure_.goesOn();
    if (request_.returnImmediately) return "The sanitize operation was started and goes on in the drive.";
    TRY(const std::string report, follow());
    // The host still knows the partitions that are gone.
    const Status rescanned = rescan(drive_.device());
    if (failed(rescanned)) return withDetails(rescanned, report);
    return report;
}

Status AtaSanitize::checkGate() const {
    DestructionScope scope;
    scope.partitionsCount = request_.partitionsCount;
    return checkDestruction(drive_.device(), scope);
}

Status AtaSanitize::checkDrive() {
    TRY(const ata::Identity* const identity, drive_.identifyAgain());
    if (!identity->has(ata::identify::SANITIZE)) return statuses::sanitizeNotSupported();
    const ActionRow* const row = rowOf(request_.action);
    if (!identity->has(row->capability)) return row->refusal();
    if (identity->has(ata::identify::SECURITY_LOCKED)) {
        return withDetails(statuses::configurationBlockedBySecurity(),
                           "Drive " + drive_.name() + " is locked by a password: unlock it first.");
    }
    return Status();
}

Status AtaSanitize::checkState() {
    TRY(const SanitizeState state, drive_.sanitizeState());
    if (state.isRunning) {
        return withDetails(statuses::sanitizeInProgress(),
                           "It was begun before, " + percentText(state.progress) + " are done.");
    }
    return state.isFrozen ? statuses::sanitizeFrozen() : Status();
}

Status AtaSanitize::start() {
    ata::AtaCommand command(rowOf(request_.action)->command);
    command.wantsRegisters = true;
    const auto sent = drive_.send(command);
    if (sent) {
        erasure_.started();
        return Status();
    }
    if (sent.error().isOfTranslator()) return sent.error();
    if (!sent.error().isOfDrive()) {
        erasure_.started();
        return withDetails(sent.error(), "Whether the sanitize operation was started is not known.");
    }
    return withLocking(
        drive_, sent.error(),
        withDetails(statuses::sanitizeCommandFailed(), sent.error().status.getMessage() + reasonOf(sent.error())));
}

Result<std::string> AtaSanitize::follow() {
    const uint64_t begin = clock_.nowMs();
    ProgressLine line("Drive " + drive_.name() + ", sanitize");
    uint64_t lastMove = begin;
    uint64_t lastAnswer = begin;
    uint16_t furthest = 0;
    for (;;) {
        const auto state = drive_.sanitizeState();
        const uint64_t now = clock_.nowMs();
        if (state) {
            if (!state->isRunning) return outcome(*state);
            line.update(state->progress, ata::SANITIZE_PROGRESS_OF_ALL);
            if (state->progress > furthest) {
                furthest = state->progress;
                lastMove = now;
            }
            lastAnswer = now;
        } else if (now - lastAnswer >= SILENCE_MS) {
            return withDetails(state.error(), "The sanitize operation was started; whether it has ended is not known.");
        }
        if (now - lastMove >= DAY_MS) {
            return withDetails(statuses::sanitizeInProgress(),
                               "It has stayed at " + percentText(furthest) + " for a day.");
        }
        clock_.sleepMs(now - begin < MINUTE_MS ? FAST_POLL_MS : SLOW_POLL_MS);
    }
}

Result<std::string> AtaSanitize::outcome(const SanitizeState& state) const {
    if (state.hasCompleted) return "The drive was sanitized.";
    return withDetails(statuses::sanitizeCommandFailed(),
                       "Drive " + drive_.name() + " reports that its last sanitize operation has failed.");
}

}  // namespace features::jobs
