#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "features/library/AnswerStore.h"
#include "features/library/RequestHandler.h"

namespace features::library {

/// The state of the exported functions, from Load to Unload.
///
/// Errors:  none leaves as an exception; a request that could not be carried out gets an answer that says so.
/// Threads: the tool's main thread.
class Library {
public:
    /// Made when it is first wanted.
    static Library& instance();
    /// Releases everything; instance() would begin from empty.
    static void unload() noexcept;

    /// Runs a request and returns the handle of its answer; null when there is no memory for any answer.
    void* send(const char* text, uint64_t length) noexcept;
    int32_t receive(void* handle, void* buffer, uint64_t* size) noexcept;
    /// The drives that requests find from now on, in place of those of the machine.
    void useSources(std::vector<std::unique_ptr<transport::DriveSource>> sources);
    /// Turns the debug log on, at the end of the file; FEATURE_LIBRARY_INVALID_INPUT for a path that cannot be written.
    int32_t startLog(const char* path, uint64_t length) noexcept;
    void stopLog() noexcept;

private:
    Library() = default;

    AnswerStore answers_;
    bool isLogging_ = false;
    std::unique_ptr<RequestHandler> handler_;  // null until the first request: most runs of the tool send none
};

}  // namespace features::library
