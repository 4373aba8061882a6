#pragma once

#include <optional>

#include "features/ata/AtaResult.h"
#include "features/simulator/sata/SataContext.h"
#include "features/simulator/store/CapturedAnswers.h"

namespace features::simulator::sata {

/// What a drive of a capture answers: to commands that read identity, logs and SMART what was captured, and ABRT to
/// those that were not. It reads as zeros, and nothing changes it. Empty: the command reads sectors, flushes, or is
/// about the power, and the model of the drive answers it.
std::optional<ata::Registers> replay(const CapturedAnswers& capture, SataContext& context);

}  // namespace features::simulator::sata
