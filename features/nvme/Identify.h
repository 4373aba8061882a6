#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "features/nvme/FieldTree.h"
#include "ostrel/core/Payload.h"

namespace features::nvme {

/// The size of every structure of Identify.
inline constexpr size_t IDENTIFY_BYTES = 4096;

/// Decoders of the data structures of Identify (NVMe Base Specification 1.4, section 5.15.2). All take the bytes as the
/// controller gave them, show what lies within them, and never fail: a structure that is cut short shows less.

/// CNS 01h.
FieldTree decodeIdentifyController(const ostrel::core::Payload& data);
/// CNS 00h and 11h.
FieldTree decodeIdentifyNamespace(const ostrel::core::Payload& data, uint32_t nsid);
/// CNS 03h.
FieldTree decodeNamespaceDescriptors(const ostrel::core::Payload& data, uint32_t nsid);
/// CNS 02h and 10h: the identifiers up to the first zero.
std::vector<uint32_t> decodeNamespaceList(const ostrel::core::Payload& data);
/// CNS 12h and 13h. A count that the structure cannot hold is cut to what it can.
std::vector<uint16_t> decodeControllerList(const ostrel::core::Payload& data);
/// CNS 17h: up to the first entry that is zero.
FieldTree decodeUuidList(const ostrel::core::Payload& data);

/// "01234567-89ab-cdef-0123-456789abcdef".
std::string uuidText(const uint8_t* at);

/// Fields that jobs act on, out of Identify Controller.
struct ControllerCapabilities {
    explicit ControllerCapabilities(const uint8_t* identify);

    uint16_t vid;
    uint8_t mdts;
    uint16_t cntlid;
    uint32_t version;
    uint16_t oacs;
    uint8_t frmw;
    uint8_t lpa;
    uint8_t npss;
    uint8_t fwug;
    uint16_t edstt;
    uint32_t sanicap;
    uint32_t pels;
    uint32_t nn;
    uint16_t oncs;
    uint8_t fna;
    uint8_t vwc;

    bool supportsSecurity() const { return (oacs & 0x01) != 0; }
    bool supportsFormat() const { return (oacs & 0x02) != 0; }
    bool supportsFirmware() const { return (oacs & 0x04) != 0; }
    bool supportsNamespaceManagement() const { return (oacs & 0x08) != 0; }
    bool supportsSelfTest() const { return (oacs & 0x10) != 0; }
    bool supportsDatasetManagement() const { return (oncs & 0x04) != 0; }
    bool supportsSave() const { return (oncs & 0x10) != 0; }
    bool supportsTimestamp() const { return (oncs & 0x40) != 0; }
    bool supportsTelemetry() const { return (lpa & 0x08) != 0; }
    bool supportsPersistentEventLog() const { return (lpa & 0x10) != 0; }
    /// Log Page Offset and the wide Number of Dwords.
    bool supportsExtendedLogData() const { return (lpa & 0x04) != 0; }
};

/// Fields that jobs act on, out of Identify Namespace.
struct NamespaceProperties {
    explicit NamespaceProperties(const uint8_t* identify);

    struct LbaFormat {
        uint16_t metadataBytes;
        uint8_t dataShift;  ///< 0: the format is not there
        uint8_t relativePerformance;
        uint32_t dataBytes() const { return dataShift < 9 || dataShift > 31 ? 0 : uint32_t{1} << dataShift; }
    };

    uint64_t sizeBlocks;
    uint64_t capacityBlocks;
    uint64_t utilizationBlocks;
    uint8_t flbas;
    uint8_t dps;
    uint8_t nmic;
    uint8_t numberOfFormats;  ///< not 0-based
    LbaFormat formats[64];

    /// The format in use: FLBAS bits 3:0, and 6:5 above them where the namespace has more than 16.
    uint8_t formatIndex() const {
        return static_cast<uint8_t>((flbas & 0x0F) | (numberOfFormats > 16 ? (flbas >> 1 & 0x30) : 0));
    }
    bool metadataExtended() const { return (flbas & 0x10) != 0; }
    uint8_t protectionType() const { return dps & 0x07; }
};

}  // namespace features::nvme
