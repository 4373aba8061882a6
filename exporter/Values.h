#pragma once

#include <optional>
#include <string_view>

#include "exporter/MetricTable.h"

namespace exporter {

/// What a text of the feature library is as a number.
struct Value {
    std::optional<double> number;  ///< none: words, as "not reported"
    bool isUnknownUnit = false;    ///< a number whose unit is not in the table: an error
};

/// The number in base units: bytes, seconds, degrees Celsius, ratios of 1, transfers or bytes a second. `unit` is what
/// the library says beside the value; where that is empty, the text itself has the unit after the number ("38 C").
Value toValue(std::string_view text, std::string_view unit, const Source& source);

}  // namespace exporter
