#include "ostrel/core/xml/XmlProperty.h"

#include "ostrel/core/ScopeTrace.h"

namespace ostrel::core::xml {

void XmlProperty::appendXml(std::string& out) const {
    OSTREL_TRACE();
    appendTag(out);
    out.append("/>");
}

std::unique_ptr<XmlElement> XmlProperty::clone() const {
    OSTREL_TRACE();
    return std::make_unique<XmlProperty>(*this);
}

bool XmlProperty::isEmpty() const {
    OSTREL_TRACE();
    return attributes.empty();
}

std::size_t XmlProperty::xmlSize() const {
    OSTREL_TRACE();
    return tagSize() + 2;
}

}  // namespace ostrel::core::xml
