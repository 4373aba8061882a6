#include "ostrel/core/xml/XmlChildren.h"

#include "ostrel/core/xml/XmlChildVector.h"
#include "ostrel/core/xml/XmlList.h"
#include "ostrel/core/xml/XmlObject.h"
#include "ostrel/core/xml/XmlProperty.h"

namespace ostrel::core::xml {

XmlChildren::XmlChildren() = default;

XmlChildren::XmlChildren(const XmlChildren& other)
    : lists(cloneAll(other.lists)), properties(cloneAll(other.properties)), objects(cloneAll(other.objects)) {}

XmlChildren::~XmlChildren() = default;

bool XmlChildren::hasChildren() const {
    OSTREL_TRACE();
    return !lists.empty() || !properties.empty() || !objects.empty();
}

void XmlChildren::appendChildren(std::string& out, const char* tag) const {
    OSTREL_TRACE();
    out.append(">");
    appendAll(out, properties);
    appendAll(out, lists);
    appendAll(out, objects);
    appendEndTag(out, tag);
}

std::size_t XmlChildren::childrenSize(const char* tag) const {
    OSTREL_TRACE();
    return 1 + sizeOfAll(properties) + sizeOfAll(lists) + sizeOfAll(objects) + endTagSize(tag);
}

void XmlChildren::findInChildren(const std::string& type, const std::string& key, const std::string& value,
                                 uint8_t depth, std::vector<std::unique_ptr<XmlElement>>& found) const {
    OSTREL_TRACE();
    findInAll(objects, type, key, value, depth, found);
    findInAll(lists, type, key, value, depth, found);
    findInAll(properties, type, key, value, depth, found);
}

}  // namespace ostrel::core::xml
