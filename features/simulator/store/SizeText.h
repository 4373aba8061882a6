#pragma once

#include <cstdint>
#include <string>

namespace features::simulator {

/// A size in bytes: a decimal number, and K, M, G or T after it for powers of 1000, Ki, Mi, Gi or Ti for powers of
/// 1024; a B may follow, case does not count. False: the text is none, or more than 64 bits hold.
bool parseSize(const std::string& text, uint64_t& bytes);

}  // namespace features::simulator
