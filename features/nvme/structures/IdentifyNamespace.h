#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// One LBA format of Identify Namespace.
struct LbaFormatDescriptor {
    Le16 ms;        ///< metadata, in bytes
    uint8_t lbads;  ///< a power of 2
    uint8_t rp;     ///< in bits 1:0
};
static_assert(sizeof(LbaFormatDescriptor) == 4 && alignof(LbaFormatDescriptor) == 1);
static_assert(offsetof(LbaFormatDescriptor, rp) == 3);

/// CNS 00h and 11h, NVMe Base Specification 1.4, section 5.15.2.1, with what 2.0 and 2.1 add; Namespace Management
/// creates a namespace of it. The names are the standard's.
struct IdentifyNamespace {
    Le64 nsze;
    Le64 ncap;
    Le64 nuse;
    uint8_t nsfeat;
    uint8_t nlbaf;
    uint8_t flbas;
    uint8_t mc;
    uint8_t dpc;
    uint8_t dps;
    uint8_t nmic;
    uint8_t rescap;
    uint8_t fpi;
    uint8_t dlfeat;
    Le16 nawun;
    Le16 nawupf;
    Le16 nacwu;
    Le16 nabsn;
    Le16 nabo;
    Le16 nabspf;
    Le16 noiob;
    Le128 nvmcap;
    Le16 npwg;
    Le16 npwa;
    Le16 npdg;
    Le16 npda;
    Le16 nows;
    Le16 mssrl;
    Le32 mcl;
    uint8_t msrc;
    uint8_t kpios;
    uint8_t nulbaf;
    ByteArray<1> reserved83;
    Le32 kpiodaag;
    ByteArray<4> reserved88;
    Le32 anagrpid;
    ByteArray<3> reserved96;
    uint8_t nsattr;
    Le16 nvmsetid;
    Le16 endgid;
    ByteArray<16> nguid;
    ByteArray<8> eui64;
    LbaFormatDescriptor lbaf[64];
    ByteArray<3712> reserved384;
};
static_assert(sizeof(IdentifyNamespace) == 4096 && alignof(IdentifyNamespace) == 1);
static_assert(offsetof(IdentifyNamespace, anagrpid) == 92 && offsetof(IdentifyNamespace, nsattr) == 99);
static_assert(offsetof(IdentifyNamespace, kpiodaag) == 84 && offsetof(IdentifyNamespace, lbaf) == 128);

}  // namespace features::nvme
