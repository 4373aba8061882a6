#include "simdrive/scsi/Inquiry.h"

#include <algorithm>
#include <iterator>
#include <string>

namespace simdrive::scsi {

using features::ata::Protocol;
using features::simulator::sata::SECTOR_BYTES;
using features::simulator::sata::TaskFile;
using Bytes = std::vector<uint8_t>;

namespace {

constexpr uint8_t IDENTIFY_DEVICE = 0xEC;
constexpr size_t VPD_HEAD_BYTES = 4;
// Bytes of IDENTIFY DEVICE.
constexpr size_t FORM_FACTOR = 336;
constexpr size_t ROTATION_RATE = 434;
constexpr const char* VENDOR = "ATA     ";

void putText(Bytes& page, size_t at, const std::string& text) {
    std::copy(text.begin(), text.end(), page.begin() + static_cast<std::ptrdiff_t>(at));
}

/// Words of IDENTIFY DEVICE as text: the bytes of each exchanged.
std::string textOf(const Bytes& identify, size_t firstWord, size_t words) {
    std::string text;
    for (size_t word = firstWord; word < firstWord + words; ++word) {
        text += static_cast<char>(identify[2 * word + 1]);
        text += static_cast<char>(identify[2 * word]);
    }
    return text;
}

/// The last four characters of the firmware revision; the first four when those are blank.
std::string revisionOf(const Bytes& identify) {
    const std::string firmware = textOf(identify, 23, 4);
    const std::string last = firmware.substr(4);
    return last == "    " ? firmware.substr(0, 4) : last;
}

Bytes standardData(const Bytes& identify) {
    Bytes data(96);
    data[2] = 0x06;  // SPC-4
    data[3] = 0x02;
    data[4] = static_cast<uint8_t>(data.size() - 5);
    data[7] = 0x02;  // a queue of commands
    putText(data, 8, VENDOR);
    putText(data, 16, textOf(identify, 27, 8));
    putText(data, 32, revisionOf(identify));
    constexpr uint16_t VERSIONS[] = {0x00A0, 0x0460, 0x04C0, 0x1EC0};  // SAM-5, SPC-4, SBC-3, SAT-3
    for (size_t i = 0; i < std::size(VERSIONS); ++i) putBigEndian(data.data() + 58 + 2 * i, VERSIONS[i], 2);
    return data;
}

Bytes supportedPages(const Bytes&);

Bytes serialNumber(const Bytes& identify) {
    Bytes page(VPD_HEAD_BYTES + 20);
    putText(page, VPD_HEAD_BYTES, textOf(identify, 10, 10));
    return page;
}

/// The world wide name, and vendor, model and serial number as text.
Bytes identification(const Bytes& identify) {
    constexpr size_t TEXT_BYTES = 68;
    Bytes page(VPD_HEAD_BYTES + 12 + 4 + TEXT_BYTES);
    page[4] = 0x01;
    page[5] = 0x03;  // NAA
    page[7] = 8;
    for (size_t i = 0; i < 4; ++i) {
        page[8 + 2 * i] = identify[216 + 2 * i + 1];
        page[9 + 2 * i] = identify[216 + 2 * i];
    }
    page[16] = 0x02;  // ASCII
    page[17] = 0x01;  // T10 vendor
    page[19] = TEXT_BYTES;
    putText(page, 20, VENDOR + textOf(identify, 27, 20) + textOf(identify, 10, 10));
    return page;
}

/// The translator, the drive's signature, and IDENTIFY DEVICE.
Bytes ataInformation(const Bytes& identify) {
    Bytes page(60 + SECTOR_BYTES);
    putText(page, 8, "NIMBREL ");
    putText(page, 16, "simulated SATL  ");
    putText(page, 32, "0001");
    page[36] = 0x34;  // Register - Device to Host FIS
    page[38] = 0x50;
    page[39] = 0x01;
    page[40] = 0x01;
    page[48] = 0x01;
    page[56] = IDENTIFY_DEVICE;
    std::copy(identify.begin(), identify.end(), page.begin() + 60);
    return page;
}

Bytes blockLimits(const Bytes&) {
    constexpr uint32_t MAX_UNMAP_RANGES = 64;
    constexpr uint32_t MAX_UNMAP_SECTORS = 512 * 65535;  // entries of one DATA SET MANAGEMENT command
    Bytes page(64);
    putBigEndian(page.data() + 6, 8, 2);
    putBigEndian(page.data() + 8, MAX_TRANSFER_BYTES / SECTOR_BYTES, 4);
    putBigEndian(page.data() + 20, MAX_UNMAP_SECTORS, 4);
    putBigEndian(page.data() + 24, MAX_UNMAP_RANGES, 4);
    putBigEndian(page.data() + 28, 8, 4);
    return page;
}

Bytes blockCharacteristics(const Bytes& identify) {
    Bytes page(64);
    page[4] = identify[ROTATION_RATE + 1];  // rotation rate
    page[5] = identify[ROTATION_RATE];
    page[7] = identify[FORM_FACTOR] & 0x0F;  // form factor
    return page;
}

Bytes provisioning(const Bytes&) {
    Bytes page(8);
    page[5] = 0x84;  // UNMAP; what was unmapped reads as zeros
    return page;
}

struct Page {
    uint8_t code;
    Bytes (*build)(const Bytes& identify);
};
constexpr Page PAGES[] = {
    {0x00, supportedPages}, {0x80, serialNumber},         {0x83, identification}, {0x89, ataInformation},
    {0xB0, blockLimits},    {0xB1, blockCharacteristics}, {0xB2, provisioning},
};

Bytes supportedPages(const Bytes&) {
    Bytes page(VPD_HEAD_BYTES);
    for (const Page& each : PAGES) page.push_back(each.code);
    return page;
}

}  // namespace

Answer inquiry(const ScsiCommand& command) {
    const uint8_t code = command.cdb[2];
    const bool isVital = (command.cdb[1] & 1) != 0;
    const size_t allocated = bigEndianLength(command.cdb + 3, 2);
    if (!isVital && code != 0) return checkCondition(command, INVALID_FIELD);
    const auto* row =
        std::find_if(std::begin(PAGES), std::end(PAGES), [code](auto& each) { return each.code == code; });
    if (isVital && row == std::end(PAGES)) return checkCondition(command, INVALID_FIELD);
    const TaskFile task{IDENTIFY_DEVICE, Protocol::PIO_IN, false, 0, 0, 0, 0, SECTOR_BYTES};
    Answer identify = translate(command, task);
    if (identify.delivery != Answer::Delivery::COMPLETED || identify.status != STATUS_GOOD) return identify;
    if (!isVital) return parameterData(standardData(identify.data), allocated);
    Bytes page = row->build(identify.data);
    page[1] = code;
    putBigEndian(page.data() + 2, page.size() - VPD_HEAD_BYTES, 2);
    return parameterData(std::move(page), allocated);
}

Answer inquiryOfNothing(const ScsiCommand& command) {
    constexpr uint8_t NOT_CAPABLE = 0x7F;  // of supporting a device there
    Bytes data(36);
    data[0] = NOT_CAPABLE;
    data[2] = 0x06;
    data[3] = 0x02;
    data[4] = static_cast<uint8_t>(data.size() - 5);
    return parameterData(std::move(data), bigEndianLength(command.cdb + 3, 2));
}

}  // namespace simdrive::scsi
