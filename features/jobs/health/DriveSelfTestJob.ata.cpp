// The self-tests of SATA drives: SMART EXECUTE OFF-LINE IMMEDIATE, and what SMART data and the self-test logs report.

#include "features/jobs/health/DriveSelfTestJob.h"

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "features/ata/Commands.h"
#include "features/ata/SmartAttributes.h"
#include "features/jobs/drive/SafetyGate.h"
#include "features/jobs/health/SelfTestRequest.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/Bytes.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;
using ata::SelfTestResult;
using ata::SmartData;

namespace {

constexpr uint32_t MS_PER_MINUTE = 60000;
constexpr uint8_t CAPTIVE = 0x80;
constexpr uint8_t IN_EXTENDED_MINUTES_16 = 0xFF;
constexpr uint8_t CODE_CONVEYANCE = 3;
/// Of a captive test whose time the drive does not report.
constexpr unsigned UNKNOWN_MINUTES = 60;

// LBA 23:8 after a captive test.
constexpr uint64_t TEST_PASSED = 0xC24F;

/// SMART data of a drive that has self-tests; 10/44 of another.
Result<SmartData, ata::AtaError> readSmartData(ata::Drive& drive) {
    TRY(const ata::Identity* const identity, drive.identify());
    TRY(const Payload data, drive.smartData());
    const auto smart = nvme::structureAt<SmartData>(data.getData());
    if (identity->has(ata::identify::SMART_SELF_TEST) && nvme::bit(smart.offlineCapability, ata::OFFLINE_SELF_TEST))
        return smart;
    return withDetails(statuses::smartSelfTestNotSupported(), "Drive " + drive.name() + ".");
}

bool isRunning(const SmartData& smart) {
    return smart.selfTestStatus >> 4 == ata::SELF_TEST_RUNNING;
}

bool hasConveyance(const SmartData& smart) {
    return nvme::bit(smart.offlineCapability, ata::OFFLINE_CONVEYANCE);
}

unsigned extendedMinutes(const SmartData& smart) {
    return smart.extendedTestMinutes == IN_EXTENDED_MINUTES_16 ? unsigned{smart.extendedTestMinutes16}
                                                               : unsigned{smart.extendedTestMinutes};
}

unsigned minutesOf(const SmartData& smart, uint8_t code) {
    const unsigned minutes = code == CODE_CONVEYANCE ? smart.conveyanceTestMinutes
                             : code == 2             ? extendedMinutes(smart)
                                                     : smart.shortTestMinutes;
    return minutes == 0 ? UNKNOWN_MINUTES : minutes;
}

std::string statusText(const SmartData& smart, const std::vector<SelfTestResult>& results) {
    if (isRunning(smart)) return "Self-test in progress";
    if (results.empty())
        return smart.selfTestStatus >> 4 == 0 ? "no self-test has been run"
                                              : ata::selfTestResultText(smart.selfTestStatus);
    return ata::selfTestName(results.front().test) + " self-test: " + ata::selfTestResultText(results.front().status);
}

template <typename Number>
void add(AttributeList& list, Attribute attribute, const Number& value, const std::string& unit = "") {
    attribute.setValue(value);
    attribute.setDescription(unit);
    list[attribute.getName()] = std::move(attribute);
}

/// While a test runs, the code of an older result would mislead; at rest there is no progress.
AttributeList summary(const SmartData& smart, const std::vector<SelfTestResult>& results) {
    constexpr unsigned PERCENT_PER_TENTH = 10;
    AttributeList list;
    add(list, attributes::feature::selfTestStatus(), statusText(smart, results));
    add(list, attributes::feature::shortSelfTestEstimatedTime(), uint16_t{smart.shortTestMinutes}, "minutes");
    add(list, attributes::feature::extendedSelfTestEstimatedTime(), static_cast<uint16_t>(extendedMinutes(smart)),
        "minutes");
    if (hasConveyance(smart))
        add(list, attributes::feature::conveyanceSelfTestEstimatedTime(), smart.conveyanceTestMinutes, "minutes");
    if (isRunning(smart)) {
        const unsigned left = std::min(smart.selfTestStatus & 0xFU, 10U) * PERCENT_PER_TENTH;
        add(list, attributes::feature::selfTestProgress(), static_cast<uint8_t>(100 - left), "%");
    } else if (!results.empty()) {
        add(list, attributes::feature::selfTestStatusCode(), results.front().code());
    }
    return list;
}

void addResults(DriveOutput& out, const std::vector<SelfTestResult>& results) {
    for (nvme::FieldTree& part : ata::decodeSelfTests(results).parts) {
        part.heading.insert(0, "Drive Self-Test ");
        out.addTree(part);
    }
}

bool hasNewResult(const std::vector<SelfTestResult>& now, const std::vector<SelfTestResult>& before) {
    if (now.empty() || before.empty()) return now.size() != before.size();
    const SelfTestResult& newest = now.front();
    const SelfTestResult& old = before.front();
    return newest.test != old.test || newest.status != old.status || newest.hours != old.hours;
}

/// A captive test holds the drive until its end, for everybody, and the kernel resets the link of a drive that lets
/// other commands wait so long: it would end the test and hurt what uses the drive.
Status checkUnused(ata::Drive& drive) {
    DestructionScope scope;
    scope.partitionsCount = false;
    return checkDestruction(drive.device(), scope);
}

/// 10/209 while another test runs, which the new one would end, and 10/46 for one that the drive does not have.
Status checkStart(ata::Drive& drive, const SelfTestRequest& request, const SmartData& smart) {
    if (isRunning(smart)) return withDetails(statuses::selfTestInProgress(), "Drive " + drive.name() + ".");
    if (request.test->code == CODE_CONVEYANCE && !hasConveyance(smart)) {
        return withDetails(statuses::invalidSelfTestParameters(),
                           "Drive " + drive.name() + " does not support the conveyance test.");
    }
    return request.isCaptive ? checkUnused(drive) : Status();
}

}  // namespace

Status DriveSelfTestJob::showAtaDrive(ata::Drive& drive, const Arguments&, DriveOutput& out) {
    TRY(const SmartData smart, readSmartData(drive));
    TRY(const std::vector<SelfTestResult> results, drive.selfTests());
    out.addAttributes(title(), summary(smart, results));
    if (out.requested() == nullptr) addResults(out, results);
    return Status();
}

Status DriveSelfTestJob::actOnAtaDrive(ata::Drive& drive, const Arguments& arguments, DriveOutput& out) {
    TRY(const SelfTestRequest request, readSelfTestRequest(arguments, true));
    TRY(const SmartData smart, readSmartData(drive));
    RETURN_IF_FAILED(checkStart(drive, request, smart));
    if (request.isCaptive) return runCaptive(drive, *request.test, minutesOf(smart, request.test->code), out);
    ata::AtaCommand start(ata::commands::smartExecuteOffline);
    start.lba |= request.test->code;
    RETURN_IF_FAILED(drive.send(start));
    out.addStatus(title(), Status(0, 0, "The " + std::string(request.test->word) + " self-test was started."));
    return Status();
}

Status DriveSelfTestJob::runCaptive(ata::Drive& drive, const SelfTestRow& test, unsigned minutes, DriveOutput& out) {
    ata::AtaCommand start(ata::commands::smartExecuteOffline);
    start.lba |= CAPTIVE | test.code;
    start.timeoutMs = std::min(2 * minutes, UINT32_MAX / MS_PER_MINUTE) * MS_PER_MINUTE;
    TRY(const std::vector<SelfTestResult> before, drive.selfTests());
    const auto ended = drive.sendForRegisters(start);
    // A drive may fail the command of a test that failed; the log has the result, also of one whose registers are lost.
    if (!ended && !ended.error().isOfDrive()) return ended.error();
    TRY(const std::vector<SelfTestResult> results, drive.selfTests());
    const bool wasRun = ended || ended.error().result->succeeded || hasNewResult(results, before);
    if (!wasRun) return ended.error();
    const bool isLogged = !results.empty() && results.front().test == (CAPTIVE | test.code);
    // Not as a status: the tool puts a text of its own, of a test that goes on, in the place of each.
    if (isLogged) addResults(out, {results.front()});
    const bool hasPassed = ended ? nvme::bits(ended->lba, 23, 8) == TEST_PASSED
                                 : isLogged && results.front().code() == 0 && ended.error().result->succeeded;
    if (hasPassed) return Status();
    const std::string words = isLogged ? ata::selfTestResultText(results.front().status)
                              : ended  ? "its result is not in the log"
                                       : ended.error().status.getMessage();
    return withDetails(statuses::selfTestFailed(), "Drive " + drive.name() + ", " + words + ".");
}

}  // namespace features::jobs
