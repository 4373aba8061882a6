#pragma once

#include <string>
#include <vector>

#include "exporter/Check.h"
#include "exporter/Children.h"

namespace exporter {

enum class Mode { TEXT_FILE, CHECK, LISTEN, LIST_METRICS, HELP, VERSION };

/// The command line of nimbrel-exporter.
struct Options {
    Mode mode = Mode::TEXT_FILE;
    std::string error{};  ///< what is wrong with the command line; empty: nothing
    std::string output = "/var/lib/prometheus/node-exporter/nimbrel.prom";  ///< "-": the standard output
    bool keepsSnapshots = true;
    std::vector<std::string> drives{};  ///< serial numbers or nodes; none: all drives
    Thresholds warning{};
    Thresholds critical{};
    std::string address = "127.0.0.1:9826";  ///< to listen on
    unsigned intervalSeconds = 60;           ///< between the runs of a process that listens
    ChildLimits limits{};
};

Options parseOptions(const std::vector<std::string>& words);

std::string helpText();

}  // namespace exporter
