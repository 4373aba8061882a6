#pragma once

#include <cstdint>

#include "features/errors/Result.h"
#include "features/jobs/drive/DrivesWithoutOcp.h"
#include "features/nvme/Drive.h"
#include "ostrel/core/Payload.h"

namespace features::jobs {

/// On what grounds a drive is asked for its log page C0h, whose GUID says that it is OCP's. A drive that does not have
/// the page records the question in its Error Information log, and monitoring of that log raises an alarm.
enum class OcpGrounds : uint8_t {
    /// The drive says that it has the page, or it was found on a drive of that model and firmware revision before.
    OFFERED,
    /// The user named the page or a feature of OCP's, or what is written depends on it: it is asked for unless the
    /// drive's list of log pages leaves it out. When it is found, it is known from then on.
    NAMED,
};

/// The OCP SMART log, 512 bytes; empty on a drive that was not asked or answers that it does not have the
/// page, and where another maker's page is at its identifier. Any other refusal leaves the question open and is
/// returned.
Result<ostrel::core::Payload> readOcpSmartLog(nvme::Drive& drive, OcpGrounds grounds);

/// The same on OcpGrounds::OFFERED, for what is read of many drives or often: a drive that is in `without` is not asked
/// what it offers, and one that offers none comes into it.
Result<ostrel::core::Payload> readOfferedOcpSmartLog(nvme::Drive& drive, DrivesWithoutOcp& without);

/// Keeps it for the next commands when the page, of 512 bytes from its start, is OCP's and the drive does not say by
/// itself that it has it.
void noteOcpSmartLog(nvme::Drive& drive, const ostrel::core::Payload& page);

}  // namespace features::jobs
