#pragma once

#include "features/simulator/sata/SataContext.h"

namespace features::simulator::sata {

/// Runs the microcode that waits for its activation, if there is one.
void activateWaiting(SataContext& context);

}  // namespace features::simulator::sata
