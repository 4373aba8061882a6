#pragma once

#include <cstddef>
#include <string_view>

namespace ostrel::core::xml {

/// Whether the elements of a text nest deeper than `limit`, as Boost's XML reader would see them before it gives up on
/// a malformed text. That reader recurses for each level, so that a text of a few hundred kilobytes can overflow the
/// stack: ask before it reads a text from outside. One pass, without recursion or allocation.
bool nestsDeeperThan(std::string_view text, std::size_t limit);

}  // namespace ostrel::core::xml
