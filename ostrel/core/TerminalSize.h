#pragma once

#include <cstdint>

namespace ostrel::core {

/// In characters.
struct TerminalSize {
    uint16_t rows = 0;
    uint16_t columns = 0;
};

/// The size of the terminal on standard input. Returns 0, or -1 with both counts 0 when there is no terminal.
int getTerminalSize(TerminalSize& size);

}  // namespace ostrel::core
