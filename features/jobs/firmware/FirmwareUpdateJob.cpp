#include "features/jobs/firmware/FirmwareUpdateJob.h"

#include "features/jobs/firmware/AtaFirmware.h"
#include "features/jobs/firmware/FirmwareImage.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/structures/IdentifyController.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::jobs {

using namespace ostrel::core;
namespace feature = attributes::feature;

namespace {

constexpr size_t OFFSET_MODEL_NUMBER = offsetof(nvme::IdentifyController, mn);
constexpr size_t MODEL_NUMBER_BYTES = sizeof(nvme::IdentifyController::mn);

}  // namespace

FirmwareUpdateJob::FirmwareUpdateJob(std::shared_ptr<const WaitClock> clock, std::shared_ptr<const Notice> notice)
    : CloneableJob(ostrel::interfaces::ostreli::JOB_FIRMWARE_UPDATE, "Firmware Update"),
      clock_(std::move(clock)),
      notice_(std::move(notice)) {}

Status FirmwareUpdateJob::checkRequest(const Arguments& arguments) {
    modules_ = nullptr;
    TRY(commit_, readCommitRequest(arguments));
    if (commit_.action == COMMIT_ACTIVATE_FOR_RESET) {
        return withDetails(statuses::invalidCommitAction(),
                           "Action 2 activates the firmware that is in the slot already, which is done with "
                           "-firmwareactivate. For a new image it is 0, 1 or 3.");
    }
    const std::string file = arguments.text(feature::firmwareFile().getName());
    if (!file.empty()) {
        TRY(image_, readFirmwareImage(file));
        return Status();
    }
    modules_ = std::make_shared<FirmwareModules>(arguments.text(feature::additionalModuleDirs().getName()));
    return Status();
}

Result<const FirmwareModule*> FirmwareUpdateJob::findModule(const std::string& model,
                                                            const std::string& running) const {
    const auto module = modules_->choose(model, running);
    if (module) return module;
    Status status = module.error();
    const Status none = statuses::noFirmwareModule();
    if (status.is(none.getCategory(), none.getCode())) status = withDetails(none, modules_->searched());
    // The module that would have fitted may be the one that is damaged.
    status.setMessage(status.getMessage() + modules_->faults());
    return status;
}

Result<const FirmwareModule*> FirmwareUpdateJob::chooseModule(nvme::Drive& drive, const FirmwareState& now) const {
    TRY(const uint8_t* const identify, drive.identifyController());
    const std::string model = nvme::shownText(identify + OFFSET_MODEL_NUMBER, MODEL_NUMBER_BYTES);
    TRY(const FirmwareModule* const module, findModule(model, now.running));
    const uint8_t next = now.nextSlot();
    const std::string& revision = module->manifest.revision;
    if (next == 0 || now.revision(next) != revision) return module;
    return withDetails(statuses::firmwareCurrent(), "Slot " + std::to_string(next) + " of drive " + drive.name() +
                                                        " holds " + revision +
                                                        ", which the next controller level reset activates.");
}

Result<FirmwareUpdateJob::KnownImage> FirmwareUpdateJob::chooseImage(nvme::Drive& drive,
                                                                     const FirmwareState& now) const {
    if (modules_ == nullptr) return KnownImage{image_, {}, {}};
    TRY(const FirmwareModule* const module, chooseModule(drive, now));
    return readModule(*module);
}

Result<FirmwareUpdateJob::KnownImage> FirmwareUpdateJob::chooseImage(const std::string& model,
                                                                     const std::string& running) const {
    if (modules_ == nullptr) return KnownImage{image_, {}, {}};
    TRY(const FirmwareModule* const module, findModule(model, running));
    return readModule(*module);
}

Result<FirmwareUpdateJob::KnownImage> FirmwareUpdateJob::readModule(const FirmwareModule& module) {
    TRY(std::string bytes, FirmwareModules::readImage(module));
    return KnownImage{std::move(bytes), module.manifest.revision, module.warning};
}

void FirmwareUpdateJob::warn(const KnownImage& image, const std::string& drive, DriveOutput& out) const {
    if (image.warning.empty()) return;
    const std::string text = "The origin of the firmware for drive " + drive + " is not verified. " + image.warning;
    notice_->show(text);
    out.addStatus("Firmware Module", Status(0, 0, text));
}

Status FirmwareUpdateJob::actOnDrive(nvme::Drive& drive, const Arguments&, DriveOutput& out) {
    RETURN_IF_FAILED(checkCommit(drive, commit_, true));
    TRY(const FirmwareState before, readFirmwareState(drive));
    TRY(const KnownImage image, chooseImage(drive, before));
    TRY(const uint32_t granularityBytes, checkFirmwareImage(drive, image.bytes.size()));
    warn(image, drive.name(), out);
    RETURN_IF_FAILED(downloadFirmware(drive, image.bytes, granularityBytes));
    return commitFirmware(drive, commit_, before, image.revision, title(), out);
}

Status FirmwareUpdateJob::actOnAtaDrive(ata::Drive& drive, const Arguments&, DriveOutput& out) {
    if (commit_.slot) return refuseAta(drive.device(), statuses::invalidFirmwareSlot());
    if (commit_.action) return refuseAta(drive.device(), statuses::invalidCommitAction());
    AtaFirmware firmware(drive, *clock_);
    TRY(const AtaFirmware::Running now, firmware.look());
    TRY(const KnownImage image, chooseImage(now.model, now.revision));
    warn(image, drive.name(), out);
    return firmware.update(image.bytes, image.revision, title(), out);
}

}  // namespace features::jobs
