#include "features/jobs/health/EnduranceAnalyzerJob.h"

#include <algorithm>
#include <chrono>
#include <optional>

#include "features/jobs/drive/AtaCounters.h"
#include "features/jobs/drive/LogReading.h"
#include "features/jobs/support/StateFolder.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/FieldTree.h"
#include "features/nvme/structures/SmartHealthLog.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/Uint128.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

constexpr int64_t SECONDS_PER_MINUTE = 60;
constexpr int64_t MIN_SECONDS = 60 * SECONDS_PER_MINUTE;
constexpr uint32_t SECONDS_PER_YEAR = 31557600;  // 365.25 days
constexpr unsigned WHOLE_LIFE = 100;             // per cent

constexpr std::size_t OFFSET_PERCENTAGE_USED = offsetof(nvme::SmartHealthLog, percentageUsed);
constexpr std::size_t OFFSET_DATA_UNITS_WRITTEN = offsetof(nvme::SmartHealthLog, dataUnitsWritten);

constexpr uint32_t BYTES_PER_DATA_UNIT = 512000;

/// SMART attributes whose normalized value is the life that is left, in the order of preference.
constexpr uint8_t LIFE_LEFT[] = {233, 177};

/// In per cent of a SATA drive's life.
std::optional<unsigned> percentageUsed(AtaCounters& counters) {
    if (const auto used = counters.statistic(ata::statistics::PERCENTAGE_USED)) return static_cast<unsigned>(*used);
    for (const uint8_t id : LIFE_LEFT) {
        const ata::SmartAttribute* const attribute = counters.attribute(id);
        if (attribute != nullptr && attribute->data.value >= 1 && attribute->data.value <= WHOLE_LIFE)
            return WHOLE_LIFE - attribute->data.value;
    }
    return std::nullopt;
}

int64_t systemSeconds() {
    using namespace std::chrono;
    return duration_cast<seconds>(system_clock::now().time_since_epoch()).count();
}

/// "12.34", at the pace of `wear` per cent in `seconds`.
std::string yearsLeft(unsigned percentageUsed, unsigned wear, int64_t seconds) {
    Uint128 hundredths(static_cast<uint64_t>(seconds));
    (void)hundredths.multiplyAdd(percentageUsed < WHOLE_LIFE ? WHOLE_LIFE - percentageUsed : 0, 0);  // it fits
    (void)hundredths.multiplyAdd(100, 0);
    (void)hundredths.divide(SECONDS_PER_YEAR);
    (void)hundredths.divide(wear);
    return nvme::decimalFraction(hundredths.low64(), 2);
}

/// The difference of two counters in decimal digits without leading zeros, of which the earlier may not be known.
std::string difference(const std::string& later, const std::string& earlier) {
    if (earlier.empty() || later.size() < earlier.size() || (later.size() == earlier.size() && later < earlier))
        return "not reported";
    std::string digits = later;
    const std::string subtracted = std::string(later.size() - earlier.size(), '0') + earlier;
    int borrowed = 0;
    for (size_t i = digits.size(); i-- > 0;) {
        const int digit = digits[i] - subtracted[i] - borrowed;
        borrowed = digit < 0 ? 1 : 0;
        digits[i] = static_cast<char>('0' + digit + 10 * borrowed);
    }
    digits.erase(0, std::min(digits.find_first_not_of('0'), digits.size() - 1));
    return digits;
}

void add(AttributeList& list, Attribute attribute, const std::string& unit) {
    attribute.setDescription(unit);
    list[attribute.getName()] = std::move(attribute);
}

AttributeList analyze(const EnduranceBaseline& then, const EnduranceBaseline& now) {
    const unsigned wear = now.percentageUsed - then.percentageUsed;
    const int64_t seconds = now.timeSeconds - then.timeSeconds;
    AttributeList list;
    Attribute life = attributes::feature::enduranceAnalyzer();
    life.setValue(yearsLeft(now.percentageUsed, wear, seconds));
    add(list, life, "years");
    Attribute used = attributes::feature::percentageUsed();
    used.setValue(static_cast<uint8_t>(now.percentageUsed));
    add(list, used, "%");
    add(list, Attribute("WearSinceReset", "Wear Since Reset", typeUint32(), uint32_t{wear}), "%");
    add(list, Attribute("TimeSinceReset", "Time Since Reset", typeUint64(), uint64_t(seconds / SECONDS_PER_MINUTE)),
        "minutes");
    if (now.dataUnitsWritten.empty()) return list;
    add(list,
        Attribute("DataUnitsWrittenSinceReset", "Data Units Written Since Reset", typeString(),
                  difference(now.dataUnitsWritten, then.dataUnitsWritten)),
        "units of 512000 bytes");
    return list;
}

}  // namespace

EnduranceAnalyzerJob::EnduranceAnalyzerJob() : EnduranceAnalyzerJob(STATE_FOLDER, systemSeconds) {}

EnduranceAnalyzerJob::EnduranceAnalyzerJob(const std::string& folder, Clock clock)
    : CloneableJob(ostrel::interfaces::ostreli::JOB_ENDURANCE_ANALYZER, "Endurance Analyzer"),
      baselines_(folder),
      clock_(clock) {}

std::unique_ptr<EnduranceAnalyzerJob> EnduranceAnalyzerJob::makeNew() const {
    auto copy = std::make_unique<EnduranceAnalyzerJob>();
    copy->baselines_ = baselines_;
    copy->clock_ = clock_;
    return copy;
}

Result<EnduranceBaseline> EnduranceAnalyzerJob::measure(nvme::Drive& drive) const {
    TRY(const Payload smart, readSmartLog(drive));
    EnduranceBaseline now;
    now.timeSeconds = clock_();
    now.percentageUsed = smart.getData()[OFFSET_PERCENTAGE_USED];
    now.dataUnitsWritten = nvme::decimal128(smart.getData() + OFFSET_DATA_UNITS_WRITTEN);
    return now;
}

Result<EnduranceBaseline> EnduranceAnalyzerJob::measure(ata::Drive& drive) const {
    TRY(const ata::Identity* const identity, drive.identify());
    AtaCounters counters(drive);
    const auto used = percentageUsed(counters);
    const auto written = counters.statistic(ata::statistics::SECTORS_WRITTEN);
    RETURN_IF_FAILED(counters.failure());
    if (!used) {
        return withDetails(statuses::driveDoesNotSupportFeature(),
                           "Drive " + drive.name() + " does not report how worn it is.");
    }
    EnduranceBaseline now;
    now.timeSeconds = clock_();
    now.percentageUsed = *used;
    if (!written) return now;
    Uint128 units(static_cast<uint64_t>(*written));
    (void)units.multiplyAdd(identity->logicalSectorBytes(), 0);  // it fits
    (void)units.divide(BYTES_PER_DATA_UNIT);
    now.dataUnitsWritten = units.text();
    return now;
}

template <typename Drive>
Status EnduranceAnalyzerJob::show(Drive& drive, DriveOutput& out) {
    TRY(const std::optional<EnduranceBaseline> then, baselines_.load(drive.serialNumber()));
    // A clock that was set back counts as no time gone.
    if (!then || clock_() - then->timeSeconds < MIN_SECONDS) return statuses::workloadIndicatorsReset();
    TRY(const EnduranceBaseline now, measure(drive));
    if (now.percentageUsed <= then->percentageUsed) return statuses::workloadWithoutWear();
    out.addAttributes(title(), analyze(*then, now));
    return Status();
}

template <typename Drive>
Status EnduranceAnalyzerJob::reset(Drive& drive, DriveOutput& out) {
    TRY(const EnduranceBaseline now, measure(drive));
    RETURN_IF_FAILED(baselines_.save(drive.serialNumber(), now));
    out.addStatus(title(), Status(0, 0,
                                  "The workload indicators were reset. Run the workload for 60 minutes or more before "
                                  "the endurance analyzer is shown."));
    return Status();
}

Status EnduranceAnalyzerJob::showDrive(nvme::Drive& drive, const Arguments&, DriveOutput& out) {
    return show(drive, out);
}
Status EnduranceAnalyzerJob::showAtaDrive(ata::Drive& drive, const Arguments&, DriveOutput& out) {
    return show(drive, out);
}
Status EnduranceAnalyzerJob::actOnDrive(nvme::Drive& drive, const Arguments&, DriveOutput& out) {
    return reset(drive, out);
}
Status EnduranceAnalyzerJob::actOnAtaDrive(ata::Drive& drive, const Arguments&, DriveOutput& out) {
    return reset(drive, out);
}

}  // namespace features::jobs
