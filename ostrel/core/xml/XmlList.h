#pragma once

#include "ostrel/core/xml/XmlConstants.h"
#include "ostrel/core/xml/XmlElement.h"

namespace ostrel::core::xml {

class XmlObject;

/// A sequence of objects, and of nothing else.
class XmlList final : public XmlElement {
public:
    XmlList();
    XmlList(const XmlList& other);
    ~XmlList() override;

    void appendXml(std::string& out) const override;
    std::vector<std::unique_ptr<XmlElement>> find(const std::string& type, const std::string& key,
                                                  const std::string& value, uint8_t depth) const override;
    std::unique_ptr<XmlElement> clone() const override;
    bool isEmpty() const override;
    std::size_t xmlSize() const override;

    std::vector<std::unique_ptr<XmlObject>> objects;
};

}  // namespace ostrel::core::xml
