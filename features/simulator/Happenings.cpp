#include "features/simulator/Happenings.h"

#include "ostrel/core/ScopeTrace.h"

namespace features::simulator {

void happened(CommandContext&, const Happening&) {
    OSTREL_TRACE();
    // No log page keeps a record yet.
}

}  // namespace features::simulator
