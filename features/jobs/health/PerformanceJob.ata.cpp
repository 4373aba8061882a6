// The performance counters of SATA drives.

#include "features/jobs/health/PerformanceJob.h"

#include <optional>
#include <string>
#include <utility>

#include "features/jobs/drive/AtaCounters.h"
#include "features/jobs/support/StatusDetails.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;
namespace keys = attributes::feature;
namespace statistics = ata::statistics;

namespace {

// SMART attributes of drives without statistics.
constexpr uint8_t ATTRIBUTE_WRITTEN = 241;
constexpr uint8_t ATTRIBUTE_READ = 242;

void add(AttributeList& list, const Attribute& key, uint64_t value, const std::string& unit) {
    Attribute attribute(key.getName(), key.getDisplayName(), typeUint64(), value);
    attribute.setDescription(unit);
    list[attribute.getName()] = std::move(attribute);
}

// Keys that the vocabulary does not have.
Attribute bytesRead() {
    return Attribute("BytesRead", "Bytes Read", typeUint64());
}
Attribute bytesWritten() {
    return Attribute("BytesWritten", "Bytes Written", typeUint64());
}
Attribute unitsRead() {
    return Attribute("UnitsRead", "Units Read", typeUint64());
}
Attribute unitsWritten() {
    return Attribute("UnitsWritten", "Units Written", typeUint64());
}

struct AmountRow {
    ata::StatisticId statistic;
    Attribute (*sectors)();
    Attribute (*bytes)();
    uint8_t attribute;
    Attribute (*units)();  ///< makers count differently in the attribute
};
constexpr AmountRow AMOUNTS[] = {
    {statistics::SECTORS_READ, keys::totalLBAsRead, bytesRead, ATTRIBUTE_READ, unitsRead},
    {statistics::SECTORS_WRITTEN, keys::totalLBAsWritten, bytesWritten, ATTRIBUTE_WRITTEN, unitsWritten},
};

struct CommandsRow {
    Attribute (*key)();
    ata::StatisticId statistic;
};
constexpr CommandsRow COMMANDS[] = {
    {keys::performanceHostReadCommands, statistics::READ_COMMANDS},
    {keys::performanceHostWriteCommands, statistics::WRITE_COMMANDS},
};

void addAmount(AttributeList& list, AtaCounters& counters, const AmountRow& row, uint32_t sectorBytes) {
    if (const auto sectors = counters.statistic(row.statistic)) {
        const auto number = static_cast<uint64_t>(*sectors);
        add(list, row.sectors(), number, "sectors");
        add(list, row.bytes(), number * sectorBytes, "bytes");
    } else if (const ata::SmartAttribute* const attribute = counters.attribute(row.attribute)) {
        add(list, row.units(), attribute->data.raw, "units of the drive");
    }
}

}  // namespace

Status PerformanceJob::showAtaDrive(ata::Drive& drive, const Arguments&, DriveOutput& out) {
    TRY(const ata::Identity* const identity, drive.identify());
    AtaCounters counters(drive);
    AttributeList list;
    for (const AmountRow& row : AMOUNTS) addAmount(list, counters, row, identity->logicalSectorBytes());
    for (const CommandsRow& row : COMMANDS) {
        if (const auto count = counters.statistic(row.statistic))
            add(list, row.key(), static_cast<uint64_t>(*count), "");
    }
    RETURN_IF_FAILED(counters.failure());
    if (list.empty()) {
        return withDetails(statuses::driveDoesNotSupportFeature(),
                           "Drive " + drive.name() + " does not count what it reads and writes.");
    }
    out.addAttributes(title(), std::move(list));
    return Status();
}

}  // namespace features::jobs
