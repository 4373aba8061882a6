#pragma once

#include <map>
#include <string>
#include <vector>

#include "exporter/Collector.h"
#include "exporter/Range.h"

namespace exporter {

/// Thresholds by the name of a quantity, which is a row of Check.cpp.
using Thresholds = std::map<std::string, Range>;

/// "temperature=70": adds a threshold, or says what is wrong with the text; empty: nothing.
std::string addThreshold(const std::string& text, Thresholds& thresholds);
/// The quantities with their units, and the thresholds that hold without an option, for the help.
std::string quantitiesAsText();

/// What a monitoring plugin prints, a line, and its exit status: 0 OK, 1 WARNING, 2 CRITICAL, 3 UNKNOWN. Of several
/// the gravest: CRITICAL, UNKNOWN, WARNING, OK, since a drive that cannot be read may be the one that fails.
struct CheckResult {
    int status = 3;
    std::string line;
};
CheckResult check(const Collection& collection, const Thresholds& warning, const Thresholds& critical);

/// UNKNOWN for a reason that left no collection.
CheckResult unknown(const std::string& reason);

}  // namespace exporter
