#include "features/nvme/FieldTree.h"

#include <cstdio>

#include "ostrel/core/Strings.h"
#include "ostrel/core/xml/XmlConstants.h"

namespace features::nvme {

using namespace ostrel::core;

FieldTree& FieldTree::addPart(std::string partHeading) {
    parts.push_back({std::move(partHeading), {}, {}});
    return parts.back();
}

void FieldTree::addList(std::string partHeading, const std::vector<std::string>& texts) {
    FieldTree& part = addPart(std::move(partHeading));
    for (const std::string& text : texts) part.add("Entry " + std::to_string(part.fields.size()), text);
}

std::unique_ptr<xml::XmlObject> FieldTree::toXml(const std::string& key) const {
    auto object = std::make_unique<xml::XmlObject>();
    object->attributes[xml::KEY_NAME] = heading;
    if (!key.empty()) object->attributes[xml::KEY_KEY] = key;
    for (const Field& field : fields) {
        if (field.description.empty()) {
            object->addProperty(field.name, field.value);
        } else {
            object->addProperty(field.name, field.description, field.value);
        }
    }
    for (const FieldTree& part : parts) object->objects.push_back(part.toXml({}));
    return object;
}

std::string decimalFraction(uint64_t value, unsigned digits) {
    std::string text = std::to_string(value);
    if (text.size() <= digits) text.insert(0, digits + 1 - text.size(), '0');
    return text.insert(text.size() - digits, 1, '.');
}

std::string withUnit(const std::string& value, const std::string& unit) {
    const bool isNumber = !value.empty() && value.find_first_not_of("-.0123456789") == std::string::npos;
    return isNumber && !unit.empty() ? value + " " + unit : value;
}

std::string hexText(uint64_t value, unsigned digits) {
    char text[19];
    std::snprintf(text, sizeof text, "0x%0*llX", static_cast<int>(digits), static_cast<unsigned long long>(value));
    return text;
}

}  // namespace features::nvme
