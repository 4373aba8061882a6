#include "features/jobs/health/DriveSelfTestJob.h"

#include <algorithm>
#include <string>

#include "features/jobs/drive/HostSide.h"
#include "features/jobs/drive/LogReading.h"
#include "features/jobs/health/SelfTestRequest.h"
#include "features/jobs/support/ProgressLine.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/ControllerCapabilities.h"
#include "features/nvme/LogPageIds.h"
#include "features/nvme/LogPages.h"
#include "features/nvme/NamespaceIds.h"
#include "features/nvme/Opcodes.h"
#include "features/nvme/structures/SelfTestLog.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::jobs {

using namespace ostrel::core;
using nvme::ControllerCapabilities;

namespace {

constexpr uint64_t MS_PER_MINUTE = 60000;
constexpr uint64_t POLL_MS = 1000;
/// The standard's own bound of a short test.
constexpr unsigned SHORT_MINUTES = 2;
constexpr uint8_t CODE_SHORT = 1;
/// Of an extended test where the drive does not report it.
constexpr unsigned UNKNOWN_MINUTES = 60;

/// How long an extended test takes, in minutes; 0 where the drive does not report it. 10/208 on a drive without
/// self-tests.
Result<unsigned> readExtendedMinutes(nvme::Drive& drive) {
    TRY(const uint8_t* const identify, drive.identifyController());
    const ControllerCapabilities controller(identify);
    if (!controller.supportsSelfTest()) return statuses::selfTestNotSupported();
    return unsigned{controller.edstt};
}

Result<Payload, nvme::CommandError> readSelfTestLog(nvme::Drive& drive) {
    return readLog(drive, nvme::LID_DEVICE_SELF_TEST, sizeof(nvme::SelfTestLog));
}

Status start(nvme::Drive& drive, const SelfTestRow& test) {
    nvme::NvmeCommand command(nvme::Queue::ADMIN, nvme::OPC_DEVICE_SELF_TEST, "Device Self-test");
    command.nsid = namedNamespace(drive.device()).value_or(nvme::NSID_ALL);
    command.cdw10 = test.code;
    const auto started = drive.send(command);
    if (started) return Status();
    const nvme::CommandError& error = started.error();
    if (!error.completion.is(nvme::SC_SELF_TEST_IN_PROGRESS)) return error;
    return withDetails(statuses::selfTestInProgress(), error.status.getMessage());
}

/// The fields of log 06h that decide. The newest result is the first.
unsigned runningTest(const Payload& log) {
    return log.getData()[offsetof(nvme::SelfTestLog, operation)] & 0x0FU;
}
unsigned progress(const Payload& log) {
    return log.getData()[offsetof(nvme::SelfTestLog, completion)] & 0x7FU;
}
unsigned newestTest(const Payload& log) {
    return log.getData()[offsetof(nvme::SelfTestLog, results)] >> 4;
}
unsigned newestResult(const Payload& log) {
    return log.getData()[offsetof(nvme::SelfTestLog, results)] & 0x0FU;
}
constexpr size_t MAX_RESULTS = 20;
constexpr unsigned RESULT_PASSED = 0;
constexpr unsigned RESULT_NEVER_USED = 0xF;

std::string statusText(const Payload& log) {
    if (runningTest(log) != 0) return nvme::selfTestOperationText(runningTest(log)) + " self-test in progress";
    if (newestResult(log) == RESULT_NEVER_USED) return "no self-test has been run";
    return nvme::selfTestOperationText(newestTest(log)) + " self-test: " + nvme::selfTestResultText(newestResult(log));
}

template <typename Number>
void add(AttributeList& list, Attribute attribute, const Number& value, const std::string& unit = "") {
    attribute.setValue(value);
    attribute.setDescription(unit);
    list[attribute.getName()] = std::move(attribute);
}

/// While a test runs, the code of an older result would mislead; at rest there is no progress.
AttributeList summary(const Payload& log, unsigned extendedMinutes) {
    AttributeList list;
    add(list, attributes::feature::selfTestStatus(), statusText(log));
    add(list, attributes::feature::shortSelfTestEstimatedTime(), static_cast<uint16_t>(SHORT_MINUTES), "minutes");
    if (extendedMinutes != 0) {
        add(list, attributes::feature::extendedSelfTestEstimatedTime(), static_cast<uint16_t>(extendedMinutes),
            "minutes");
    }
    if (runningTest(log) != 0) {
        add(list, attributes::feature::selfTestProgress(), static_cast<uint8_t>(progress(log)), "%");
    } else if (newestResult(log) != RESULT_NEVER_USED) {
        add(list, attributes::feature::selfTestStatusCode(), static_cast<uint8_t>(newestResult(log)));
    }
    return list;
}

/// The newest results, each under a heading of its own: parts of one object would be shown ever further to the right.
void addResults(DriveOutput& out, const Payload& log, size_t most) {
    nvme::FieldTree results = nvme::decodeSelfTest(log);
    if (results.parts.size() > most) results.parts.resize(most);
    for (nvme::FieldTree& result : results.parts) {
        result.heading.insert(0, "Drive Self-Test ");
        out.addTree(result);
    }
}

/// Whether the log shows that the test of this code has passed.
Status finalStatus(const nvme::Drive& drive, const SelfTestRow& test, const Payload& log) {
    if (newestTest(log) == test.code && newestResult(log) == RESULT_PASSED) return Status();
    return withDetails(statuses::selfTestFailed(), "Drive " + drive.name() + ", " + statusText(log) + ".");
}

}  // namespace

DriveSelfTestJob::DriveSelfTestJob(std::shared_ptr<const WaitClock> clock)
    : CloneableJob(ostrel::interfaces::ostreli::JOB_DRIVE_SELF_TEST, "Drive Self-Test"), clock_(std::move(clock)) {}

Status DriveSelfTestJob::checkRequest(const Arguments& arguments) {
    const auto& drives = getDevices();
    const bool hasSata = std::any_of(drives.begin(), drives.end(), [](const auto& drive) { return isAta(*drive); });
    return statusOf(readSelfTestRequest(arguments, hasSata));
}

Status DriveSelfTestJob::showDrive(nvme::Drive& drive, const Arguments&, DriveOutput& out) {
    TRY(const unsigned extendedMinutes, readExtendedMinutes(drive));
    TRY(const Payload log, readSelfTestLog(drive));
    out.addAttributes(title(), summary(log, extendedMinutes));
    if (out.requested() == nullptr) addResults(out, log, MAX_RESULTS);
    return Status();
}

Status DriveSelfTestJob::actOnDrive(nvme::Drive& drive, const Arguments& arguments, DriveOutput& out) {
    TRY(const SelfTestRequest request, readSelfTestRequest(arguments, false));
    TRY(const unsigned extendedMinutes, readExtendedMinutes(drive));
    RETURN_IF_FAILED(start(drive, *request.test));
    if (!request.isCaptive) {
        out.addStatus(title(), Status(0, 0, "The " + std::string(request.test->word) + " self-test was started."));
        return Status();
    }
    const unsigned minutes = request.test->code == CODE_SHORT ? SHORT_MINUTES : extendedMinutes;
    TRY(const Payload log, await(drive, minutes != 0 ? minutes : UNKNOWN_MINUTES));
    // Not as a status: the tool puts a text of its own, of a test that goes on, in the place of each.
    addResults(out, log, 1);
    return finalStatus(drive, *request.test, log);
}

Result<Payload> DriveSelfTestJob::await(nvme::Drive& drive, unsigned minutes) const {
    const uint64_t patienceMs = uint64_t{2} * minutes * MS_PER_MINUTE;
    uint64_t movedMs = clock_->nowMs();
    ProgressLine line("Drive " + drive.name() + ", self-test", minutes * MS_PER_MINUTE);
    for (unsigned before = 0;;) {
        TRY(const Payload log, readSelfTestLog(drive));
        if (runningTest(log) == 0) return log;
        line.update(progress(log), 100);
        if (progress(log) != before) {
            before = progress(log);
            movedMs = clock_->nowMs();
        }
        if (clock_->nowMs() - movedMs >= patienceMs) {
            return withDetails(statuses::driveOrHostTimeout(), "Drive " + drive.name() + ", " + statusText(log) +
                                                                   ", has stayed at " + std::to_string(before) +
                                                                   " percent for " + std::to_string(2 * minutes) +
                                                                   " minutes.");
        }
        clock_->sleepMs(POLL_MS);
    }
}

}  // namespace features::jobs
