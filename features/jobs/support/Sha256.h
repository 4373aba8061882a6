#pragma once

#include <string>
#include <string_view>

namespace features::jobs {

/// The SHA-256 digest (FIPS 180-4) of `bytes`: 64 hexadecimal digits in lower case, as sha256sum writes them.
std::string sha256Text(std::string_view bytes);

}  // namespace features::jobs
