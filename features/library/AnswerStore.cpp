#include "features/library/AnswerStore.h"

#include <utility>

#include "ostrel/interfaces/ostreli/interface/FeatureLibrary.h"

namespace features::library {

void* AnswerStore::keep(Answer answer) {
    const std::lock_guard<std::mutex> lock(mutex_);
    answers_.emplace(++lastHandle_, std::move(answer));
    return reinterpret_cast<void*>(lastHandle_);  // NOLINT(performance-no-int-to-ptr): a number, never followed
}

int32_t AnswerStore::fetch(void* handle, void* buffer, uint64_t* size) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto answer = answers_.find(reinterpret_cast<uintptr_t>(handle));
    if (answer == answers_.end() || size == nullptr) return FEATURE_LIBRARY_INVALID_INPUT;
    const bool fits = buffer != nullptr && *size >= answer->second.size();
    *size = answer->second.size();
    if (!fits) return FEATURE_LIBRARY_INVALID_BUFFER_SIZE;
    answer->second.moveTo(static_cast<char*>(buffer));
    answers_.erase(answer);
    return FEATURE_LIBRARY_SUCCESS;
}

}  // namespace features::library
