#pragma once

#include <string>

namespace cli::framework {

/// The text as it is between the quotes of a JSON string. Works on bytes: UTF-8 passes unchanged, "/" becomes "\/".
std::string jsonEscape(const std::string& text);

/// Appends a property's text as a JSON value: numeric text unquoted and unchanged (so "-", "." and "12." go out bare),
/// "true" and "false" of any case as the literal, everything else as an escaped string.
void appendJsonValue(std::string& out, const std::string& text);

}  // namespace cli::framework
