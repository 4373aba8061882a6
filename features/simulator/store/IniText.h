#pragma once

#include <string>
#include <utility>
#include <vector>

#include "features/errors/Result.h"

namespace features::simulator {

/// A section, or a key outside of any.
struct IniEntry {
    std::string name;
    std::string value;  ///< of a key outside of any section
    std::vector<std::pair<std::string, std::string>> keys;
};

/// Sections in brackets, keys and values with '=' between them, comments after ';' or '#'; blanks around all of them
/// are left out. No name is there twice, and a section without keys counts as none. The error says what is
/// wrong with the first line that is none of these: 1/22 "Line 3: key expected."
Result<std::vector<IniEntry>> readIni(const std::string& text);

}  // namespace features::simulator
