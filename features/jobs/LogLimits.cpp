#include "features/jobs/LogLimits.h"

#include <algorithm>
#include <cerrno>

#include "features/jobs/AvailableMemory.h"
#include "ostrel/core/ScopeTrace.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

constexpr const char* ALTERNATIVE = " 'dump -nvmelog' with a destination writes a log page to a file piece by piece.";

std::string lengthText(const std::string& driveName, uint64_t bytes) {
    return "The log of drive " + driveName + " has " + std::to_string(bytes) + " bytes";
}

Status tooLong(const std::string& text) {
    return Status(CATEGORY_OS, EFBIG, text);
}

}  // namespace

uint64_t decodableBytes() {
    OSTREL_TRACE();
    return std::min(availableMemoryBytes() / DECODED_COST, MAX_DECODED_BYTES);
}

Status checkDecoding(const std::string& driveName, uint64_t bytes) {
    OSTREL_TRACE();
    const uint64_t fits = decodableBytes();
    if (bytes <= fits) return Status();
    if (bytes > MAX_DECODED_BYTES) {
        return tooLong(lengthText(driveName, bytes) + ", and at most " + std::to_string(MAX_DECODED_BYTES) +
                       " are decoded." + ALTERNATIVE);
    }
    return tooLong(lengthText(driveName, bytes) + ", and this host has the memory to decode " + std::to_string(fits) +
                   "." + ALTERNATIVE);
}

Status checkPayload(const std::string& driveName, uint64_t bytes, uint64_t earlierBytes) {
    OSTREL_TRACE();
    const uint64_t fits = availableMemoryBytes() / PAYLOAD_COST;
    const uint64_t left = fits - std::min(fits, earlierBytes);
    if (bytes <= left) return Status();
    return tooLong(lengthText(driveName, bytes) + ", and this host has the memory to hand over " +
                   std::to_string(left) + "." + ALTERNATIVE);
}

bool isTooLong(const Status& status) {
    return status.is(CATEGORY_OS, EFBIG);
}

Status checkLogLength(const std::string& driveName, uint64_t bytes) {
    OSTREL_TRACE();
    if (bytes <= MAX_LOG_BYTES) return Status();
    return tooLong("The log of drive " + driveName + " says that it has " + std::to_string(bytes) +
                   " bytes, and no log has more than " + std::to_string(MAX_LOG_BYTES) + ".");
}

}  // namespace features::jobs
