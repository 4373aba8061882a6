#include "features/jobs/settings/FeatureAccess.h"

#include <optional>

#include "features/jobs/drive/LogReading.h"
#include "features/jobs/drive/VendorDialect.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/ControllerCapabilities.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

constexpr uint8_t TYPE_GENERIC = 0;
constexpr uint8_t SC_INVALID_FIELD = 0x02;
constexpr uint8_t SC_INVALID_NAMESPACE = 0x0B;

Status checkSelect(nvme::Drive& drive) {
    const uint8_t* identify = nullptr;
    Status status = drive.identifyController(identify);
    if (failed(status) || nvme::ControllerCapabilities(identify).supportsSave()) return status;
    return withDetails(statuses::driveDoesNotSupportFeature(),
                       "Drive " + drive.name() + " reports only the current values of its features.");
}

}  // namespace

Status readSelect(const Arguments& arguments, nvme::Select& select) {
    std::optional<uint64_t> number;
    const Status status = arguments.number(attributes::feature::select().getName(), 3, number);
    if (number) select = static_cast<nvme::Select>(*number);
    return status;
}

Status explained(const Status& status, const nvme::Drive& drive, const Status& unsupported) {
    if (!isRefusal(status)) return status;
    // There is no status code for an unknown feature identifier: it is an invalid field.
    if (drive.lastCompletion().is(TYPE_GENERIC, SC_INVALID_FIELD)) return withDetails(unsupported, status.getMessage());
    if (drive.lastCompletion().is(TYPE_GENERIC, SC_INVALID_NAMESPACE))
        return withDetails(statuses::invalidNamespaceId(), status.getMessage());
    return status;
}

Status readFeature(nvme::Drive& drive, const nvme::FeatureRequest& request, nvme::Select select,
                   const Status& unsupported, nvme::Answer& answer) {
    if (select != nvme::Select::CURRENT) {
        const Status status = checkSelect(drive);
        if (failed(status)) return status;
    }
    const Status status = drive.getFeature(request, select, answer);
    return explained(status, drive, unsupported);
}

nvme::FieldTree decodeAnswer(const nvme::FeatureRow& feature, nvme::Select select, const nvme::Answer& answer) {
    if (select == nvme::Select::CAPABILITIES) return decodeFeatureCapabilities(feature, answer.completion.dword0);
    return decodeFeature(feature, answer.completion.dword0, answer.data);
}

Status writeOcpField(nvme::Drive& drive, uint8_t fid, uint32_t value) {
    const nvme::FieldRow* field = nvme::findOcpSetField(fid);
    if (field == nullptr || !nvme::fitsField(*field, value)) return statuses::requestOutOfBounds();
    const Status status = requireOcp(drive);
    if (failed(status)) return status;
    nvme::FeatureRequest request;
    request.fid = fid;
    request.cdw11 = nvme::withField(*field, 0, value);
    nvme::Answer answer;
    return drive.setFeature(request, false, Payload(), answer);
}

}  // namespace features::jobs
