#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// OCP Datacenter NVMe SSD Specification 2.5, head of log page C6h: Hardware Component. The components follow it.
struct OcpHardwareComponentHeader {
    Le16 logPageVersion;
    ByteArray<14> reserved2;
    ByteArray<16> guid;  ///< from its last byte to its first
    Le128 size;          ///< of the page: dwords in version 1, bytes later
    ByteArray<16> reserved48;
};
static_assert(sizeof(OcpHardwareComponentHeader) == 64 && alignof(OcpHardwareComponentHeader) == 1);
static_assert(offsetof(OcpHardwareComponentHeader, guid) == 16 && offsetof(OcpHardwareComponentHeader, size) == 32);

/// A component; its date or lot code and then the additional information follow it.
struct OcpHardwareComponent {
    Le64 lotCodeDwords;
    Le64 informationDwords;
    Le32 id;
    ByteArray<8> manufacturer;
    ByteArray<8> revision;
    ByteArray<8> manufacturerCode;
};
static_assert(sizeof(OcpHardwareComponent) == 44 && alignof(OcpHardwareComponent) == 1);
static_assert(offsetof(OcpHardwareComponent, id) == 16 && offsetof(OcpHardwareComponent, manufacturerCode) == 36);

}  // namespace features::nvme
