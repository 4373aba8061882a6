#pragma once

#include <prometheus/metric_family.h>

#include <string>
#include <vector>

#include "exporter/Collector.h"

namespace exporter {

/// The metrics of a run, in the order of the table; a metric without a series is left out.
std::vector<prometheus::MetricFamily> toFamilies(const Collection& collection);

/// The same in the text format of Prometheus.
std::string toExposition(const Collection& collection);

}  // namespace exporter
