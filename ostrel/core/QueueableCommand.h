#pragma once

#include <cstdint>

#include "ostrel/core/Command.h"
#include "ostrel/core/Payload.h"

namespace ostrel::core {

struct CompletionRecord;

/// Called on a callback thread of an AsyncEngine when the command is through. The record dies when the function
/// returns: keep a copy of what is needed (the payload's bytes are shared, not copied). The function must not throw,
/// and it must not stop the engine (AsyncEngine.h says what happens then).
using CompletionCallback = void (*)(const CompletionRecord& record);

/// What became of a queued command.
struct CompletionRecord {
    std::uint64_t userContext = 0;          ///< the caller's; returned unchanged
    CompletionCallback callback = nullptr;  ///< null: no notification, and the fields below stay as they are
    std::uint32_t statusCode = 0;           ///< written on completion: the code of the command's Status
    Payload payload;                        ///< written on completion: the command's buffer
    std::uint32_t callerData1 = 0;          ///< the caller's; the engine does not touch it
    std::uint32_t callerData2 = 0;          ///< the same
    double duration = 0;                    ///< written on completion: seconds
    std::uint32_t callerData3 = 0;          ///< the caller's; the engine does not touch it
};

/// A command that can be given to an AsyncEngine. The engine works on a clone, so the record that the callback is
/// given is the clone's, never the one of the object that the caller holds.
///
/// Deriving: as for Command; clone() copies the completion record too, which the copy constructor does.
class QueueableCommand : public Command {
public:
    /// Copies the names and the completion record.
    virtual QueueableCommand& operator=(const QueueableCommand& other);
    using Command::operator=;  // not hidden by that

    CompletionRecord& getCompletion() { return completion_; }
    const CompletionRecord& getCompletion() const { return completion_; }

protected:
    using Command::Command;
    QueueableCommand(const QueueableCommand&) = default;

private:
    CompletionRecord completion_;
};

}  // namespace ostrel::core
