// The SMART attributes of SATA drives.

#include "features/jobs/health/SmartJob.h"

#include <algorithm>
#include <string>
#include <vector>

#include "features/ata/SmartAttributes.h"
#include "features/nvme/FieldTable.h"
#include "features/nvme/FieldTree.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/Strings.h"

namespace features::jobs {

using namespace ostrel::core;
using ata::AttributeState;
using nvme::hexText;
namespace keys = attributes::feature;

namespace {

struct StateRow {
    AttributeState state;
    const char* text;
};
constexpr StateRow STATES[] = {
    {AttributeState::GOOD, "Pass"},
    {AttributeState::FAILED_IN_THE_PAST, "Failed in the past"},
    {AttributeState::FAILING_NOW, "Failing now"},
};

const char* stateText(AttributeState state) {
    for (const StateRow& row : STATES) {
        if (row.state == state) return row.text;
    }
    return nvme::NOT_REPORTED;
}

void add(AttributeList& list, const char* name, const std::string& text) {
    list[name] = Attribute(name, name, typeString(), text);
}

AttributeList describe(const ata::SmartAttribute& attribute) {
    AttributeList list;
    add(list, "ID", hexText(attribute.data.id, 2));
    add(list, "Description", attribute.name());
    add(list, "Normalized", std::to_string(attribute.data.value));
    add(list, "Worst", std::to_string(attribute.data.worst));
    add(list, "Threshold", attribute.threshold ? std::to_string(*attribute.threshold) : nvme::NOT_REPORTED);
    add(list, "Raw", attribute.rawText());
    add(list, "Status", hexText(attribute.data.flags, 4));
    add(list, "Action", stateText(attribute.state()));
    return list;
}

/// Which attributes "ID" means: one by its number ("E9", "0xE9", "5"), or those of a name ("Temperature"), as an NVMe
/// drive's attribute of the same request is named.
bool isMeant(const ata::SmartAttribute& attribute, const std::string& id) {
    uint64_t number = 0;
    if (readNumber(id, Digits::HEX, number)) return number == attribute.data.id;
    return toLower(attribute.name()) == toLower(id);
}

}  // namespace

Status SmartJob::showAtaDrive(ata::Drive& drive, const Arguments& arguments, DriveOutput& out) {
    const std::string id = arguments.text(keys::id().getName());
    TRY(const Payload data, drive.smartData());
    TRY(const Payload thresholds, drive.smartThresholds());
    std::vector<ata::SmartAttribute> attributes = ata::smartAttributesOf(data, thresholds);
    if (!id.empty()) {
        const auto isOther = [&](const ata::SmartAttribute& attribute) { return !isMeant(attribute, id); };
        attributes.erase(std::remove_if(attributes.begin(), attributes.end(), isOther), attributes.end());
        if (attributes.empty()) {
            return Status(CATEGORY_FEATURE, statuses::invalidProperty().getCode(),
                          "Drive " + drive.name() + " has no SMART attribute '" + id + "'.");
        }
    }
    if (id.empty() && out.requested() == nullptr) out.addTree(ata::decodeSmartData(data));
    for (const ata::SmartAttribute& attribute : attributes)
        out.addAttributes("SMART Attribute " + hexText(attribute.data.id, 2), describe(attribute));
    return Status();
}

}  // namespace features::jobs
