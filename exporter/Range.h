#pragma once

#include <limits>
#include <optional>
#include <string>

namespace exporter {

/// A range by the Monitoring Plugins guidelines: "10" alerts below 0 and above 10, "10:" below 10, "~:10" above 10,
/// "10:20" outside of both, "@10:20" within.
class Range {
public:
    /// None for another text.
    static std::optional<Range> parse(const std::string& text);

    bool alerts(double value) const;
    /// As it was written: performance data has it.
    const std::string& text() const { return text_; }

private:
    std::string text_;
    double from_ = 0;
    double to_ = std::numeric_limits<double>::infinity();
    bool isInside_ = false;
};

}  // namespace exporter
