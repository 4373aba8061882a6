#include "features/simulator/context/EventQueue.h"

#include <utility>

#include "features/simulator/context/Timestamp.h"

namespace features::simulator {

void queueEvent(CommandContext& context, DriveEvent event) {
    event.timestamp = timestampData(context);
    context.driveEvents.push_back(std::move(event));
}

}  // namespace features::simulator
