#pragma once

#include "features/jobs/base/DriveOutput.h"
#include "features/jobs/drive/DriveFacts.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// Shows each namespace that is attached to the drive's controller, in the order of the identifiers and under a heading
/// of its own: identifier, node, size, format, how much of it is in use and by what, and its names. One Identify
/// Namespace each.
///
/// Errors: a namespace that the drive refuses to describe is shown with what the host knows; what the host cannot say,
///         and a transport error, is returned.
ostrel::core::Status showNamespaces(DriveFacts& facts, DriveOutput& out);

}  // namespace features::jobs
