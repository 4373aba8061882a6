#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "ostrel/core/xml/XmlElement.h"

namespace ostrel::core::xml {

/// Elements nested deeper than this make a text malformed. Boost's XML reader recurses, with about 400 bytes of stack a
/// level beside 64 KiB of its own; so a hostile text takes about half of a stack of 512 KiB, and no more. Messages nest
/// about ten levels deep, and XmlElement::find() sees no further than 255.
inline constexpr std::size_t MAX_NESTING = 512;

/// The tree of a text's first node; null when that node is no element of ours. Use XmlConverter::toXml(), which says
/// what becomes of the rest and throws nothing.
///
/// Errors:  throws a std::exception when the text is malformed or has no node, or when the memory does not suffice.
/// Memory:  at its peak some 13 times the text when that is all small properties. A text that is given away is parsed
///          in place, and becomes the value that is most of it.
std::unique_ptr<XmlElement> readElement(const std::string& text);
std::unique_ptr<XmlElement> readElement(std::string&& text);

}  // namespace ostrel::core::xml
