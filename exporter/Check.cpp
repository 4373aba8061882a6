#include "exporter/Check.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <optional>
#include <utility>

namespace exporter {
namespace {

enum State { OK, WARNING, CRITICAL, UNKNOWN };
constexpr std::array<const char*, 4> STATE_NAMES = {"OK", "WARNING", "CRITICAL", "UNKNOWN"};
// How grave a state is among several.
constexpr std::array<int, 4> GRAVITY = {0, 1, 3, 2};

/// What thresholds can be given for, and what is shown as performance data.
struct QuantityRow {
    const char* name;
    const char* metric;
    double factor;  ///< from the metric's unit to the one that is shown
    const char* unit;
    const char* warning;  ///< without an option; "" for none
    const char* critical;
};
// clang-format off
constexpr QuantityRow QUANTITIES[] = {
    {"temperature",      "nimbrel_drive_temperature_celsius",       1,          "",  "70", "80"},
    {"wear",             "nimbrel_drive_wear_ratio",                100,        "%", "80", "100"},
    {"spare",            "nimbrel_drive_available_spare_ratio",     100,        "%", "20:", ""},
    {"media_errors",     "nimbrel_drive_media_errors_total",        1,          "c", "",   ""},
    {"crc_errors",       "nimbrel_drive_interface_crc_errors_total", 1,         "c", "",   ""},
    {"unsafe_shutdowns", "nimbrel_drive_unsafe_shutdowns_total",    1,          "c", "",   ""},
    {"power_on",         "nimbrel_drive_power_on_seconds_total",    1.0 / 3600, "",  "",   ""},
};
// Metrics that are a state by themselves.
struct StateRow {
    const char* metric;
    double value;
    State state;
    const char* words;
};
constexpr StateRow STATES[] = {
    {"nimbrel_drive_healthy",                0, CRITICAL, "reports a failure"},
    {"nimbrel_drive_self_test_failed",       1, CRITICAL, "failed its newest self-test"},
    {"nimbrel_drive_sanitize_failed",        1, CRITICAL, "failed to sanitize"},
};
// clang-format on

const QuantityRow* findQuantity(const std::string& name) {
    for (const QuantityRow& row : QUANTITIES) {
        if (name == row.name) return &row;
    }
    return nullptr;
}

std::optional<double> valueOf(const DriveReading& reading, const std::string& metric) {
    for (const Sample& sample : reading.samples) {
        if (sample.name == metric) return sample.value;
    }
    return std::nullopt;
}

/// At most two decimals, none that say nothing.
std::string numberText(double value) {
    std::array<char, 64> text{};
    (void)std::snprintf(text.data(), text.size(), "%.2f", value);  // it fits: counters of 128 bits have 39 digits
    std::string number = text.data();
    number.erase(number.find_last_not_of('0') + 1);
    if (number.back() == '.') number.pop_back();
    return number;
}

/// The option's range, else the row's own; null where there is neither.
std::optional<Range> rangeOf(const QuantityRow& row, const Thresholds& thresholds, const char* otherwise) {
    const auto found = thresholds.find(row.name);
    if (found != thresholds.end()) return found->second;
    return *otherwise == '\0' ? std::nullopt : Range::parse(otherwise);
}

/// A text that cannot end the line or begin the performance data.
std::string plain(std::string text) {
    std::replace_if(text.begin(), text.end(), [](unsigned char c) { return c < ' ' || c == 0x7F || c == '|'; }, ' ');
    return text;
}

/// One that stays within the quotes of a label.
std::string label(const std::string& text) {
    std::string clean = plain(text);
    std::replace_if(clean.begin(), clean.end(), [](char c) { return c == '\'' || c == '='; }, ' ');
    return clean;
}

class Judgement {
public:
    Judgement(const Thresholds& warning, const Thresholds& critical) : warning_(warning), critical_(critical) {}

    void judge(const DriveReading& reading) {
        const std::string name = plain(reading.drive.text());
        for (const std::string& error : reading.errors) report(UNKNOWN, name + ": " + plain(error));
        if (!reading.isUp && reading.errors.empty()) report(UNKNOWN, name + " could not be read");
        for (const StateRow& row : STATES) {
            if (valueOf(reading, row.metric) == row.value) report(row.state, name + " " + row.words);
        }
        for (const QuantityRow& row : QUANTITIES) {
            if (const auto value = valueOf(reading, row.metric))
                judgeQuantity(row, *value * row.factor, name, label(reading.drive.serial));
        }
    }

    void report(State state, const std::string& words) {
        if (GRAVITY[state] > GRAVITY[state_]) state_ = state;
        problems_.emplace_back(state, words);
    }

    CheckResult result(std::size_t drives) {
        const auto graver = [](const auto& a, const auto& b) { return GRAVITY[a.first] > GRAVITY[b.first]; };
        std::stable_sort(problems_.begin(), problems_.end(), graver);
        std::string words;
        for (const auto& problem : problems_) words += (words.empty() ? "" : ", ") + problem.second;
        if (words.empty()) words = std::to_string(drives) + (drives == 1 ? " drive" : " drives");
        return {state_, std::string("NIMBREL ") + STATE_NAMES[state_] + ": " + words +
                            (performance_.empty() ? "" : " |" + performance_)};
    }

private:
    void judgeQuantity(const QuantityRow& row, double value, const std::string& name, const std::string& serial) {
        const auto warning = rangeOf(row, warning_, row.warning);
        const auto critical = rangeOf(row, critical_, row.critical);
        const bool isCritical = critical && critical->alerts(value);
        if (isCritical || (warning && warning->alerts(value))) {
            report(isCritical ? CRITICAL : WARNING,
                   name + " " + row.name + " " + numberText(value) + (*row.unit == '%' ? "%" : ""));
        }
        performance_ += " '" + serial + " " + row.name + "'=" + numberText(value) + row.unit + ";" +
                        (warning ? warning->text() : "") + ";" + (critical ? critical->text() : "");
    }

    const Thresholds& warning_;
    const Thresholds& critical_;
    State state_ = OK;
    std::vector<std::pair<State, std::string>> problems_{};
    std::string performance_{};
};

}  // namespace

std::string addThreshold(const std::string& text, Thresholds& thresholds) {
    const std::size_t equals = text.find('=');
    const std::string name = text.substr(0, equals);
    if (equals == std::string::npos || findQuantity(name) == nullptr)
        return "'" + text + "' is not QUANTITY=RANGE; the quantities are in --help.";
    const auto range = Range::parse(text.substr(equals + 1));
    if (!range) return "'" + text.substr(equals + 1) + "' is not a range.";
    return thresholds.emplace(name, *range).second ? "" : "The threshold of " + name + " is given twice.";
}

std::string quantitiesAsText() {
    std::string text;
    for (const QuantityRow& row : QUANTITIES) {
        text += std::string("      ") + row.name;
        if (*row.warning != '\0') text += std::string(", by default -w ") + row.warning;
        if (*row.critical != '\0') text += std::string(" -c ") + row.critical;
        text += "\n";
    }
    return text;
}

CheckResult check(const Collection& collection, const Thresholds& warning, const Thresholds& critical) {
    Judgement judgement(warning, critical);
    if (!collection.scanError.empty()) judgement.report(UNKNOWN, plain(collection.scanError));
    if (collection.drives.empty() && collection.scanError.empty()) judgement.report(UNKNOWN, "no drive was found");
    for (const DriveReading& reading : collection.drives) judgement.judge(reading);
    return judgement.result(collection.drives.size());
}

CheckResult unknown(const std::string& reason) {
    return {UNKNOWN, "NIMBREL UNKNOWN: " + plain(reason)};
}

}  // namespace exporter
