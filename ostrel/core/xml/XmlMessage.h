#pragma once

#include "ostrel/core/xml/XmlChildren.h"
#include "ostrel/core/xml/XmlConstants.h"
#include "ostrel/core/xml/XmlElement.h"

namespace ostrel::core::xml {

/// The root of a message, where it is not an XmlObject. Its children are those of an object; it is no child itself.
class XmlMessage final : public XmlElement, public XmlChildren {
public:
    XmlMessage() : XmlElement(TAG_MESSAGE) {}
    XmlMessage(const XmlMessage&) = default;

    void appendXml(std::string& out) const override;
    std::vector<std::unique_ptr<XmlElement>> find(const std::string& type, const std::string& key,
                                                  const std::string& value, uint8_t depth) const override;
    std::unique_ptr<XmlElement> clone() const override;
    bool isEmpty() const override;
    std::size_t xmlSize() const override;
};

}  // namespace ostrel::core::xml
