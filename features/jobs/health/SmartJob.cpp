#include "features/jobs/health/SmartJob.h"

#include <string>
#include <utility>

#include "features/jobs/drive/LogReading.h"
#include "features/jobs/drive/OcpSmartLog.h"
#include "features/jobs/health/FieldAttributes.h"
#include "features/jobs/health/VelkoSmart.h"
#include "features/nvme/LogPages.h"
#include "features/nvme/SmartAttributes.h"
#include "features/nvme/VelkoInterface.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::jobs {

using namespace ostrel::core;
namespace keys = attributes::feature;

namespace {

/// The vocabulary has no names for these fields.
void addOcpAttributes(const Payload& log, AttributeList& list) {
    for (const nvme::Field& field : nvme::decodeOcpSmart(log).fields) {
        Attribute attribute = attributeOf(field, nameOutOfWords(field));
        list[attribute.getName()] = std::move(attribute);
    }
}

}  // namespace

SmartJob::SmartJob() : CloneableJob(ostrel::interfaces::ostreli::JOB_SMART, "SMART Attributes") {}

Status SmartJob::checkRequest(const Arguments& arguments) {
    return statusOf(arguments.boolean(keys::includeNVMeSmartHealthLog().getName()));
}

Status SmartJob::getProperties(const std::shared_ptr<xml::XmlObject>& output) {
    Status status = DriveJob::getProperties(output);
    withoutOcp_.keep();
    return status;
}

Status SmartJob::showDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) {
    AttributeList list;
    const bool includeHealth = arguments.flag(keys::includeNVMeSmartHealthLog().getName(), true);
    if (includeHealth) {
        TRY(const Payload smart, readSmartLog(drive));
        list = nvme::smartAttributes(smart);
    }
    const std::string id = arguments.text(keys::id().getName());
    const bool isComplete = id.empty() ? out.hasAllRequested(list) : findIgnoringCase(list, id) != list.end();
    if (!isComplete) {  // nothing is asked of the drive that the answer does not need
        const auto ocp = readOfferedOcpSmartLog(drive, withoutOcp_);
        if (!ocp && !isRefusal(ocp.error())) return ocp.error();
        addOcpAttributes(ocp.value_or(Payload()), list);
        RETURN_IF_FAILED(addVelkoSmart(drive, nvme::VELKO_EXTENDED_SMART_BYTES, list));
    }
    if (list.empty()) {
        return Status(
            CATEGORY_FEATURE, statuses::driveDoesNotSupportFeature().getCode(),
            "Drive " + drive.name() + " has no SMART attributes beside those of the NVMe SMART / Health log.");
    }
    if (!id.empty()) {
        const auto found = findIgnoringCase(list, id);
        if (found == list.end()) {
            return Status(CATEGORY_FEATURE, statuses::invalidProperty().getCode(),
                          "Drive " + drive.name() + " has no SMART attribute '" + id + "'.");
        }
        list = AttributeList{*found};
    }
    out.addAttributes(title(), std::move(list));
    return Status();
}

}  // namespace features::jobs
