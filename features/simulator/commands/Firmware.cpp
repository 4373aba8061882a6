#include "features/simulator/commands/Firmware.h"

#include <boost/crc.hpp>

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>

#include "features/nvme/Bytes.h"
#include "features/nvme/StatusCodes.h"
#include "features/simulator/context/AsyncEvents.h"
#include "features/simulator/context/EventQueue.h"
#include "features/simulator/context/Transfer.h"
#include "features/simulator/store/FirmwareDownload.h"
#include "features/simulator/store/PaddedText.h"

namespace features::simulator {

using namespace nvme;

namespace {

constexpr uint64_t GRANULARITY_BYTES = 4096;
constexpr uint64_t MAX_IMAGE_BYTES = 16 << 20;

// An image: a head of 128 bytes, anything after it.
//    0  8  magic             12  4  CRC-32 of what follows byte 15      56  8  revision, filled up with blanks
//    8  4  length in bytes   16 40  model number, the same              64  1  the reset it needs, a FirmwareReset
constexpr char MAGIC[] = "NBSIMFW1";
constexpr size_t MAGIC_BYTES = 8;
constexpr size_t HEAD_BYTES = 128;
constexpr size_t OFFSET_CHECKED = 16;
constexpr size_t OFFSET_MODEL = 16;
constexpr size_t MODEL_BYTES = 40;
constexpr size_t OFFSET_REVISION = 56;
constexpr size_t OFFSET_RESET = 64;

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

struct Image {
    std::string revision;
    FirmwareReset reset = FirmwareReset::NONE;
};

std::string trimmed(const uint8_t* at, size_t size) {
    const std::string text(reinterpret_cast<const char*>(at), size);
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

/// Empty: the pieces make no image for this model.
std::optional<Image> readImage(std::vector<Piece> pieces, const std::string& modelNumber) {
    std::sort(pieces.begin(), pieces.end(), [](const Piece& a, const Piece& b) { return a.offset < b.offset; });
    std::vector<uint8_t> bytes;
    for (const Piece& piece : pieces) {
        if (piece.offset != bytes.size()) return std::nullopt;  // a gap
        bytes.insert(bytes.end(), piece.bytes.begin(), piece.bytes.end());
    }
    const uint8_t* head = bytes.data();
    if (bytes.size() < HEAD_BYTES || std::memcmp(head, MAGIC, MAGIC_BYTES) != 0 || le32(head + 8) != bytes.size()) {
        return std::nullopt;
    }
    boost::crc_32_type crc;
    crc.process_bytes(head + OFFSET_CHECKED, bytes.size() - OFFSET_CHECKED);
    const Image image{trimmed(head + OFFSET_REVISION, REVISION_BYTES), static_cast<FirmwareReset>(head[OFFSET_RESET])};
    const bool isValid = crc.checksum() == le32(head + 12) &&
                         trimmed(head + OFFSET_MODEL, MODEL_BYTES) == modelNumber && !image.revision.empty() &&
                         image.reset <= FirmwareReset::CONVENTIONAL;
    return isValid ? std::optional(image) : std::nullopt;
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
    const std::optional<Image> image = readImage(pieces, context.description.shownModelNumber());
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
    if (!isAligned || !fitsTransfer(context, length) || offset + length > MAX_IMAGE_BYTES) {
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
