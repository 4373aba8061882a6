#include "features/nvme/FieldTree.h"

#include <cstdio>

#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/Strings.h"
#include "ostrel/core/xml/XmlConstants.h"

namespace features::nvme {

using namespace ostrel::core;

FieldTree& FieldTree::addPart(std::string partHeading) {
    parts.push_back({std::move(partHeading), {}, {}});
    return parts.back();
}

std::unique_ptr<xml::XmlObject> FieldTree::toXml(const std::string& key) const {
    OSTREL_TRACE();
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

std::string hexText(uint64_t value, unsigned digits) {
    char text[19];
    std::snprintf(text, sizeof text, "0x%0*llX", static_cast<int>(digits), static_cast<unsigned long long>(value));
    return text;
}

}  // namespace features::nvme
