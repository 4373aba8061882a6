#pragma once

#include <cstddef>

namespace cli::framework {

/// The number of columns of the terminal on standard input; 0 when standard input is no terminal.
std::size_t terminalWidth();

}  // namespace cli::framework
