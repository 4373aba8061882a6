#pragma once

#include <ostream>
#include <string_view>

namespace ostrel::core {

/// Writes the text to the output's buffer, without operator<<: that one, and setstate() too, bring locales and facets,
/// half a megabyte into a shared library that has the C++ library in itself. What differs from it: width() plays no
/// role, exceptions() is not asked for, and a buffer that takes no more leaves the text cut short and the output's
/// state as it was. An output that has failed before, or has no buffer, gets nothing.
inline void writeText(std::ostream& out, std::string_view text) {
    if (out.good() && out.rdbuf() != nullptr)
        (void)out.rdbuf()->sputn(text.data(), static_cast<std::streamsize>(text.size()));
}

}  // namespace ostrel::core
