#include "features/jobs/firmware/AtaFirmware.h"

#include <algorithm>

#include "features/ata/AtaCommand.h"
#include "features/ata/IdentifyLog.h"
#include "features/ata/LogAddresses.h"
#include "features/errors/HalvedPieces.h"
#include "features/errors/PayloadCopy.h"
#include "features/jobs/drive/HostSide.h"
#include "features/jobs/support/ProgressLine.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/FieldTable.h"
#include "features/nvme/FieldTree.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

constexpr uint32_t BLOCK_BYTES = 512;
/// COUNT and LBA have 16 bits for the number of blocks and for the offset.
constexpr uint32_t MAX_BLOCKS = 0xFFFF;
/// Of a drive that reports no limits: what other programs send, and every kernel takes.
constexpr uint32_t USUAL_PIECE_BLOCKS = 128;
/// COUNT has one byte, which translators take the transfer's length from; more is sent only where one command must have
/// the whole image.
constexpr uint32_t MAX_PIECE_BLOCKS = 255;
constexpr uint16_t NO_LIMIT = 0xFFFF;
constexpr uint32_t LAST_PIECE_TIMEOUT_MS = 180 * 1000;

/// A link comes up again in this time.
constexpr uint64_t RESTART_MS = uint64_t{30} * 1000;
constexpr uint64_t POLL_MS = 1000;

/// COUNT after a piece.
enum Indication : uint16_t { MORE_EXPECTED = 1, ACTIVE = 2, WAITS_FOR_ACTIVATION = 3 };

Status notLoaded(const std::string& reason) {
    return withDetails(statuses::firmwareLoadFailed(), reason);
}

uint32_t reported(uint16_t blocks) {
    return blocks == NO_LIMIT ? 0 : blocks;
}

/// The pieces that a drive takes, by its limits.
uint32_t pieceBlocks(uint32_t smallest, uint32_t largest) {
    if (largest == 0) largest = std::max(USUAL_PIECE_BLOCKS, smallest);
    return std::max(std::min(largest, MAX_PIECE_BLOCKS) / smallest * smallest, smallest);
}

/// The registers of a piece or of a whole image.
ata::AtaCommand downloadCommand(uint8_t mode, uint32_t blocks, uint32_t offsetBlocks) {
    ata::AtaCommand command(ata::commands::downloadMicrocode);
    command.feature = mode;
    command.count = static_cast<uint16_t>(blocks & 0xFF);
    command.lba = blocks >> 8 | uint64_t{offsetBlocks} << 8;
    command.dataLength = blocks * BLOCK_BYTES;
    command.wantsRegisters = true;
    return command;
}

const char* outcomeText(bool isNew, bool waits) {
    if (isNew) return "The firmware was activated.";
    if (waits) return "The firmware waits for its activation or a power cycle.";
    return "The drive took the firmware, and runs the same revision as before.";
}

uint16_t countOf(const ata::AtaResult& result) {
    return result.missing == ata::RegistersMissing::NOTHING ? result.registers->count : uint16_t{0};
}

}  // namespace

Result<AtaFirmware::Running> AtaFirmware::look() {
    TRY(const ata::Identity* const identity, drive_.identifyAgain());
    if (!identity->has(ata::identify::DOWNLOAD_MICROCODE))
        return withDetails(statuses::featureNotSupported(), "Drive " + drive_.name() + " takes no firmware.");
    if (identity->has(ata::identify::SECURITY_ENABLED)) return statuses::firmwareBlockedByAtaSecurity();
    before_ = {identity->model(), identity->firmware()};
    return before_;
}

Result<AtaFirmware::Plan> AtaFirmware::plan(uint64_t imageBytes) {
    if (imageBytes % BLOCK_BYTES != 0 || imageBytes / BLOCK_BYTES > MAX_BLOCKS) {
        return notLoaded("The image has " + std::to_string(imageBytes) +
                         " bytes, and a SATA drive takes up to 65535 blocks of 512 bytes.");
    }
    const auto imageBlocks = static_cast<uint32_t>(imageBytes / BLOCK_BYTES);
    TRY(const ata::Identity* const identity, drive_.identify());
    TRY(const std::optional<Payload> page,
        drive_.readListedPage(ata::LOG_IDENTIFY_DATA, ata::IDENTIFY_PAGE_CAPABILITIES));
    const auto support = page ? ata::downloadSupport(*page) : std::nullopt;
    const ata::IdentifyDevice& words = identity->data();
    const uint32_t smallest = reported(support ? support->minBlocks : uint16_t{words.minDownloadBlocks});
    const uint32_t largest = reported(support ? support->maxBlocks : uint16_t{words.maxDownloadBlocks});
    const uint32_t unit = std::max<uint32_t>(smallest, 1);
    const uint32_t piece = pieceBlocks(unit, largest);
    const bool inPieces = support ? support->inPieces : identity->has(ata::identify::DOWNLOAD_IN_PIECES);
    if (inPieces) return Plan{Mode::IN_PIECES, unit, piece};
    if (support && support->deferred) return Plan{Mode::DEFERRED, unit, piece};
    if (support && !support->whole)
        return withDetails(statuses::featureNotSupported(), "Drive " + drive_.name() + " reports no way to take it.");
    return Plan{Mode::WHOLE, imageBlocks, imageBlocks};
}

AtaFirmware::Ending AtaFirmware::sendPiece(const std::string& image, uint64_t offset, uint32_t blocks, Mode mode) {
    const Payload piece = copyOf(image.data() + offset, size_t{blocks} * BLOCK_BYTES);
    if (piece.getSize() != size_t{blocks} * BLOCK_BYTES) return {statuses::mallocFailed()};
    ata::AtaCommand command =
        downloadCommand(static_cast<uint8_t>(mode), blocks, static_cast<uint32_t>(offset / BLOCK_BYTES));
    if (offset + piece.getSize() == image.size()) command.timeoutMs = LAST_PIECE_TIMEOUT_MS;
    const auto sent = drive_.send(command, piece);
    if (sent) return {Status(), countOf(sent->result)};
    if (!sent.error().isOfDrive()) return {sent.error().status};
    return {
        notLoaded(sent.error().status.getMessage() + (offset == 0 ? " The image may be that of another drive." : ""))};
}

Result<AtaFirmware::Ending> AtaFirmware::sendNextPiece(const std::string& image, uint64_t offset, const Plan& plan,
                                                       uint32_t& pieceBlocks) {
    const uint64_t blocksLeft = (image.size() - offset) / BLOCK_BYTES;
    const auto sendPieceOf = [&](uint32_t most) -> Result<Ending> {
        const Ending ending =
            sendPiece(image, offset, static_cast<uint32_t>(std::min<uint64_t>(most, blocksLeft)), plan.mode);
        if (isTooMuchAtOnce(ending.status)) return ending.status;
        return ending;
    };
    const auto sent = sendHalvedPiece(pieceBlocks, plan.unitBlocks, sendPieceOf);
    if (sent || plan.mode != Mode::WHOLE) return sent;
    return withDetails(sent.error(), "Drive " + drive_.name() + " takes an image in one command alone, and this has " +
                                         std::to_string(image.size()) + " bytes. Nothing was sent.");
}

/// A command between the pieces may make the drive throw them away, so that none is sent.
Result<AtaFirmware::Ending> AtaFirmware::download(const std::string& image, const Plan& plan) {
    ProgressLine line("Drive " + drive_.name() + ", firmware download");
    uint32_t pieceBlocks = plan.pieceBlocks;
    Ending ending;
    for (uint64_t done = 0; done < image.size();) {
        TRY(ending, sendNextPiece(image, done, plan, pieceBlocks));
        const uint64_t bytes = std::min<uint64_t>(uint64_t{pieceBlocks} * BLOCK_BYTES, image.size() - done);
        const bool isLast = done + bytes == image.size();
        if (failed(ending.status) && (!isLast || plan.mode == Mode::DEFERRED)) return ending.status;
        done += bytes;
        line.update(done, image.size());
    }
    if (ending.count == MORE_EXPECTED)
        return notLoaded("Drive " + drive_.name() + " expects more than the whole image.");
    return ending;
}

AtaFirmware::Ending AtaFirmware::sendActivation() {
    ata::AtaCommand command(ata::commands::activateMicrocode);
    command.wantsRegisters = true;
    const auto sent = drive_.send(command);
    if (sent) return {Status(), countOf(sent->result)};
    if (!sent.error().isOfDrive()) return {sent.error().status};
    return {withDetails(statuses::firmwareUpdateFailed(), sent.error().status.getMessage())};
}

Result<std::string> AtaFirmware::revisionAfter() {
    const uint64_t begin = clock_.nowMs();
    for (;;) {
        const auto identity = drive_.identifyAgain();
        if (identity) return (*identity)->firmware();
        if (clock_.nowMs() - begin >= RESTART_MS)
            return withDetails(identity.error(), "The firmware was sent; what the drive runs now is not known.");
        clock_.sleepMs(POLL_MS);
    }
}

Status AtaFirmware::report(const Ending& ending, const std::string& expected, const std::string& heading,
                           DriveOutput& out) {
    TRY(const std::string running, revisionAfter());
    const bool isNew = running != before_.revision;
    if (failed(ending.status) && !isNew) return ending.status;
    const std::string now = "Drive " + drive_.name() + " runs firmware " + running;
    const bool waits = ending.count == WAITS_FOR_ACTIVATION && !isNew;
    nvme::FieldTree state{"Firmware State", {}, {}};
    state.add("PreviousFirmware", before_.revision);
    state.add("RunningFirmware", running);
    state.add("NextFirmware", !waits ? "none" : expected.empty() ? nvme::NOT_REPORTED : expected);
    Status status;
    if (!expected.empty() && running != expected && !waits) {
        status = withDetails(statuses::firmwareUpdateFailed(), now + ", not " + expected + ".");
    } else {
        const Status rescanned = rescan(drive_.device());
        status =
            Status(0, 0,
                   std::string(outcomeText(isNew, waits)) + " " + now +
                       (isNew ? "; it was " + before_.revision + " before." : ".") +
                       (succeeded(rescanned) ? "" : " The system may show the old one: " + rescanned.getMessage()));
        out.addStatus(heading, status);
    }
    out.addTree(state);
    return status;
}

Status AtaFirmware::update(const std::string& image, const std::string& expected, const std::string& heading,
                           DriveOutput& out) {
    TRY(const Plan plan, this->plan(image.size()));
    TRY(Ending ending, download(image, plan));
    if (plan.mode == Mode::DEFERRED) ending = sendActivation();
    return report(ending, expected, heading, out);
}

Status AtaFirmware::activate(const std::string& heading, DriveOutput& out) {
    return report(sendActivation(), "", heading, out);
}

}  // namespace features::jobs
