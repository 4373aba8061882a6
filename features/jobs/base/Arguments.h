#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "features/errors/Result.h"
#include "ostrel/core/Status.h"
#include "ostrel/core/xml/XmlObject.h"

namespace features::jobs {

/// How the digits of a number are read.
enum class Digits : uint8_t {
    DECIMAL,         ///< decimal; hexadecimal after "0x"
    DECIMAL_OR_HEX,  ///< as above, and digits that are not all decimal are hexadecimal without "0x" too
    HEX,             ///< hexadecimal, with "0x" or without
};

/// Every character counts: false for anything that is not a number, or that does not fit, and `value` stays as it was.
bool readNumber(const std::string& text, Digits digits, uint64_t& value);

/// Whether `text` ends in `suffix`, which is cut off then.
bool takeSuffix(std::string& text, const std::string& suffix);

/// The arguments of a request: the properties of its root, by name. Of equal names the last one counts. An argument
/// with an empty value counts as absent where the method says so.
///
/// Ownership: refers to the request, which must outlive it.
/// Errors:    a value that is no number, does not fit, or is out of the caller's range gives 10/36 with a message that
///            names the argument and what it may be.
class Arguments {
public:
    explicit Arguments(const ostrel::core::xml::XmlObject& request) : request_(request) {}

    bool has(const std::string& key) const { return find(key) != nullptr; }
    /// The value as sent, or the empty string.
    std::string text(const std::string& key) const;
    /// Whether the value is "true" or "1", ignoring case; `absent` when there is none.
    bool flag(const std::string& key, bool absent = false) const;
    /// "true", "false", "1" or "0", ignoring case; empty for an argument that is absent or empty.
    Result<std::optional<bool>> boolean(const std::string& key) const;
    /// At most `most`; empty for an argument that is absent or empty.
    Result<std::optional<uint64_t>> number(const std::string& key, uint64_t most,
                                           Digits digits = Digits::DECIMAL) const;

private:
    const std::string* find(const std::string& key) const;

    const ostrel::core::xml::XmlObject& request_;
};

}  // namespace features::jobs
