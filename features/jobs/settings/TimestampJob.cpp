#include "features/jobs/settings/TimestampJob.h"

#include "features/errors/PayloadCopy.h"
#include "features/errors/Result.h"
#include "features/jobs/base/SetRequest.h"
#include "features/jobs/drive/Offers.h"
#include "features/jobs/settings/FeatureAccess.h"
#include "features/jobs/settings/FeatureSetting.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/FeatureIds.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::jobs {

using namespace ostrel::core;
namespace key = ostrel::core::attributes::feature;

namespace {

constexpr uint64_t MAX_MILLISECONDS = 0xFFFFFFFFFFFF;
constexpr uint32_t TIMESTAMP_BYTES = 8;
/// What may pass between a set and its read back.
constexpr uint64_t MAX_ELAPSED_MS = 600000;

Result<nvme::Answer> readTimestamp(nvme::Drive& drive) {
    nvme::FeatureRequest request;
    request.fid = nvme::FID_TIMESTAMP;
    request.dataLength = TIMESTAMP_BYTES;
    return readFeature(drive, request, nvme::Select::CURRENT, statuses::timestampNotSupported());
}

/// 10/164 unless the drive's clock runs from `milliseconds` now.
Status checkReported(nvme::Drive& drive, uint64_t milliseconds) {
    TRY(const nvme::Answer answer, readTimestamp(drive));
    const uint64_t reported = nvme::le48(answer.data.getData());
    // Counted in 48 bits: the clock may have passed its end.
    if (((reported - milliseconds) & MAX_MILLISECONDS) <= MAX_ELAPSED_MS) return Status();
    return withDetails(statuses::configurationUpdateFailed(), "Drive " + drive.name() + " accepted Timestamp " +
                                                                  std::to_string(milliseconds) + " and reports " +
                                                                  std::to_string(reported) + ".");
}

}  // namespace

TimestampJob::TimestampJob() : CloneableJob(ostrel::interfaces::ostreli::JOB_TIMESTAMP, "Timestamp") {}

AttributeList TimestampJob::getSupportedProperties() const {
    AttributeList list;
    for (const auto& attribute : {key::timestamp(), key::timestampOrigin(), key::timestampSynch()})
        list[attribute.getName()] = attribute;
    return list;
}

Status TimestampJob::showDrive(nvme::Drive& drive, const Arguments&, DriveOutput& out) {
    const nvme::FeatureRow& feature = *nvme::findFeature(nvme::FID_TIMESTAMP);
    RETURN_IF_FAILED(requireFeatureOffered(drive, feature, statuses::timestampNotSupported()));
    TRY(const nvme::Answer answer, readTimestamp(drive));
    out.addTree(decodeAnswer(feature, nvme::Select::CURRENT, answer));
    return Status();
}

Status TimestampJob::setOnDrive(nvme::Drive& drive, const Attribute& attribute) {
    RETURN_IF_FAILED(checkSettable(attribute, key::timestamp()));
    TRY(const std::optional<uint64_t> milliseconds, propertyToSet().number(attribute.getName(), MAX_MILLISECONDS));
    if (!milliseconds) return statuses::propertyWithoutValue();
    uint8_t bytes[TIMESTAMP_BYTES];
    nvme::putLe64(bytes, *milliseconds);  // the two bytes after the 48 bits are reserved
    nvme::FeatureRequest request;
    request.fid = nvme::FID_TIMESTAMP;
    const auto set = drive.setFeature(request, false, copyOf(bytes, sizeof bytes));
    if (!set) return explained(set.error(), statuses::timestampNotSupported());
    RETURN_IF_FAILED(checkReported(drive, *milliseconds));
    return Status(0, 0, holdText(*nvme::findFeature(nvme::FID_TIMESTAMP), false));
}

}  // namespace features::jobs
