#include "features/jobs/TimestampJob.h"

#include "features/jobs/FeatureAccess.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/Opcodes.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::jobs {

using namespace ostrel::core;
namespace key = ostrel::core::attributes::feature;

namespace {

constexpr uint64_t MOST_MILLISECONDS = 0xFFFFFFFFFFFF;
constexpr uint32_t TIMESTAMP_BYTES = 8;

}  // namespace

TimestampJob::TimestampJob() : FeatureJob(ostrel::interfaces::ostreli::JOB_TIMESTAMP, "Timestamp") {}

std::unique_ptr<ostrel::interfaces::ostreli::Job> TimestampJob::clone() const {
    OSTREL_TRACE();
    auto copy = std::make_unique<TimestampJob>();
    copy->copyFrom(*this);
    return copy;
}

AttributeList TimestampJob::getSupportedProperties() const {
    OSTREL_TRACE();
    AttributeList list;
    for (const auto& attribute : {key::timestamp(), key::timestampOrigin(), key::timestampSynch()})
        list[attribute.getName()] = attribute;
    return list;
}

Status TimestampJob::showDrive(nvme::Drive& drive, const Arguments&, DriveOutput& out) {
    OSTREL_TRACE();
    const nvme::FeatureRow& feature = *nvme::findFeature(nvme::FID_TIMESTAMP);
    nvme::FeatureRequest request;
    request.fid = feature.fid;
    request.dataLength = feature.dataLength;
    nvme::Answer answer;
    const Status status = readFeature(drive, request, nvme::Select::CURRENT, statuses::timestampNotSupported(), answer);
    if (status.is(0, 0)) out.addTree(decodeAnswer(feature, nvme::Select::CURRENT, answer));
    return status;
}

Status TimestampJob::setOnDrive(nvme::Drive& drive, const Attribute& attribute) {
    OSTREL_TRACE();
    std::optional<uint64_t> milliseconds;
    Status status = checkSettable(attribute, key::timestamp());
    if (status.is(0, 0)) status = propertyToSet().number(attribute.getName(), MOST_MILLISECONDS, milliseconds);
    if (!status.is(0, 0)) return status;
    if (!milliseconds) return statuses::propertyWithoutValue();
    uint8_t bytes[TIMESTAMP_BYTES];
    nvme::putLe64(bytes, *milliseconds);  // the two bytes behind the 48 bits are reserved
    nvme::FeatureRequest request;
    request.fid = nvme::FID_TIMESTAMP;
    nvme::Answer answer;
    const Status sent = drive.setFeature(request, false, Payload(bytes, sizeof bytes), answer);
    return explained(sent, drive, statuses::timestampNotSupported());
}

}  // namespace features::jobs
