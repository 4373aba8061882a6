#pragma once

#include "features/jobs/base/LogSink.h"
#include "ostrel/core/UserFile.h"

namespace features::jobs {

/// A log into a file that is open, as its bytes come: a length that the file system has no room for is refused before
/// them. The caller finishes the file.
class FileSink : public LogSink {
public:
    explicit FileSink(ostrel::core::UserFile& file) : file_(file) {}

    ostrel::core::Status begin(uint64_t bytes) override;
    ostrel::core::Status add(const uint8_t* data, size_t bytes) override;

    uint64_t bytes() const { return bytes_; }  ///< written since the log began

private:
    ostrel::core::UserFile& file_;
    uint64_t bytes_ = 0;
};

}  // namespace features::jobs
