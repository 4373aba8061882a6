#pragma once

#include <string>

#include "features/errors/Result.h"
#include "features/jobs/base/LogLimits.h"
#include "features/jobs/base/LogSink.h"
#include "ostrel/core/AddressableSize.h"

namespace features::jobs {

/// Keeps a log that is to be decoded: one that is too long for that is refused when its length is known.
class StringSink : public LogSink {
public:
    StringSink(NamedLog log, std::string& bytes) : log_(std::move(log)), bytes_(bytes) {}

    ostrel::core::Status begin(uint64_t bytes) override {
        RETURN_IF_FAILED(checkDecoding(log_, bytes));
        bytes_.clear();
        bytes_.reserve(ostrel::core::addressableSize(bytes));
        return ostrel::core::Status();
    }
    ostrel::core::Status add(const uint8_t* data, size_t bytes) override {
        bytes_.append(reinterpret_cast<const char*>(data), bytes);
        return ostrel::core::Status();
    }

private:
    const NamedLog log_;
    std::string& bytes_;
};

}  // namespace features::jobs
