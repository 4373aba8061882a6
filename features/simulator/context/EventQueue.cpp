#include "features/simulator/context/EventQueue.h"

#include <utility>

#include "features/simulator/context/Timestamp.h"
#include "ostrel/core/ScopeTrace.h"

namespace features::simulator {

void queueEvent(CommandContext& context, DriveEvent event) {
    OSTREL_TRACE();
    event.timestamp = timestampData(context);
    context.driveEvents.push_back(std::move(event));
}

}  // namespace features::simulator
