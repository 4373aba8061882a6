#include "ostrel/core/QueueableCommand.h"

namespace ostrel::core {

QueueableCommand& QueueableCommand::operator=(const QueueableCommand& other) = default;

}  // namespace ostrel::core
