#include "exporter/Snapshots.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstddef>

#include "exporter/MetricTable.h"

namespace exporter {
namespace {

using Json = nlohmann::json;

constexpr std::time_t SECONDS_PER_DAY = 86400;
constexpr std::ptrdiff_t MAX_LINES = 400;
constexpr int VERSION = 1;

std::string lineOf(const DriveReading& reading, std::time_t when) {
    Json metrics = Json::object();
    for (const Sample& sample : reading.samples) {
        const MetricRow* const row = findMetric(sample.name);
        if (row != nullptr && row->isKept && sample.labels.empty()) metrics[sample.name] = sample.value;
    }
    const Json line = {{"version", VERSION},
                       {"time", when},
                       {"serial", reading.drive.serial},
                       {"model", reading.drive.model},
                       {"firmware", reading.drive.firmware},
                       {"device", reading.drive.device},
                       {"metrics", metrics}};
    return line.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

/// When the last line is from; 0 for a file without one that can be read, which begins again.
std::time_t timeOfLast(const std::string& lines) {
    const std::size_t end = lines.find_last_not_of('\n');
    if (end == std::string::npos) return 0;
    const std::size_t begin = lines.rfind('\n', end);
    const Json line = Json::parse(lines.substr(begin == std::string::npos ? 0 : begin + 1), nullptr, false);
    const bool hasTime = line.is_object() && line.contains("time") && line["time"].is_number_integer();
    return hasTime ? line["time"].get<std::time_t>() : 0;
}

}  // namespace

std::string withSnapshot(const std::string& old, const DriveReading& reading, std::time_t when) {
    if (timeOfLast(old) / SECONDS_PER_DAY == when / SECONDS_PER_DAY) return old;
    std::string lines = old;
    if (!lines.empty() && lines.back() != '\n') lines += '\n';
    lines += lineOf(reading, when);
    auto surplus = std::count(lines.begin(), lines.end(), '\n') - MAX_LINES;
    for (; surplus > 0; --surplus) lines.erase(0, lines.find('\n') + 1);
    return lines;
}

std::string keepSnapshot(const PrivateFolder& folder, const DriveReading& reading, std::time_t when) {
    if (!reading.isUp) return "";
    const std::string name = hashText(reading.drive.serial + '\0' + reading.drive.model) + ".jsonl";
    std::string old;
    std::string error = folder.read(name, old);
    if (!error.empty()) return error;
    const std::string lines = withSnapshot(old, reading, when);
    return lines == old ? "" : folder.replace(name, lines);
}

}  // namespace exporter
