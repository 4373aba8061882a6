#include "features/jobs/inventory/ListedAttributes.h"

#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/Strings.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

bool isRequested(const AttributeList& requested, const std::string& name) {
    for (const auto& [key, attribute] : requested) {
        if (equals(key, name, true)) return true;
    }
    return false;
}

}  // namespace

bool isWanted(const std::string& name, bool isKey, bool all, const DriveOutput& out) {
    return out.requested() != nullptr ? isRequested(*out.requested(), name) : all || isKey;
}

ListedText foundText(const Device& device, const Attribute& attribute) {
    if (!device.hasAttribute(attribute.getName())) return std::nullopt;
    return device.getAttribute(attribute).getText();
}

std::string firmwareUpdateText(const Device& device, const FirmwareModules& modules) {
    const auto module = modules.choose(device.getAttribute(attributes::device::modelNumber()).getText(),
                                       device.getAttribute(attributes::device::firmware()).getText());
    if (module) return (*module)->manifest.revision;
    // A machine without modules knows as little of updates as one that has none for the drive.
    const Status none = statuses::noFirmwareModule();
    return module.error().is(none.getCategory(), none.getCode()) ? statuses::noKnownFirmwareUpdate().getMessage()
                                                                 : module.error().getMessage();
}

}  // namespace features::jobs
