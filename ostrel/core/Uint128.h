#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace ostrel::core {

/// A number of 128 bits, with what attributes need of it. Boost.Multiprecision includes <iostream>, which a program or
/// library then has in itself, and processors of 32 bits have no such type of the compiler's.
class Uint128 {
public:
    Uint128() = default;
    explicit Uint128(uint64_t number) : limbs_{static_cast<uint32_t>(number), static_cast<uint32_t>(number >> 32)} {}

    /// False when the result does not fit; the number is then of no use.
    bool multiplyAdd(uint32_t factor, uint32_t addend) {
        uint64_t carry = addend;
        for (uint32_t& limb : limbs_) {
            carry += uint64_t{limb} * factor;
            limb = static_cast<uint32_t>(carry);
            carry >>= 32;
        }
        return carry == 0;
    }

    /// Leaves the quotient, returns the remainder.
    uint32_t divide(uint32_t divisor) {
        uint64_t rest = 0;
        for (std::size_t i = limbs_.size(); i-- > 0;) {
            const uint64_t part = rest << 32 | limbs_[i];
            limbs_[i] = static_cast<uint32_t>(part / divisor);
            rest = part % divisor;
        }
        return static_cast<uint32_t>(rest);
    }

    uint64_t low64() const { return uint64_t{limbs_[1]} << 32 | limbs_[0]; }
    /// From the least significant one, 0 to 15.
    uint8_t byteAt(unsigned place) const { return static_cast<uint8_t>(limbs_[place / 4] >> place % 4 * 8); }
    void setByte(unsigned place, uint8_t byte) { limbs_[place / 4] |= uint32_t{byte} << place % 4 * 8; }  ///< that is 0

    bool hasBitsFrom(unsigned bit) const {
        for (unsigned place = bit / 8; place < 16; ++place)
            if (byteAt(place) >> (place == bit / 8 ? bit % 8 : 0) != 0) return true;
        return false;
    }

    /// In decimal.
    std::string text() const {
        Uint128 rest = *this;
        std::string digits;
        do {
            digits.insert(digits.begin(), static_cast<char>('0' + rest.divide(10)));
        } while (rest.hasBitsFrom(0));
        return digits;
    }

private:
    std::array<uint32_t, 4> limbs_{};
};

}  // namespace ostrel::core
