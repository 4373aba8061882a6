#pragma once

#include <optional>
#include <utility>

#include "features/ata/AtaResult.h"
#include "ostrel/core/Status.h"

namespace features::ata {

/// Why a command has no answer, or an operation of several commands no result: the status that the user is shown, and
/// what the drive returned for the command that failed. `result` is empty after a transport error, and for what was
/// never sent.
struct AtaError {
    AtaError(ostrel::core::Status status)  // of any status: implicit
        : status(std::move(status)) {}
    AtaError(ostrel::core::Status status, AtaResult result) : status(std::move(status)), result(std::move(result)) {}

    /// For a caller that returns a status alone.
    operator ostrel::core::Status() const { return status; }

    /// Whether the drive was reached and refused or failed the command.
    bool isOfDrive() const { return result.has_value(); }
    /// Whether the driver or the translator refused the command (0/11): the drive has not seen it.
    bool isOfTranslator() const { return !result && status.is(0, 11); }

    ostrel::core::Status status;
    std::optional<AtaResult> result;
};

}  // namespace features::ata
