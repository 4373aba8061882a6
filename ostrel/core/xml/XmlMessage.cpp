#include "ostrel/core/xml/XmlMessage.h"

#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/xml/XmlList.h"
#include "ostrel/core/xml/XmlObject.h"
#include "ostrel/core/xml/XmlProperty.h"

namespace ostrel::core::xml {

void XmlMessage::appendXml(std::string& out) const {
    OSTREL_TRACE();
    appendTag(out);
    appendChildren(out, TAG_MESSAGE);
}

std::vector<std::unique_ptr<XmlElement>> XmlMessage::find(const std::string& type, const std::string& key,
                                                          const std::string& value, uint8_t depth) const {
    OSTREL_TRACE();
    if (depth == 0) return {};
    auto found = XmlElement::find(type, key, value, depth);
    findInChildren(type, key, value, static_cast<uint8_t>(depth - 1), found);
    return found;
}

std::unique_ptr<XmlElement> XmlMessage::clone() const {
    OSTREL_TRACE();
    return std::make_unique<XmlMessage>(*this);
}

bool XmlMessage::isEmpty() const {
    OSTREL_TRACE();
    return !hasChildren() && attributes.empty();
}

std::size_t XmlMessage::xmlSize() const {
    OSTREL_TRACE();
    return tagSize() + childrenSize(TAG_MESSAGE);
}

}  // namespace ostrel::core::xml
