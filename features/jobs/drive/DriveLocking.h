#pragma once

#include <optional>

#include "features/ata/AtaError.h"
#include "features/ata/Drive.h"
#include "features/errors/Result.h"
#include "features/nvme/CommandError.h"
#include "features/nvme/Drive.h"
#include "features/nvme/Level0Discovery.h"
#include "ostrel/core/Status.h"

/// A self-encrypting drive whose owner has locked it refuses to read, to format, and more. No status of NVMe says so:
/// TCG's Level 0 Discovery does.
namespace features::jobs {

/// Level 0 Discovery; empty on a drive without it. It is asked for only where Identify Controller offers Security
/// Receive and the list of security protocols has TCG's. 10/33 when what came is none.
Result<std::optional<nvme::Level0Discovery>, nvme::CommandError> readDriveLocking(nvme::Drive& drive);

/// `status`, of a command that was refused, followed by how the drive is locked where that may be why: the refusal is
/// Operation Denied or Access Denied, and locking is enabled.
ostrel::core::Status withLocking(nvme::Drive& drive, const nvme::CommandError& refused,
                                 const ostrel::core::Status& status);

/// The same of a SATA drive with trusted computing, by TRUSTED RECEIVE. 0/11 where the kernel does not pass it on.
Result<std::optional<nvme::Level0Discovery>, ata::AtaError> readDriveLocking(ata::Drive& drive);

/// `status`, of a command to a SATA drive that failed, followed by how the drive is locked, by a password or TCG.
ostrel::core::Status withLocking(ata::Drive& drive, const ostrel::core::Status& status);
/// The same where the drive aborted the command.
ostrel::core::Status withLocking(ata::Drive& drive, const ata::AtaError& refused, const ostrel::core::Status& status);

}  // namespace features::jobs
