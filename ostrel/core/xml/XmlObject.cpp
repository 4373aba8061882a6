#include "ostrel/core/xml/XmlObject.h"

#include <algorithm>
#include <utility>

#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/Strings.h"
#include "ostrel/core/xml/XmlList.h"
#include "ostrel/core/xml/XmlProperty.h"

namespace ostrel::core::xml {

XmlObject::XmlObject(const std::string& name, const std::string& description, const std::string& value) : XmlObject() {
    OSTREL_TRACE();
    attributes[KEY_NAME] = name;
    attributes[KEY_DESCRIPTION] = description;
    attributes[KEY_VALUE] = value;
}

XmlObject::XmlObject(const std::string& name, const std::string& description, const std::string& value,
                     const std::string& type)
    : XmlObject(name, description, value) {
    OSTREL_TRACE();
    attributes[KEY_TYPE] = type;
}

void XmlObject::appendXml(std::string& out) const {
    OSTREL_TRACE();
    appendTag(out);
    appendChildren(out, TAG_OBJECT);
}

std::vector<std::unique_ptr<XmlElement>> XmlObject::find(const std::string& type, const std::string& key,
                                                         const std::string& value, uint8_t depth) const {
    OSTREL_TRACE();
    if (depth == 0) return {};
    auto found = XmlElement::find(type, key, value, depth);
    findInChildren(type, key, value, static_cast<uint8_t>(depth - 1), found);
    return found;
}

std::unique_ptr<XmlElement> XmlObject::clone() const {
    OSTREL_TRACE();
    return std::make_unique<XmlObject>(*this);
}

bool XmlObject::isEmpty() const {
    OSTREL_TRACE();
    return !hasChildren() && attributes.empty();
}

std::size_t XmlObject::xmlSize() const {
    OSTREL_TRACE();
    return tagSize() + childrenSize(TAG_OBJECT);
}

void XmlObject::addProperty(const std::string& name, const std::string& value) {
    OSTREL_TRACE();
    auto property = std::make_unique<XmlProperty>();
    property->attributes[KEY_NAME] = name;
    property->attributes[KEY_VALUE] = sanitizeValue(value);
    properties.push_back(std::move(property));
}

void XmlObject::addProperty(const std::string& name, const std::string& description, const std::string& value) {
    OSTREL_TRACE();
    addProperty(name, value);
    properties.back()->attributes[KEY_DESCRIPTION] = description;
}

void XmlObject::addProperty(const std::string& name, const std::string& description, const std::string& value,
                            const std::string& type) {
    OSTREL_TRACE();
    addProperty(name, description, value);
    properties.back()->attributes[KEY_TYPE] = sanitizeValue(type);
}

int XmlObject::removeProperty(const std::string& name) {
    OSTREL_TRACE();
    // The subscript and not getAttribute(): it gives a nameless property its empty name, which readers have come to
    // see.
    const auto found = std::find_if(properties.begin(), properties.end(),
                                    [&name](const auto& property) { return property->attributes[KEY_NAME] == name; });
    if (found == properties.end()) return 0;
    (*found)->clearAttributes();
    properties.erase(found);
    return 1;
}

void XmlObject::removeProperties(const std::vector<std::string>& names) {
    OSTREL_TRACE();
    for (const auto& name : names) removeProperty(name);
    for (const auto& object : objects) object->removeProperties(names);
}

}  // namespace ostrel::core::xml
