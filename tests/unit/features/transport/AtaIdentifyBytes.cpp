#include "tests/unit/features/transport/AtaIdentifyBytes.h"

#include <cstddef>
#include <numeric>

namespace {

void putWord(std::vector<uint8_t>& bytes, std::size_t word, uint64_t value) {
    bytes[word * 2] = static_cast<uint8_t>(value);
    bytes[word * 2 + 1] = static_cast<uint8_t>(value >> 8);
}

void putText(std::vector<uint8_t>& bytes, std::size_t word, std::size_t words, std::string text) {
    text.resize(words * 2, ' ');
    for (std::size_t i = 0; i < text.size(); ++i) bytes[word * 2 + (i ^ 1)] = static_cast<uint8_t>(text[i]);
}

}  // namespace

std::vector<uint8_t> ataIdentifyBytes(const AtaIdentifyFields& fields) {
    std::vector<uint8_t> bytes(512);
    putWord(bytes, 0, fields.general);
    putText(bytes, 10, 10, fields.serialNumber);
    putText(bytes, 23, 4, fields.firmware);
    putText(bytes, 27, 20, fields.modelNumber);
    putWord(bytes, 217, fields.rotationRate);
    if (fields.worldWideName != 0) {
        putWord(bytes, 87, 0x4100);
        for (std::size_t i = 0; i < 4; ++i) putWord(bytes, 108 + i, fields.worldWideName >> (48 - 16 * i));
    }
    bytes[510] = 0xA5;
    bytes[511] = static_cast<uint8_t>(0x100 - std::accumulate(bytes.begin(), bytes.end(), 0) % 0x100);
    return bytes;
}
