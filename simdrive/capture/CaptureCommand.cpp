#include "simdrive/capture/CaptureCommand.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

#include "features/ata/AtaCommand.h"
#include "features/simulator/store/CaptureFolder.h"
#include "features/simulator/store/OwnFiles.h"
#include "features/transport/linux/LinuxDriveSource.h"
#include "features/transport/linux/LinuxSataSource.h"
#include "features/transport/simulated/SimulatedDriveSource.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "simdrive/capture/DriveWalk.h"
#include "simdrive/capture/Mask.h"
#include "simdrive/capture/RecordingDevice.h"

namespace simdrive {

using namespace features;
using namespace ostrel::core;
using simulator::CapturedAnswers;
using simulator::DriveStore;
using Sources = std::vector<std::unique_ptr<transport::DriveSource>>;
namespace device = attributes::device;

namespace {

Status refused(int error, const std::string& message) {
    return Status(CATEGORY_OS, static_cast<uint32_t>(error), message);
}

/// In the order in which nimbrel asks them.
Sources sourcesOf(const DriveStore& store) {
    Sources sources;
    sources.push_back(std::make_unique<transport::LinuxDriveSource>());
    sources.push_back(std::make_unique<transport::LinuxSataSource>());
    sources.push_back(std::make_unique<transport::SimulatedDriveSource>(store.folder()));
    return sources;
}

std::shared_ptr<Device> deviceAt(const transport::DriveSource& source, const std::string& devicePath) {
    std::vector<std::shared_ptr<Device>> devices;
    source.finder()->scan(devices);
    const auto found = std::find_if(devices.begin(), devices.end(), [&](const auto& each) {
        return each->getAttribute(device::devicePath()).getText() == devicePath;
    });
    return found == devices.end() ? source.namedDevice(devicePath) : *found;
}

Result<std::shared_ptr<Device>> findDrive(const Sources& sources, const std::string& path) {
    transport::LookErrors errors;
    for (const auto& source : sources) {
        const auto location = source->locate(path, errors);
        std::shared_ptr<Device> found = location ? deviceAt(*source, location->devicePath) : nullptr;
        if (found) return found;
    }
    RETURN_IF_FAILED(errors.status());
    return refused(ENOENT, "There is no drive at \"" + path + "\": capture takes the path of a drive, as /dev/nvme0.");
}

/// Of a SATA drive as well as of one with NVMe.
Result<DriveWalk> walk(RecordingDevice& drive, bool isSata) {
    DriveWalk walked;
    RETURN_IF_FAILED(isSata ? walked.ata(drive) : walked.nvme(drive));
    return walked;
}

/// The folder is there with all of the capture, or not at all.
Status store(const CapturedAnswers& capture, const std::string& folder) {
    if (::mkdir(folder.c_str(), 0700) != 0) return simulator::fileStatus(errno, folder);
    const Status status = simulator::writeCapture(capture, folder);
    std::error_code ignored;  // what is left has no list, and so is no capture
    if (failed(status)) std::filesystem::remove_all(folder, ignored);
    return status;
}

std::string summary(const CapturedAnswers& capture, const DriveWalk& walked, size_t leftOut, const std::string& path,
                    const std::string& folder) {
    std::string text = "Captured " + path + " in " + folder + ": " + std::to_string(capture.answers.size()) +
                       " answers, " + std::to_string(capture.totalBytes()) + " bytes\n";
    for (const std::string& each : walked.refused) text += "Refused by the drive: " + each + "\n";
    if (leftOut != 0) text += "Left out, since it is too large: " + std::to_string(leftOut) + " answers\n";
    if (!capture.isMasked) text += "It holds serial numbers and other identifiers: --mask replaces them.\n";
    return text;
}

}  // namespace

Result<std::string> capture(const DriveStore& drives, const std::string& path, const std::string& folder,
                            bool isMasked) {
    const Sources sources = sourcesOf(drives);
    TRY(const std::shared_ptr<Device> found, findDrive(sources, path));
    const std::string error = found->getAttribute(device::errorString()).getText();
    if (!error.empty()) return refused(EIO, path + ": " + error);
    CapturedAnswers answers;
    RecordingDevice drive(*found, answers);
    answers.isSata = drive.supportsCommandSet(ata::COMMAND_SET_ATA);
    TRY(const DriveWalk walked, walk(drive, answers.isSata));
    if (isMasked) mask(answers);
    RETURN_IF_FAILED(store(answers, folder));
    return summary(answers, walked, drive.leftOut(), path, folder);
}

}  // namespace simdrive
