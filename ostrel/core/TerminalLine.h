#pragma once

#include <string>
#include <string_view>

namespace ostrel::core {

/// Takes away the text on a terminal's line; the cursor is at its beginning then.
inline constexpr std::string_view CLEAR_TERMINAL_LINE = "\r\033[K";

/// Whether a line that was written to this descriptor can be taken away again: it is a terminal, and one that does not
/// call itself "dumb" in TERM.
bool hasTerminalLine(int descriptor);

/// Writes `text`, cut to the terminal's width, in the place of its line, and leaves the cursor at the beginning, so
/// that what is written next is on a line of its own. Does nothing, and never waits, where the terminal takes
/// nothing at present (stopped by flow control), or where the process runs in the background. Returns whether the text
/// was written.
bool drawTerminalLine(int descriptor, const std::string& text);

}  // namespace ostrel::core
