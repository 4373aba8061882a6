#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

/// What follows the 8 bytes that all units begin with, and the completion that one of them carries (NVMe/TCP Transport
/// Specification, section 3.6; NVMe over Fabrics 1.1, section 2.2).
namespace simdrive::tcp {

/// ICReq and ICResp.
struct InitializationHeader {
    features::nvme::Le16 formatVersion;
    uint8_t alignment;             ///< HPDA or CPDA
    uint8_t digests;               ///< of headers in bit 0, of data in bit 1
    features::nvme::Le32 maximum;  ///< MAXR2T, or MAXH2CDATA
    features::nvme::ByteArray<112> reserved16;
};
static_assert(sizeof(InitializationHeader) == 120 && alignof(InitializationHeader) == 1);

struct R2tHeader {
    features::nvme::Le16 commandId;
    features::nvme::Le16 tag;
    features::nvme::Le32 offset;
    features::nvme::Le32 length;
    features::nvme::ByteArray<4> reserved20;
};
static_assert(sizeof(R2tHeader) == 16 && alignof(R2tHeader) == 1);

struct C2hDataHeader {
    features::nvme::Le16 commandId;
    features::nvme::ByteArray<2> reserved10;
    features::nvme::Le32 offset;
    features::nvme::Le32 length;
    features::nvme::ByteArray<4> reserved20;
};
static_assert(sizeof(C2hDataHeader) == 16 && alignof(C2hDataHeader) == 1);

struct TerminationHeader {
    features::nvme::Le16 fatalError;
    features::nvme::Le32 information;
    features::nvme::ByteArray<10> reserved14;
};
static_assert(sizeof(TerminationHeader) == 16 && alignof(TerminationHeader) == 1);

struct CompletionQueueEntry {
    features::nvme::Le64 result;
    features::nvme::Le16 queueHead;
    features::nvme::Le16 queueId;
    features::nvme::Le16 commandId;
    features::nvme::Le16 status;  ///< the status field in bits 15:1
};
static_assert(sizeof(CompletionQueueEntry) == 16 && alignof(CompletionQueueEntry) == 1);

}  // namespace simdrive::tcp
