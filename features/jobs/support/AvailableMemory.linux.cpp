#include "features/jobs/support/AvailableMemory.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <sstream>

#include "ostrel/core/File.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

std::string readProc(const char* path) {
    std::string text;
    (void)readFile(path, SymbolicLink::FOLLOW, text);  // missing is said by the empty text
    return text;
}

/// What a process can address with what it has already: of 4 GiB half, however much memory the host has.
constexpr uint64_t ADDRESSABLE_BYTES = std::numeric_limits<size_t>::max() / 2;

uint64_t hostBytes(const std::string& meminfo) {
    std::istringstream lines(meminfo);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string key;
        uint64_t kibibytes = 0;
        if (words >> key >> kibibytes && key == "MemAvailable:") return kibibytes * 1024;
    }
    return UNKNOWN_MEMORY_BYTES;
}

}  // namespace

uint64_t availableMemoryBytes() {
    rlimit limit = {};
    const bool isLimited = getrlimit(RLIMIT_AS, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY;
    return availableMemoryBytes(readProc("/proc/meminfo"), isLimited ? readProc("/proc/self/statm") : "",
                                static_cast<uint64_t>(sysconf(_SC_PAGESIZE)), isLimited ? limit.rlim_cur : UINT64_MAX);
}

uint64_t availableMemoryBytes(const std::string& meminfo, const std::string& statm, uint64_t pageBytes,
                              uint64_t addressSpaceLimit) {
    const uint64_t host = std::min(hostBytes(meminfo), ADDRESSABLE_BYTES);
    if (addressSpaceLimit == UINT64_MAX) return host;
    uint64_t pages = 0;
    const bool isKnown = static_cast<bool>(std::istringstream(statm) >> pages);
    const uint64_t used = isKnown ? std::min(pages * pageBytes, addressSpaceLimit) : addressSpaceLimit / 2;
    return std::min(host, addressSpaceLimit - used);
}

}  // namespace features::jobs
