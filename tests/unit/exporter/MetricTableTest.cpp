#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <string>

#include "exporter/MetricTable.h"

namespace exporter {
namespace {

bool endsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

TEST(MetricTable, NamesFollowTheConventionsOfPrometheus) {
    const std::regex form("nimbrel_(drive|namespace|exporter)(_[a-z0-9]+)+");
    std::set<std::string> seen;
    for (const MetricRow& row : metricRows()) {
        const std::string name = row.name;
        if (name.empty()) continue;
        EXPECT_TRUE(std::regex_match(name, form)) << name;
        EXPECT_TRUE(seen.insert(name).second) << name << " is there twice";
        EXPECT_EQ(row.type == MetricType::COUNTER, endsWith(name, "_total")) << name;
        EXPECT_EQ(findMetric(name), &row);
        EXPECT_TRUE(endsWith(row.help, ".")) << name << " has no sentence that says what it is";
    }
    EXPECT_EQ(findMetric(""), nullptr);
    EXPECT_EQ(findMetric("nimbrel_drive_nothing"), nullptr);
}

TEST(MetricTable, FurtherSeriesDifferInTheValueOfTheSameLabel) {
    const MetricRow* head = nullptr;
    std::set<std::string> values;
    for (const MetricRow& row : metricRows()) {
        if (*row.name != '\0') {
            head = &row;
            values = {row.labelValue};
            EXPECT_EQ(std::string(row.label).empty(), std::string(row.labelValue).empty()) << row.name;
            continue;
        }
        ASSERT_NE(head, nullptr);
        EXPECT_STREQ(row.label, head->label) << head->name;
        EXPECT_EQ(row.type, head->type) << head->name;
        EXPECT_TRUE(values.insert(row.labelValue).second) << head->name << " has " << row.labelValue << " twice";
        EXPECT_NE(row.source.request, Request::NONE) << head->name;
    }
}

TEST(MetricTable, IsShownAsMarkdown) {
    const std::string text = metricsAsMarkdown();
    EXPECT_EQ(text.rfind("| metric | type | what it is | snapshots |\n|---|---|---|---|\n"
                         "| `nimbrel_drive_info` | gauge | Identity of the drive: always 1. |  |\n",
                         0),
              0U);
    EXPECT_NE(text.find("| `nimbrel_drive_power_cycles_total` | counter | Power cycles. | kept |\n"),
              std::string::npos);
}

}  // namespace
}  // namespace exporter
