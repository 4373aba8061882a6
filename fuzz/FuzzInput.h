#pragma once

#include <cstddef>
#include <cstdint>

/// Takes an input apart. What is missing at its end is zero.
class FuzzInput {
public:
    FuzzInput(const uint8_t* data, size_t size) : at_(data), end_(data + size) {}

    bool isEmpty() const { return at_ == end_; }
    uint8_t byte() { return isEmpty() ? uint8_t{0} : *at_++; }
    /// Little endian.
    uint32_t dword() {
        uint32_t value = 0;
        for (int i = 0; i < 4; ++i) value |= uint32_t{byte()} << 8 * i;
        return value;
    }
    template <class Choice, size_t N>
    const Choice& pick(const Choice (&choices)[N]) {
        return choices[byte() % N];
    }

private:
    const uint8_t* at_;
    const uint8_t* end_;
};
