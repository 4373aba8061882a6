#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/xml/XmlElement.h"

/// What is done to every vector of children, whatever their kind. For the element classes alone.
namespace ostrel::core::xml {

template <typename Child>
using ChildVector = std::vector<std::unique_ptr<Child>>;

template <typename Child>
ChildVector<Child> cloneAll(const ChildVector<Child>& children) {
    OSTREL_TRACE();
    ChildVector<Child> clones;
    clones.reserve(children.size());
    for (const auto& child : children) clones.push_back(std::make_unique<Child>(*child));
    return clones;
}

template <typename Child>
void appendAll(std::string& out, const ChildVector<Child>& children) {
    OSTREL_TRACE();
    for (const auto& child : children) child->appendXml(out);
}

template <typename Child>
std::size_t sizeOfAll(const ChildVector<Child>& children) {
    OSTREL_TRACE();
    std::size_t size = 0;
    for (const auto& child : children) size += child->xmlSize();
    return size;
}

template <typename Child>
void findInAll(const ChildVector<Child>& children, const std::string& type, const std::string& key,
               const std::string& value, uint8_t depth, ChildVector<XmlElement>& found) {
    OSTREL_TRACE();
    for (const auto& child : children) {
        ChildVector<XmlElement> part = child->find(type, key, value, depth);
        found.insert(found.end(), std::make_move_iterator(part.begin()), std::make_move_iterator(part.end()));
    }
}

/// "</Object>" of "Object".
inline void appendEndTag(std::string& out, std::string_view tag) {
    out.append("</").append(tag).append(">");
}
inline std::size_t endTagSize(std::string_view tag) {
    return 2 + tag.size() + 1;
}

}  // namespace ostrel::core::xml
