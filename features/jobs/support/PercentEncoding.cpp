#include "features/jobs/support/PercentEncoding.h"

#include <cctype>
#include <cstdio>

namespace features::jobs {

std::string percentEncoded(const std::string& text) {
    std::string encoded;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        char piece[4] = {c, 0, 0, 0};
        if (byte > 0x7E || (std::isalnum(byte) == 0 && c != '-')) std::snprintf(piece, sizeof piece, "%%%02X", byte);
        encoded += piece;
    }
    return encoded;
}

}  // namespace features::jobs
