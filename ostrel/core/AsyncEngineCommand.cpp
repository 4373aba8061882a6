#include "ostrel/core/AsyncEngineCommand.h"

#include "ostrel/core/ScopeTrace.h"

namespace ostrel::core {

AsyncEngineCommand::AsyncEngineCommand(std::uint64_t parent, const QueueableCommand& command, const Payload& payload,
                                       std::uint64_t userData)
    : userData_(userData),
      parent_(parent),
      command_(static_cast<QueueableCommand*>(command.clone().release())),  // clone() keeps the class
      payload_(payload) {
    OSTREL_TRACE();
}

AsyncEngineCommand::~AsyncEngineCommand() = default;

void AsyncEngineCommand::complete() {
    OSTREL_TRACE();
    CompletionRecord& record = command_->getCompletion();
    if (record.callback == nullptr) return;
    record.payload = payload_;
    record.statusCode = status_.getCode();
    record.duration = duration_;
    record.callback(record);
}

}  // namespace ostrel::core
