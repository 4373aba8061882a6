#include "exporter/Exposition.h"

#include <prometheus/text_serializer.h>

#include <map>
#include <sstream>
#include <utility>

#include "CLI/ToolInformation.h"
#include "exporter/MetricTable.h"

namespace exporter {

using prometheus::ClientMetric;
using prometheus::MetricFamily;

namespace {

using Series = std::map<std::string, std::vector<ClientMetric>, std::less<>>;

void add(Series& series, const Sample& sample, const std::vector<ClientMetric::Label>& common) {
    ClientMetric metric;
    metric.label = common;
    for (const auto& [name, value] : sample.labels) metric.label.push_back({name, value});
    // One of the two is exposed, by the type of the metric.
    metric.gauge.value = sample.value;
    metric.counter.value = sample.value;
    series[sample.name].push_back(std::move(metric));
}

void addDrive(Series& series, const DriveReading& reading) {
    const std::vector<ClientMetric::Label> labels = {{"device", reading.drive.device},
                                                     {"serial", reading.drive.serial}};
    for (const Sample& sample : reading.samples) add(series, sample, labels);
    add(series, {"nimbrel_drive_info", {{"model", reading.drive.model}, {"firmware", reading.drive.firmware}}, 1},
        labels);
    add(series, {"nimbrel_drive_up", {}, reading.isUp ? 1.0 : 0.0}, labels);
    add(series, {"nimbrel_drive_stuck", {}, reading.isStuck ? 1.0 : 0.0}, labels);
    if (reading.durationSeconds > 0)
        add(series, {"nimbrel_drive_read_duration_seconds", {}, reading.durationSeconds}, labels);
    if (reading.lastSuccess) {
        add(series, {"nimbrel_drive_last_success_timestamp_seconds", {}, static_cast<double>(*reading.lastSuccess)},
            labels);
    }
}

void addRun(Series& series, const Collection& collection) {
    add(series, {"nimbrel_exporter_build_info", {{"version", cli::version::TOOL_VERSION}}, 1}, {});
    add(series, {"nimbrel_exporter_scan_success", {}, collection.scanError.empty() ? 1.0 : 0.0}, {});
    add(series, {"nimbrel_exporter_drives", {}, static_cast<double>(collection.drives.size())}, {});
    add(series, {"nimbrel_exporter_last_run_timestamp_seconds", {}, static_cast<double>(collection.time)}, {});
    add(series, {"nimbrel_exporter_run_duration_seconds", {}, collection.durationSeconds}, {});
}

}  // namespace

std::vector<MetricFamily> toFamilies(const Collection& collection) {
    Series series;
    for (const DriveReading& reading : collection.drives) addDrive(series, reading);
    addRun(series, collection);
    std::vector<MetricFamily> families;
    for (const MetricRow& row : metricRows()) {
        const auto found = *row.name == '\0' ? series.end() : series.find(row.name);
        if (found == series.end()) continue;
        const bool isCounter = row.type == MetricType::COUNTER;
        families.push_back({row.name, row.help,
                            isCounter ? prometheus::MetricType::Counter : prometheus::MetricType::Gauge,
                            std::move(found->second)});
    }
    return families;
}

std::string toExposition(const Collection& collection) {
    std::ostringstream text;
    prometheus::TextSerializer().Serialize(text, toFamilies(collection));
    return text.str();
}

}  // namespace exporter
