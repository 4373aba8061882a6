// IDENTIFY DEVICE in words, for a reader.

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>

#include "features/ata/Identity.h"
#include "features/ata/IdentityWords.h"
#include "features/ata/Structures.h"
#include "features/errors/PayloadCopy.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/FieldTable.h"

namespace features::ata {

using namespace nvme;
using ostrel::core::Payload;

namespace {

// clang-format off
constexpr Word SECURITY_LEVELS[] = {{0, "high"}, {1, "maximum"}, {}};
constexpr Word ROTATION[] = {{0, "not reported"}, {1, "non-rotating"}, {0xFFFF, "not reported"}, {}};
constexpr Word NO_LEVEL[] = {{0, "not reported"}, {0xFFFF, "not reported"}, {}};

constexpr FieldRow wordRow(const char* name, const char* description, uint16_t word) {
    return unless0({name, description, static_cast<uint16_t>(word * 2), 2, Format::HEX});
}
constexpr FieldRow wordBit(const char* name, const char* description, uint16_t word, unsigned bitNumber) {
    return flag(name, description, static_cast<uint16_t>(word * 2), bitNumber);
}
constexpr FieldRow wordBits(const char* name, const char* description, uint16_t word, unsigned high, unsigned low,
                            Format format = Format::DECIMAL, const Word* words = nullptr) {
    return bitsRow(name, description, static_cast<uint16_t>(word * 2), high, low, format, words);
}

constexpr FieldRow GENERAL[] = {
    {"W0", "General configuration", 0, 2, Format::HEX},
    wordBit("W0.15", "ATAPI device", 0, 15),
    wordBit("W0.2", "IDENTIFY data incomplete", 0, 2),
};
constexpr FieldRow SERIAL[] = {{"W10-19", "Serial Number", FIELD(IdentifyDevice, serialNumber), Format::TEXT}};
constexpr FieldRow FIRMWARE[] = {{"W23-26", "Firmware Revision", FIELD(IdentifyDevice, firmware), Format::TEXT}};
constexpr FieldRow MODEL[] = {{"W27-46", "Model Number", FIELD(IdentifyDevice, model), Format::TEXT}};
constexpr FieldRow W48[] = {
    wordRow("W48", "Trusted Computing", 48),
    wordBit("W48.0", "Trusted Computing feature set supported", 48, 0),
};
constexpr FieldRow W49[] = {
    wordRow("W49", "Capabilities", 49),
    wordBit("W49.13", "Standby timer values of the standard", 49, 13),
    wordBit("W49.11", "IORDY supported", 49, 11),
    wordBit("W49.10", "IORDY may be disabled", 49, 10),
    wordBit("W49.9", "LBA supported", 49, 9),
    wordBit("W49.8", "DMA supported", 49, 8),
};
constexpr FieldRow W59[] = {
    wordRow("W59", "Sanitize and multiple sectors", 59),
    wordBit("W59.15", "BLOCK ERASE EXT supported", 59, 15),
    wordBit("W59.14", "OVERWRITE EXT supported", 59, 14),
    wordBit("W59.13", "CRYPTO SCRAMBLE EXT supported", 59, 13),
    wordBit("W59.12", "Sanitize feature set supported", 59, 12),
    wordBit("W59.11", "Commands allowed during sanitize as in ACS-3", 59, 11),
    wordBit("W59.10", "SANITIZE ANTIFREEZE LOCK EXT supported", 59, 10),
    wordBit("W59.8", "Multiple sector setting valid", 59, 8),
    wordBits("W59.7-0", "Logical sectors per DRQ data block", 59, 7, 0),
};
constexpr FieldRow W60[] = {{"W60-61", "Addressable sectors of 28-bit commands", FIELD(IdentifyDevice, sectors28), Format::DECIMAL}};
constexpr FieldRow W69[] = {
    wordRow("W69", "Additional supported", 69),
    wordBit("W69.14", "Deterministic data after TRIM", 69, 14),
    wordBit("W69.8", "DOWNLOAD MICROCODE DMA supported", 69, 8),
    wordBit("W69.5", "Zeroes after TRIM", 69, 5),
    wordBit("W69.4", "All user data is encrypted", 69, 4),
    wordBit("W69.3", "Extended number of addressable sectors", 69, 3),
};
constexpr FieldRow W75[] = {wordBits("W75.4-0", "Queue depth", 75, 4, 0, Format::DECIMAL_0BASED)};
constexpr FieldRow W76[] = {
    wordRow("W76", "Serial ATA capabilities", 76),
    wordBit("W76.15", "READ LOG DMA EXT same as READ LOG EXT", 76, 15),
    wordBit("W76.12", "NCQ priority information supported", 76, 12),
    wordBit("W76.10", "Phy event counters supported", 76, 10),
    wordBit("W76.9", "Host-initiated power management supported", 76, 9),
    wordBit("W76.8", "NCQ supported", 76, 8),
    wordBit("W76.3", "Gen3 speed supported", 76, 3),
    wordBit("W76.2", "Gen2 speed supported", 76, 2),
    wordBit("W76.1", "Gen1 speed supported", 76, 1),
};
constexpr FieldRow W77[] = {
    wordRow("W77", "Serial ATA additional capabilities", 77),
    wordBits("W77.3-1", "Negotiated speed", 77, 3, 1, Format::WORD, SATA_SPEEDS),
};
constexpr FieldRow W78[] = {
    wordRow("W78", "Serial ATA features supported", 78),
    wordBit("W78.8", "Device Sleep supported", 78, 8),
    wordBit("W78.6", "Software settings preservation supported", 78, 6),
    wordBit("W78.3", "Device-initiated power management supported", 78, 3),
};
constexpr FieldRow W79[] = {
    wordRow("W79", "Serial ATA features enabled", 79),
    wordBit("W79.8", "Device Sleep enabled", 79, 8),
    wordBit("W79.6", "Software settings preservation enabled", 79, 6),
    wordBit("W79.3", "Device-initiated power management enabled", 79, 3),
};
constexpr FieldRow W80[] = {
    wordRow("W80", "Major version number", 80),
    wordBit("W80.12", "ACS-5", 80, 12),
    wordBit("W80.11", "ACS-4", 80, 11),
    wordBit("W80.10", "ACS-3", 80, 10),
    wordBit("W80.9", "ACS-2", 80, 9),
    wordBit("W80.8", "ATA8-ACS", 80, 8),
};
constexpr FieldRow W81[] = {wordRow("W81", "Minor version number", 81)};
constexpr FieldRow W82[] = {
    wordRow("W82", "Commands and feature sets supported", 82),
    wordBit("W82.10", "Host Protected Area supported", 82, 10),
    wordBit("W82.6", "Read look-ahead supported", 82, 6),
    wordBit("W82.5", "Volatile write cache supported", 82, 5),
    wordBit("W82.3", "Power Management supported", 82, 3),
    wordBit("W82.1", "Security feature set supported", 82, 1),
    wordBit("W82.0", "SMART feature set supported", 82, 0),
};
constexpr FieldRow W83[] = {
    wordRow("W83", "Commands and feature sets supported 2", 83),
    wordBit("W83.13", "FLUSH CACHE EXT supported", 83, 13),
    wordBit("W83.12", "FLUSH CACHE supported", 83, 12),
    wordBit("W83.11", "Device Configuration Overlay supported", 83, 11),
    wordBit("W83.10", "48-bit Address feature set supported", 83, 10),
    wordBit("W83.6", "SET FEATURES required for spin-up", 83, 6),
    wordBit("W83.5", "Power-Up In Standby supported", 83, 5),
    wordBit("W83.3", "Advanced Power Management supported", 83, 3),
    wordBit("W83.0", "DOWNLOAD MICROCODE supported", 83, 0),
};
constexpr FieldRow W84[] = {
    wordRow("W84", "Commands and feature sets supported 3", 84),
    wordBit("W84.8", "World Wide Name supported", 84, 8),
    wordBit("W84.6", "WRITE DMA FUA EXT supported", 84, 6),
    wordBit("W84.5", "General Purpose Logging supported", 84, 5),
    wordBit("W84.1", "SMART self-test supported", 84, 1),
    wordBit("W84.0", "SMART error logging supported", 84, 0),
};
constexpr FieldRow W85[] = {
    wordRow("W85", "Commands and feature sets enabled", 85),
    wordBit("W85.10", "Host Protected Area enabled", 85, 10),
    wordBit("W85.6", "Read look-ahead enabled", 85, 6),
    wordBit("W85.5", "Volatile write cache enabled", 85, 5),
    wordBit("W85.1", "Security feature set enabled", 85, 1),
    wordBit("W85.0", "SMART feature set enabled", 85, 0),
};
constexpr FieldRow W86[] = {
    wordRow("W86", "Commands and feature sets enabled 2", 86),
    wordBit("W86.15", "Words 119 and 120 are valid", 86, 15),
    wordBit("W86.10", "48-bit Address feature set enabled", 86, 10),
    wordBit("W86.5", "Power-Up In Standby enabled", 86, 5),
    wordBit("W86.3", "Advanced Power Management enabled", 86, 3),
};
constexpr FieldRow W87[] = {
    wordRow("W87", "Commands and feature sets enabled 3", 87),
    wordBit("W87.8", "World Wide Name valid", 87, 8),
    wordBit("W87.5", "General Purpose Logging supported", 87, 5),
};
constexpr FieldRow W88[] = {wordRow("W88", "Ultra DMA modes", 88)};
constexpr FieldRow W89[] = {wordRow("W89", "Time of SECURITY ERASE UNIT", 89)};
constexpr FieldRow W90[] = {wordRow("W90", "Time of an enhanced SECURITY ERASE UNIT", 90)};
constexpr FieldRow W91[] = {
    wordRow("W91", "Advanced Power Management", 91),
    wordBits("W91.7-0", "Advanced Power Management level", 91, 7, 0)};
constexpr FieldRow W92[] = {inWords(NO_LEVEL, {"W92", "Master password identifier", 92 * 2, 2, Format::DECIMAL})};
constexpr FieldRow W100[] = {{"W100-103", "Addressable sectors", FIELD(IdentifyDevice, sectors48), Format::DECIMAL}};
constexpr FieldRow W105[] = {unless0({"W105", "Maximum blocks of one DATA SET MANAGEMENT (blocks of 512 bytes)", FIELD(IdentifyDevice, trimBlocks), Format::DECIMAL})};
constexpr FieldRow W106[] = {
    wordRow("W106", "Physical and logical sector size", 106),
    wordBit("W106.13", "Several logical sectors per physical sector", 106, 13),
    wordBit("W106.12", "Logical sector larger than 512 bytes", 106, 12),
    wordBits("W106.3-0", "Logical sectors per physical sector", 106, 3, 0, Format::POWER_OF_2),
};
constexpr FieldRow WWN[] = {{"W108-111", "World Wide Name", FIELD(IdentifyDevice, wwn), Format::BYTES}};
constexpr FieldRow W117[] = {{"W117-118", "Logical sector size (words)", FIELD(IdentifyDevice, logicalSectorWords), Format::DECIMAL}};
constexpr FieldRow W119[] = {
    wordRow("W119", "Commands and feature sets supported 4", 119),
    wordBit("W119.9", "Device Statistics Notification supported", 119, 9),
    wordBit("W119.8", "Accessible Max Address Configuration supported", 119, 8),
    wordBit("W119.7", "Extended Power Conditions supported", 119, 7),
    wordBit("W119.6", "Sense Data Reporting supported", 119, 6),
    wordBit("W119.4", "DOWNLOAD MICROCODE with offsets supported", 119, 4),
    wordBit("W119.3", "READ LOG DMA EXT and WRITE LOG DMA EXT supported", 119, 3),
    wordBit("W119.2", "WRITE UNCORRECTABLE EXT supported", 119, 2),
};
constexpr FieldRow W120[] = {
    wordRow("W120", "Commands and feature sets enabled 4", 120),
    wordBit("W120.9", "Device Statistics Notification enabled", 120, 9),
    wordBit("W120.7", "Extended Power Conditions enabled", 120, 7),
    wordBit("W120.6", "Sense Data Reporting enabled", 120, 6),
};
constexpr FieldRow W128[] = {
    wordRow("W128", "Security status", 128),
    wordBits("W128.8", "Security level", 128, 8, 8, Format::WORD, SECURITY_LEVELS),
    wordBit("W128.5", "Enhanced security erase supported", 128, 5),
    wordBit("W128.4", "Security count expired", 128, 4),
    wordBit("W128.3", "Security frozen", 128, 3),
    wordBit("W128.2", "Security locked", 128, 2),
    wordBit("W128.1", "Security enabled", 128, 1),
    wordBit("W128.0", "Security supported", 128, 0),
};
constexpr FieldRow W168[] = {wordBits("W168.3-0", "Form factor", 168, 3, 0, Format::WORD, FORM_FACTORS)};
constexpr FieldRow W169[] = {
    wordRow("W169", "Data Set Management", 169),
    wordBit("W169.0", "TRIM supported", 169, 0)};
constexpr FieldRow W206[] = {
    wordRow("W206", "SMART Command Transport", 206),
    wordBit("W206.5", "SCT Data Tables supported", 206, 5),
    wordBit("W206.4", "SCT Feature Control supported", 206, 4),
    wordBit("W206.3", "SCT Error Recovery Control supported", 206, 3),
    wordBit("W206.2", "SCT Write Same supported", 206, 2),
    wordBit("W206.0", "SMART Command Transport supported", 206, 0),
};
constexpr FieldRow W209[] = {
    wordRow("W209", "Alignment", 209),
    wordBits("W209.13-0", "Alignment of logical sectors in physical sectors", 209, 13, 0)};
constexpr FieldRow W217[] = {inWords(ROTATION, {"W217", "Rotation rate (rpm)", 217 * 2, 2, Format::DECIMAL})};
constexpr FieldRow W222[] = {
    wordRow("W222", "Transport major version", 222),
    wordBit("W222.8", "SATA 3.3", 222, 8),
    wordBit("W222.7", "SATA 3.2", 222, 7),
    wordBit("W222.6", "SATA 3.1", 222, 6),
    wordBit("W222.5", "SATA 3.0", 222, 5),
    wordBit("W222.4", "SATA 2.6", 222, 4),
    wordBit("W222.3", "SATA 2.5", 222, 3),
};
constexpr FieldRow W230[] = {{"W230-233", "Extended number of addressable sectors", FIELD(IdentifyDevice, extendedSectors), Format::DECIMAL}};
constexpr FieldRow W234[] = {inWords(NO_LEVEL, {"W234", "Minimum blocks of one DOWNLOAD MICROCODE (blocks of 512 bytes)", FIELD(IdentifyDevice, minDownloadBlocks), Format::DECIMAL})};
constexpr FieldRow W235[] = {inWords(NO_LEVEL, {"W235", "Maximum blocks of one DOWNLOAD MICROCODE (blocks of 512 bytes)", FIELD(IdentifyDevice, maxDownloadBlocks), Format::DECIMAL})};

/// What the fields of a word are worth depends on whether the word counts.
enum class Shown : uint8_t { ALWAYS, IF_REPORTED };

struct Section {
    uint8_t word;
    Shown shown;
    FieldRows rows;
};
constexpr Section SECTIONS[] = {
    {0,   Shown::ALWAYS,      GENERAL}, {10,  Shown::ALWAYS,      SERIAL}, {23,  Shown::ALWAYS,      FIRMWARE},
    {27,  Shown::ALWAYS,      MODEL},   {48,  Shown::IF_REPORTED, W48},    {49,  Shown::ALWAYS,      W49},
    {59,  Shown::IF_REPORTED, W59},     {60,  Shown::ALWAYS,      W60},    {69,  Shown::IF_REPORTED, W69},
    {75,  Shown::ALWAYS,      W75},     {76,  Shown::IF_REPORTED, W76},    {77,  Shown::IF_REPORTED, W77},
    {78,  Shown::IF_REPORTED, W78},     {79,  Shown::IF_REPORTED, W79},    {80,  Shown::IF_REPORTED, W80},
    {81,  Shown::IF_REPORTED, W81},     {82,  Shown::IF_REPORTED, W82},    {83,  Shown::IF_REPORTED, W83},
    {84,  Shown::IF_REPORTED, W84},     {85,  Shown::IF_REPORTED, W85},    {86,  Shown::IF_REPORTED, W86},
    {87,  Shown::IF_REPORTED, W87},     {88,  Shown::IF_REPORTED, W88},    {89,  Shown::IF_REPORTED, W89},
    {90,  Shown::IF_REPORTED, W90},     {91,  Shown::IF_REPORTED, W91},    {92,  Shown::ALWAYS,      W92},
    {100, Shown::ALWAYS,      W100},    {105, Shown::IF_REPORTED, W105},   {106, Shown::IF_REPORTED, W106},
    {108, Shown::ALWAYS,      WWN},     {117, Shown::ALWAYS,      W117},   {119, Shown::IF_REPORTED, W119},
    {120, Shown::IF_REPORTED, W120},    {128, Shown::IF_REPORTED, W128},   {168, Shown::ALWAYS,      W168},
    {169, Shown::IF_REPORTED, W169},    {206, Shown::IF_REPORTED, W206},   {209, Shown::IF_REPORTED, W209},
    {217, Shown::ALWAYS,      W217},    {222, Shown::IF_REPORTED, W222},   {230, Shown::ALWAYS,      W230},
    {234, Shown::ALWAYS,      W234},    {235, Shown::ALWAYS,      W235},
};
// clang-format on

struct Span {
    size_t offset;
    size_t size;
};
/// The World Wide Name, whose words are in the order of reading already, has its bytes swapped the same way.
constexpr Span SWAPPED[] = {{FIELD(IdentifyDevice, serialNumber)},
                            {FIELD(IdentifyDevice, firmware)},
                            {FIELD(IdentifyDevice, model)},
                            {FIELD(IdentifyDevice, wwn)}};

constexpr unsigned CHECKSUM_WORD = 255;

void addSection(FieldTree& tree, const Section& section, const Identity& identity, const Payload& ordered) {
    const FieldRow& first = *section.rows.begin();
    if (section.shown == Shown::ALWAYS || identity.isReported(section.word)) {
        addFields(tree, section.rows, ordered.getData(), ordered.getSize());
    } else {
        tree.add(fieldName(first), fieldDescription(first), NOT_REPORTED);
    }
}

void addOtherWords(FieldTree& tree, const Identity& identity) {
    std::array<bool, CHECKSUM_WORD + 1> isKnown{};
    isKnown[CHECKSUM_WORD] = true;
    for (const Section& section : SECTIONS) {
        for (const FieldRow& row : section.rows) {
            for (size_t at = row.offset; at < size_t{row.offset} + row.width; ++at) isKnown[at / 2] = true;
        }
    }
    FieldTree& part = tree.addPart("Other Words");
    for (unsigned word = 0; word < isKnown.size(); ++word) {
        if (!isKnown[word] && identity.word(word) != 0)
            part.add("W" + std::to_string(word), hexText(identity.word(word), 4));
    }
}

}  // namespace

std::vector<Structure> identifyDeviceStructures() {
    std::vector<Structure> structures;
    for (const Section& section : SECTIONS) structures.push_back({"Identify Device", section.rows});
    return structures;
}

Payload withTextsInOrder(const Payload& identifyDevice) {
    Payload ordered = copyOf(identifyDevice.getData(), identifyDevice.getSize());
    for (const Span& span : SWAPPED) {
        for (size_t at = span.offset; at + 1 < span.offset + span.size && at + 1 < ordered.getSize(); at += 2)
            std::swap(ordered.getData()[at], ordered.getData()[at + 1]);
    }
    return ordered;
}

FieldTree decodeIdentifyDevice(const Payload& data) {
    FieldTree tree{"Identify Device", {}, {}};
    if (data.getSize() < sizeof(IdentifyDevice)) return tree;
    const Identity identity(data.getData());
    const Payload ordered = withTextsInOrder(data);
    for (const Section& section : SECTIONS) addSection(tree, section, identity, ordered);
    const bool hasChecksum = identity.data().checksumSignature == CHECKSUM_SIGNATURE;
    const char* const checksum = !hasChecksum ? NOT_REPORTED : identity.isChecksumGood() ? "good" : "wrong";
    tree.add("W255", "Checksum", checksum);
    addOtherWords(tree, identity);
    return tree;
}

}  // namespace features::ata
