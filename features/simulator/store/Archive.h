#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "features/nvme/Bytes.h"

namespace features::simulator {

/// Records become bytes and back by one list of their members each, so that writer and reader cannot drift apart:
///
///     struct Slot {
///         std::string revision;
///         uint64_t sinceMs = 0;
///         template <class A> void fields(A& archive) { archive(revision, sinceMs); }
///     };
///
/// Members may be numbers, bool, enumerations, strings, arrays, vectors, maps, optionals and records. Numbers are
/// little endian, counts are 4 bytes.
class ArchiveWriter {
public:
    template <class... Members>
    void operator()(Members&... members) {
        (put(members), ...);
    }
    /// The bytes so far; nothing may be written after that.
    std::vector<uint8_t> take() {
        bytes_.resize(size_);
        return std::move(bytes_);
    }
    /// Zeros, for what is filled in later.
    void skip(size_t count) { std::memset(grow(count), 0, count); }

private:
    /// Room for `count` more bytes, which the caller writes. Most are numbers: the vector's own growth byte by byte
    /// would cost more than they do.
    uint8_t* grow(size_t count) {
        if (bytes_.size() - size_ < count) bytes_.resize(2 * bytes_.size() + count + FIRST_BYTES);
        uint8_t* place = bytes_.data() + size_;
        size_ += count;
        return place;
    }

    void putNumber(uint64_t value, size_t width) {
        uint8_t* bytes = grow(width);
        for (size_t i = 0; i < width; ++i) bytes[i] = static_cast<uint8_t>(value >> 8 * i);
    }
    void putCount(size_t count) { putNumber(count, 4); }

    template <class T>
    void put(T& value) {
        if constexpr (std::is_integral_v<T> || std::is_enum_v<T>) {
            putNumber(static_cast<uint64_t>(value), sizeof value);
        } else {
            value.fields(*this);
        }
    }
    void put(std::string& text) {
        putCount(text.size());
        std::copy(text.begin(), text.end(), grow(text.size()));
    }
    void put(std::vector<uint8_t>& bytes) {
        putCount(bytes.size());
        std::copy(bytes.begin(), bytes.end(), grow(bytes.size()));
    }
    template <class T, size_t N>
    void put(std::array<T, N>& items) {
        for (T& item : items) put(item);
    }
    template <class T>
    void put(std::vector<T>& items) {
        putCount(items.size());
        for (T& item : items) put(item);
    }
    template <class K, class V>
    void put(std::map<K, V>& items) {
        putCount(items.size());
        for (auto& [key, value] : items) {
            K copy = key;
            put(copy);
            put(value);
        }
    }
    template <class T>
    void put(std::optional<T>& item) {
        putNumber(item.has_value() ? 1 : 0, 1);
        if (item) put(*item);
    }

    static constexpr size_t FIRST_BYTES = 4096;

    std::vector<uint8_t> bytes_;
    size_t size_ = 0;  ///< of those that were written
};

/// The other way. Bytes that end too early, or leave some over, make isDamaged() true; nothing is read past the end.
class ArchiveReader {
public:
    ArchiveReader(const uint8_t* data, size_t size) : at_(data), end_(data + size) {}

    template <class... Members>
    void operator()(Members&... members) {
        (get(members), ...);
    }
    bool isDamaged() const { return isDamaged_ || at_ != end_; }

private:
    size_t remaining() const { return static_cast<size_t>(end_ - at_); }
    bool has(size_t count) {
        if (remaining() < count) isDamaged_ = true;
        return !isDamaged_;
    }
    uint64_t getNumber(size_t width) {
        uint64_t value = 0;
        if (!has(width)) return value;
        for (size_t i = 0; i < width; ++i) value |= static_cast<uint64_t>(*at_++) << 8 * i;
        return value;
    }
    /// Every item takes a byte at least, so that a count never asks for more memory than the bytes justify.
    size_t getCount() {
        const auto count = static_cast<size_t>(getNumber(4));
        return has(count) ? count : 0;
    }

    template <class T>
    void get(T& value) {
        if constexpr (std::is_same_v<T, bool>) {
            value = getNumber(1) != 0;
        } else if constexpr (std::is_integral_v<T> || std::is_enum_v<T>) {
            value = static_cast<T>(getNumber(sizeof value));
        } else {
            value.fields(*this);
        }
    }
    void get(std::string& text) {
        const size_t count = getCount();
        text.assign(at_, at_ + count);
        at_ += count;
    }
    void get(std::vector<uint8_t>& bytes) {
        const size_t count = getCount();
        bytes.assign(at_, at_ + count);
        at_ += count;
    }
    template <class T, size_t N>
    void get(std::array<T, N>& items) {
        for (T& item : items) get(item);
    }
    template <class T>
    void get(std::vector<T>& items) {
        items.clear();
        for (size_t count = getCount(); count != 0 && !isDamaged_; --count) get(items.emplace_back());
    }
    template <class K, class V>
    void get(std::map<K, V>& items) {
        items.clear();
        for (size_t count = getCount(); count != 0 && !isDamaged_; --count) {
            K key{};
            get(key);
            get(items[key]);
        }
    }
    template <class T>
    void get(std::optional<T>& item) {
        item.reset();
        if (getNumber(1) != 0) get(item.emplace());
    }

    const uint8_t* at_;
    const uint8_t* end_;
    bool isDamaged_ = false;
};

}  // namespace features::simulator
