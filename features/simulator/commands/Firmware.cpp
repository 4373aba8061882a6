#include "features/simulator/commands/Firmware.h"

#include <optional>
#include <string>

#include "features/nvme/Bytes.h"
#include "features/nvme/StatusCodes.h"
#include "features/simulator/context/AsyncEvents.h"
#include "features/simulator/context/EventQueue.h"
#include "features/simulator/context/Transfer.h"
#include "features/simulator/store/FirmwareDownload.h"
#include "features/simulator/store/FirmwareImage.h"

namespace features::simulator {

using namespace nvme;

namespace {

constexpr uint64_t GRANULARITY_BYTES = 4096;
// Commit Action.
constexpr uint32_t ACTION_REPLACE = 0;
constexpr uint32_t ACTION_ACTIVATE = 2;
constexpr uint32_t ACTION_ACTIVATE_NOW = 3;

constexpr CompletionEntry INVALID_SLOT = refusal(SC_INVALID_FIRMWARE_SLOT);
constexpr CompletionEntry INVALID_IMAGE = refusal(SC_INVALID_FIRMWARE_IMAGE);

using Piece = FirmwareDownload::Piece;

bool overlap(const Piece& piece, uint64_t offset, uint64_t length) {
    return offset < piece.offset + piece.bytes.size() && piece.offset < offset + length;
}

/// What a completion says of the reset that the activation waits for. A controller level reset, which any reset is,
/// is not reported, since the host asked for the activation at the next one; unless it wanted it at once.
CompletionEntry waitingFor(FirmwareReset reset, bool wantedAtOnce) {
    switch (reset) {
        case FirmwareReset::CONVENTIONAL:
            return passingRefusal(SC_FIRMWARE_NEEDS_CONVENTIONAL_RESET);
        case FirmwareReset::SUBSYSTEM:
            return passingRefusal(SC_FIRMWARE_NEEDS_SUBSYSTEM_RESET);
        case FirmwareReset::CONTROLLER:
        case FirmwareReset::NONE:
            break;
    }
    return wantedAtOnce ? passingRefusal(SC_FIRMWARE_NEEDS_CONTROLLER_RESET) : CompletionEntry{};
}

FirmwareReset resetOf(const FirmwareState& firmware, uint8_t slot) {
    return static_cast<FirmwareReset>(firmware.resets[slot - 1U]);
}

/// The controller's own choice: the first slot that may be written and is not in use.
uint8_t freeSlot(const CommandContext& context) {
    const FirmwareState& firmware = context.state.firmware;
    for (uint8_t slot = context.model.isSlot1ReadOnly ? 2 : 1; slot <= context.model.firmwareSlots; ++slot) {
        if (slot != firmware.activeSlot && slot != firmware.pendingSlot) return slot;
    }
    return 0;
}

void run(FirmwareState& firmware, uint8_t slot) {
    firmware.activeSlot = slot;
    firmware.pendingSlot = 0;
    firmware.running = firmware.slots[slot - 1U];
}

CompletionEntry activate(CommandContext& context, uint8_t slot, bool atOnce) {
    FirmwareState& firmware = context.state.firmware;
    const FirmwareReset reset = resetOf(firmware, slot);
    if (atOnce && reset == FirmwareReset::NONE && context.model.activatesWithoutReset) {
        context.asEachController([&] { raiseEvent(context, EventKind::FIRMWARE); });
        run(firmware, slot);
        return {};
    }
    firmware.pendingSlot = slot;
    return waitingFor(reset, atOnce);
}

/// Puts what was downloaded into a slot. `slot` 0: the controller chooses.
CompletionEntry replace(CommandContext& context, const std::vector<Piece>& pieces, uint8_t& slot) {
    if (slot == 0) slot = freeSlot(context);
    if (slot == 0 || (slot == 1 && context.model.isSlot1ReadOnly)) return INVALID_SLOT;
    const std::optional<FirmwareImage> image = readFirmwareImage(pieces, context.description.shownModelNumber());
    if (!image) return INVALID_IMAGE;
    context.state.firmware.slots[slot - 1U] = image->revision;
    context.state.firmware.resets[slot - 1U] = static_cast<uint8_t>(image->reset);
    context.afterSave.push_back([&folder = context.folder] { FirmwareDownload(folder).discard(); });
    return {};
}

void recordCommit(CommandContext& context, const std::string& before, uint8_t slot, const CompletionEntry& completion) {
    DriveEvent commit{DriveEvent::Kind::FIRMWARE_COMMIT};
    commit.value = context.command.cdw10 >> 3 & 7;
    commit.selector = slot;
    commit.statusField = completion.statusField;
    commit.before = before;
    commit.after = context.state.firmware.slots[slot - 1U];
    queueEvent(context, commit);
}

}  // namespace

CompletionEntry downloadFirmware(CommandContext& context) {
    const uint64_t length = (uint64_t{context.command.cdw10} + 1) * 4;
    const uint64_t offset = uint64_t{context.command.cdw11} * 4;
    const bool isAligned = offset % GRANULARITY_BYTES == 0;  // the last piece may be shorter
    if (!isAligned || !fitsTransfer(context, length) || offset + length > MAX_FIRMWARE_BYTES) {
        return refusal(SC_INVALID_FIELD);
    }
    if (!hasData(context, length)) return dataTransferError();
    context.data.resize(static_cast<size_t>(length));
    const FirmwareDownload download(context.folder);
    if (offset == 0) download.discard();  // a host that begins again
    const auto pieces = download.pieces();
    if (!pieces) return passingRefusal(SC_INTERNAL_ERROR);
    for (const Piece& piece : *pieces) {
        if (overlap(piece, offset, length)) return refusal(SC_OVERLAPPING_RANGE);
    }
    const auto status = download.append(static_cast<uint32_t>(offset), context.data);
    return succeeded(status) ? CompletionEntry{} : passingRefusal(SC_INTERNAL_ERROR);
}

CompletionEntry commitFirmware(CommandContext& context) {
    const uint32_t action = context.command.cdw10 >> 3 & 7;
    auto slot = static_cast<uint8_t>(context.command.cdw10 & 7);
    // Boot partitions, which the actions beyond are for, are not supported.
    if (action > ACTION_ACTIVATE_NOW || bit(context.command.cdw10, 31)) return refusal(SC_INVALID_FIELD);
    if (slot > context.model.firmwareSlots) return INVALID_SLOT;
    const auto pieces = FirmwareDownload(context.folder).pieces();
    if (!pieces) return passingRefusal(SC_INTERNAL_ERROR);

    const std::string before = context.state.firmware.running;
    CompletionEntry completion;
    const bool isReplaced = action < ACTION_ACTIVATE || (action == ACTION_ACTIVATE_NOW && !pieces->empty());
    if (isReplaced) completion = replace(context, *pieces, slot);
    if (!completion.isSuccess()) return completion;
    if (slot == 0) return INVALID_SLOT;
    if (context.state.firmware.slots[slot - 1U].empty()) return INVALID_IMAGE;
    if (action != ACTION_REPLACE) completion = activate(context, slot, action == ACTION_ACTIVATE_NOW);
    recordCommit(context, before, slot, completion);
    return completion;
}

void activateAtReset(CommandContext& context, bool isOfSubsystem) {
    FirmwareState& firmware = context.state.firmware;
    FirmwareDownload(context.folder).discard();
    const uint8_t slot = firmware.pendingSlot != 0 ? firmware.pendingSlot : firmware.activeSlot;
    const bool suffices = isOfSubsystem || resetOf(firmware, slot) <= FirmwareReset::CONTROLLER;
    // The active slot too is loaded again: its image may have been replaced.
    if (suffices) run(firmware, slot);
}

std::optional<CompletionEntry> pendingActivation(const CommandContext& context) {
    const FirmwareState& firmware = context.state.firmware;
    if (firmware.pendingSlot == 0) return std::nullopt;
    return waitingFor(resetOf(firmware, firmware.pendingSlot), true);
}

}  // namespace features::simulator
