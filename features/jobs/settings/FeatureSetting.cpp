#include "features/jobs/settings/FeatureSetting.h"

#include <optional>

#include "features/errors/Result.h"
#include "features/jobs/drive/LogReading.h"
#include "features/jobs/settings/FeatureAccess.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/ControllerCapabilities.h"
#include "features/nvme/FeatureIds.h"
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
    request.uuidIndex = field.uuidIndex;
    return request;
}

Result<uint32_t> readCurrent(nvme::Drive& drive, const SettableField& field) {
    TRY(const nvme::Answer answer,
        readFeature(drive, requestFor(field), Select::CURRENT, statuses::driveDoesNotSupportFeature()));
    return answer.completion.dword0;
}

/// What the drive can do with the feature. One that refuses to say so can save nothing.
Result<uint32_t> readCapabilities(nvme::Drive& drive, const SettableField& field) {
    const auto answer = drive.getFeature(requestFor(field), Select::CAPABILITIES);
    if (answer) return answer->completion.dword0;
    if (isRefusal(answer.error())) return 1U << BIT_CHANGEABLE;
    return answer.error();
}

/// The saved value; empty for a drive that refuses it, which can save nothing that could be checked.
Result<std::optional<uint32_t>> readSaved(nvme::Drive& drive, const SettableField& field) {
    const auto answer = drive.getFeature(requestFor(field), Select::SAVED);
    if (answer) return answer->completion.dword0;
    if (isRefusal(answer.error())) return std::nullopt;
    return answer.error();
}

uint32_t dwordToWrite(const SettableField& field, uint32_t dword, uint32_t value) {
    return nvme::withField(*field.written, dword & field.kept, value);
}

Result<Hold> chooseHold(nvme::Drive& drive, const SettableField& field, uint32_t value, uint32_t dword11) {
    TRY(const uint8_t* const identify, drive.identifyController());
    if (!nvme::ControllerCapabilities(identify).supportsSave()) return Hold::UNTIL_RESET;
    TRY(const uint32_t capabilities, readCapabilities(drive, field));
    if (!nvme::bit(capabilities, BIT_CHANGEABLE)) {
        return withDetails(statuses::driveDoesNotSupportFeature(),
                           std::string(field.feature->name) + " of drive " + drive.name() + " cannot be changed.");
    }
    if (!nvme::bit(capabilities, BIT_SAVEABLE)) return Hold::UNTIL_RESET;
    TRY(const std::optional<uint32_t> saved, readSaved(drive, field));
    if (!saved) return Hold::UNTIL_RESET;
    return dwordToWrite(field, *saved, value) == dword11 ? Hold::SAVED : Hold::UNTIL_RESET_FOR_OTHERS;
}

/// Some drives call a feature saveable that they refuse to save: the value is set without saving then. Returns how long
/// it holds.
Result<Hold> write(nvme::Drive& drive, const SettableField& field, uint32_t dword11, Hold hold) {
    const nvme::FeatureRequest request = requestFor(field, dword11);
    const auto set = drive.setFeature(request, hold == Hold::SAVED);
    if (set) return hold;
    const nvme::CommandError& error = set.error();
    if (hold != Hold::SAVED || !error.completion.is(nvme::SC_FEATURE_NOT_SAVEABLE)) return error;
    RETURN_IF_FAILED(drive.setFeature(request, false));
    return Hold::UNTIL_RESET;
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
Result<Hold> readBack(nvme::Drive& drive, const SettableField& field, uint32_t value, Hold hold) {
    RETURN_IF_FAILED(checkReported(drive, field, value));
    if (hold != Hold::SAVED) return hold;
    TRY(const std::optional<uint32_t> saved, readSaved(drive, field));
    return saved && has(field, *saved, value) ? Hold::SAVED : Hold::UNTIL_RESET;
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

SettableField settableField(const nvme::FeatureField& field, uint32_t kept, uint8_t uuidIndex) {
    return {field.feature, field.row, field.row, kept, uuidIndex};
}

SettableField settableOcpField(uint8_t fid, uint8_t uuidIndex) {
    const nvme::FeatureRow* feature = nvme::findOcpFeature(fid);
    return {feature, nvme::findOcpSetField(fid), feature->dword0.begin(), 0, uuidIndex};
}

Status checkReported(nvme::Drive& drive, const SettableField& field, uint32_t value) {
    TRY(const uint32_t dword, readCurrent(drive, field));
    if (has(field, dword, value)) return Status();
    return withDetails(statuses::configurationUpdateFailed(), "Drive " + drive.name() + " accepted " +
                                                                  nvme::fieldName(*field.read) + " " +
                                                                  shown(field, nvme::withField(*field.read, 0, value)) +
                                                                  " and reports " + shown(field, dword) + ".");
}

Status setFeatureField(nvme::Drive& drive, const SettableField& field, uint32_t value) {
    if (!nvme::fitsField(*field.written, value)) return statuses::requestOutOfBounds();
    TRY(const uint32_t current, readCurrent(drive, field));
    const uint32_t dword11 = dwordToWrite(field, current, value);
    TRY(const Hold wanted, chooseHold(drive, field, value, dword11));
    TRY(const Hold written, write(drive, field, dword11, wanted));
    TRY(const Hold hold, readBack(drive, field, value, written));
    return Status(0, 0, textOf(field, hold));
}

}  // namespace features::jobs
