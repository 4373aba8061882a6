#include "features/jobs/firmware/FirmwareUpdateJob.h"

#include "features/jobs/firmware/FirmwareImage.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/Bytes.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::jobs {

using namespace ostrel::core;
namespace feature = attributes::feature;

namespace {

constexpr size_t OFFSET_MODEL_NUMBER = 24;
constexpr size_t MODEL_NUMBER_BYTES = 40;

}  // namespace

FirmwareUpdateJob::FirmwareUpdateJob()
    : CloneableJob(ostrel::interfaces::ostreli::JOB_FIRMWARE_UPDATE, "Firmware Update") {}

Status FirmwareUpdateJob::checkRequest(const Arguments& arguments) {
    commit_ = CommitRequest();
    modules_ = nullptr;
    const Status status = readCommitRequest(arguments, commit_);
    if (failed(status)) return status;
    if (commit_.action == COMMIT_ACTIVATE_FOR_RESET) {
        return withDetails(statuses::invalidCommitAction(),
                           "Action 2 activates the firmware that is in the slot already, which is done with "
                           "-firmwareactivate. For a new image it is 0, 1 or 3.");
    }
    const std::string file = arguments.text(feature::firmwareFile().getName());
    if (!file.empty()) return readFirmwareImage(file, image_);
    modules_ = std::make_shared<FirmwareModules>(arguments.text(feature::additionalModuleDirs().getName()));
    return Status();
}

Status FirmwareUpdateJob::chooseModule(nvme::Drive& drive, const FirmwareState& now,
                                       const FirmwareModule*& module) const {
    const uint8_t* identify = nullptr;
    Status status = drive.identifyController(identify);
    if (failed(status)) return status;
    status = modules_->choose(nvme::shownText(identify + OFFSET_MODEL_NUMBER, MODEL_NUMBER_BYTES), now.running, module);
    if (failed(status)) {
        const Status none = statuses::noFirmwareModule();
        if (status.is(none.getCategory(), none.getCode())) status = withDetails(none, modules_->searched());
        // The module that would have fitted may be the one that is damaged.
        status.setMessage(status.getMessage() + modules_->faults());
        return status;
    }
    const uint8_t next = now.nextSlot();
    if (next == 0 || now.revision(next) != module->manifest.revision) return status;
    return withDetails(statuses::firmwareCurrent(), "Slot " + std::to_string(next) + " of drive " + drive.name() +
                                                        " holds " + module->manifest.revision +
                                                        ", which the next controller level reset activates.");
}

Status FirmwareUpdateJob::chooseImage(nvme::Drive& drive, const FirmwareState& now, std::string& image,
                                      std::string& revision) const {
    if (modules_ == nullptr) {
        image = image_;
        return Status();
    }
    const FirmwareModule* module = nullptr;
    const Status status = chooseModule(drive, now, module);
    if (failed(status)) return status;
    revision = module->manifest.revision;
    return FirmwareModules::readImage(*module, image);
}

Status FirmwareUpdateJob::actOnDrive(nvme::Drive& drive, const Arguments&, DriveOutput& out) {
    std::string image;
    std::string revision;
    FirmwareState before;
    uint32_t granularityBytes = 0;
    Status status = checkCommit(drive, commit_, true);
    if (succeeded(status)) status = readFirmwareState(drive, before);
    if (succeeded(status)) status = chooseImage(drive, before, image, revision);
    if (succeeded(status)) status = checkFirmwareImage(drive, image.size(), granularityBytes);
    if (succeeded(status)) status = downloadFirmware(drive, image, granularityBytes);
    if (succeeded(status)) status = commitFirmware(drive, commit_, before, revision, title(), out);
    return status;
}

}  // namespace features::jobs
