#pragma once

#include <functional>
#include <memory>
#include <string>

namespace cli::framework {
class ResultBase;
}

namespace cli {

/// What a run of the tool leaves: the exit status, and all that goes to standard output, the closing line end included.
/// A null result leaves no output at all.
struct Outcome {
    int exitStatus = 0;
    std::string output{};
};

/// Does the work and renders its result. Whatever the work or the rendering throws ends in one of two outcomes: exit
/// status 2 for std::bad_alloc, 1 for anything else, both as plain text. They are made before the work starts, since
/// an exhausted memory leaves nothing to make them of.
Outcome outcomeOf(const std::function<std::unique_ptr<framework::ResultBase>()>& work);

/// Writes the output to a file, standard output as a rule, and returns the exit status. An output that cannot be
/// written is reported on standard error and turns a success into exit status 1. That a reader has gone away is an
/// error of the write: see ostrel::core::ignoreWriteSignals(). Does not allocate.
int deliver(const Outcome& outcome, int fileDescriptor);

/// What the process ends with. Its parent sees the low eight bits alone: a failure whose bits are all zero becomes 255,
/// or it would look like a success.
int toProcessStatus(int exitStatus);

}  // namespace cli
