#include "features/jobs/support/AvailableMemory.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <limits>
#include <optional>

#include "ostrel/core/File.h"
#include "ostrel/core/Strings.h"

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

/// The number that the word at this place is; nothing if it is none, or there is no such word.
std::optional<uint64_t> numberAt(const std::vector<std::string>& words, size_t place) {
    if (place >= words.size()) return std::nullopt;
    const std::string& word = words[place];
    uint64_t number = 0;
    const bool isRead = std::from_chars(word.data(), word.data() + word.size(), number).ec == std::errc();
    return isRead ? std::optional(number) : std::nullopt;
}

uint64_t hostBytes(const std::string& meminfo) {
    for (const std::string& line : splitLines(meminfo)) {
        const std::vector<std::string> words = splitWords(line);
        const std::optional<uint64_t> kibibytes = numberAt(words, 1);
        if (kibibytes && words[0] == "MemAvailable:") return *kibibytes * 1024;
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
    const std::optional<uint64_t> pages = numberAt(splitWords(statm), 0);
    const uint64_t used = pages ? std::min(*pages * pageBytes, addressSpaceLimit) : addressSpaceLimit / 2;
    return std::min(host, addressSpaceLimit - used);
}

}  // namespace features::jobs
