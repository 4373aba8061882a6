#include "ostrel/core/xml/XmlList.h"

#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/xml/XmlChildVector.h"
#include "ostrel/core/xml/XmlObject.h"

namespace ostrel::core::xml {

XmlList::XmlList() : XmlElement(TAG_LIST) {}

XmlList::XmlList(const XmlList& other) : XmlElement(other), objects(cloneAll(other.objects)) {}

XmlList::~XmlList() = default;

void XmlList::appendXml(std::string& out) const {
    OSTREL_TRACE();
    appendTag(out);
    out.append(">");
    appendAll(out, objects);
    appendEndTag(out, TAG_LIST);
}

std::vector<std::unique_ptr<XmlElement>> XmlList::find(const std::string& type, const std::string& key,
                                                       const std::string& value, uint8_t depth) const {
    OSTREL_TRACE();
    if (depth == 0) return {};
    auto found = XmlElement::find(type, key, value, depth);
    findInAll(objects, type, key, value, static_cast<uint8_t>(depth - 1), found);
    return found;
}

std::unique_ptr<XmlElement> XmlList::clone() const {
    OSTREL_TRACE();
    return std::make_unique<XmlList>(*this);
}

bool XmlList::isEmpty() const {
    OSTREL_TRACE();
    return objects.empty() && attributes.empty();
}

std::size_t XmlList::xmlSize() const {
    OSTREL_TRACE();
    return tagSize() + 1 + sizeOfAll(objects) + endTagSize(TAG_LIST);
}

}  // namespace ostrel::core::xml
