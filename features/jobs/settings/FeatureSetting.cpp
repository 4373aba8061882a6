#include "features/jobs/settings/FeatureSetting.h"

#include <optional>

#include "features/jobs/drive/LogReading.h"
#include "features/jobs/settings/FeatureAccess.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/ControllerCapabilities.h"
#include "features/nvme/Opcodes.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;
using nvme::Select;

namespace {

// Capabilities of a feature, in dword 0 of Get Features.
constexpr unsigned BIT_SAVEABLE = 0;
constexpr unsigned BIT_CHANGEABLE = 2;

constexpr const char* UNTIL_RESET = "It holds until the next controller reset.";

/// How long a value that was set holds.
enum class Hold : uint8_t {
    SAVED,
    UNTIL_RESET,
    UNTIL_RESET_FOR_OTHERS,  ///< not saved, for the sake of the feature's other fields
};

nvme::FeatureRequest requestFor(const SettableField& field, uint32_t dword11 = 0) {
    nvme::FeatureRequest request;
    request.fid = field.feature->fid;
    request.cdw11 = dword11;
    return request;
}

Status readCurrent(nvme::Drive& drive, const SettableField& field, uint32_t& dword) {
    nvme::Answer answer;
    const Status status =
        readFeature(drive, requestFor(field), Select::CURRENT, statuses::driveDoesNotSupportFeature(), answer);
    if (succeeded(status)) dword = answer.completion.dword0;
    return status;
}

/// What the drive can do with the feature. One that refuses to say so can save nothing.
Status readCapabilities(nvme::Drive& drive, const SettableField& field, uint32_t& capabilities) {
    nvme::Answer answer;
    const Status status = drive.getFeature(requestFor(field), Select::CAPABILITIES, answer);
    capabilities = succeeded(status) ? answer.completion.dword0 : 1U << BIT_CHANGEABLE;
    return isRefusal(status) ? Status() : status;
}

/// The saved value. A drive that refuses it can save nothing that could be checked: `saved` stays empty.
Status readSaved(nvme::Drive& drive, const SettableField& field, std::optional<uint32_t>& saved) {
    nvme::Answer answer;
    const Status status = drive.getFeature(requestFor(field), Select::SAVED, answer);
    if (succeeded(status)) saved = answer.completion.dword0;
    return isRefusal(status) ? Status() : status;
}

uint32_t dwordToWrite(const SettableField& field, uint32_t dword, uint32_t value) {
    return nvme::withField(*field.written, dword & field.kept, value);
}

Status chooseHold(nvme::Drive& drive, const SettableField& field, uint32_t value, uint32_t dword11, Hold& hold) {
    hold = Hold::UNTIL_RESET;
    const uint8_t* identify = nullptr;
    Status status = drive.identifyController(identify);
    if (failed(status) || !nvme::ControllerCapabilities(identify).supportsSave()) return status;
    uint32_t capabilities = 0;
    status = readCapabilities(drive, field, capabilities);
    if (failed(status)) return status;
    if (!nvme::bit(capabilities, BIT_CHANGEABLE)) {
        return withDetails(statuses::driveDoesNotSupportFeature(),
                           std::string(field.feature->name) + " of drive " + drive.name() + " cannot be changed.");
    }
    if (!nvme::bit(capabilities, BIT_SAVEABLE)) return status;
    std::optional<uint32_t> saved;
    status = readSaved(drive, field, saved);
    if (saved) hold = dwordToWrite(field, *saved, value) == dword11 ? Hold::SAVED : Hold::UNTIL_RESET_FOR_OTHERS;
    return status;
}

/// Some drives call a feature saveable that they refuse to save: the value is set without saving then.
Status write(nvme::Drive& drive, const SettableField& field, uint32_t dword11, Hold& hold) {
    const nvme::FeatureRequest request = requestFor(field, dword11);
    nvme::Answer answer;
    const Status status = drive.setFeature(request, hold == Hold::SAVED, Payload(), answer);
    const bool isOnlyNotSaveable = hold == Hold::SAVED && isRefusal(status) &&
                                   answer.completion.is(nvme::SCT_COMMAND_SPECIFIC, nvme::SC_FEATURE_NOT_SAVEABLE);
    if (!isOnlyNotSaveable) return status;
    hold = Hold::UNTIL_RESET;
    return drive.setFeature(request, false, Payload(), answer);
}

bool has(const SettableField& field, uint32_t dword, uint32_t value) {
    return nvme::withField(*field.read, dword, value) == dword;
}

/// The field in the words in which a show has it.
std::string shown(const SettableField& field, uint32_t dword) {
    nvme::FieldTree tree;
    uint8_t bytes[4];
    nvme::putLe32(bytes, dword);
    nvme::addFields(tree, {field.read, 1}, bytes, sizeof bytes);
    return tree.fields.front().value;
}

/// A value that the drive has now and has not saved is no failure: it holds for a shorter time.
Status readBack(nvme::Drive& drive, const SettableField& field, uint32_t value, Hold& hold) {
    Status status = checkReported(drive, field, value);
    if (failed(status) || hold != Hold::SAVED) return status;
    std::optional<uint32_t> saved;
    status = readSaved(drive, field, saved);
    if (!saved || !has(field, *saved, value)) hold = Hold::UNTIL_RESET;
    return status;
}

std::string textOf(const SettableField& field, Hold hold) {
    const std::string text = holdText(*field.feature, hold == Hold::SAVED);
    if (hold != Hold::UNTIL_RESET_FOR_OTHERS || text != UNTIL_RESET) return text;
    return "It holds until the next controller reset: saving it would also save other fields of this feature, which "
           "have values that are not saved.";
}

}  // namespace

std::string holdText(const nvme::FeatureRow& feature, bool isSaved) {
    // Linux sets them whenever it starts a controller, whatever was saved.
    if (feature.fid == nvme::FID_ASYNCHRONOUS_EVENT || feature.fid == nvme::FID_TIMESTAMP)
        return "It holds until the next controller reset, when Linux sets this feature.";
    return isSaved || feature.persistent ? "" : UNTIL_RESET;
}

SettableField settableField(const nvme::FeatureField& field, uint32_t kept) {
    return {field.feature, field.row, field.row, kept};
}

SettableField settableOcpField(uint8_t fid) {
    const nvme::FeatureRow* feature = nvme::findOcpFeature(fid);
    return {feature, nvme::findOcpSetField(fid), feature->dword0.begin(), 0};
}

Status checkReported(nvme::Drive& drive, const SettableField& field, uint32_t value) {
    uint32_t dword = 0;
    const Status status = readCurrent(drive, field, dword);
    if (failed(status) || has(field, dword, value)) return status;
    return withDetails(statuses::configurationUpdateFailed(), "Drive " + drive.name() + " accepted " +
                                                                  nvme::fieldName(*field.read) + " " +
                                                                  shown(field, nvme::withField(*field.read, 0, value)) +
                                                                  " and reports " + shown(field, dword) + ".");
}

Status setFeatureField(nvme::Drive& drive, const SettableField& field, uint32_t value) {
    if (!nvme::fitsField(*field.written, value)) return statuses::requestOutOfBounds();
    uint32_t current = 0;
    Status status = readCurrent(drive, field, current);
    if (failed(status)) return status;
    const uint32_t dword11 = dwordToWrite(field, current, value);
    Hold hold = Hold::UNTIL_RESET;
    status = chooseHold(drive, field, value, dword11, hold);
    if (succeeded(status)) status = write(drive, field, dword11, hold);
    if (succeeded(status)) status = readBack(drive, field, value, hold);
    return succeeded(status) ? Status(0, 0, textOf(field, hold)) : status;
}

}  // namespace features::jobs
