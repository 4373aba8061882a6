#pragma once

#include <utility>

#include "features/errors/Result.h"
#include "features/nvme/Completion.h"
#include "ostrel/core/Status.h"

namespace features::nvme {

/// Why a command has no answer, or an operation of several commands no result: the status that the user is shown, and
/// the completion of the command that was refused. It is all zero after a transport error, and for what was never
/// sent.
struct CommandError {
    CommandError(ostrel::core::Status status, Completion completion = {})  // of any status: implicit
        : status(std::move(status)), completion(std::move(completion)) {}

    /// For a caller that returns a status alone.
    operator ostrel::core::Status() const { return status; }

    ostrel::core::Status status;
    Completion completion;
};

}  // namespace features::nvme
