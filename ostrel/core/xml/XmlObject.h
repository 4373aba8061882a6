#pragma once

#include "ostrel/core/xml/XmlChildren.h"
#include "ostrel/core/xml/XmlConstants.h"
#include "ostrel/core/xml/XmlElement.h"

namespace ostrel::core::xml {

/// A group of properties, lists and further objects. Written with a start and an end tag even when it is empty.
class XmlObject final : public XmlElement, public XmlChildren {
public:
    XmlObject() : XmlElement(TAG_OBJECT) {}
    /// These attributes are set on the object itself, verbatim.
    XmlObject(const std::string& name, const std::string& description, const std::string& value);
    XmlObject(const std::string& name, const std::string& description, const std::string& value,
              const std::string& type);
    XmlObject(const XmlObject&) = default;

    void appendXml(std::string& out) const override;
    std::vector<std::unique_ptr<XmlElement>> find(const std::string& type, const std::string& key,
                                                  const std::string& value, uint8_t depth) const override;
    std::unique_ptr<XmlElement> clone() const override;
    bool isEmpty() const override;
    std::size_t xmlSize() const override;

    /// Appends a property. Name and description are taken verbatim, value and type through sanitizeValue().
    void addProperty(const std::string& name, const std::string& value);
    void addProperty(const std::string& name, const std::string& description, const std::string& value);
    void addProperty(const std::string& name, const std::string& description, const std::string& value,
                     const std::string& type);

    /// Removes the first property of that name. Returns 1, or 0 when there is none. Each property without a name that
    /// the search passes comes out with an empty one, which shows on the wire as name="".
    int removeProperty(const std::string& name);
    /// Removes the first property of each name here and in the objects below; lists are not entered.
    /// Properties without a name gain an empty one, as above.
    void removeProperties(const std::vector<std::string>& names);
};

}  // namespace ostrel::core::xml
