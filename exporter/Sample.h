#pragma once

#include <string>
#include <utility>
#include <vector>

namespace exporter {

/// The value of one series, without the labels that all series of a drive have.
struct Sample {
    std::string name;
    std::vector<std::pair<std::string, std::string>> labels;
    double value = 0;
};

}  // namespace exporter
