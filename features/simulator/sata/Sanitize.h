#pragma once

#include "features/simulator/sata/SataContext.h"

namespace features::simulator::sata {

/// Erases the media when the time of a sanitize operation is over. Called before each command.
void finishSanitize(SataContext& context);

}  // namespace features::simulator::sata
