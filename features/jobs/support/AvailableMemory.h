#pragma once

#include <cstdint>
#include <string>

namespace features::jobs {

/// What is taken to be available where the host does not say it.
inline constexpr uint64_t UNKNOWN_MEMORY_BYTES = uint64_t{256} * 1024 * 1024;

/// Memory in bytes that this process can still take: what the host has available without swapping (MemAvailable of
/// /proc/meminfo), and no more than its limit of address space (RLIMIT_AS) leaves, of a 32-bit process half of 4 GiB.
uint64_t availableMemoryBytes();

/// The same of given texts. `meminfo`, `statm`: those of /proc, empty where they cannot be read: then a limited process
/// is taken to have used half of its `addressSpaceLimit`, UINT64_MAX for none.
uint64_t availableMemoryBytes(const std::string& meminfo, const std::string& statm, uint64_t pageBytes,
                              uint64_t addressSpaceLimit);

}  // namespace features::jobs
