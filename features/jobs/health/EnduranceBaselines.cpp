#include "features/jobs/health/EnduranceBaselines.h"

#include <cerrno>
#include <limits>
#include <vector>

#include "features/jobs/support/PercentEncoding.h"
#include "features/jobs/support/StateFolder.h"
#include "features/jobs/support/StatusDetails.h"
#include "ostrel/core/File.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/Strings.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

constexpr const char* TIME = "TimeSeconds ";
constexpr const char* PERCENTAGE_USED = "PercentageUsed ";
constexpr const char* DATA_UNITS_WRITTEN = "DataUnitsWritten ";
constexpr const char* NOT_REPORTED = "not reported";
/// Numbers of up to 128 bits.
constexpr std::size_t MAX_DIGITS = 39;

/// The number after the name, as it is written; empty when the line is another or holds anything else.
std::string digitsOf(const std::string& line, const std::string& name) {
    if (line.compare(0, name.size(), name) != 0) return {};
    const std::string digits = line.substr(name.size());
    const bool padded = digits.size() > 1 && digits[0] == '0';
    return isInteger(digits) && !padded && digits.size() <= MAX_DIGITS ? digits : std::string();
}

/// Three lines, in this order. What does not fit is damaged.
std::optional<EnduranceBaseline> parse(const std::string& text) {
    const std::vector<std::string> lines = split(text, '\n');
    if (lines.size() != 4 || !lines[3].empty()) return std::nullopt;
    const std::string time = digitsOf(lines[0], TIME);
    const std::string used = digitsOf(lines[1], PERCENTAGE_USED);
    const std::string written = digitsOf(lines[2], DATA_UNITS_WRITTEN);
    const bool isWrittenKnown = lines[2] != std::string(DATA_UNITS_WRITTEN) + NOT_REPORTED;
    if (time.empty() || used.empty() || written.empty() == isWrittenKnown) return std::nullopt;
    EnduranceBaseline baseline;
    baseline.timeSeconds = toNumber<int64_t>(time);
    baseline.percentageUsed = toNumber<uint32_t>(used);
    baseline.dataUnitsWritten = written;
    constexpr int64_t MAX_SECONDS = std::numeric_limits<uint32_t>::max() * int64_t{1024};
    if (baseline.timeSeconds > MAX_SECONDS || baseline.percentageUsed > 255) return std::nullopt;
    return baseline;
}

}  // namespace

std::string EnduranceBaselines::fileName(const std::string& serialNumber) {
    return percentEncoded(serialNumber) + ".endurance";
}

Result<std::string> EnduranceBaselines::pathOf(const std::string& serialNumber) const {
    if (serialNumber.empty()) {
        return Status(CATEGORY_FEATURE, statuses::featureNotSupported().getCode(),
                      "The drive has no serial number to keep its workload indicators under.");
    }
    return folder_ + "/" + fileName(serialNumber);
}

Result<std::optional<EnduranceBaseline>> EnduranceBaselines::load(const std::string& serialNumber) const {
    TRY(const std::string path, pathOf(serialNumber));
    std::string text;
    const Status status = readFile(path, SymbolicLink::REFUSE, text);
    if (status.is(CATEGORY_OS, ENOENT)) return std::nullopt;
    if (failed(status)) return ofFile(status, statuses::fileReadFailed());
    if (const auto baseline = parse(text)) return baseline;
    return Status(CATEGORY_FEATURE, statuses::fileReadFailed().getCode(),
                  statuses::fileReadFailed().getMessage() + " " + path +
                      " is damaged. Reset the endurance analyzer of this drive.");
}

Status EnduranceBaselines::save(const std::string& serialNumber, const EnduranceBaseline& baseline) const {
    TRY(const std::string path, pathOf(serialNumber));
    const Status status = makeStateFolder(folder_);
    if (failed(status)) return withDetails(statuses::directoryCreationFailed(), status.getMessage());
    const std::string text = TIME + std::to_string(baseline.timeSeconds) + "\n" + PERCENTAGE_USED +
                             std::to_string(baseline.percentageUsed) + "\n" + DATA_UNITS_WRITTEN +
                             (baseline.dataUnitsWritten.empty() ? NOT_REPORTED : baseline.dataUnitsWritten) + "\n";
    return ofFile(writeFileAtomically(path, text), statuses::fileWriteFailed());
}

}  // namespace features::jobs
