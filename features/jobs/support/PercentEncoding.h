#pragma once

#include <string>

namespace features::jobs {

/// Bytes that are no letter, digit or '-' as "%20": a text of a drive then has neither blanks nor line ends, leads out
/// of no folder, and no two become the same.
std::string percentEncoded(const std::string& text);

}  // namespace features::jobs
