#include "features/jobs/FirmwareCommit.h"

#include <algorithm>
#include <cstring>

#include "features/jobs/ControllerReset.h"
#include "features/jobs/LogReading.h"
#include "features/jobs/ProgressLine.h"
#include "features/jobs/Refusals.h"
#include "features/jobs/StatusDetails.h"
#include "features/nvme/ControllerCapabilities.h"
#include "features/nvme/LogPages.h"
#include "features/nvme/Opcodes.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

constexpr uint8_t MOST_SLOTS = 7;
constexpr uint32_t SLOT_LOG_BYTES = 512;
/// Of the log, Active Firmware Info and the revisions; what follows is reserved.
constexpr size_t SLOTS_BYTES = 64;
/// The drive writes the image now.
constexpr uint32_t COMMIT_TIMEOUT_MS = 120000;

/// Where the firmware stands after a commit.
enum class Firmware : uint8_t { STORED, AWAITS_RESET, AWAITS_MORE, RUNS };
struct Outcome {
    Firmware firmware;
    const char* text;
    bool isNamedByDrive = false;  ///< the completion itself names what the firmware waits for
};

/// Of a success, by Commit Action.
constexpr Outcome SUCCESSES[] = {
    {Firmware::STORED, "The firmware is stored and not activated."},
    {Firmware::AWAITS_RESET, "The firmware is stored; the next controller level reset activates it."},
    {Firmware::AWAITS_RESET, "The next controller level reset activates the firmware."},
    {Firmware::RUNS, "The firmware was activated without a reset."},
};
constexpr const char* ACTIVATED_BY_RESET = "The firmware was activated by a controller level reset.";
/// A success that the drive shows nothing of is not called stored or activated.
constexpr const char* NOTHING_CHANGED =
    "The drive accepted the commit, but neither the running firmware nor the slots changed.";

/// Completions that are successes: the commit is done, and only the activation is not.
struct ActivationRow {
    uint8_t code;
    Outcome outcome;
};
constexpr ActivationRow ACTIVATIONS[] = {
    {nvme::SC_FIRMWARE_NEEDS_CONVENTIONAL_RESET,
     {Firmware::AWAITS_MORE, "Firmware update successful. Please reboot to apply update.", true}},
    {nvme::SC_FIRMWARE_NEEDS_SUBSYSTEM_RESET,
     {Firmware::AWAITS_MORE, "Firmware update successful. An NVM subsystem reset or a power cycle activates it.",
      true}},
    {nvme::SC_FIRMWARE_NEEDS_CONTROLLER_RESET,
     {Firmware::AWAITS_RESET, "Firmware update successful. The next controller level reset activates it.", true}},
};

constexpr RefusalRow REFUSALS[] = {
    {nvme::SCT_COMMAND_SPECIFIC, nvme::SC_INVALID_FIRMWARE_SLOT, statuses::invalidFirmwareSlot},
};

/// The number in an argument that may be absent or empty; `refusal` with the range otherwise.
Status readSmallNumber(const Arguments& arguments, const std::string& key, uint8_t least, uint8_t most,
                       Status (*refusal)(), std::optional<uint8_t>& value) {
    const std::string text = arguments.text(key);
    if (text.empty()) return Status();
    uint64_t number = 0;
    if (!readNumber(text, Digits::DECIMAL, number) || number < least || number > most) {
        return withDetails(refusal(), key + " is a number from " + std::to_string(least) + " to " +
                                          std::to_string(most) + ", not '" + text + "'.");
    }
    value = static_cast<uint8_t>(number);
    return Status();
}

bool wasRefusedWith(const nvme::Drive& drive, const Status& status, uint8_t code) {
    return isRefusal(status) && drive.lastCompletion().is(nvme::SCT_COMMAND_SPECIFIC, code);
}

Status sendCommit(nvme::Drive& drive, uint8_t slot, uint8_t action) {
    nvme::NvmeCommand command(nvme::Queue::ADMIN, nvme::OPC_FIRMWARE_COMMIT, "Firmware Commit");
    command.cdw10 = slot | static_cast<uint32_t>(action) << 3;
    command.timeoutMs = COMMIT_TIMEOUT_MS;
    const ProgressLine line("Drive " + drive.name() + ", firmware commit");
    nvme::Answer answer;
    return drive.send(command, answer);
}

Status commit(nvme::Drive& drive, const CommitRequest& request, bool mayActivateNow, Outcome& outcome) {
    const uint8_t slot = request.slot.value_or(0);
    uint8_t action = request.action.value_or(mayActivateNow ? COMMIT_ACTIVATE_NOW : COMMIT_STORE_FOR_RESET);
    Status status = sendCommit(drive, slot, action);
    // The activation would keep the drive from its work for longer than it has promised. A reset may.
    if (!request.action && wasRefusedWith(drive, status, nvme::SC_FIRMWARE_NEEDS_MAXIMUM_TIME)) {
        action = COMMIT_STORE_FOR_RESET;
        status = sendCommit(drive, slot, action);
    }
    outcome = SUCCESSES[action];
    for (const ActivationRow& row : ACTIVATIONS) {
        if (!wasRefusedWith(drive, status, row.code)) continue;
        outcome = row.outcome;
        return Status();
    }
    return toldBy(REFUSALS, statuses::firmwareUpdateFailed, status, drive);
}

/// The firmware that runs, and the slots.
struct Picture {
    std::string running;
    Payload slots;

    bool operator==(const Picture& other) const {
        return running == other.running && std::memcmp(slots.getData(), other.slots.getData(), SLOTS_BYTES) == 0;
    }
};

Status look(nvme::Drive& drive, Picture& picture) {
    const Status status = runningFirmware(drive, picture.running);
    return status.is(0, 0) ? readLog(drive, nvme::LID_FIRMWARE_SLOT, SLOT_LOG_BYTES, picture.slots) : status;
}

/// What became of the commit; 10/53 when the drive runs other firmware than `expected`.
Status report(const nvme::Drive& drive, const Outcome& outcome, const Picture& before, const Picture& after,
              const std::string& expected, std::string& text) {
    const std::string now = "Drive " + drive.name() + " runs firmware " + after.running;
    if (outcome.firmware == Firmware::RUNS && !expected.empty() && after.running != expected)
        return withDetails(statuses::firmwareUpdateFailed(), now + ", not " + expected + ".");
    text = after == before && !outcome.isNamedByDrive ? NOTHING_CHANGED : outcome.text;
    text += " " + now + (after.running == before.running ? "." : "; it was " + before.running + " before.");
    return Status();
}

}  // namespace

Status readCommitRequest(const Arguments& arguments, CommitRequest& request) {
    OSTREL_TRACE();
    const Status status = readSmallNumber(arguments, attributes::feature::firmwareSlot().getName(), 1, MOST_SLOTS,
                                          statuses::invalidFirmwareSlot, request.slot);
    if (!status.is(0, 0)) return status;
    return readSmallNumber(arguments, attributes::feature::commitAction().getName(), COMMIT_STORE, COMMIT_ACTIVATE_NOW,
                           statuses::invalidCommitAction, request.action);
}

Status checkCommit(nvme::Drive& drive, const CommitRequest& request, bool written) {
    OSTREL_TRACE();
    const uint8_t* identify = nullptr;
    const Status status = drive.identifyController(identify);
    if (!status.is(0, 0)) return status;
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

Status commitFirmware(nvme::Drive& drive, const CommitRequest& request, const std::string& expected,
                      const std::string& heading, DriveOutput& out) {
    OSTREL_TRACE();
    Picture before;
    const uint8_t* identify = nullptr;
    Outcome outcome{};
    Status status = look(drive, before);
    if (status.is(0, 0)) status = drive.identifyController(identify);
    if (!status.is(0, 0)) return status;
    status = commit(drive, request, nvme::ControllerCapabilities(identify).activatesFirmwareWithoutReset(), outcome);
    if (!status.is(0, 0)) return status;
    drive.forgetIdentify();
    const auto afterCommit = [&outcome](Status failure) {
        failure.setMessage(outcome.text + (" " + failure.getMessage()));
        return failure;
    };
    if (!request.action && outcome.firmware == Firmware::AWAITS_RESET) {
        status = resetController(drive);
        if (!status.is(0, 0)) return afterCommit(status);
        outcome = {Firmware::RUNS, ACTIVATED_BY_RESET};
    }
    Picture after;
    std::string text;
    status = look(drive, after);
    if (!status.is(0, 0)) return afterCommit(status);
    status = report(drive, outcome, before, after, expected, text);
    if (status.is(0, 0)) out.addStatus(heading, Status(0, 0, text));
    out.addTree(nvme::decodeFirmwareSlots(after.slots));
    return status;
}

}  // namespace features::jobs
