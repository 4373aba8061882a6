#include "features/ata/IdentifyLog.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "features/ata/LogAddresses.h"
#include "features/ata/Structures.h"
#include "features/errors/PayloadCopy.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/FieldTable.h"

namespace features::ata {

using namespace nvme;
using ostrel::core::Payload;

namespace {

constexpr unsigned VALID = 63;  // of each quadword
constexpr size_t QUADWORD = 8;
constexpr size_t PAGE_NUMBER_OFFSET = 2;

// Quadwords of page 03h.
constexpr uint16_t CAPABILITIES_DOWNLOAD = 16;
constexpr unsigned DOWNLOAD_IN_PIECES_BIT = 32;
constexpr unsigned DOWNLOAD_WHOLE_BIT = 33;
constexpr unsigned DOWNLOAD_DEFERRED_BIT = 34;

/// A field of the quadword at `offset`, which counts when its bit 63 is set.
constexpr FieldRow field(const char* name, const char* description, uint16_t offset, unsigned high, unsigned low,
                         Format format = Format::DECIMAL) {
    return onlyIf(offset + 7U, 7, bitsRow(name, description, offset, high, low, format));
}

// clang-format off
constexpr FieldRow CAPACITY[] = {
    field("Capacity", "Device capacity (logical sectors)", 8, 47, 0),
    field("Logical Sector Size", "Logical sector size (words)", 24, 31, 0),
    field("Nominal Buffer Size", "Nominal buffer size", 32, 62, 0),
};
constexpr FieldRow CAPABILITIES[] = {
    field("Minimum Download", "Minimum blocks of one DOWNLOAD MICROCODE (blocks of 512 bytes)", CAPABILITIES_DOWNLOAD, 15, 0),
    field("Maximum Download", "Maximum blocks of one DOWNLOAD MICROCODE (blocks of 512 bytes)", CAPABILITIES_DOWNLOAD, 31, 16),
    field("Download in Pieces", "DOWNLOAD MICROCODE 03h supported", CAPABILITIES_DOWNLOAD, DOWNLOAD_IN_PIECES_BIT, DOWNLOAD_IN_PIECES_BIT, Format::FLAG),
    field("Download Whole", "DOWNLOAD MICROCODE 07h supported", CAPABILITIES_DOWNLOAD, DOWNLOAD_WHOLE_BIT, DOWNLOAD_WHOLE_BIT, Format::FLAG),
    field("Download Deferred", "DOWNLOAD MICROCODE 0Eh and 0Fh supported", CAPABILITIES_DOWNLOAD, DOWNLOAD_DEFERRED_BIT, DOWNLOAD_DEFERRED_BIT, Format::FLAG),
};
constexpr FieldRow STRINGS[] = {  // the characters of each word are swapped
    {"Serial Number", "", 8, 20, Format::TEXT},
    {"Firmware Revision", "", 32, 8, Format::TEXT},
    {"Model Number", "", 48, 40, Format::TEXT},
    {"Additional Product Identifier", "", 96, 8, Format::TEXT},
};

struct PageRow {
    uint8_t page;
    const char* name;
    FieldRows rows;
    bool isText = false;
};
constexpr PageRow PAGES[] = {
    {IDENTIFY_PAGE_LIST,         "Identify Data Pages", {}},
    {IDENTIFY_PAGE_CAPACITY,     "Identify Data Capacity", CAPACITY},
    {IDENTIFY_PAGE_CAPABILITIES, "Identify Data Capabilities", CAPABILITIES},
    {IDENTIFY_PAGE_SETTINGS,     "Identify Data Settings", {}},
    {IDENTIFY_PAGE_STRINGS,      "Identify Data Strings", STRINGS, true},
    {IDENTIFY_PAGE_SECURITY,     "Identify Data Security", {}},
    {IDENTIFY_PAGE_SATA,         "Identify Data Serial ATA", {}},
};
// clang-format on

Payload swapped(const Payload& data) {
    Payload ordered = copyOf(data.getData(), data.getSize());
    for (size_t at = QUADWORD; at + 1 < ordered.getSize(); at += 2)
        std::swap(ordered.getData()[at], ordered.getData()[at + 1]);
    return ordered;
}

void addOtherQuadwords(FieldTree& tree, const PageRow& row, const Payload& data) {
    FieldTree& part = tree.addPart("Other Quadwords");
    for (size_t at = QUADWORD; at + QUADWORD <= data.getSize(); at += QUADWORD) {
        const bool isKnown = std::any_of(row.rows.begin(), row.rows.end(), [at](const FieldRow& known) {
            return known.offset < at + QUADWORD && size_t{known.offset} + known.width > at;
        });
        const uint64_t value = le64(data.getData() + at);
        if (!isKnown && value != 0) part.add("Q" + std::to_string(at), hexText(value, 16));
    }
}

}  // namespace

std::vector<Structure> identifyLogStructures() {
    std::vector<Structure> structures;
    for (const PageRow& row : PAGES) structures.push_back({row.name, row.rows});
    return structures;
}

std::optional<DownloadSupport> downloadSupport(const Payload& capabilities) {
    if (capabilities.getSize() < LOG_PAGE_BYTES ||
        capabilities.getData()[PAGE_NUMBER_OFFSET] != IDENTIFY_PAGE_CAPABILITIES)
        return std::nullopt;
    const uint64_t download = le64(capabilities.getData() + CAPABILITIES_DOWNLOAD);
    if (!bit(download, VALID)) return std::nullopt;
    return DownloadSupport{bit(download, DOWNLOAD_IN_PIECES_BIT), bit(download, DOWNLOAD_WHOLE_BIT),
                           bit(download, DOWNLOAD_DEFERRED_BIT), static_cast<uint16_t>(bits(download, 15, 0)),
                           static_cast<uint16_t>(bits(download, 31, 16))};
}

FieldTree decodeIdentifyPage(uint8_t page, const Payload& data) {
    const auto* const row =
        std::find_if(std::begin(PAGES), std::end(PAGES), [page](const PageRow& known) { return known.page == page; });
    static constexpr PageRow UNKNOWN{0, "Identify Data", {}};
    const PageRow& shown = row == std::end(PAGES) ? UNKNOWN : *row;
    const Payload ordered = shown.isText ? swapped(data) : data;
    FieldTree tree = decodeTable(shown.name, shown.rows, ordered);
    addOtherQuadwords(tree, shown, data);
    return tree;
}

}  // namespace features::ata
