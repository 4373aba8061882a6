// The health sensors of SATA drives.

#include "features/jobs/health/HealthMetricsJob.h"

#include <array>
#include <optional>
#include <string>
#include <utility>

#include "features/ata/SmartAttributes.h"
#include "features/ata/structures/SctStatus.h"
#include "features/jobs/drive/AtaCounters.h"
#include "features/nvme/Bytes.h"
#include "ostrel/core/AttributeVocabulary.h"

namespace features::jobs {

using namespace ostrel::core;
namespace keys = attributes::feature;
namespace statistics = ata::statistics;

namespace {

constexpr uint8_t NO_ATTRIBUTE = 0;
constexpr uint64_t LOW_32_BITS = 0xFFFFFFFF;

/// A counter by its statistic, or where the drive does not have that, by the SMART attribute that most makers give the
/// same meaning.
struct CounterRow {
    Attribute (*key)();
    ata::StatisticId statistic;
    uint8_t attribute;
    const char* unit;
};
// clang-format off
constexpr CounterRow COUNTERS[] = {
    {keys::crcErrorCount,                statistics::INTERFACE_CRC_ERRORS,      199,          ""},
    {keys::healthMediaErrors,            statistics::REPORTED_UNCORRECTABLE,    187,          ""},
    {keys::healthPowerCycles,            statistics::POWER_ON_RESETS,           12,           ""},
    {keys::healthPowerOnHours,           statistics::POWER_ON_HOURS,            9,            "hours"},
    {keys::percentageUsed,               statistics::PERCENTAGE_USED,           NO_ATTRIBUTE, "%"},
    {keys::highestLifetimeTemperature,   statistics::HIGHEST_TEMPERATURE,       NO_ATTRIBUTE, "C"},
    {keys::lowestLifetimeTemperature,    statistics::LOWEST_TEMPERATURE,        NO_ATTRIBUTE, "C"},
    {keys::specifiedPCBMaxOperatingTemp, statistics::SPECIFIED_MAX_TEMPERATURE, NO_ATTRIBUTE, "C"},
    {keys::specifiedPCBMinOperatingTemp, statistics::SPECIFIED_MIN_TEMPERATURE, NO_ATTRIBUTE, "C"},
};
// clang-format on

std::optional<int64_t> counter(AtaCounters& counters, const CounterRow& row) {
    if (const auto value = counters.statistic(row.statistic)) return value;
    if (row.attribute == NO_ATTRIBUTE) return std::nullopt;
    const ata::SmartAttribute* const attribute = counters.attribute(row.attribute);
    // The upper 16 bits are not part of the number on many drives.
    return attribute == nullptr ? std::optional<int64_t>() : static_cast<int64_t>(attribute->data.raw & LOW_32_BITS);
}

std::optional<int64_t> sctTemperature(AtaCounters& counters) {
    const Payload* const status = counters.sctStatus();
    if (status == nullptr) return std::nullopt;
    const uint8_t celsius = nvme::structureAt<ata::SctStatus>(status->getData()).temperature;
    return celsius == ata::SCT_NO_SAMPLE ? std::optional<int64_t>() : static_cast<int8_t>(celsius);
}

std::optional<int64_t> temperature(AtaCounters& counters) {
    if (const auto celsius = counters.statistic(statistics::TEMPERATURE)) return celsius;
    if (const auto celsius = sctTemperature(counters)) return celsius;
    for (const uint8_t id : {uint8_t{194}, uint8_t{190}}) {
        const ata::SmartAttribute* const attribute = counters.attribute(id);
        if (attribute != nullptr && ata::attributeTemperature(*attribute)) return ata::attributeTemperature(*attribute);
    }
    return std::nullopt;
}

/// Signed, whatever the vocabulary's type is: a temperature may be below zero.
void add(AttributeList& list, const Attribute& key, std::optional<int64_t> value, const char* unit) {
    if (!value) return;
    Attribute attribute(key.getName(), key.getDisplayName(), typeSint64(), *value);
    attribute.setDescription(unit);
    list[attribute.getName()] = std::move(attribute);
}

}  // namespace

Status HealthMetricsJob::showAtaDrive(ata::Drive& drive, const Arguments&, DriveOutput& out) {
    TRY(const AtaHealth health, readAtaHealth(drive));
    AttributeList list;
    Attribute status = keys::deviceStatus();
    status.setValue(health.text);
    list[status.getName()] = status;
    AtaCounters counters(drive);
    add(list, keys::healthTemperature(), temperature(counters), "C");
    for (const CounterRow& row : COUNTERS) add(list, row.key(), counter(counters, row), row.unit);
    RETURN_IF_FAILED(counters.failure());
    out.addAttributes(title(), std::move(list));
    return Status();
}

}  // namespace features::jobs
