#pragma once

#include <string>

#include "CLI/velkossd/FlowResult.h"
#include "ostrel/core/Attribute.h"

namespace cli::framework {
struct ParsedCommand;
}

/// The flows of the storage feature, one for each way in which a command becomes a job. A flow builds its request step
/// by step; the first step that fails ends it, and nothing is sent. What the library answers is rendered.
///
/// The order of the steps is the order in which a user with several mistakes hears of them, and the order of the
/// properties on the wire.
namespace cli::velkossd {

class FlowContext;

/// Reads properties.
FlowResult getFlow(FlowContext& context, const std::string& job, const framework::ParsedCommand& command);

/// Writes the one property `attribute`.
FlowResult setFlow(FlowContext& context, const std::string& job, const framework::ParsedCommand& command,
                   const ostrel::core::Attribute& attribute);
/// Writes the one property of the LED that was given.
FlowResult ledFlow(FlowContext& context, const std::string& job, const framework::ParsedCommand& command);
FlowResult timestampFlow(FlowContext& context, const std::string& job, const framework::ParsedCommand& command);

/// Performs an operation. What the operation wants beside a drive is added by the sub-flow of the job, if it has one.
FlowResult methodFlow(FlowContext& context, const std::string& job, const framework::ParsedCommand& command);

/// Erases a drive: the jobs "Delete", "NVMeFormat" and "Sanitize", which are three types of the job "Format".
FlowResult eraseFlow(FlowContext& context, const std::string& job, const framework::ParsedCommand& command);

/// Creates, deletes, attaches or detaches a namespace, as the verb says.
FlowResult namespaceFlow(FlowContext& context, const std::string& job, const framework::ParsedCommand& command);

/// Identify data. With `listControllers` the command is a list of controllers, whatever its targets say.
FlowResult identifyFlow(FlowContext& context, const std::string& job, const framework::ParsedCommand& command,
                        bool listControllers);

/// Saves a log of the drive to a binary file.
FlowResult dumpFlow(FlowContext& context, const std::string& job, const framework::ParsedCommand& command);

/// Parse a log file, or the log of a drive.
FlowResult parsePersistentEventLogFlow(FlowContext& context, const std::string& job,
                                       const framework::ParsedCommand& command);
FlowResult parseNlogFlow(FlowContext& context, const std::string& job, const framework::ParsedCommand& command);
FlowResult parseTelemetryLogFlow(FlowContext& context, const std::string& job, const framework::ParsedCommand& command);

/// Examines the health of drives; the outcome is the exit status.
FlowResult scanFlow(FlowContext& context, const std::string& job, const framework::ParsedCommand& command);

}  // namespace cli::velkossd
