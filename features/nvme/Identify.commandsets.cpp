// The structures of Identify that came with I/O command sets (NVMe 2.0): those of a command set, of all of them, and
// the lists beside them.

#include "features/nvme/Identify.h"

#include <algorithm>

#include "features/nvme/Bytes.h"
#include "features/nvme/FieldTable.h"
#include "features/nvme/NvmeVersions.h"
#include "features/nvme/Structures.h"
#include "features/nvme/structures/DomainList.h"
#include "features/nvme/structures/IdentifyIndependentNamespace.h"
#include "features/nvme/structures/IdentifyNvmController.h"
#include "features/nvme/structures/IdentifyNvmNamespace.h"
#include "features/nvme/structures/IdentifyZoned.h"
#include "features/nvme/structures/NamespaceGranularityList.h"

namespace features::nvme {

using ostrel::core::Payload;

namespace {

// clang-format off
constexpr Word NO_LIMIT_AT_ALL_ONES[] = {{0xFFFFFFFF, "no limit"}, {}};
constexpr Word AS_MDTS_AT_0[] = {{0, "as MDTS"}, {}};

constexpr FieldRow NVM_NAMESPACE_FIELDS[] = {
    {"LBSTM", "Logical Block Storage Tag Mask", FIELD(IdentifyNvmNamespace, lbstm), Format::HEX},
    {"PIC", "Protection Information Capabilities", FIELD(IdentifyNvmNamespace, pic), Format::HEX},
    flag("PIC 16 Bit Storage Tag", "16-bit guard with a storage tag", offsetof(IdentifyNvmNamespace, pic), 0),
    flag("PIC Storage Tag Mask", "Storage tag mask", offsetof(IdentifyNvmNamespace, pic), 1),
    flag("PIC Storage Tag Check", "Storage tag check", offsetof(IdentifyNvmNamespace, pic), 2),
    flag("PIC Qualified Format", "Qualified protection information format", offsetof(IdentifyNvmNamespace, pic), 3),
    since(NVME_2_1, {"PIFA", "Protection Information Format Attributes",
                     FIELD(IdentifyNvmNamespace, pifa), Format::HEX}),
    since(NVME_2_1, unless0({"NPDGL", "Namespace Preferred Deallocate Granularity Large (blocks)",
                             FIELD(IdentifyNvmNamespace, npdgl), Format::DECIMAL})),
    since(NVME_2_1, unless0({"NPRG", "Namespace Preferred Read Granularity (blocks)",
                             FIELD(IdentifyNvmNamespace, nprg), Format::DECIMAL})),
    since(NVME_2_1, unless0({"NPRA", "Namespace Preferred Read Alignment (blocks)",
                             FIELD(IdentifyNvmNamespace, npra), Format::DECIMAL})),
    since(NVME_2_1, unless0({"NORS", "Namespace Optimal Read Size (blocks)",
                             FIELD(IdentifyNvmNamespace, nors), Format::DECIMAL})),
    since(NVME_2_1, unless0({"NPDAL", "Namespace Preferred Deallocate Alignment Large (blocks)",
                             FIELD(IdentifyNvmNamespace, npdal), Format::DECIMAL})),
    since(NVME_2_1, {"LBAPSS", "LBA Format Placement Shard Size", FIELD(IdentifyNvmNamespace, lbapss), Format::DECIMAL}),
    since(NVME_2_1, {"TLBAAG", "Tracked LBA Allocation Granularity",
                     FIELD(IdentifyNvmNamespace, tlbaag), Format::DECIMAL}),
};
constexpr Word PROTECTION_FORMATS[] = {
    {0, "16-bit guard"}, {1, "32-bit guard"}, {2, "64-bit guard"}, {3, "qualified"}, {},
};
constexpr FieldRow EXTENDED_FORMAT_FIELDS[] = {
    bitsRow("STS", "Storage Tag Size (bits)", 0, 6, 0),
    word("PIF", "Protection Information Format", 0, 8, 7, PROTECTION_FORMATS),
    bitsRow("QPIF", "Qualified Protection Information Format", 0, 12, 9),
};

constexpr FieldRow NVM_CONTROLLER_FIELDS[] = {
    inWords(NO_LIMIT_AT_0, {"VSL", "Verify Size Limit as Power of 2 of Memory Pages",
                            FIELD(IdentifyNvmController, vsl), Format::DECIMAL}),
    inWords(NO_LIMIT_AT_0, {"WZSL", "Write Zeroes Size Limit as Power of 2 of Memory Pages",
                            FIELD(IdentifyNvmController, wzsl), Format::DECIMAL}),
    inWords(NO_LIMIT_AT_0, {"WUSL", "Write Uncorrectable Size Limit as Power of 2 of Memory Pages",
                            FIELD(IdentifyNvmController, wusl), Format::DECIMAL}),
    inWords(NO_LIMIT_AT_0, {"DMRL", "Dataset Management Ranges Limit", FIELD(IdentifyNvmController, dmrl), Format::DECIMAL}),
    inWords(NO_LIMIT_AT_0, {"DMRSL", "Dataset Management Range Size Limit (blocks)",
                            FIELD(IdentifyNvmController, dmrsl), Format::DECIMAL}),
    inWords(NO_LIMIT_AT_0, {"DMSL", "Dataset Management Size Limit (blocks)",
                            FIELD(IdentifyNvmController, dmsl), Format::DECIMAL}),
    since(NVME_2_1, {"KPIOCAP", "Key Per I/O Capabilities", FIELD(IdentifyNvmController, kpiocap), Format::HEX}),
    since(NVME_2_1, inWords(NO_LIMIT_AT_0, {"WZDSL", "Write Zeroes With Deallocate Size Limit",
                                            FIELD(IdentifyNvmController, wzdsl), Format::DECIMAL})),
    since(NVME_2_1, {"AOCS", "Admin Optional Command Support", FIELD(IdentifyNvmController, aocs), Format::HEX}),
    since(NVME_2_1, {"VER", "Version of the NVM command set", FIELD(IdentifyNvmController, ver), Format::VERSION}),
    since(NVME_2_1, {"LBAMQF", "LBA Migration Queue Format", FIELD(IdentifyNvmController, lbamqf), Format::HEX}),
};

constexpr FieldRow ZONED_NAMESPACE_FIELDS[] = {
    {"ZOC", "Zone Operation Characteristics", FIELD(IdentifyZonedNamespace, zoc), Format::HEX},
    {"OZCS", "Optional Zoned Command Support", FIELD(IdentifyZonedNamespace, ozcs), Format::HEX},
    inWords(NO_LIMIT_AT_ALL_ONES, {"MAR", "Maximum Active Resources (zones)",
                                   FIELD(IdentifyZonedNamespace, mar), Format::DECIMAL_0BASED}),
    inWords(NO_LIMIT_AT_ALL_ONES, {"MOR", "Maximum Open Resources (zones)",
                                   FIELD(IdentifyZonedNamespace, mor), Format::DECIMAL_0BASED}),
};
constexpr FieldRow FORMAT_EXTENSION_FIELDS[] = {
    {"ZSZE", "Zone Size (blocks)", FIELD(LbaFormatExtension, zoneSize), Format::DECIMAL},
    {"ZDES", "Zone Descriptor Extension Size (units of 64 bytes)", FIELD(LbaFormatExtension, zdes), Format::DECIMAL},
};
constexpr FieldRow ZONED_CONTROLLER_FIELDS[] = {
    inWords(AS_MDTS_AT_0, {"ZASL", "Zone Append Size Limit as Power of 2 of Memory Pages",
                           FIELD(IdentifyZonedController, zasl), Format::DECIMAL}),
};

constexpr FieldRow INDEPENDENT_NAMESPACE_FIELDS[] = {
    {"NSFEAT", "Common Namespace Features", FIELD(IdentifyIndependentNamespace, nsfeat), Format::HEX},
    {"NMIC", "Namespace Multi-path I/O and Namespace Sharing Capabilities",
     FIELD(IdentifyIndependentNamespace, nmic), Format::HEX},
    flag("NMIC Shared", "May be attached to more than one controller", offsetof(IdentifyIndependentNamespace, nmic), 0),
    {"RESCAP", "Reservation Capabilities", FIELD(IdentifyIndependentNamespace, rescap), Format::HEX},
    {"FPI", "Format Progress Indicator", FIELD(IdentifyIndependentNamespace, fpi), Format::HEX},
    {"ANAGRPID", "ANA Group Identifier", FIELD(IdentifyIndependentNamespace, anagrpid), Format::DECIMAL},
    {"NSATTR", "Namespace Attributes", FIELD(IdentifyIndependentNamespace, nsattr), Format::HEX},
    flag("NSATTR Write Protected", "The namespace is write protected",
         offsetof(IdentifyIndependentNamespace, nsattr), 0),
    {"NVMSETID", "NVM Set Identifier", FIELD(IdentifyIndependentNamespace, nvmsetid), Format::DECIMAL},
    {"ENDGID", "Endurance Group Identifier", FIELD(IdentifyIndependentNamespace, endgid), Format::DECIMAL},
    {"NSTAT", "Namespace Status", FIELD(IdentifyIndependentNamespace, nstat), Format::HEX},
    flag("NSTAT Ready", "The namespace is ready", offsetof(IdentifyIndependentNamespace, nstat), 0),
    since(NVME_2_1, {"KPIOS", "Key Per I/O Status", FIELD(IdentifyIndependentNamespace, kpios), Format::HEX}),
    since(NVME_2_1, {"MAXKT", "Maximum Key Tag", FIELD(IdentifyIndependentNamespace, maxkt), Format::DECIMAL}),
    since(NVME_2_1, {"RGRPID", "Reachability Group Identifier",
                     FIELD(IdentifyIndependentNamespace, rgrpid), Format::DECIMAL}),
};

constexpr FieldRow GRANULARITY_FIELDS[] = {
    {"NGA", "Namespace Granularity Attributes", FIELD(NamespaceGranularityList, attributes), Format::HEX},
    flag("NGA Each Format", "There is a descriptor for each LBA format", offsetof(NamespaceGranularityList, attributes), 0),
    {"NOD", "Number of Descriptors", FIELD(NamespaceGranularityList, numberOfDescriptors0Based), Format::DECIMAL_0BASED},
};
constexpr FieldRow GRANULARITY_DESCRIPTOR_FIELDS[] = {
    unless0({"NSZEG", "Namespace Size Granularity (bytes)", FIELD(NamespaceGranularityDescriptor, size), Format::DECIMAL}),
    unless0({"NCAPG", "Namespace Capacity Granularity (bytes)",
             FIELD(NamespaceGranularityDescriptor, capacity), Format::DECIMAL}),
};

constexpr FieldRow DOMAIN_LIST_FIELDS[] = {
    {"NUM", "Number of Domains", FIELD(DomainListHeader, numberOfEntries), Format::DECIMAL},
};
constexpr FieldRow DOMAIN_FIELDS[] = {
    {"DID", "Domain Identifier", FIELD(DomainListEntry, domain), Format::DECIMAL},
    {"TDC", "Total Domain Capacity (bytes)", FIELD(DomainListEntry, capacity), Format::COUNTER},
    {"UDC", "Unallocated Domain Capacity (bytes)", FIELD(DomainListEntry, unallocatedCapacity), Format::COUNTER},
    {"MEGDC", "Max Endurance Group Domain Capacity (bytes)",
     FIELD(DomainListEntry, maxGroupCapacity), Format::COUNTER},
};

/// Bits of a vector of CNS 1Ch.
constexpr Word COMMAND_SETS[] = {
    {0, "NVM"}, {1, "Key Value"}, {2, "Zoned Namespace"}, {3, "Subsystem Local Memory"}, {4, "Computational Programs"}, {},
};
// clang-format on

constexpr unsigned MAX_FORMATS = 64;

std::string combinationText(uint64_t vector) {
    std::string text;
    for (unsigned set = 0; set < 64; ++set) {
        if (!bit(vector, set)) continue;
        const char* name = findWord(COMMAND_SETS, set);
        text.append(text.empty() ? "" : "; ").append(name != nullptr ? name : "reserved " + std::to_string(set));
    }
    return text;
}

bool isZero(const uint8_t* at, size_t bytes) {
    return std::all_of(at, at + bytes, [](uint8_t byte) { return byte == 0; });
}

/// A part for each LBA format of which an array of entries says something.
void addFormats(FieldTree& tree, FieldRows rows, const Payload& data, size_t at, size_t entryBytes) {
    for (unsigned i = 0; i < MAX_FORMATS && at + entryBytes <= data.getSize(); ++i, at += entryBytes) {
        const uint8_t* entry = data.getData() + at;
        if (!isZero(entry, entryBytes))
            addFields(tree.addPart("LBA Format " + std::to_string(i)), rows, entry, entryBytes);
    }
}

}  // namespace

FieldTree decodeNvmNamespace(const Payload& data, uint32_t nsid, uint16_t nvmeVersion) {
    FieldTree tree{"NVM Command Set Namespace " + std::to_string(nsid), {}, {}};
    addFields(tree, NVM_NAMESPACE_FIELDS, data.getData(), data.getSize(), nvmeVersion);
    addFormats(tree, EXTENDED_FORMAT_FIELDS, data, offsetof(IdentifyNvmNamespace, elbaf), sizeof(Le32));
    return tree;
}

FieldTree decodeZonedNamespace(const Payload& data, uint32_t nsid) {
    FieldTree tree{"Zoned Namespace " + std::to_string(nsid), {}, {}};
    addFields(tree, ZONED_NAMESPACE_FIELDS, data.getData(), data.getSize());
    addFormats(tree, FORMAT_EXTENSION_FIELDS, data, offsetof(IdentifyZonedNamespace, extensions),
               sizeof(LbaFormatExtension));
    return tree;
}

FieldTree decodeNvmController(const Payload& data, uint16_t nvmeVersion) {
    return decodeTable("NVM Command Set Controller", NVM_CONTROLLER_FIELDS, data, nvmeVersion);
}

FieldTree decodeZonedController(const Payload& data) {
    return decodeTable("Zoned Namespace Command Set Controller", ZONED_CONTROLLER_FIELDS, data);
}

FieldTree decodeIndependentNamespace(const Payload& data, uint32_t nsid, uint16_t nvmeVersion) {
    FieldTree tree{"Command Set Independent Namespace " + std::to_string(nsid), {}, {}};
    addFields(tree, INDEPENDENT_NAMESPACE_FIELDS, data.getData(), data.getSize(), nvmeVersion);
    return tree;
}

FieldTree decodeGranularities(const Payload& data) {
    FieldTree tree{"Namespace Granularity List", {}, {}};
    addFields(tree, GRANULARITY_FIELDS, data.getData(), data.getSize());
    if (data.getSize() < sizeof(NamespaceGranularityList)) return tree;
    const auto list = structureAt<NamespaceGranularityList>(data.getData());
    const unsigned count = std::min<unsigned>(list.numberOfDescriptors0Based + 1U, std::size(list.descriptors));
    for (unsigned i = 0; i < count; ++i) {
        const size_t at = offsetof(NamespaceGranularityList, descriptors) + i * sizeof(NamespaceGranularityDescriptor);
        addFields(tree.addPart("Descriptor " + std::to_string(i)), GRANULARITY_DESCRIPTOR_FIELDS, data.getData() + at,
                  sizeof(NamespaceGranularityDescriptor));
    }
    return tree;
}

FieldTree decodeDomains(const Payload& data) {
    FieldTree tree{"Domain List", {}, {}};
    addFields(tree, DOMAIN_LIST_FIELDS, data.getData(), data.getSize());
    if (data.getSize() < sizeof(DomainListHeader)) return tree;
    const unsigned count = data.getData()[0];
    size_t at = sizeof(DomainListHeader);
    for (unsigned i = 1; i <= count && at + sizeof(DomainListEntry) <= data.getSize();
         ++i, at += sizeof(DomainListEntry))
        addFields(tree.addPart("Domain " + std::to_string(i)), DOMAIN_FIELDS, data.getData() + at,
                  sizeof(DomainListEntry));
    return tree;
}

FieldTree decodeCommandSetCombinations(const Payload& data) {
    FieldTree tree{"I/O Command Set Combinations", {}, {}};
    for (size_t at = 0; at + sizeof(Le64) <= data.getSize(); at += sizeof(Le64)) {
        const uint64_t vector = le64(data.getData() + at);
        if (vector != 0) tree.add("Combination " + std::to_string(at / sizeof(Le64)), combinationText(vector));
    }
    return tree;
}

std::string commandSetName(uint8_t csi) {
    return wordText(COMMAND_SETS, csi);
}

std::vector<Structure> commandSetStructures() {
    return {
        {"NVM Command Set Namespace *", NVM_NAMESPACE_FIELDS},
        {"NVM Command Set Namespace * > LBA Format *", EXTENDED_FORMAT_FIELDS},
        {"Zoned Namespace *", ZONED_NAMESPACE_FIELDS},
        {"Zoned Namespace * > LBA Format *", FORMAT_EXTENSION_FIELDS},
        {"NVM Command Set Controller", NVM_CONTROLLER_FIELDS},
        {"NVM Command Set Controller > Zoned Namespace Command Set Controller", ZONED_CONTROLLER_FIELDS},
        {"Command Set Independent Namespace *", INDEPENDENT_NAMESPACE_FIELDS},
        {"Namespace Granularity List", GRANULARITY_FIELDS},
        {"Namespace Granularity List > Descriptor *", GRANULARITY_DESCRIPTOR_FIELDS},
        {"Domain List", DOMAIN_LIST_FIELDS},
        {"Domain List > Domain *", DOMAIN_FIELDS},
    };
}

}  // namespace features::nvme
