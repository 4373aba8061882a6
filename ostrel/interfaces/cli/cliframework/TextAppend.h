#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

#include "ostrel/interfaces/cli/cliframework/Trace.h"

namespace cli::framework {

/// Appends the pieces in order. A rendering goes into one string from its first byte to its last, so that its time
/// stays linear in the length of the output.
inline void append(std::string& out, std::initializer_list<std::string_view> pieces) {
    CLI_TRACE();
    for (const std::string_view piece : pieces) out.append(piece);
}

inline std::string concat(std::initializer_list<std::string_view> pieces) {
    CLI_TRACE();
    std::string out;
    append(out, pieces);
    return out;
}

}  // namespace cli::framework
