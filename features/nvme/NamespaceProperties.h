#pragma once

#include <cstdint>

#include "features/nvme/structures/IdentifyNamespace.h"

namespace features::nvme {

/// The fields of Identify Namespace that the library acts on.
struct NamespaceProperties {
    static constexpr unsigned MAX_FORMATS = 64;
    static constexpr uint16_t PROTECTION_BYTES = 8;  ///< of a block's metadata

    /// `identify`: 4,096 bytes.
    explicit NamespaceProperties(const uint8_t* identify);
    explicit NamespaceProperties(const IdentifyNamespace& identify);

    struct LbaFormat {
        uint16_t metadataBytes;
        uint8_t dataShift;  ///< the block's size is 2 to this power; 0: the format is not there
        uint8_t relativePerformance;

        /// Bytes of a block; 0 where the format is not there or not one of the standard.
        uint32_t dataBytes() const { return dataShift < 9 || dataShift > 31 ? 0 : uint32_t{1} << dataShift; }
    };

    uint64_t sizeBlocks;
    uint64_t capacityBlocks;
    uint64_t utilizationBlocks;
    uint8_t flbas;
    uint8_t dpc;
    uint8_t dps;
    uint8_t mc;
    uint8_t nmic;
    uint8_t numberOfFormats;  ///< not 0-based; with those of unique attributes (NULBAF)
    LbaFormat formats[MAX_FORMATS];

    /// The format in use: FLBAS bits 3:0, and 6:5 above them where the namespace has more than 16.
    uint8_t formatIndex() const {
        return static_cast<uint8_t>((flbas & 0x0F) | (numberOfFormats > 16 ? (flbas >> 1 & 0x30) : 0));
    }
    /// What a block is in the format in use; no bytes where the index leads nowhere.
    const LbaFormat& format() const { return formats[formatIndex()]; }
    bool metadataExtended() const { return (flbas & 0x10) != 0; }
    uint8_t protectionType() const { return dps & 0x07; }
    bool protectionFirst() const { return (dps & 0x08) != 0; }
    bool isShared() const { return (nmic & 0x01) != 0; }
};

}  // namespace features::nvme
