#include "features/jobs/firmware/FirmwareCommit.h"

#include "features/jobs/drive/ControllerReset.h"
#include "features/jobs/drive/DrivesWithoutOcp.h"
#include "features/jobs/drive/LogReading.h"
#include "features/jobs/drive/Refusals.h"
#include "features/jobs/support/ProgressLine.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/ControllerCapabilities.h"
#include "features/nvme/FieldTable.h"
#include "features/nvme/LogPages.h"
#include "features/nvme/Opcodes.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

constexpr uint8_t MAX_SLOTS = 7;
/// The drive writes the image now.
constexpr uint32_t COMMIT_TIMEOUT_MS = 120000;

/// The reset that a commit leaves to be made, as it is shown.
constexpr const char* NO_RESET = "none";
constexpr const char* CONTROLLER_LEVEL_RESET = "controller level reset";

enum class Firmware : uint8_t { STORED, AWAITS_RESET, AWAITS_MORE, RUNS };
/// What a commit did with the firmware.
struct Outcome {
    Firmware firmware;
    const char* requiredReset;
    const char* text;
    bool isNamedByDrive = false;  ///< the completion itself names what the firmware waits for
};

/// Of a success, by Commit Action.
constexpr Outcome SUCCESSES[] = {
    {Firmware::STORED, NO_RESET, "The firmware is stored and not activated."},
    {Firmware::AWAITS_RESET, CONTROLLER_LEVEL_RESET,
     "The firmware is stored; the next controller level reset activates it."},
    {Firmware::AWAITS_RESET, CONTROLLER_LEVEL_RESET, "The next controller level reset activates the firmware."},
    {Firmware::RUNS, NO_RESET, "The firmware was activated without a reset."},
};
constexpr const char* ACTIVATED_BY_RESET = "The firmware was activated by a controller level reset.";
/// A success that the drive shows nothing of is not called stored or activated.
constexpr const char* NOTHING_CHANGED =
    "The drive accepted the commit, but neither the running firmware nor the slots changed.";

/// Completions that are successes: the commit is done, and only the activation is not.
struct ActivationRow {
    nvme::StatusCode status;
    Outcome outcome;
};
constexpr ActivationRow ACTIVATIONS[] = {
    {nvme::SC_FIRMWARE_NEEDS_CONVENTIONAL_RESET,
     {Firmware::AWAITS_MORE, "conventional reset", "Firmware update successful. Please reboot to apply update.", true}},
    {nvme::SC_FIRMWARE_NEEDS_SUBSYSTEM_RESET,
     {Firmware::AWAITS_MORE, "NVM subsystem reset",
      "Firmware update successful. An NVM subsystem reset or a power cycle activates it.", true}},
    {nvme::SC_FIRMWARE_NEEDS_CONTROLLER_RESET,
     {Firmware::AWAITS_RESET, CONTROLLER_LEVEL_RESET,
      "Firmware update successful. The next controller level reset activates it.", true}},
};

constexpr RefusalRow REFUSALS[] = {
    {nvme::SC_INVALID_FIRMWARE_SLOT, statuses::invalidFirmwareSlot},
};

/// The number in an argument that may be absent or empty; `refusal` with the range otherwise.
Result<std::optional<uint8_t>> readSmallNumber(const Arguments& arguments, const std::string& key, uint8_t least,
                                               uint8_t most, Status (*refusal)()) {
    const std::string text = arguments.text(key);
    if (text.empty()) return std::nullopt;
    uint64_t number = 0;
    if (!readNumber(text, Digits::DECIMAL, number) || number < least || number > most) {
        return withDetails(refusal(), key + " is a number from " + std::to_string(least) + " to " +
                                          std::to_string(most) + ", not '" + text + "'.");
    }
    return static_cast<uint8_t>(number);
}

bool isRefusalWith(const nvme::CommandError& error, nvme::StatusCode code) {
    return error.completion.is(code);
}

Result<nvme::Answer, nvme::CommandError> sendCommit(nvme::Drive& drive, uint8_t slot, uint8_t action) {
    nvme::NvmeCommand command(nvme::Queue::ADMIN, nvme::OPC_FIRMWARE_COMMIT, "Firmware Commit");
    command.cdw10 = slot | static_cast<uint32_t>(action) << 3;
    command.timeoutMs = COMMIT_TIMEOUT_MS;
    const ProgressLine line("Drive " + drive.name() + ", firmware commit");
    return drive.send(command);
}

Result<Outcome> send(nvme::Drive& drive, const CommitRequest& request, bool mayActivateNow) {
    const uint8_t slot = request.slot.value_or(0);
    uint8_t action = request.action.value_or(mayActivateNow ? COMMIT_ACTIVATE_NOW : COMMIT_STORE_FOR_RESET);
    auto sent = sendCommit(drive, slot, action);
    // The activation would keep the drive from its work for longer than it has promised. A reset may.
    if (!request.action && !sent && isRefusalWith(sent.error(), nvme::SC_FIRMWARE_NEEDS_MAXIMUM_TIME)) {
        action = COMMIT_STORE_FOR_RESET;
        sent = sendCommit(drive, slot, action);
    }
    if (sent) return SUCCESSES[action];
    for (const ActivationRow& row : ACTIVATIONS) {
        if (isRefusalWith(sent.error(), row.status)) return row.outcome;
    }
    return mapNvmeStatus(REFUSALS, statuses::firmwareUpdateFailed, sent.error());
}

/// One commit: what was asked for, what came of it, and the drive around it.
struct Commit {
    const CommitRequest& request;
    const FirmwareState& before;
    Outcome outcome;
    FirmwareState after;

    /// Whether the drive shows anything of it.
    bool isSeen() const { return outcome.isNamedByDrive || !(after == before); }
};

/// The slot of the firmware; 0 when the drive chose one and does not say which.
uint8_t slotOf(const Commit& commit) {
    if (commit.request.slot) return *commit.request.slot;
    if (!commit.isSeen() || commit.outcome.firmware == Firmware::STORED) return 0;
    return commit.outcome.firmware == Firmware::RUNS ? commit.after.activeSlot() : commit.after.nextSlot();
}

std::string requiredReset(const Commit& commit) {
    const std::string awaited = commit.isSeen() ? commit.outcome.requiredReset : NO_RESET;
    if (awaited != NO_RESET) return awaited;
    // Of firmware that was staged before.
    return commit.after.nextSlot() == 0 ? NO_RESET : CONTROLLER_LEVEL_RESET;
}

/// What the reset brings. A drive that waits for more than a controller level reset need not have a next slot.
std::string nextFirmware(const Commit& commit) {
    if (requiredReset(commit) == NO_RESET) return "none";
    const uint8_t next = commit.after.nextSlot() != 0 ? commit.after.nextSlot() : slotOf(commit);
    const std::string revision = next == 0 ? "" : commit.after.revision(next);
    return revision.empty() ? nvme::NOT_REPORTED : revision;
}

/// For programs: what the message says, and the slots before and after.
void addState(const Commit& commit, DriveOutput& out) {
    const uint8_t slot = slotOf(commit);
    nvme::FieldTree state{"Firmware State", {}, {}};
    state.add("PreviousFirmware", commit.before.running);
    state.add("RunningFirmware", commit.after.running);
    state.add("NextFirmware", nextFirmware(commit));
    state.add(attributes::feature::firmwareSlot().getName(), slot == 0 ? nvme::NOT_REPORTED : std::to_string(slot));
    state.add("RequiredReset", requiredReset(commit));
    out.addTree(state);
    nvme::FieldTree previous = nvme::decodeFirmwareSlots(commit.before.slots);
    previous.heading = "Previous " + previous.heading;  // no two objects of an answer have one name
    out.addTree(previous);
    out.addTree(nvme::decodeFirmwareSlots(commit.after.slots));
}

/// What became of the commit; 10/53 when the drive runs other firmware than `expected`.
Status report(const nvme::Drive& drive, const Commit& commit, const std::string& expected) {
    const std::string& running = commit.after.running;
    const std::string now = "Drive " + drive.name() + " runs firmware " + running;
    if (commit.outcome.firmware == Firmware::RUNS && !expected.empty() && running != expected)
        return withDetails(statuses::firmwareUpdateFailed(), now + ", not " + expected + ".");
    const std::string& previous = commit.before.running;
    return Status(0, 0,
                  std::string(commit.isSeen() ? commit.outcome.text : NOTHING_CHANGED) + " " + now +
                      (running == previous ? "." : "; it was " + previous + " before."));
}

/// Resets the controller where the firmware waits for it and the user left the action open; the drive is looked at
/// again then.
Status activateByReset(nvme::Drive& drive, Commit& commit) {
    drive.forgetIdentify();
    if (!commit.request.action && commit.outcome.firmware == Firmware::AWAITS_RESET) {
        RETURN_IF_FAILED(resetController(drive));
        commit.outcome = {Firmware::RUNS, NO_RESET, ACTIVATED_BY_RESET};
    }
    TRY(commit.after, readFirmwareState(drive));
    return Status();
}

}  // namespace

Result<CommitRequest> readCommitRequest(const Arguments& arguments) {
    TRY(const std::optional<uint8_t> slot, readSmallNumber(arguments, attributes::feature::firmwareSlot().getName(), 1,
                                                           MAX_SLOTS, statuses::invalidFirmwareSlot));
    TRY(const std::optional<uint8_t> action,
        readSmallNumber(arguments, attributes::feature::commitAction().getName(), COMMIT_STORE, COMMIT_ACTIVATE_NOW,
                        statuses::invalidCommitAction));
    return CommitRequest{slot, action};
}

Status checkCommit(nvme::Drive& drive, const CommitRequest& request, bool written) {
    TRY(const uint8_t* const identify, drive.identifyController());
    const nvme::ControllerCapabilities controller(identify);
    const std::string name = "Drive " + drive.name();
    if (!controller.supportsFirmware())
        return withDetails(statuses::featureNotSupported(), name + " takes no firmware.");
    if (request.slot && *request.slot > controller.firmwareSlots()) {
        return withDetails(statuses::invalidFirmwareSlot(),
                           name + " has slots 1 to " + std::to_string(controller.firmwareSlots()) + ".");
    }
    const bool onlySlotIsReadOnly = !request.slot && controller.firmwareSlots() == 1;
    if (written && (request.slot == 1 || onlySlotIsReadOnly) && controller.firmwareSlot1IsReadOnly())
        return withDetails(statuses::invalidFirmwareSlot(), "Slot 1 of drive " + drive.name() + " is read only.");
    if (request.action == COMMIT_ACTIVATE_NOW && !controller.activatesFirmwareWithoutReset()) {
        return withDetails(statuses::invalidCommitAction(), name + " cannot activate firmware without a reset.");
    }
    return Status();
}

Status commitFirmware(nvme::Drive& drive, const CommitRequest& request, const FirmwareState& before,
                      const std::string& expected, const std::string& heading, DriveOutput& out) {
    TRY(const uint8_t* const identify, drive.identifyController());
    const bool mayActivateNow = nvme::ControllerCapabilities(identify).activatesFirmwareWithoutReset();
    TRY(const Outcome outcome, send(drive, request, mayActivateNow));
    DrivesWithoutOcp().forget();  // the new firmware may have the name of the old one
    Commit commit{request, before, outcome, {}};
    Status status = activateByReset(drive, commit);
    if (failed(status)) {
        status.setMessage(commit.outcome.text + (" " + status.getMessage()));
        return status;
    }
    status = report(drive, commit, expected);
    if (succeeded(status)) out.addStatus(heading, status);
    addState(commit, out);
    return status;
}

}  // namespace features::jobs
