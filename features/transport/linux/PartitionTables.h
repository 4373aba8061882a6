#pragma once

#include <string>
#include <vector>

#include "features/transport/linux/LinuxPaths.h"

namespace features::transport {

/// Has the kernel read the partition tables of block devices again: it does so by itself when the size of a disk
/// changes, not when its content is erased. Tables of disks in use are left alone; one that cannot be read again stays
/// as it is known, as it would without this.
void rereadPartitionTables(const LinuxPaths& paths, const std::vector<std::string>& blocks);

}  // namespace features::transport
