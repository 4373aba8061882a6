// What a drive of a capture is to the store: its name, model and size are those of the captured one.

#include <algorithm>
#include <cerrno>
#include <memory>

#include "features/ata/Identity.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/IdentifyCns.h"
#include "features/nvme/NamespaceProperties.h"
#include "features/nvme/Opcodes.h"
#include "features/nvme/structures/IdentifyController.h"
#include "features/simulator/store/CaptureFolder.h"
#include "simdrive/capture/CaptureCommand.h"

namespace simdrive {

using namespace features;
using namespace ostrel::core;
using simulator::CapturedAnswer;
using simulator::CapturedAnswers;
using simulator::Description;
using simulator::DriveStore;

namespace {

constexpr uint64_t MIN_DRIVE_BYTES = 1 << 20;
constexpr uint8_t IDENTIFY_DEVICE = 0xEC;
constexpr size_t IDENTIFY_DEVICE_BYTES = 512;

Status incomplete(const std::string& folder) {
    return Status(CATEGORY_OS, EINVAL, folder + ": The capture has no answer to Identify.");
}

/// As a description takes it: a serial number without blanks, which some drives have inside.
std::string serialOf(std::string text) {
    std::replace(text.begin(), text.end(), ' ', '-');
    return text.empty() ? "UNKNOWN" : text;
}

/// In whole MiB, as far as a simulated drive goes.
uint64_t sizeOf(uint64_t bytes) {
    return std::clamp(bytes, MIN_DRIVE_BYTES, simulator::MAX_DRIVE_BYTES) / MIN_DRIVE_BYTES * MIN_DRIVE_BYTES;
}

uint64_t bytesOfNamespaces(const CapturedAnswers& capture) {
    uint64_t bytes = 0;
    for (const auto& [command, answer] : capture.answers) {
        const bool isNamespace = command.opcode == nvme::OPC_IDENTIFY && command.fields[1] == nvme::CNS_NAMESPACE;
        if (!isNamespace || answer.data.size() < sizeof(nvme::IdentifyNamespace)) continue;
        const nvme::NamespaceProperties properties(answer.data.data());
        const uint64_t blocks = std::min(properties.sizeBlocks, simulator::MAX_DRIVE_BYTES / 512);
        bytes = std::min(bytes + blocks * properties.format().dataBytes(), simulator::MAX_DRIVE_BYTES);
    }
    return bytes;
}

Result<DriveStore::NewDrive> nvmeDrive(const CapturedAnswers& capture, const std::string& folder) {
    const CapturedAnswer* const answer = capture.find({nvme::OPC_IDENTIFY, {0, nvme::CNS_CONTROLLER, 0, 0}});
    if (answer == nullptr || answer->data.size() < sizeof(nvme::IdentifyController)) return incomplete(folder);
    const uint8_t* const data = answer->data.data();
    DriveStore::NewDrive drive;
    drive.description.setModel(simulator::ModelId::NVME_1_4);
    drive.description.serialNumber = serialOf(nvme::shownText(data + 4, 20));
    drive.description.modelNumber = nvme::shownText(data + 24, 40);
    drive.description.sizeBytes = sizeOf(bytesOfNamespaces(capture));
    drive.firmware = nvme::shownText(data + 64, 8);
    return drive;
}

Result<DriveStore::NewDrive> sataDrive(const CapturedAnswers& capture, const std::string& folder) {
    const CapturedAnswer* const answer = capture.find({IDENTIFY_DEVICE, {0, 0, 0, 0}});
    if (answer == nullptr || answer->data.size() != IDENTIFY_DEVICE_BYTES) return incomplete(folder);
    const ata::Identity identity(answer->data.data());
    DriveStore::NewDrive drive;
    drive.description.setModel(simulator::ModelId::SATA);
    drive.description.serialNumber = serialOf(identity.serialNumber());
    drive.description.modelNumber = identity.model();
    const uint64_t sectors = std::min(identity.sectors(), simulator::MAX_DRIVE_BYTES / 512);
    drive.description.sizeBytes = sizeOf(sectors * identity.logicalSectorBytes());
    drive.firmware = identity.firmware();
    return drive;
}

}  // namespace

Result<DriveStore::NewDrive> driveOfCapture(const std::string& folder) {
    TRY(CapturedAnswers capture, simulator::readCapture(folder));
    TRY(DriveStore::NewDrive drive, capture.isSata ? sataDrive(capture, folder) : nvmeDrive(capture, folder));
    drive.capture = std::make_shared<const CapturedAnswers>(std::move(capture));
    return drive;
}

}  // namespace simdrive
