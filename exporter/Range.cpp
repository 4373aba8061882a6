#include "exporter/Range.h"

#include <charconv>
#include <cmath>
#include <string_view>

namespace exporter {
namespace {

bool parseNumber(std::string_view text, double& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed);
    return error == std::errc() && end == text.data() + text.size() && std::isfinite(number);
}

}  // namespace

std::optional<Range> Range::parse(const std::string& text) {
    Range range;
    range.text_ = text;
    std::string_view rest = text;
    if (!rest.empty() && rest.front() == '@') {
        range.isInside_ = true;
        rest.remove_prefix(1);
    }
    const std::size_t colon = rest.find(':');
    if (colon != std::string_view::npos) {
        const std::string_view from = rest.substr(0, colon);
        if (from == "~") {
            range.from_ = -std::numeric_limits<double>::infinity();
        } else if (!parseNumber(from, range.from_)) {
            return std::nullopt;
        }
        rest.remove_prefix(colon + 1);
        if (rest.empty()) return range;
    }
    if (!parseNumber(rest, range.to_) || range.from_ > range.to_) return std::nullopt;
    return range;
}

bool Range::alerts(double value) const {
    return (value >= from_ && value <= to_) == isInside_;
}

}  // namespace exporter
