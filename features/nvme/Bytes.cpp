#include "features/nvme/Bytes.h"

#include <algorithm>

namespace features::nvme {

std::string decimal128(const uint8_t* at) {
    // Long division by 10^9, most significant limb first: no 128-bit type is needed.
    uint32_t limbs[4] = {le32(at + 12), le32(at + 8), le32(at + 4), le32(at)};
    std::string digits;
    do {
        uint64_t rest = 0;
        for (uint32_t& limb : limbs) {
            const uint64_t part = rest << 32 | limb;
            limb = static_cast<uint32_t>(part / 1000000000);
            rest = part % 1000000000;
        }
        for (int i = 0; i < 9; ++i, rest /= 10) digits += static_cast<char>('0' + rest % 10);
    } while (std::any_of(std::begin(limbs), std::end(limbs), [](uint32_t limb) { return limb != 0; }));
    digits.erase(std::find_if(digits.rbegin(), std::prev(digits.rend()), [](char c) { return c != '0'; }).base(),
                 digits.end());
    std::reverse(digits.begin(), digits.end());
    return digits;
}

std::string decimal128(const Le128& number) {
    return decimal128(bytesOf(number).data());
}

std::string shownText(const uint8_t* at, size_t length) {
    while (length > 0 && (at[length - 1] == ' ' || at[length - 1] == 0)) --length;
    std::string text(reinterpret_cast<const char*>(at), length);
    text.erase(0, std::min(text.find_first_not_of(' '), text.size()));
    for (char& c : text) {
        if (c < 0x20 || c > 0x7E) c = '?';
    }
    return text;
}

}  // namespace features::nvme
