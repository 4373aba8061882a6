#include "features/jobs/settings/OcpFeatureJob.h"

#include <algorithm>
#include <stdexcept>

#include "features/errors/Result.h"
#include "features/jobs/base/SetRequest.h"
#include "features/jobs/drive/LogReading.h"
#include "features/jobs/drive/VendorDialect.h"
#include "features/jobs/settings/DssdPowerStates.h"
#include "features/jobs/settings/FeatureAccess.h"
#include "features/jobs/settings/FeatureSetting.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/FeatureIds.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::jobs {

using namespace ostrel::core;
using namespace ostrel::interfaces::ostreli;
namespace key = ostrel::core::attributes::feature;

struct OcpFeatureJob::Row {
    const char* job;
    uint8_t fid;
    SettableProperty property;
};
// clang-format off
const OcpFeatureJob::Row OcpFeatureJob::ROWS[] = {
    {JOB_OCP_READ_ONLY_WRITE_MODE, nvme::FID_OCP_END_OF_LIFE_MODE,   {key::mode,             1, 2,     statuses::invalidReadOnlyMode}},
    {JOB_OCP_IEEE_SILO,            nvme::FID_OCP_IEEE1667_SILO,      {key::enable,           0, 1,     statuses::invalidProperty}},
    {JOB_OCP_PLP_CHECK,            nvme::FID_OCP_PLP_CHECK_INTERVAL, {key::plpCheckInterval, 0, 65535, statuses::invalidProperty}},
    {JOB_OCP_DSSD_POWER_STATE,     nvme::FID_OCP_DSSD_POWER_STATE,   {key::dssdPowerState,   0, 127,   statuses::invalidProperty}},
};
// clang-format on

const OcpFeatureJob::Row& OcpFeatureJob::rowOf(const std::string& name) {
    const auto* row = std::find_if(std::begin(ROWS), std::end(ROWS), [&](const Row& r) { return r.job == name; });
    if (row == std::end(ROWS)) throw std::logic_error("no job of an OCP feature: " + name);
    return *row;
}

OcpFeatureJob::OcpFeatureJob(const std::string& name)
    : CloneableJob(name, nvme::findOcpFeature(rowOf(name).fid)->name), row_(rowOf(name)) {}

AttributeList OcpFeatureJob::getSupportedProperties() const {
    const Attribute attribute = row_.property.attribute();
    return {{attribute.getName(), attribute}};
}

Status OcpFeatureJob::checkRequest(const Arguments& arguments) {
    return statusOf(readSelect(arguments));
}

Status OcpFeatureJob::showDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) {
    TRY(const nvme::Select select, readSelect(arguments));
    TRY(const FeatureAddress address, requireOcpFeature(drive, row_.fid));
    TRY(const nvme::Answer answer,
        readFeature(drive, address.request(row_.fid), select, statuses::driveDoesNotSupportFeature()));
    out.addTree(decodeAnswer(*nvme::findOcpFeature(row_.fid), select, answer));
    return Status();
}

Status OcpFeatureJob::setOnDrive(nvme::Drive& drive, const Attribute& attribute) {
    RETURN_IF_FAILED(checkSettable(attribute, row_.property.attribute()));
    TRY(const uint32_t value, readValue(propertyToSet(), row_.property));
    TRY(const FeatureAddress address, requireOcpFeature(drive, row_.fid));
    const Status status = setFeatureField(drive, settableOcpField(row_.fid, address.uuidIndex), value);
    if (row_.fid != nvme::FID_OCP_DSSD_POWER_STATE || !isRefusal(status)) return status;
    const std::string watts = dssdPowerStates(drive);
    return watts.empty() ? status : withDetails(status, "It takes " + watts + " watts.");
}

Status OcpFeatureJob::ataRefusal() const {
    return statuses::ocpNotSupported();
}

}  // namespace features::jobs
