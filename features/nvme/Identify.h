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
/// CNS 00h and 11h. Here and below: fields that a later version brought than that of the controller (NvmeVersions.h)
/// are left out.
FieldTree decodeIdentifyNamespace(const ostrel::core::Payload& data, uint32_t nsid, uint16_t nvmeVersion);
/// CNS 03h. A descriptor that runs over the end is reported and ends the list.
FieldTree decodeNamespaceDescriptors(const ostrel::core::Payload& data, uint32_t nsid);
/// CNS 02h and 10h: the identifiers up to the first zero.
std::vector<uint32_t> decodeNamespaceList(const ostrel::core::Payload& data);
/// CNS 12h and 13h. A count that the structure cannot hold is cut to what it can.
std::vector<uint16_t> decodeControllerList(const ostrel::core::Payload& data);
/// CNS 17h: up to the first entry that is zero.
FieldTree decodeUuidList(const ostrel::core::Payload& data);

// Of NVMe 2.0 and its I/O command sets.

/// CNS 05h of the NVM and of the Zoned Namespace command set. LBA formats of which nothing is said are left out.
FieldTree decodeNvmNamespace(const ostrel::core::Payload& data, uint32_t nsid, uint16_t nvmeVersion);
FieldTree decodeZonedNamespace(const ostrel::core::Payload& data, uint32_t nsid);
/// CNS 06h of the same.
FieldTree decodeNvmController(const ostrel::core::Payload& data, uint16_t nvmeVersion);
FieldTree decodeZonedController(const ostrel::core::Payload& data);
/// CNS 08h.
FieldTree decodeIndependentNamespace(const ostrel::core::Payload& data, uint32_t nsid, uint16_t nvmeVersion);
/// CNS 16h.
FieldTree decodeGranularities(const ostrel::core::Payload& data);
/// CNS 18h.
FieldTree decodeDomains(const ostrel::core::Payload& data);
/// CNS 1Ch: the combinations that there are.
FieldTree decodeCommandSetCombinations(const ostrel::core::Payload& data);
/// The name of an I/O command set, or "reserved (0x5)".
std::string commandSetName(uint8_t csi);
/// The I/O command set of a namespace by its CNS 03h structure; that of NVM where the structure does not say.
uint8_t commandSetOf(const ostrel::core::Payload& descriptors);

/// OCP Datacenter NVMe SSD Specification 2.0: the UUID that its logs and features go by.
inline constexpr uint8_t OCP_UUID[] = {0xC1, 0x94, 0xD5, 0x5B, 0xE0, 0x94, 0x47, 0x94,
                                       0xA2, 0x1D, 0x29, 0x99, 0x8F, 0x56, 0xBE, 0x6F};
/// Where a CNS 17h structure has OCP's UUID, counted from 1: its UUID Index. 0: nowhere.
uint8_t ocpUuidIndex(const ostrel::core::Payload& data);
/// The same of the first UUID that the structure associates with the PCI Vendor ID.
uint8_t makerUuidIndex(const ostrel::core::Payload& data);

}  // namespace features::nvme
