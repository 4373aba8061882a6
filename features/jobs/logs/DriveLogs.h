#pragma once

#include "features/jobs/drive/DriveFacts.h"
#include "features/jobs/logs/LogFolder.h"
#include "features/nvme/FieldTree.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// Writes all that a drive reports of itself into a folder: the Identify structures of the controller and of its
/// namespaces, and every log page of the standard and of OCP that it has, whole, byte for byte, each in a file of its
/// own. No event is acknowledged, and no reporting context is left.
///
/// A page that the drive still refuses is reported in `tree` and no failure; the status is the first failure that is
/// one. `tree` gains the folder and the number of files.
ostrel::core::Status storeDriveLogs(DriveFacts& facts, const LogFolder& folder, nvme::FieldTree& tree);

}  // namespace features::jobs
