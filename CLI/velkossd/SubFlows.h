#pragma once

#include <string>

#include "CLI/velkossd/FlowResult.h"

namespace cli::framework {
class ObjectResult;
struct ParsedCommand;
}  // namespace cli::framework

namespace ostrel::core::xml {
class XmlObject;
}

/// The steps between a request's beginning and its sending that belong to single jobs. Each adds the job's arguments to
/// the request and asks what there is to ask; null when the request may go out.
///
/// Those that destroy data or change a drive for good first make sure that the request is of the job they know:
/// otherwise they give "Invalid Job." and nothing is sent.
namespace cli::velkossd {

class FlowContext;

using SubFlow = FlowResult(FlowContext& context, ostrel::core::xml::XmlObject& request,
                           const framework::ParsedCommand& command);

// Of the method flow.
SubFlow addAdminCommand;
SubFlow addAssertRecovery;
SubFlow addErrorInjection;
SubFlow addFirmwareActivation;
SubFlow addFirmwareUpdate;
SubFlow addLatencyTracking;
SubFlow addNvmeFeature;
SubFlow addNvmeLog;
SubFlow addPsidRevert;
SubFlow addSelfTest;
SubFlow addSMBusAddress;
SubFlow addTrim;

// Of the get flow.
SubFlow addPartition;
SubFlow addShowAll;
SubFlow addSmart;

// Of both.
SubFlow addForceFlush;
/// Which of the values that a drive keeps of an NVMe feature is meant; the current one when the command does not say.
SubFlow addSelect;

/// Of the dump flow: what is done with the log. It is read, in the context that is established or in a new one, or the
/// context is released.
SubFlow addPersistentEventLogAction;

/// Whether the host or the controller started a telemetry log, by its word or, `byDefault`, the host.
FlowResult addHostInitiated(ostrel::core::xml::XmlObject& request, const framework::ParsedCommand& command,
                            bool byDefault);

/// "Invalid Job." unless the request is of this job and type.
FlowResult expectJob(const ostrel::core::xml::XmlObject& request, const char* job, const char* type);

/// Asks the user unless -force was given. Null when the user agreed.
FlowResult askUnlessForced(FlowContext& context, const framework::ParsedCommand& command, const std::string& warning,
                           const std::string& question);

/// A line on standard output before a long wait, there at once.
void printNotice(const std::string& notice);

/// After a self-test was started: shows for each drive how to follow it, in place of the library's message.
void noteRunningSelfTest(framework::ObjectResult& result);

}  // namespace cli::velkossd
