#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// A result of log page 06h. Which of NSID, failing LBA and status hold is in bits 0 to 3 of `valid`.
struct SelfTestResultEntry {
    uint8_t status;  ///< code in bits 7:4, result in bits 3:0
    uint8_t segment;
    uint8_t valid;
    ByteArray<1> reserved3;
    Le64 powerOnHours;
    Le32 nsid;
    Le64 failingLba;
    uint8_t statusCodeType;
    uint8_t statusCode;
    Le16 vendorSpecific;
};
static_assert(sizeof(SelfTestResultEntry) == 28 && alignof(SelfTestResultEntry) == 1);
static_assert(offsetof(SelfTestResultEntry, powerOnHours) == 4 && offsetof(SelfTestResultEntry, vendorSpecific) == 26);

/// Log page 06h, NVMe Base Specification 1.4, section 5.14.1.6.
struct SelfTestLog {
    uint8_t operation;   ///< in bits 3:0
    uint8_t completion;  ///< per cent, in bits 6:0
    ByteArray<2> reserved2;
    SelfTestResultEntry results[20];  ///< newest first
};
static_assert(sizeof(SelfTestLog) == 564 && alignof(SelfTestLog) == 1);
static_assert(offsetof(SelfTestLog, results) == 4);

}  // namespace features::nvme
