#include "features/jobs/firmware/FirmwareManifest.h"

#include <algorithm>
#include <cctype>
#include <iterator>

#include "features/jobs/firmware/JsonMembers.h"

namespace features::jobs {

namespace {

/// A manifest has three.
constexpr std::ptrdiff_t MAX_BRACKETS = 16;
constexpr size_t MAX_PATTERNS = 64;
constexpr size_t MAX_PATTERN_BYTES = 64;
constexpr size_t REVISION_BYTES = 8;
constexpr size_t MAX_NAME_BYTES = 255;
constexpr size_t SHA256_DIGITS = 64;

bool isPrintable(const std::string& text, size_t most) {
    return !text.empty() && text.size() <= most &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c <= 0x7E; });
}

template <std::string FirmwareManifest::* FIELD, bool (*IS_VALID)(const std::string&)>
bool takeText(const JsonValue& value, FirmwareManifest& manifest) {
    if (value.kind != JsonValue::Kind::TEXT || !IS_VALID(value.texts[0])) return false;
    manifest.*FIELD = value.texts[0];
    return true;
}

template <std::vector<std::string> FirmwareManifest::* FIELD>
bool takePatterns(const JsonValue& value, FirmwareManifest& manifest) {
    if (value.kind != JsonValue::Kind::LIST || value.texts.empty() || value.texts.size() > MAX_PATTERNS) return false;
    manifest.*FIELD = value.texts;
    return std::all_of(value.texts.begin(), value.texts.end(),
                       [](const std::string& pattern) { return isPrintable(pattern, MAX_PATTERN_BYTES); });
}

bool isRevision(const std::string& text) {
    return isPrintable(text, REVISION_BYTES) && text.front() != ' ' && text.back() != ' ';
}

/// Dates are compared as texts.
bool isDate(const std::string& text) {
    const std::string shape = "0000-00-00";
    if (text.size() != shape.size()) return false;
    for (size_t i = 0; i < shape.size(); ++i) {
        const bool isDigit = std::isdigit(static_cast<unsigned char>(text[i])) != 0;
        if (shape[i] == '0' ? !isDigit : text[i] != shape[i]) return false;
    }
    const std::string month = text.substr(5, 2);
    const std::string day = text.substr(8);
    return month >= "01" && month <= "12" && day >= "01" && day <= "31";
}

/// A name in the manifest's own folder, and not a hidden one.
bool isFileName(const std::string& text) {
    return isPrintable(text, MAX_NAME_BYTES) && text.front() != '.' && text.find('/') == std::string::npos;
}

bool isSha256(const std::string& text) {
    return text.size() == SHA256_DIGITS && text.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
}

struct KeyRow {
    const char* key;
    bool (*take)(const JsonValue& value, FirmwareManifest& manifest);
    const char* rule;
};
constexpr KeyRow KEYS[] = {
    {"models", takePatterns<&FirmwareManifest::models>, "a list of 1 to 64 patterns of model numbers"},
    {"revision", takeText<&FirmwareManifest::revision, isRevision>, "1 to 8 characters"},
    {"released", takeText<&FirmwareManifest::released, isDate>, "a date like 2026-03-31"},
    {"from", takePatterns<&FirmwareManifest::from>, "a list of 1 to 64 patterns of revisions"},
    {"file", takeText<&FirmwareManifest::file, isFileName>, "the name of a file in the same folder"},
    {"sha256", takeText<&FirmwareManifest::sha256, isSha256>, "64 hexadecimal digits"},
};

std::string takeKeys(const JsonMembers& members, FirmwareManifest& manifest) {
    for (const KeyRow& row : KEYS) {
        const auto isKey = [&](const auto& member) { return member.first == row.key; };
        const auto found = std::find_if(members.begin(), members.end(), isKey);
        if (std::count_if(members.begin(), members.end(), isKey) != 1 || !row.take(found->second, manifest))
            return std::string("'") + row.key + "' must be given once and be " + row.rule;
    }
    // A key that is misspelt, or of a later form, must not be passed over: it may forbid something.
    return members.size() == std::size(KEYS) ? "" : "it has a key that is not known";
}

bool matches(const std::string& pattern, const std::string& text) {
    size_t p = 0;
    size_t afterStar = std::string::npos;
    size_t retry = 0;
    for (size_t t = 0; t < text.size();) {
        if (p < pattern.size() && pattern[p] == '*') {
            afterStar = ++p;
            retry = t;
        } else if (p < pattern.size() && (pattern[p] == '?' || pattern[p] == text[t])) {
            ++p;
            ++t;
        } else if (afterStar != std::string::npos) {  // let the last star take one character more
            p = afterStar;
            t = ++retry;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', p) == std::string::npos;
}

}  // namespace

std::string readFirmwareManifest(const std::string& text, FirmwareManifest& manifest) {
    if (text.size() > MAX_MANIFEST_BYTES) return "it is too large";
    if (std::count_if(text.begin(), text.end(), [](char c) { return c == '[' || c == '{'; }) > MAX_BRACKETS)
        return "it has too many brackets";
    JsonMembers members;
    const std::string place = readJsonMembers(text, members);
    if (!place.empty()) return "it is not JSON: syntax error in " + place;
    FirmwareManifest read;
    std::string fault = takeKeys(members, read);
    if (fault.empty()) manifest = std::move(read);
    return fault;
}

bool matchesOne(const std::vector<std::string>& patterns, const std::string& text) {
    return std::any_of(patterns.begin(), patterns.end(),
                       [&](const std::string& pattern) { return matches(pattern, text); });
}

}  // namespace features::jobs
