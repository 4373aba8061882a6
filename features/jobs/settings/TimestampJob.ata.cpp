// The clock of SATA drives: a device statistic, set by SET DATE & TIME EXT.

#include "features/jobs/settings/TimestampJob.h"

#include <optional>
#include <string>

#include "features/ata/Commands.h"
#include "features/ata/DeviceStatistics.h"
#include "features/ata/LogAddresses.h"
#include "features/jobs/base/SetRequest.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/FieldTable.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;
namespace key = ostrel::core::attributes::feature;

namespace {

constexpr uint64_t MAX_MILLISECONDS = 0xFFFFFFFFFFFF;
/// What may pass between a set and its read back.
constexpr uint64_t MAX_ELAPSED_MS = 600000;

/// Milliseconds since 1970; empty on a drive that does not report them.
Result<std::optional<uint64_t>, ata::AtaError> readClock(ata::Drive& drive) {
    constexpr ata::StatisticId CLOCK = ata::statistics::DATE_AND_TIME;
    TRY(const std::optional<Payload> page, drive.readListedPage(ata::LOG_DEVICE_STATISTICS, CLOCK.page));
    const auto milliseconds = page ? ata::statistic(*page, CLOCK) : std::nullopt;
    return milliseconds ? std::optional<uint64_t>(static_cast<uint64_t>(*milliseconds)) : std::nullopt;
}

}  // namespace

Status TimestampJob::showAtaDrive(ata::Drive& drive, const Arguments&, DriveOutput& out) {
    TRY(const std::optional<uint64_t> clock, readClock(drive));
    if (!clock) return withDetails(statuses::timestampNotSupported(), "Drive " + drive.name() + ".");
    nvme::FieldTree tree{title(), {}, {}};
    tree.add(key::timestamp().getName(), "Timestamp", nvme::withUnit(std::to_string(*clock), "milliseconds"));
    tree.add("Date", nvme::timeText(*clock));
    out.addTree(tree);
    return Status();
}

Status TimestampJob::setOnAtaDrive(ata::Drive& drive, const Attribute& attribute) {
    RETURN_IF_FAILED(checkSettable(attribute, key::timestamp()));
    TRY(const std::optional<uint64_t> milliseconds, propertyToSet().number(attribute.getName(), MAX_MILLISECONDS));
    if (!milliseconds) return statuses::propertyWithoutValue();
    ata::AtaCommand command(ata::commands::setDateAndTimeExt);
    command.lba = *milliseconds;
    const auto set = drive.send(command);
    if (!set && set.error().isOfDrive())
        return withDetails(statuses::timestampNotSupported(), set.error().status.getMessage());
    RETURN_IF_FAILED(statusOf(set));
    TRY(const std::optional<uint64_t> reported, readClock(drive));
    if (!reported) return Status(0, 0, "The drive does not report its clock, which was not checked.");
    // Counted in 48 bits: the clock may have passed its end.
    if (((*reported - *milliseconds) & MAX_MILLISECONDS) <= MAX_ELAPSED_MS)
        return Status(0, 0, "The drive keeps it until it is set again or the power goes.");
    return withDetails(statuses::configurationUpdateFailed(), "Drive " + drive.name() + " accepted Timestamp " +
                                                                  std::to_string(*milliseconds) + " and reports " +
                                                                  std::to_string(*reported) + ".");
}

}  // namespace features::jobs
