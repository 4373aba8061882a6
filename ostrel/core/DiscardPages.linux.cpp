#include "ostrel/core/DiscardPages.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

#include "ostrel/core/ScopeTrace.h"

namespace ostrel::core {

void discardPages(void* begin, std::size_t bytes) {
    OSTREL_TRACE();
    const auto pageBytes = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
    const auto address = reinterpret_cast<std::uintptr_t>(begin);
    const std::uintptr_t before = (pageBytes - address % pageBytes) % pageBytes;
    if (bytes < before + pageBytes) return;
    // A refusal costs memory and nothing else.
    (void)::madvise(static_cast<char*>(begin) + before, (bytes - before) / pageBytes * pageBytes, MADV_DONTNEED);
}

}  // namespace ostrel::core
