#include "features/jobs/firmware/JsonMembers.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace features::jobs {

namespace {

using nlohmann::json;

/// Takes the events of the parser, since its tree of values would hold one of two values with the same key, and no
/// number as it is written. The parser throws no error of its own then, but hands it over.
class MemberReader : public nlohmann::json_sax<json> {
public:
    explicit MemberReader(JsonMembers& members) : members_(members) {}

    /// Where the parser stopped: the number of bytes before that one.
    size_t errorOffset() const { return errorOffset_; }

    bool null() override { return take("null"); }
    bool boolean(bool value) override { return take(value ? "true" : "false"); }
    bool number_integer(number_integer_t value) override {
        return take(value == 0 ? "-0" : std::to_string(value));  // without the sign it is an unsigned one
    }
    bool number_unsigned(number_unsigned_t value) override { return take(std::to_string(value)); }
    bool number_float(number_float_t, const string_t& text) override { return take(text); }
    bool string(string_t& text) override { return take(text); }
    bool binary(binary_t&) override { return false; }  // JSON has none

    bool start_object(std::size_t) override { return open(JsonValue::Kind::NESTED); }
    bool key(string_t& name) override {
        if (depth_ == 1) members_.emplace_back(name, JsonValue());
        return true;
    }
    bool end_object() override { return close(); }
    bool start_array(std::size_t) override { return open(JsonValue::Kind::LIST); }
    bool end_array() override { return close(); }

    bool parse_error(std::size_t bytesRead, const std::string&, const json::exception&) override {
        errorOffset_ = bytesRead - 1;
        return false;
    }

private:
    /// A list or an object begins: the text itself, the value of a key, or within one.
    bool open(JsonValue::Kind kind) {
        ++depth_;
        if (!members_.empty()) members_.back().second.kind = depth_ == 2 ? kind : JsonValue::Kind::NESTED;
        return true;
    }
    bool close() {
        --depth_;
        return true;
    }
    bool take(const std::string& text) {
        if (!members_.empty()) members_.back().second.texts.push_back(text);
        return true;
    }

    JsonMembers& members_;
    size_t depth_ = 0;
    size_t errorOffset_ = 0;
};

std::string placeOf(const std::string& text, size_t offset) {
    const auto end = text.begin() + static_cast<std::ptrdiff_t>(offset);
    const auto lines = std::count(text.begin(), end, '\n');
    const size_t lineStart = lines == 0 ? 0 : text.rfind('\n', offset - 1) + 1;
    return "line " + std::to_string(lines + 1) + ", column " + std::to_string(offset - lineStart + 1);
}

}  // namespace

std::string readJsonMembers(const std::string& text, JsonMembers& members) {
    members.clear();
    MemberReader reader(members);
    if (!json::sax_parse(text, &reader)) return placeOf(text, reader.errorOffset());
    // The parser takes a NUL for the end of the text.
    const size_t nul = text.find('\0');
    return nul == std::string::npos ? std::string() : placeOf(text, nul);
}

}  // namespace features::jobs
