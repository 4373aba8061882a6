#include "features/simulator/sata/Microcode.h"

#include <algorithm>
#include <optional>

#include "features/simulator/sata/Handlers.h"
#include "features/simulator/sata/IdentifyData.h"
#include "features/simulator/store/FirmwareDownload.h"
#include "features/simulator/store/FirmwareImage.h"

namespace features::simulator::sata {

namespace {

constexpr uint8_t PIECES = 0x03;
constexpr uint8_t WHOLE = 0x07;
constexpr uint8_t PIECES_DEFERRED = 0x0E;
constexpr uint8_t ACTIVATE = 0x0F;

// COUNT after a piece.
constexpr uint16_t MORE_EXPECTED = 1;
constexpr uint16_t ACTIVE = 2;
constexpr uint16_t WAITS = 3;

/// COUNT 7:0 with LBA 7:0 above it, and LBA 23:8, in sectors.
struct Piece {
    uint64_t sectors;
    uint64_t offset;
};

Piece pieceOf(const TaskFile& command) {
    return {(command.count & 0xFFULL) | (command.lba & 0xFF) << 8, command.lba >> 8 & 0xFFFF};
}

void discard(SataContext& context) {
    context.afterSave.push_back([&folder = context.folder] { FirmwareDownload(folder).discard(); });
}

/// How many bytes of pieces came, in order and without a gap.
size_t lengthOf(const std::vector<FirmwareDownload::Piece>& pieces) {
    return pieces.empty() ? 0 : pieces.back().offset + pieces.back().bytes.size();
}

ata::Registers refuse(SataContext& context) {
    discard(context);
    return aborted();
}

ata::Registers take(SataContext& context, std::vector<FirmwareDownload::Piece> pieces, bool isDeferred) {
    const std::string model = context.description.shownModelNumber();
    const auto length = firmwareLength(pieces.front().bytes, model);
    if (!length) return refuse(context);  // with the first piece
    if (lengthOf(pieces) < *length) return completed(MORE_EXPECTED);
    const auto image = readFirmwareImage(std::move(pieces), model);
    if (!image) return refuse(context);
    discard(context);
    if (isDeferred) {
        context.state.waitingFirmware = image->revision;
        return completed(WAITS);
    }
    context.drive.firmware.running = context.drive.firmware.slots[0] = image->revision;
    context.state.waitingFirmware.clear();
    return completed(ACTIVE);
}

ata::Registers takeWhole(SataContext& context) {
    const auto image = readFirmwareImage({{0, context.data}}, context.description.shownModelNumber());
    return image ? take(context, {{0, context.data}}, false) : refuse(context);
}

ata::Registers takePiece(SataContext& context, const Piece& piece, bool isDeferred) {
    if (!context.description.supportsFirmwarePieces) return aborted();
    const bool isSize = piece.sectors >= MIN_MICROCODE_SECTORS && piece.sectors <= MAX_MICROCODE_SECTORS;
    const uint64_t offset = piece.offset * SECTOR_BYTES;
    if (!isSize || offset + context.data.size() > MAX_FIRMWARE_BYTES) return aborted();
    const FirmwareDownload download(context.folder);
    if (piece.offset == 0) download.discard();  // a host that begins again
    auto pieces = download.pieces();
    if (!pieces) return deviceFault();
    if (lengthOf(*pieces) != offset) return refuse(context);
    if (failed(download.append(static_cast<uint32_t>(offset), context.data))) return deviceFault();
    pieces->push_back({static_cast<uint32_t>(offset), context.data});
    return take(context, *std::move(pieces), isDeferred);
}

ata::Registers activate(SataContext& context) {
    if (context.state.waitingFirmware.empty()) return aborted();
    activateWaiting(context);
    return completed(ACTIVE);
}

}  // namespace

void activateWaiting(SataContext& context) {
    if (context.state.waitingFirmware.empty()) return;
    context.drive.firmware.running = context.drive.firmware.slots[0] = context.state.waitingFirmware;
    context.state.waitingFirmware.clear();
}

ata::Registers downloadMicrocode(SataContext& context) {
    if (!context.description.supportsFirmwareUpdate) return aborted();
    const bool isWithoutData = context.command.protocol == ata::Protocol::NON_DATA;
    const Piece piece = pieceOf(context.command);
    if (context.command.feature == ACTIVATE) return isWithoutData ? activate(context) : aborted();
    if (isWithoutData || piece.sectors == 0 || context.data.size() != piece.sectors * SECTOR_BYTES) return aborted();
    switch (context.command.feature) {
        case PIECES:
            return takePiece(context, piece, false);
        case PIECES_DEFERRED:
            return takePiece(context, piece, true);
        case WHOLE:
            return takeWhole(context);
        default:
            return aborted();
    }
}

}  // namespace features::simulator::sata
