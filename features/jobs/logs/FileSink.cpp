#include "features/jobs/logs/FileSink.h"

#include "features/errors/Result.h"

namespace features::jobs {

using namespace ostrel::core;

Status FileSink::begin(uint64_t bytes) {
    if (bytes_ != 0) RETURN_IF_FAILED(file_.restart());  // the log is read again
    bytes_ = 0;
    return file_.checkRoom(bytes);
}

Status FileSink::add(const uint8_t* data, size_t bytes) {
    const Status status = file_.write({reinterpret_cast<const char*>(data), bytes});
    if (succeeded(status)) bytes_ += bytes;
    return status;
}

}  // namespace features::jobs
