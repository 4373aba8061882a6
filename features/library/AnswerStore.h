#pragma once

#include <cstdint>
#include <map>
#include <mutex>

#include "features/library/Answer.h"

namespace features::library {

/// Answers that were not fetched yet, by the handles that were given out for them.
///
/// Threads: any.
class AnswerStore {
public:
    /// Keeps an answer and returns its handle, which is never null.
    void* keep(Answer answer);
    /// Moves the answer of `handle` to `buffer` and forgets it. `*size` is the buffer's size on entry and the answer's
    /// on return. FEATURE_LIBRARY_INVALID_BUFFER_SIZE leaves the buffer and the answer alone, and so does
    /// FEATURE_LIBRARY_INVALID_INPUT, for a handle that is not known or a null size.
    int32_t fetch(void* handle, void* buffer, uint64_t* size);

private:
    std::mutex mutex_;
    std::map<uintptr_t, Answer> answers_;
    uintptr_t lastHandle_ = 0;
};

}  // namespace features::library
