#include "CLI/Outcome.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <new>
#include <string_view>

#include "ostrel/core/FileDescriptor.h"
#include "ostrel/interfaces/cli/cliframework/ErrorCode.h"
#include "ostrel/interfaces/cli/cliframework/ErrorResult.h"

namespace cli {

namespace {

using framework::ErrorResult;
using framework::ResultBase;

constexpr char UNHANDLED_EXCEPTION[] = "Unhandled exception. Contact Velko for further troubleshooting";

Outcome render(const ResultBase& result) {
    Outcome outcome{result.getErrorCode(), result.output()};
    outcome.output += '\n';
    return outcome;
}

/// When this fails too, the error cannot be reported anywhere. Allocates nothing: there may be no memory.
void complain(int error) {
    for (const std::string_view part : {std::string_view("Cannot write to standard output: "),
                                        std::string_view(std::strerror(error)), std::string_view("\n")}) {
        (void)ostrel::core::writeFully(STDERR_FILENO, part);
    }
}

}  // namespace

Outcome outcomeOf(const std::function<std::unique_ptr<ResultBase>()>& work) {
    Outcome outOfMemory = render(ErrorResult(framework::ERRORCODE_OUT_OF_MEMORY, "", ""));
    Outcome unhandled = render(ErrorResult(framework::ERRORCODE_GENERAL, UNHANDLED_EXCEPTION, ""));
    try {
        const std::unique_ptr<ResultBase> result = work();
        return result ? render(*result) : Outcome();
    } catch (const std::bad_alloc&) {
        return outOfMemory;  // moved, not copied
    } catch (...) {
        return unhandled;
    }
}

int deliver(const Outcome& outcome, int fileDescriptor) {
    // Notices that were printed during the work come before the result.
    const bool noticesAreOut = static_cast<bool>(std::cout.flush());
    int error = ostrel::core::writeFully(fileDescriptor, outcome.output);
    if (error == 0 && !noticesAreOut) error = EIO;
    if (error == 0) return outcome.exitStatus;
    complain(error);
    return outcome.exitStatus != 0 ? outcome.exitStatus : static_cast<int>(framework::ERRORCODE_GENERAL);
}

int toProcessStatus(int exitStatus) {
    return exitStatus != 0 && exitStatus % 256 == 0 ? 255 : exitStatus;
}

}  // namespace cli
