#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

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
template <class Output>
class ArchiveOutput {
public:
    template <class... Members>
    void operator()(Members&... members) {
        (put(members), ...);
    }

protected:
    template <class... Arguments>
    explicit ArchiveOutput(Arguments... arguments) : output_(arguments...) {}

    Output output_;

private:
    void putCount(size_t count) { output_.template number<4>(count); }

    template <class T>
    void put(T& value) {
        if constexpr (std::is_integral_v<T> || std::is_enum_v<T>) {
            output_.template number<sizeof value>(static_cast<uint64_t>(value));
        } else {
            value.fields(*this);
        }
    }
    void put(std::string& text) {
        putCount(text.size());
        output_.bytes(text.data(), text.size());
    }
    void put(std::vector<uint8_t>& bytes) {
        putCount(bytes.size());
        output_.bytes(bytes.data(), bytes.size());
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
        output_.template number<1>(item.has_value() ? 1 : 0);
        if (item) put(*item);
    }
};

/// The bytes of records, one after the other.
class ArchivedBytes {
public:
    template <size_t WIDTH>
    void number(uint64_t value) {
        uint8_t* place = grow(WIDTH);
        for (size_t i = 0; i < WIDTH; ++i) place[i] = static_cast<uint8_t>(value >> 8 * i);
    }
    void bytes(const void* data, size_t count) {
        if (count != 0) std::memcpy(grow(count), data, count);
    }
    void zeros(size_t count) { std::memset(grow(count), 0, count); }
    std::vector<uint8_t> take() {
        bytes_.resize(size_);
        return std::move(bytes_);
    }

private:
    /// Room for `count` more bytes, which the caller writes. Most are numbers: the vector's own growth byte by byte
    /// would cost more than they do.
    uint8_t* grow(size_t count) {
        if (bytes_.size() - size_ < count) bytes_.resize(2 * bytes_.size() + count + FIRST_BYTES);
        uint8_t* place = bytes_.data() + size_;
        size_ += count;
        return place;
    }

    static constexpr size_t FIRST_BYTES = 4096;

    std::vector<uint8_t> bytes_;
    size_t size_ = 0;  ///< of those that were written
};

class ArchiveWriter : public ArchiveOutput<ArchivedBytes> {
public:
    /// The bytes so far; nothing may be written after that.
    std::vector<uint8_t> take() { return output_.take(); }
    /// Zeros, for what is filled in later.
    void skip(size_t count) { output_.zeros(count); }
};

/// Compares the bytes of records with others as they come, and keeps none.
class ComparedBytes {
public:
    ComparedBytes(const uint8_t* data, size_t size) : at_(data), end_(data + size) {}

    template <size_t WIDTH>
    void number(uint64_t value) {
        uint8_t digits[WIDTH];
        for (size_t i = 0; i < WIDTH; ++i) digits[i] = static_cast<uint8_t>(value >> 8 * i);
        bytes(digits, WIDTH);
    }
    void bytes(const void* data, size_t count) {
        isSame_ =
            isSame_ && count <= static_cast<size_t>(end_ - at_) && (count == 0 || std::memcmp(at_, data, count) == 0);
        if (isSame_) at_ += count;
    }
    bool isSame() const { return isSame_ && at_ == end_; }

private:
    const uint8_t* at_;
    const uint8_t* end_;
    bool isSame_ = true;
};

/// Whether records have these bytes.
class ArchiveComparison : public ArchiveOutput<ComparedBytes> {
public:
    ArchiveComparison(const uint8_t* data, size_t size) : ArchiveOutput(data, size) {}

    bool isSame() const { return output_.isSame(); }
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
