#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace exporter {

/// What is asked of a drive; a row of REQUESTS (DriveRequests.h) each, in this order.
enum class Request : uint8_t { IDENTITY, SMART, SENSORS, PERFORMANCE, SELF_TEST, SANITIZE, BACKGROUND, NONE };

/// How the text of a value becomes a number.
enum class Conversion : uint8_t {
    NUMBER,       ///< a number with its unit, converted to the base unit (Values.h); words are no value
    HOURS,        ///< the same of a number that is in hours without saying so
    FLAG,         ///< "True" is 1, "False" 0
    ONE_OF,       ///< 1 for one of the words, 0 for any other text; "Unknown", "not reported"... are no value
    BEGINS_WITH,  ///< the same for a text that begins with one of the words
    NONE_OF,      ///< 0 for one of the words, 1 for any other text
    LEVEL,        ///< the position of the text among the words; another text is no value
    DONE,         ///< the percentage in "..., 12.50 % done", as a ratio
    PRESENT,      ///< 1 where the request was answered with this key, 0 where it was answered without it
};

/// Where a value comes from: the first property `key` of the answer to `request`. `words` are separated by '|'.
struct Source {
    Request request = Request::NONE;
    const char* key = "";
    Conversion conversion = Conversion::NUMBER;
    const char* words = "";
};

enum class MetricType : uint8_t { GAUGE, COUNTER };

/// A series of each drive. A row without a name is a further series of the metric above it, with another value of its
/// label. A row without a source is filled by code: SpecialMetrics.h, Exposition.h.
struct MetricRow {
    const char* name;
    MetricType type;
    bool isKept;  ///< in the snapshots
    const char* help;
    const char* label;  ///< "" for none
    const char* labelValue;
    Source source;
    Source otherwise;  ///< where the first one has no value: of SATA drives
};

struct MetricRows {
    const MetricRow* first;
    const MetricRow* last;
    const MetricRow* begin() const { return first; }
    const MetricRow* end() const { return last; }
};
/// All of them, in the order in which they are exposed.
MetricRows metricRows();

/// The row that begins the metric of that name; null where there is none.
const MetricRow* findMetric(std::string_view name);

/// The table of docs/exporter.md.
std::string metricsAsMarkdown();

}  // namespace exporter
