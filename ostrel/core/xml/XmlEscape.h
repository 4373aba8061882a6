#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// The escaping of attribute values on the wire. It escapes '<' and '>' twice: "<" is written "&amp;lt;", ">" is
/// written "&amp;gt;", while "&", "\"" and "'" become "&amp;", "&quot;" and "&apos;". A reader that decodes once thus
/// gets "&lt;" for an original "<". The format is defined that way (it comes from five replacements one after the
/// other, the ampersand third) and must not be corrected: both sides of the boundary would disagree.
namespace ostrel::core::xml {

/// All other bytes pass through as they are, control characters and those above 7Fh included.
void appendEscaped(std::string& out, std::string_view value);

/// The number of bytes that appendEscaped() appends.
std::size_t escapedSize(std::string_view value);

}  // namespace ostrel::core::xml
