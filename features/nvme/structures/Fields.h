#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <vector>

/// What the structures in this folder are made of: the bytes that controller and host exchange, with alignment 1, so
/// that a structure has no padding and reads the same on every machine.
namespace features::nvme {

/// A little-endian number of BYTES bytes.
template <class Number, std::size_t BYTES>
class LittleEndian {
public:
    LittleEndian() = default;
    LittleEndian(Number number) { *this = number; }  // NOLINT(google-explicit-constructor): the field is its number
    LittleEndian& operator=(Number number) {
        for (std::size_t i = 0; i < BYTES; ++i) bytes_[i] = static_cast<uint8_t>(uint64_t{number} >> 8 * i);
        return *this;
    }
    operator Number() const {  // NOLINT(google-explicit-constructor): the same
        uint64_t number = 0;
        for (std::size_t i = BYTES; i > 0; --i) number = number << 8 | bytes_[i - 1];
        return static_cast<Number>(number);
    }

private:
    uint8_t bytes_[BYTES];
};
using Le16 = LittleEndian<uint16_t, 2>;
using Le24 = LittleEndian<uint32_t, 3>;
using Le32 = LittleEndian<uint32_t, 4>;
using Le48 = LittleEndian<uint64_t, 6>;
using Le64 = LittleEndian<uint64_t, 8>;

/// A little-endian number of 16 bytes, which no type of the language holds.
struct Le128 {
    Le64 low;
    Le64 high;

    Le128& operator=(uint64_t number) {
        low = number;
        high = 0;
        return *this;
    }
};

/// A text, an identifier, or what is reserved.
template <std::size_t COUNT>
using ByteArray = std::array<uint8_t, COUNT>;

/// A copy of the structure at `bytes`, which has to be whole: the caller has checked the length.
template <class Structure>
Structure structureAt(const uint8_t* bytes) {
    static_assert(std::is_trivially_copyable_v<Structure> && alignof(Structure) == 1);
    Structure structure;
    std::memcpy(&structure, bytes, sizeof structure);
    return structure;
}
/// Writes a structure over the bytes at `at`.
template <class Structure>
void putStructure(uint8_t* at, const Structure& structure) {
    static_assert(std::is_trivially_copyable_v<Structure> && alignof(Structure) == 1);
    std::memcpy(at, &structure, sizeof structure);
}
template <class Structure>
std::vector<uint8_t> bytesOf(const Structure& structure) {
    std::vector<uint8_t> bytes(sizeof structure);
    putStructure(bytes.data(), structure);
    return bytes;
}

}  // namespace features::nvme

/// Offset and width of a member, as the rows of a table of fields have them.
#define FIELD(structure, member) offsetof(structure, member), sizeof(structure::member)
