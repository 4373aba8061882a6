#pragma once

#include <cstdint>

#include "ostrel/core/Status.h"

namespace features::jobs {

enum class EraseMethod : uint8_t {
    SANITIZE_BLOCK,
    SANITIZE_OVERWRITE,
    SANITIZE_CRYPTO,
    FORMAT_USER_DATA,
    FORMAT_CRYPTO,
    ATA_BLOCK_ERASE,
    ATA_CRYPTO_SCRAMBLE,
    ATA_SECURITY_ERASE,
    ATA_ENHANCED_SECURITY_ERASE,
};

/// A method in the words of a record.
///
/// `sanitization` is IEEE 2883's. That the sanitize commands purge is beyond doubt. Under which conditions a format or
/// a security erase does, the standard makes depend on the drive, as far as is known here: a record claims the lesser
/// for them, never the greater.
struct EraseMethodRow {
    EraseMethod method;
    const char* sanitization;
    const char* technique;
    const char* command;
    ostrel::core::Status (*failure)();  ///< of an erase that the check found not to be one
};

const EraseMethodRow& rowOf(EraseMethod method);

}  // namespace features::jobs
