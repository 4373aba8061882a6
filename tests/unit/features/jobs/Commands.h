#pragma once

#include <cerrno>

#include "ostrel/core/Status.h"
#include "tests/support/fakedrive/Expected.h"

namespace features::jobs {

/// What the kernel's transport reports of a drive that was unplugged.
inline ostrel::core::Status gone() {
    return {ostrel::core::CATEGORY_CORE, 70, "The drive /dev/nvme0 is gone."};
}

/// Get Log Page of the whole controller that leaves asynchronous events alone.
inline fakedrive::Expected lookAtLog(uint8_t lid, uint32_t bytes) {
    fakedrive::Expected command = fakedrive::logPage(lid, bytes);
    return command.dword(10, lid | 0x8000U | (bytes / 4 - 1) << 16);
}

/// Namespace Identification Descriptors (CNS 03h) with a UUID, and then the Command Set Identifier.
inline fakedrive::DriveBytes descriptorsOf(uint8_t csi) {
    return fakedrive::DriveBytes(4096)
        .put(0, {3, 16, 0, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16})
        .put(20, {4, 1, 0, 0, csi});
}

/// Invalid Log Page, Do Not Retry.
inline constexpr uint16_t NO_SUCH_LOG = 0x4109;

}  // namespace features::jobs
