#include <algorithm>
#include <iterator>

#include "CLI/velkossd/CommandTargets.h"
#include "CLI/velkossd/FlowContext.h"
#include "CLI/velkossd/Flows.h"
#include "CLI/velkossd/SubFlows.h"
#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/xml/XmlElement.h"
#include "ostrel/interfaces/cli/cliframework/ObjectResult.h"
#include "ostrel/interfaces/cli/cliframework/ParsedCommand.h"
#include "ostrel/interfaces/ostreli/interface/Job.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace cli::velkossd {
namespace {

using namespace ostrel::interfaces::ostreli;  // NOLINT(google-build-using-namespace): the JOB_ constants

/// What a job wants beside a drive. A job that is not here wants nothing.
constexpr struct {
    const char* job;
    SubFlow* addArguments;
} SUB_FLOWS[] = {
    {JOB_LATENCY_TRACKING, addLatencyTracking},
    {JOB_NVME_LOG, addNvmeLog},
    {JOB_NVME_FEATURES, addNvmeFeature},
    {JOB_OCP_ERROR_INJECTION, addErrorInjection},
    {JOB_ASSERT_RECOVERY, addAssertRecovery},
    {JOB_SMBUS_ADDRESS, addSMBusAddress},
    {JOB_NVME_ADMIN_COMMAND, addAdminCommand},
    {JOB_DRIVE_SELF_TEST, addSelfTest},
    {JOB_TRIM, addTrim},
    {JOB_FIRMWARE_UPDATE, addFirmwareUpdate},
    {JOB_FIRMWARE_ACTIVATE, addFirmwareActivation},
    {JOB_PSID_REVERT, addPsidRevert},
    {JOB_FORCE_FLUSH, addForceFlush},
};

}  // namespace

FlowResult methodFlow(FlowContext& context, const std::string& job, const framework::ParsedCommand& command) {
    OSTREL_TRACE();
    std::string device;
    if (auto error = context.getDeviceTarget(command, device, targets::OPTIONAL_VELKOSSD_OR_ALL)) return error;
    const auto request = Job::createRequest(job, JOBTYPE_METHOD, true, device);
    const auto* subFlow =
        std::find_if(std::begin(SUB_FLOWS), std::end(SUB_FLOWS), [&job](const auto& row) { return row.job == job; });
    if (subFlow != std::end(SUB_FLOWS))
        if (auto error = subFlow->addArguments(context, *request, command)) return error;

    std::unique_ptr<framework::ObjectResult> result;
    if (auto error = context.runAndRender(*request, result)) return error;
    if (job == JOB_DRIVE_SELF_TEST && result->getErrorCode() == 0) noteRunningSelfTest(*result);
    return result;
}

}  // namespace cli::velkossd
