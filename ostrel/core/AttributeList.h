#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "ostrel/core/Attribute.h"

namespace ostrel::core {

/// Attributes under their names. The order of iteration is that of the hash map: no code may rely on it.
using AttributeList = std::unordered_map<std::string, Attribute>;

/// The entry under `name`, ignoring case, or end(). An entry of exactly this spelling goes before the others.
AttributeList::iterator findIgnoringCase(AttributeList& list, std::string_view name);
AttributeList::const_iterator findIgnoringCase(const AttributeList& list, std::string_view name);

/// Attribute::getCharacters() of the entry under exactly this name; nothing when there is none.
std::optional<std::string_view> findText(const AttributeList& list, const std::string& name);

}  // namespace ostrel::core
