#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace ostrel::core::xml {

class XmlElement;
class XmlList;
class XmlObject;
class XmlProperty;

/// What an XmlObject and an XmlMessage have in common: three kinds of children, each in its own order. The order
/// between the kinds is not kept: on the wire it is always properties, lists, objects.
class XmlChildren {
public:
    XmlChildren& operator=(const XmlChildren&) = delete;

    std::vector<std::unique_ptr<XmlList>> lists;
    std::vector<std::unique_ptr<XmlProperty>> properties;
    std::vector<std::unique_ptr<XmlObject>> objects;

protected:
    XmlChildren();
    XmlChildren(const XmlChildren& other);  // deep
    ~XmlChildren();

    bool hasChildren() const;
    /// ">", the children, and the closing tag for `tag`: the part of a serialised element after its attributes.
    void appendChildren(std::string& out, const char* tag) const;
    std::size_t childrenSize(const char* tag) const;
    /// Appends what `find` yields on each child: objects, then lists, then properties.
    void findInChildren(const std::string& type, const std::string& key, const std::string& value, uint8_t depth,
                        std::vector<std::unique_ptr<XmlElement>>& found) const;
};

}  // namespace ostrel::core::xml
