#include "ostrel/core/xml/XmlElement.h"

#include <boost/property_tree/ptree.hpp>

#include <string_view>
#include <utility>

#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/xml/XmlEscape.h"

namespace ostrel::core::xml {

namespace {

constexpr char ATTRIBUTE_GROUP[] = "<xmlattr>";

}  // namespace

std::vector<std::unique_ptr<XmlElement>> XmlElement::find(const std::string& type, const std::string& key,
                                                          const std::string& value, uint8_t) const {
    OSTREL_TRACE();
    std::vector<std::unique_ptr<XmlElement>> found;
    if (!type.empty() && type != type_) return found;
    if (!key.empty() && getAttribute(key) != value) return found;
    found.push_back(clone());
    return found;
}

std::string XmlElement::getAttribute(const std::string& key) const {
    OSTREL_TRACE();
    const auto attribute = attributes.find(key);
    return attribute == attributes.end() ? std::string() : attribute->second;
}

void XmlElement::removeAttribute(const std::string& key) {
    OSTREL_TRACE();
    attributes.erase(key);
}

void XmlElement::clearAttributes() {
    OSTREL_TRACE();
    attributes.clear();
}

void XmlElement::loadAttributes(const boost::property_tree::ptree& tree) {
    OSTREL_TRACE();
    const auto group = tree.find(ATTRIBUTE_GROUP);
    if (group == tree.not_found()) return;
    for (const auto& [key, entry] : group->second) attributes[key] = entry.data();
}

std::string XmlElement::toXmlString() const {
    OSTREL_TRACE();
    std::string text;
    text.reserve(HEADER.size() + xmlSize());  // a message may be large: one allocation, of the exact size
    text.append(HEADER);
    appendXml(text);
    return text;
}

void XmlElement::appendTag(std::string& out) const {
    OSTREL_TRACE();
    out.append("<").append(type_);
    for (const auto& [key, value] : attributes) {
        out.append(" ").append(key).append("=\"");
        appendEscaped(out, value);
        out.append("\"");
    }
}

std::size_t XmlElement::tagSize() const {
    OSTREL_TRACE();
    std::size_t size = 1 + type_.size();
    for (const auto& [key, value] : attributes) size += 1 + key.size() + 2 + escapedSize(value) + 1;
    return size;
}

}  // namespace ostrel::core::xml
