#include "features/jobs/base/Arguments.h"

#include <cctype>
#include <limits>

#include "features/nvme/FieldTree.h"
#include "ostrel/core/Strings.h"
#include "ostrel/core/xml/XmlConstants.h"
#include "ostrel/core/xml/XmlProperty.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

bool isHexadecimal(const std::string& text, bool hasPrefix, Digits digits) {
    if (digits == Digits::DECIMAL_OR_HEX) return hasPrefix || !isInteger(text);
    return hasPrefix || digits == Digits::HEX;
}

}  // namespace

bool readNumber(const std::string& text, Digits digits, uint64_t& value) {
    const bool hasPrefix = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const bool hex = isHexadecimal(text, hasPrefix, digits);
    const unsigned base = hex ? 16 : 10;
    uint64_t number = 0;
    for (const char c : text.substr(hasPrefix ? 2 : 0)) {
        const auto digit = static_cast<unsigned char>(c);
        if (hex ? std::isxdigit(digit) == 0 : std::isdigit(digit) == 0) return false;
        const unsigned weight =
            std::isdigit(digit) ? digit - '0' : static_cast<unsigned>(std::toupper(digit)) - 'A' + 10;
        if (number > (std::numeric_limits<uint64_t>::max() - weight) / base) return false;
        number = number * base + weight;
    }
    value = number;
    return !text.empty();
}

bool takeSuffix(std::string& text, const std::string& suffix) {
    if (text.size() < suffix.size() || text.compare(text.size() - suffix.size(), suffix.size(), suffix) != 0)
        return false;
    text.resize(text.size() - suffix.size());
    return true;
}

const std::string* Arguments::find(const std::string& key) const {
    const std::string* value = nullptr;
    for (const auto& property : request_.properties) {
        const auto name = property->attributes.find(xml::KEY_NAME);
        if (name == property->attributes.end() || name->second != key) continue;
        value = &property->attributes[xml::KEY_VALUE];
    }
    return value;
}

std::string Arguments::text(const std::string& key) const {
    const std::string* value = find(key);
    return value == nullptr ? std::string() : *value;
}

bool Arguments::flag(const std::string& key, bool absent) const {
    const std::string* value = find(key);
    if (value == nullptr || value->empty()) return absent;
    return *value == "1" || toBoolean(*value);
}

Result<std::optional<bool>> Arguments::boolean(const std::string& key) const {
    const std::string* text = find(key);
    if (text == nullptr || text->empty()) return std::nullopt;
    if (!isBoolean(*text)) {
        return Status(CATEGORY_FEATURE, 36,
                      "Invalid value given for " + key + ": '" + *text + "'. It must be true or false.");
    }
    return flag(key);
}

Result<std::optional<uint64_t>> Arguments::number(const std::string& key, uint64_t most, Digits digits) const {
    const std::string* text = find(key);
    if (text == nullptr || text->empty()) return std::nullopt;
    uint64_t number = 0;
    if (!readNumber(*text, digits, number) || number > most) {
        const std::string range = digits == Digits::HEX ? "a hexadecimal number from 0 to " + nvme::hexText(most)
                                                        : "a number from 0 to " + std::to_string(most);
        return Status(CATEGORY_FEATURE, 36,
                      "Invalid value given for " + key + ": '" + *text + "'. It must be " + range + ".");
    }
    return number;
}

}  // namespace features::jobs
