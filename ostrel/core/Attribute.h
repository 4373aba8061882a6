#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "ostrel/core/Payload.h"
#include "ostrel/core/Status.h"

namespace ostrel::core {

/// The type names. They travel on the wire.
constexpr const char* typeString() {
    return "string";
}
constexpr const char* typeSint8() {
    return "sint8";
}
constexpr const char* typeSint16() {
    return "sint16";
}
constexpr const char* typeSint32() {
    return "sint32";
}
constexpr const char* typeSint64() {
    return "sint64";
}
constexpr const char* typeUint8() {
    return "uint8";
}
constexpr const char* typeUint16() {
    return "uint16";
}
constexpr const char* typeUint32() {
    return "uint32";
}
constexpr const char* typeUint64() {
    return "uint64";
}
constexpr const char* typeUint128() {
    return "uint128";
}
constexpr const char* typeUlong() {
    return "ulong";
}
constexpr const char* typeDouble() {
    return "double";
}
constexpr const char* typeBoolean() {
    return "boolean";
}
constexpr const char* typeBytepointer() {
    return "bytepointer";
}
constexpr const char* typeListUint64() {
    return "list_uint64";
}
constexpr const char* typeVectorOfStrings() {
    return "vectorOfStrings";
}
constexpr const char* typeVectorOfPayloads() {
    return "vectorOfPayloads";
}
constexpr const char* typeHexValue() {
    return "hexValue";
}

/// A named, typed value: what is known about a device, what a request carries, what a response holds. The predefined
/// ones are in AttributeVocabulary.h, which is where names come from.
///
/// The value is raw bytes. The type decides how they become text and back, and what a setter leaves there:
///
///     type                          bytes                                   text
///     string                        characters and a zero byte              the characters
///     sint8, sint16, sint32, sint64 1, 2, 4, 8, little endian               decimal; "-1" without a value
///     uint8, uint16, uint32, uint64 1, 2, 4, 8, little endian               decimal of at most 8 bytes; "0" without
///     ulong                         8, little endian                        decimal; "0" without a value
///     uint128                       16, little endian                       decimal; "0" without a value
///     double                        8                                       always empty
///     boolean                       1                                       "True" for 1, otherwise "False"
///     bytepointer                   any                                     hexadecimal, upper case
///     list_uint64                   decimals joined by '~' and a zero byte  these bytes (not the list) in hexadecimal
///     vectorOfStrings               strings joined by '~' and a zero byte   the strings joined by '~'
///     vectorOfPayloads              not decoded                             always empty
///     hexValue                      any, big endian                         "0x" and digits without leading zero bytes
///
/// Ownership: copies share the bytes of the value; setters put a new Payload in place and leave the copies alone.
class Attribute {
public:
    /// No name, no value, type "bytepointer".
    Attribute();
    /// No value.
    Attribute(std::string name, std::string displayName, std::string type);
    /// With a value, as setValue() stores it.
    template <typename Value>
    Attribute(std::string name, std::string displayName, std::string type, const Value& value);

    const std::string& getName() const { return name_; }
    const std::string& getDisplayName() const { return displayName_; }
    const std::string& getDescription() const { return description_; }
    const Payload& getValue() const { return value_; }
    const std::string& getType() const { return type_; }
    /// Bytes of the value.
    uint32_t getSize() const { return value_.getSize(); }

    void setDescription(const std::string& description) { description_ = description; }
    void setType(const std::string& type) { type_ = type; }

    /// Shares the buffer.
    void setValue(const Payload& value) { value_ = value; }
    /// Little endian, as wide as the argument, whatever the attribute's type. A bool is one byte, 1 or 0.
    template <typename Number, typename = std::enable_if_t<std::is_integral_v<Number>>>
    void setValue(Number value) {
        setNumber(static_cast<uint64_t>(value), sizeof value);
    }
    /// The characters and a zero byte.
    void setValue(const std::string& value);
    /// A copy of the bytes.
    void setValue(const void* data, uint64_t size);

    /// The elements joined by '~', for a "vectorOfStrings" or a "list_uint64".
    void setList(const std::vector<std::string>& list);
    void setList(const std::vector<uint64_t>& list);

    std::string getText() const;

    // The value read in one way whatever the type.

    /// All bytes but the last, which is the terminator of a text. Valid as long as the value.
    std::string_view getCharacters() const;
    /// Whether the first byte is 1.
    bool isTrue() const;
    /// The first eight bytes at most, little endian; 0 without a value.
    uint64_t getNumber() const;

    /// Reads the value from text, by type. Returns 0/40 and keeps the old value when the text does not suit the type.
    ///
    /// Numbers are decimal or hexadecimal ("10", "ff", "0x10"), without a sign; one that does not fit is refused, never
    /// cut, and so is an empty text. A double takes a decimal fraction too. A boolean is "0", "1", "true" or "false",
    /// ignoring case. A hexValue is hexadecimal even without a prefix. A bytepointer and a list_uint64 take pairs of
    /// hexadecimal digits, as getText() gives them. A vectorOfPayloads and an unknown type take nothing.
    Status fromText(const std::string& text);

private:
    void setNumber(uint64_t number, unsigned widthBytes);

    std::string name_;
    std::string displayName_;
    std::string description_;
    Payload value_;
    std::string type_;
};

/// The order in which attributes are shown: by the upper-cased names, byte by byte.
bool operator<(const Attribute& left, const Attribute& right);
/// The names ignoring case and the types. The value takes no part.
bool operator==(const Attribute& left, const Attribute& right);
bool operator!=(const Attribute& left, const Attribute& right);

template <typename Value>
Attribute::Attribute(std::string name, std::string displayName, std::string type, const Value& value)
    : Attribute(std::move(name), std::move(displayName), std::move(type)) {
    setValue(value);
}

}  // namespace ostrel::core
