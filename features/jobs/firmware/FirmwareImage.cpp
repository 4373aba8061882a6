#include "features/jobs/firmware/FirmwareImage.h"

#include <algorithm>

#include "features/errors/PayloadCopy.h"
#include "features/jobs/drive/LogReading.h"
#include "features/jobs/support/InputFile.h"
#include "features/jobs/support/ProgressLine.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/ControllerCapabilities.h"
#include "features/nvme/Opcodes.h"
#include "ostrel/core/File.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

constexpr uint64_t MAX_IMAGE_BYTES = uint64_t{256} * 1024 * 1024;
constexpr uint32_t DWORD_BYTES = 4;
/// FWUG counts in these.
constexpr uint32_t UNIT_BYTES = 4096;
constexpr uint8_t FWUG_NOT_REPORTED = 0;
constexpr uint8_t FWUG_NO_RESTRICTION = 0xFF;

Status notLoaded(const std::string& reason) {
    return withDetails(statuses::firmwareLoadFailed(), reason);
}

Status noTransfer(const nvme::Drive& drive, uint32_t granularityBytes) {
    return notLoaded("Drive " + drive.name() + " takes firmware in multiples of " + std::to_string(granularityBytes) +
                     " bytes, more than one command can carry.");
}

Result<uint32_t, nvme::CommandError> sendPiece(nvme::Drive& drive, const std::string& image, uint64_t offset,
                                               uint32_t bytes) {
    const Payload piece = copyOf(image.data() + offset, bytes);
    if (piece.getSize() != bytes) return statuses::mallocFailed();
    nvme::NvmeCommand command(nvme::Queue::ADMIN, nvme::OPC_FIRMWARE_IMAGE_DOWNLOAD, "Firmware Image Download");
    command.cdw10 = bytes / DWORD_BYTES - 1;
    command.cdw11 = static_cast<uint32_t>(offset / DWORD_BYTES);
    command.dataLength = bytes;
    const auto sent = drive.send(command, piece);
    if (sent) return bytes;
    if (isRefusal(sent.error())) return notLoaded(sent.error().status.getMessage());
    return sent.error();
}

}  // namespace

Result<std::string> readFirmwareImage(const std::string& path) {
    TRY(std::string bytes,
        readInputFile(path, MAX_IMAGE_BYTES, SymbolicLink::REFUSE, statuses::firmwareBinaryTooLarge));
    if (bytes.empty()) return withDetails(statuses::noInputBinary(), "'" + path + "' is empty.");
    if (bytes.size() % DWORD_BYTES != 0) {
        return notLoaded("'" + path + "' has " + std::to_string(bytes.size()) + " bytes, which is no multiple of " +
                         std::to_string(DWORD_BYTES) + ".");
    }
    return bytes;
}

Result<uint32_t> checkFirmwareImage(nvme::Drive& drive, uint64_t imageBytes) {
    TRY(const uint8_t* const identify, drive.identifyController());
    TRY(const uint32_t maxBytes, drive.maxTransferBytes());
    const uint8_t fwug = nvme::ControllerCapabilities(identify).fwug;
    // Without a report the pieces are whole units, as a drive can expect of any host, and a last one of any size.
    const uint32_t granularityBytes =
        fwug == FWUG_NO_RESTRICTION ? DWORD_BYTES : std::max<uint32_t>(fwug, 1) * UNIT_BYTES;
    if (granularityBytes > maxBytes) return noTransfer(drive, granularityBytes);
    if (fwug == FWUG_NOT_REPORTED || imageBytes % granularityBytes == 0) return granularityBytes;
    return notLoaded("The image has " + std::to_string(imageBytes) + " bytes, and drive " + drive.name() +
                     " takes multiples of " + std::to_string(granularityBytes) + " bytes.");
}

Status downloadFirmware(nvme::Drive& drive, const std::string& image, uint32_t granularityBytes) {
    TRY(uint32_t pieceBytes, drive.maxTransferBytes());
    ProgressLine line("Drive " + drive.name() + ", firmware download");
    for (uint64_t done = 0; done < image.size();) {
        const auto send = [&](uint32_t most) -> Result<uint32_t, nvme::CommandError> {
            const uint32_t whole = most / granularityBytes * granularityBytes;
            if (whole == 0) return noTransfer(drive, granularityBytes);
            return sendPiece(drive, image, done, static_cast<uint32_t>(std::min<uint64_t>(whole, image.size() - done)));
        };
        TRY(const uint32_t bytes, drive.sendHalvingPieces(pieceBytes, send));
        done += bytes;
        line.update(done, image.size());
    }
    return Status();
}

}  // namespace features::jobs
