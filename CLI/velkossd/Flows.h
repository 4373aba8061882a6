#pragma once

#include "CLI/velkossd/FlowResult.h"

namespace cli::framework {
struct ParsedCommand;
}

/// The flows of VelkoSSDFeature, one for each way in which a command becomes a job. A flow builds its request step
/// by step; the first step that fails ends it, and nothing is sent. What the library answers is rendered.
///
/// The order of the steps is the order in which a user with several mistakes hears of them, and the order of the
/// properties on the wire.
namespace cli::velkossd {

class FlowContext;
struct CommandAction;

using Flow = FlowResult(FlowContext& context, const CommandAction& action, const framework::ParsedCommand& command);

/// Reads properties.
Flow getFlow;

/// Writes the one property that the action names.
Flow setFlow;
/// Writes the one property of the LED that was given.
Flow ledFlow;
Flow timestampFlow;

/// Performs an operation.
Flow methodFlow;
/// The same, after which each drive's answer says how to follow the self-test.
Flow selfTestFlow;

/// Erase a drive. The three are types of the job "Format"; the action's job is the type.
Flow deleteFlow;
Flow formatFlow;
Flow sanitizeFlow;

/// Creates, deletes, attaches or detaches a namespace, as the verb says.
Flow namespaceFlow;

/// Identify data.
Flow identifyFlow;
/// The same, where -nvmecontroller is the command and not a choice of the user.
Flow controllerListFlow;

/// Saves a log of the drive to a binary file.
Flow dumpFlow;
/// The same for the telemetry log, which the host initiates where the command does not say otherwise.
Flow telemetryDumpFlow;

/// Parse a log file, or the log of a drive.
Flow parsePersistentEventLogFlow;
Flow parseNlogFlow;
Flow parseTelemetryLogFlow;

/// Examines the health of drives; the outcome is the exit status.
Flow scanFlow;

}  // namespace cli::velkossd
