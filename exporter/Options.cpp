#include "exporter/Options.h"

#include <CLI/CLI.hpp>

#include <algorithm>

namespace exporter {
namespace {

constexpr unsigned MAX_SECONDS = 3600;
constexpr unsigned MAX_INTERVAL = 86400;
constexpr std::size_t MAX_PARALLEL = 1024;

constexpr char HELP[] = R"(nimbrel-exporter: what the drives of this host report, as metrics.

  nimbrel-exporter [--output FILE] [--no-snapshots]
      Reads all drives and writes their metrics into FILE, as a whole; by
      default /var/lib/prometheus/node-exporter/nimbrel.prom, where Prometheus'
      node exporter takes them. "-" is the standard output. Keeps a line for
      each drive and day below /var/lib/nimbrel/snapshots.

  nimbrel-exporter --check [--drive NAME ...] [-w QUANTITY=RANGE ...]
                   [-c QUANTITY=RANGE ...]
      A monitoring plugin: one line, performance data, exit status 0 OK,
      1 WARNING, 2 CRITICAL, 3 UNKNOWN. NAME is a serial number or a node.
      Ranges as the Monitoring Plugins guidelines have them. Quantities:
)";
constexpr char HELP_END[] = R"(
  nimbrel-exporter --listen [ADDRESS:PORT] [--interval SECONDS]
      Reads all drives every 60 seconds, and serves the metrics over HTTP, by
      default on 127.0.0.1:9826, out of a process without rights.

  nimbrel-exporter --list-metrics
      Prints the table of metrics.

  nimbrel-exporter --version

Further options:
      --time-limit SECONDS    for each drive, 20 by default
      --parallel NUMBER       drives that are read at a time, 64 by default

It reads and changes nothing. Exit status: 0 done, 1 failed or not everything
could be looked at for drives, 2 the command line is wrong (--check: 3).
)";

/// An address of this host and a port, of the many forms that the HTTP server takes for one.
bool isAddress(const std::string& text) {
    constexpr int MAX_PORT = 65535;
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0) return false;
    const std::string port = text.substr(colon + 1);
    const bool isNumber =
        !port.empty() && port.size() <= 5 && port.find_first_not_of("0123456789") == std::string::npos;
    return text.find_first_not_of("0123456789abcdefABCDEF.:[]") == std::string::npos && isNumber &&
           std::stoi(port) > 0 && std::stoi(port) <= MAX_PORT;
}

/// What is on the command line and no value of the options.
struct Given {
    bool help = false;
    bool version = false;
    bool listMetrics = false;
    bool check = false;
    bool noSnapshots = false;
    std::vector<std::string> warning{};
    std::vector<std::string> critical{};
    unsigned seconds = 0;
    CLI::App app{};

    bool has(const std::string& option) { return app.get_option(option)->count() > 0; }
};

void define(Given& given, Options& options) {
    CLI::App& app = given.app;
    app.set_help_flag();
    app.add_flag("--help", given.help);
    app.add_flag("--version", given.version);
    app.add_flag("--list-metrics", given.listMetrics);
    app.add_flag("--check", given.check);
    app.add_flag("--no-snapshots", given.noSnapshots);
    app.add_option("--listen", options.address)->expected(0, 1);
    app.add_option("--output", options.output);
    app.add_option("--drive", options.drives)->expected(1)->take_all();
    app.add_option("-w", given.warning)->expected(1)->take_all();
    app.add_option("-c", given.critical)->expected(1)->take_all();
    app.add_option("--interval", options.intervalSeconds)->check(CLI::Range(1U, MAX_INTERVAL));
    app.add_option("--time-limit", given.seconds)->check(CLI::Range(1U, MAX_SECONDS));
    app.add_option("--parallel", options.limits.parallel)->check(CLI::Range(std::size_t{1}, MAX_PARALLEL));
}

std::string chooseMode(Given& given, Options& options) {
    const struct {
        bool isGiven;
        Mode mode;
    } modes[] = {{given.help, Mode::HELP},
                 {given.version, Mode::VERSION},
                 {given.listMetrics, Mode::LIST_METRICS},
                 {given.check, Mode::CHECK},
                 {given.has("--listen"), Mode::LISTEN}};
    int count = 0;
    for (const auto& row : modes) {
        if (!row.isGiven) continue;
        options.mode = row.mode;
        ++count;
    }
    return count > 1 ? "--check, --listen, --list-metrics, --help and --version exclude each other." : "";
}

/// Options that another mode would pass over.
std::string checkMode(Given& given, Mode mode) {
    if (mode != Mode::TEXT_FILE && (given.has("--output") || given.noSnapshots))
        return "--output and --no-snapshots are for the text file.";
    if (mode != Mode::CHECK && (given.has("--drive") || given.has("-w") || given.has("-c")))
        return "--drive, -w and -c need --check.";
    if (mode != Mode::LISTEN && given.has("--interval")) return "--interval needs --listen.";
    return "";
}

std::string addThresholds(const std::vector<std::string>& texts, Thresholds& thresholds) {
    std::string error;
    for (const std::string& text : texts) {
        if (error.empty()) error = addThreshold(text, thresholds);
    }
    return error;
}

std::string parse(const std::vector<std::string>& words, Options& options) {
    Given given;
    define(given, options);
    try {
        given.app.parse(std::vector<std::string>(words.rbegin(), words.rend()));
    } catch (const CLI::ParseError& error) {
        return error.what();
    }
    if (options.address.empty()) options.address = Options().address;  // --listen without one
    std::string error = chooseMode(given, options);
    if (error.empty()) error = checkMode(given, options.mode);
    if (error.empty() && !isAddress(options.address)) error = "'" + options.address + "' is not ADDRESS:PORT.";
    if (error.empty()) error = addThresholds(given.warning, options.warning);
    if (error.empty()) error = addThresholds(given.critical, options.critical);
    options.keepsSnapshots = !given.noSnapshots;
    if (given.seconds > 0) options.limits.time = std::chrono::seconds(given.seconds);
    return error;
}

}  // namespace

Options parseOptions(const std::vector<std::string>& words) {
    Options options;
    options.error = parse(words, options);
    // A plugin answers in its own form, whatever is wrong.
    if (!options.error.empty() && std::find(words.begin(), words.end(), "--check") != words.end())
        options.mode = Mode::CHECK;
    return options;
}

std::string helpText() {
    return HELP + quantitiesAsText() + HELP_END;
}

}  // namespace exporter
