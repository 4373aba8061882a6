#pragma once

#include <string>

#include "features/ata/AtaError.h"
#include "features/ata/Drive.h"
#include "features/errors/Result.h"

namespace features::jobs {

/// What a SATA drive's own judgement comes to.
struct AtaHealth {
    /// GOOD also by the attributes alone, where the registers of SMART RETURN STATUS do not come.
    ata::Drive::Health health = ata::Drive::Health::UNKNOWN;
    bool isLocked = false;
    std::string text;  ///< "Healthy", or sentences
};

/// By SMART RETURN STATUS and ATA security; attributes are read where the status does not decide. What the drive
/// refuses, and a drive without SMART, is an error: its health is not known. So is one whose status does not come, and
/// that has no thresholds (10/33).
Result<AtaHealth, ata::AtaError> readAtaHealth(ata::Drive& drive);

/// Whether the drive, or a rule before any command, said no. Anything else is a transport error.
bool isRefusal(const ata::AtaError& error);

}  // namespace features::jobs
