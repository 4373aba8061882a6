#include "features/jobs/base/SetRequest.h"

#include <optional>
#include <string>

#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/FieldTree.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/Strings.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

Result<uint32_t> readBoolean(const Arguments& sent, const std::string& key) {
    TRY(const std::optional<bool> flag, sent.boolean(key));
    if (!flag) return statuses::propertyWithoutValue();
    return *flag ? 1U : 0U;
}

/// The request has a number in decimal digits. The user may have typed letters, which are hexadecimal digits: "abc" is
/// sent as 2748, and would not be recognised.
std::string asHexadecimal(const std::string& text) {
    uint64_t number = 0;
    if (!isInteger(text) || !readNumber(text, Digits::DECIMAL, number)) return {};
    const std::string digits = nvme::hexText(number);
    return digits.find_first_of("ABCDEF") == std::string::npos ? "" : " (" + digits + ")";
}

}  // namespace

Result<bool> isSetRequest(const Arguments& arguments) {
    const std::string name = attributes::feature::setGetType().getName();
    const std::string type = arguments.text(name);
    if (type == "set") return true;
    if (type == "get" || type.empty()) return false;
    return withDetails(statuses::invalidProperty(), name + " must be 'get' or 'set', not '" + type + "'.");
}

Status checkOneDrive(size_t numberOfDrives) {
    if (numberOfDrives == 0) return statuses::noDeviceSelected();
    return numberOfDrives == 1 ? Status() : statuses::multipleDevicesSelected();
}

Status checkSettable(const Attribute& given, const Attribute& settable) {
    if (given.getName() == settable.getName()) return Status();
    return withDetails(statuses::invalidProperty(), given.getName() + " cannot be set.");
}

Result<uint32_t> readValue(const Arguments& sent, const SettableProperty& property) {
    const Attribute attribute = property.attribute();
    const std::string& key = attribute.getName();
    if (attribute.getType() == typeBoolean()) return readBoolean(sent, key);
    const std::optional<uint64_t> number = sent.number(key, property.most).value_or(std::nullopt);
    if (!number || *number < property.least) {
        return withDetails(property.refusal(), key + " must be a number from " + std::to_string(property.least) +
                                                   " to " + std::to_string(property.most) + ", not '" + sent.text(key) +
                                                   "'" + asHexadecimal(sent.text(key)) + ".");
    }
    return static_cast<uint32_t>(*number);
}

}  // namespace features::jobs
