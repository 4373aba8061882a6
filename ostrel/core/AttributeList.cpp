#include "ostrel/core/AttributeList.h"

#include <algorithm>

#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/Strings.h"

namespace ostrel::core {
namespace {

template <typename List>
auto findName(List& list, std::string_view name) {
    OSTREL_TRACE();
    const auto exact = list.find(std::string(name));
    if (exact != list.end()) return exact;
    return std::find_if(list.begin(), list.end(),
                        [name](const auto& entry) { return equals(entry.first, name, true); });
}

}  // namespace

AttributeList::iterator findIgnoringCase(AttributeList& list, std::string_view name) {
    OSTREL_TRACE();
    return findName(list, name);
}

AttributeList::const_iterator findIgnoringCase(const AttributeList& list, std::string_view name) {
    OSTREL_TRACE();
    return findName(list, name);
}

std::optional<std::string_view> findText(const AttributeList& list, const std::string& name) {
    OSTREL_TRACE();
    const auto found = list.find(name);
    if (found == list.end()) return std::nullopt;
    return found->second.getCharacters();
}

}  // namespace ostrel::core
