#include "features/jobs/support/Sha256.h"

#include <array>
#include <cstdint>

namespace features::jobs {

namespace {

constexpr size_t BLOCK_BYTES = 64;
constexpr size_t ROUNDS = 64;
using State = std::array<uint32_t, 8>;

// clang-format off
/// The first 32 bits of the fractions of the cube roots of the first 64 primes, and of the square roots of the first 8.
constexpr uint32_t CONSTANTS[ROUNDS] = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2,
};
constexpr State INITIAL = {
    0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a, 0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19,
};
// clang-format on

constexpr uint32_t turn(uint32_t word, unsigned by) {
    return word >> by | word << (32 - by);
}

uint32_t bigEndian(const char* at) {
    uint32_t word = 0;
    for (size_t i = 0; i < 4; ++i) word = word << 8 | static_cast<uint8_t>(at[i]);
    return word;
}

void addBlock(State& state, const char* block) {
    uint32_t words[ROUNDS];
    for (size_t i = 0; i < 16; ++i) words[i] = bigEndian(block + 4 * i);
    for (size_t i = 16; i < ROUNDS; ++i) {
        const uint32_t near = words[i - 2];
        const uint32_t far = words[i - 15];
        words[i] = words[i - 16] + (turn(far, 7) ^ turn(far, 18) ^ far >> 3) + words[i - 7] +
                   (turn(near, 17) ^ turn(near, 19) ^ near >> 10);
    }
    auto [a, b, c, d, e, f, g, h] = state;
    for (size_t i = 0; i < ROUNDS; ++i) {
        const uint32_t first =
            h + (turn(e, 6) ^ turn(e, 11) ^ turn(e, 25)) + ((e & f) ^ (~e & g)) + CONSTANTS[i] + words[i];
        const uint32_t second = (turn(a, 2) ^ turn(a, 13) ^ turn(a, 22)) + ((a & b) ^ (a & c) ^ (b & c));
        h = g;
        g = f;
        f = e;
        e = d + first;
        d = c;
        c = b;
        b = a;
        a = first + second;
    }
    const State added = {a, b, c, d, e, f, g, h};
    for (size_t i = 0; i < state.size(); ++i) state[i] += added[i];
}

/// What follows the last whole block: the rest, a bit 1, zeros, and the number of bits in 8 bytes.
std::string paddedRest(std::string_view bytes) {
    std::string rest(bytes.substr(bytes.size() / BLOCK_BYTES * BLOCK_BYTES));
    rest += '\x80';
    while (rest.size() % BLOCK_BYTES != BLOCK_BYTES - 8) rest += '\0';
    const uint64_t numberOfBits = uint64_t{bytes.size()} * 8;
    for (unsigned shift = 64; shift != 0; shift -= 8) rest += static_cast<char>(numberOfBits >> (shift - 8));
    return rest;
}

}  // namespace

std::string sha256Text(std::string_view bytes) {
    State state = INITIAL;
    for (size_t at = 0; at + BLOCK_BYTES <= bytes.size(); at += BLOCK_BYTES) addBlock(state, bytes.data() + at);
    const std::string rest = paddedRest(bytes);
    for (size_t at = 0; at < rest.size(); at += BLOCK_BYTES) addBlock(state, rest.data() + at);
    std::string text;
    for (const uint32_t word : state) {
        for (unsigned shift = 32; shift != 0; shift -= 4) text += "0123456789abcdef"[word >> (shift - 4) & 0xF];
    }
    return text;
}

}  // namespace features::jobs
