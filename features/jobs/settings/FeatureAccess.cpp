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

Status checkSelect(nvme::Drive& drive) {
    TRY(const uint8_t* const identify, drive.identifyController());
    if (nvme::ControllerCapabilities(identify).supportsSave()) return Status();
    return withDetails(statuses::driveDoesNotSupportFeature(),
                       "Drive " + drive.name() + " reports only the current values of its features.");
}

}  // namespace

Result<nvme::Select> readSelect(const Arguments& arguments) {
    TRY(const std::optional<uint64_t> number, arguments.number(attributes::feature::select().getName(), 3));
    return number ? static_cast<nvme::Select>(*number) : nvme::Select::CURRENT;
}

Status explained(const nvme::CommandError& error, const Status& unsupported) {
    const Status& status = error.status;
    if (!isRefusal(status)) return status;
    // There is no status code for an unknown feature identifier: it is an invalid field.
    if (error.completion.is(nvme::SC_INVALID_FIELD)) return withDetails(unsupported, status.getMessage());
    if (error.completion.is(nvme::SC_INVALID_NAMESPACE))
        return withDetails(statuses::invalidNamespaceId(), status.getMessage());
    return status;
}

Result<nvme::Answer> readFeature(nvme::Drive& drive, const nvme::FeatureRequest& request, nvme::Select select,
                                 const Status& unsupported) {
    if (select != nvme::Select::CURRENT) RETURN_IF_FAILED(checkSelect(drive));
    const auto answer = drive.getFeature(request, select);
    if (!answer) return explained(answer.error(), unsupported);
    return *answer;
}

nvme::FieldTree decodeAnswer(const nvme::FeatureRow& feature, nvme::Select select, const nvme::Answer& answer,
                             uint16_t nvmeVersion) {
    if (select == nvme::Select::CAPABILITIES) return decodeFeatureCapabilities(feature, answer.completion.dword0);
    return decodeFeature(feature, answer.completion.dword0, answer.data, nvmeVersion);
}

Status writeOcpField(nvme::Drive& drive, uint8_t fid, uint32_t value) {
    const nvme::FieldRow* field = nvme::findOcpSetField(fid);
    if (field == nullptr || !nvme::fitsField(*field, value)) return statuses::requestOutOfBounds();
    TRY(const FeatureAddress address, requireOcpFeature(drive, fid));
    nvme::FeatureRequest request = address.request(fid);
    request.cdw11 = nvme::withField(*field, 0, value);
    return statusOf(drive.setFeature(request, false));
}

}  // namespace features::jobs
