#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace features::simulator {

/// A size in bytes: a decimal number, and K, M, G or T after it for powers of 1000, Ki, Mi, Gi or Ti for powers of
/// 1024; a B may follow, case does not count. Empty: the text is none, or more than 64 bits hold.
std::optional<uint64_t> parseSize(const std::string& text);

}  // namespace features::simulator
