#pragma once

#include "tests/support/fakedrive/Expected.h"

namespace features::jobs {

/// The question whether a drive has OCP's features: 512 bytes of log C0h, with Retain Asynchronous Event.
inline fakedrive::Expected ocpLog() {
    return fakedrive::logPage(0xC0, 512).dword(10, 0x007F80C0);
}

/// The log of a drive that has them; only its GUID is filled.
inline fakedrive::DriveBytes ocpSmart() {
    return fakedrive::DriveBytes(512).put(
        496, {0xC5, 0xAF, 0x10, 0x28, 0xEA, 0xBF, 0xF2, 0xA4, 0x9C, 0x4F, 0x6F, 0x7C, 0xC9, 0x14, 0xD5, 0xAF});
}

}  // namespace features::jobs
