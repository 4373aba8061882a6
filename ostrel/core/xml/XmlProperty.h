#pragma once

#include "ostrel/core/xml/XmlConstants.h"
#include "ostrel/core/xml/XmlElement.h"

namespace ostrel::core::xml {

/// A leaf: attributes alone, written as a self-closed tag.
class XmlProperty final : public XmlElement {
public:
    XmlProperty() : XmlElement(TAG_PROPERTY) {}
    XmlProperty(const XmlProperty&) = default;

    void appendXml(std::string& out) const override;
    std::unique_ptr<XmlElement> clone() const override;
    bool isEmpty() const override;
    std::size_t xmlSize() const override;
};

}  // namespace ostrel::core::xml
