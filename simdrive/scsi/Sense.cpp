#include "simdrive/scsi/Sense.h"

namespace simdrive::scsi {

using features::ata::Registers;
using Bytes = std::vector<uint8_t>;

namespace {

constexpr uint8_t FIXED_CURRENT = 0x70;
constexpr uint8_t FIXED_VALID = 0xF0;
constexpr uint8_t DESCRIPTOR_CURRENT = 0x72;
constexpr size_t FIXED_BYTES = 18;
constexpr size_t DESCRIPTOR_HEAD_BYTES = 8;
constexpr size_t ATA_DESCRIPTOR_BYTES = 14;

uint8_t byteOf(uint64_t number, unsigned index) {
    return static_cast<uint8_t>(number >> 8 * index);
}

Bytes fixedSense(const SenseCode& code, uint8_t responseCode) {
    Bytes sense(FIXED_BYTES);
    sense[0] = responseCode;
    sense[2] = code.key;
    sense[7] = FIXED_BYTES - 8;
    sense[12] = code.asc;
    sense[13] = code.ascq;
    return sense;
}

Bytes fixedAtaSense(const SenseCode& code, const Registers& registers, bool is48Bit) {
    constexpr uint8_t EXTEND = 0x80;
    constexpr uint8_t COUNT_UPPER = 0x40;
    constexpr uint8_t LBA_UPPER = 0x20;
    Bytes sense = fixedSense(code, FIXED_VALID);
    sense[3] = registers.error;
    sense[4] = registers.status;
    sense[5] = registers.device;
    sense[6] = byteOf(registers.count, 0);
    sense[8] = static_cast<uint8_t>((is48Bit ? EXTEND : 0) | (byteOf(registers.count, 1) != 0 ? COUNT_UPPER : 0) |
                                    (registers.lba >> 24 != 0 ? LBA_UPPER : 0));
    for (unsigned i = 0; i < 3; ++i) sense[9 + i] = byteOf(registers.lba, i);
    return sense;
}

Bytes descriptorSense(const SenseCode& code, size_t moreBytes) {
    Bytes sense(DESCRIPTOR_HEAD_BYTES + moreBytes);
    sense[0] = DESCRIPTOR_CURRENT;
    sense[1] = code.key;
    sense[2] = code.asc;
    sense[3] = code.ascq;
    sense[7] = static_cast<uint8_t>(moreBytes);
    return sense;
}

Bytes descriptorAtaSense(const SenseCode& code, const Registers& registers, bool is48Bit) {
    Bytes sense = descriptorSense(code, ATA_DESCRIPTOR_BYTES);
    uint8_t* at = sense.data() + DESCRIPTOR_HEAD_BYTES;
    at[0] = 0x09;
    at[1] = ATA_DESCRIPTOR_BYTES - 2;
    at[2] = is48Bit ? 1 : 0;
    at[3] = registers.error;
    at[4] = is48Bit ? byteOf(registers.count, 1) : uint8_t{0};
    at[5] = byteOf(registers.count, 0);
    // Each byte of LBA 23:0 follows the one 24 bits above it.
    for (unsigned i = 0; i < 3; ++i) {
        at[6 + 2 * i] = is48Bit ? byteOf(registers.lba, i + 3) : uint8_t{0};
        at[7 + 2 * i] = byteOf(registers.lba, i);
    }
    at[12] = registers.device;
    at[13] = registers.status;
    return sense;
}

}  // namespace

Bytes senseData(const SenseCode& code, SenseFormat format) {
    return format == SenseFormat::FIXED ? fixedSense(code, FIXED_CURRENT) : descriptorSense(code, 0);
}

Bytes ataSenseData(const SenseCode& code, SenseFormat format, const Registers& registers, bool is48Bit) {
    return format == SenseFormat::FIXED ? fixedAtaSense(code, registers, is48Bit)
                                        : descriptorAtaSense(code, registers, is48Bit);
}

bool isFailed(const Registers& registers) {
    return (registers.status & (features::ata::STATUS_ERROR | features::ata::STATUS_DEVICE_FAULT)) != 0;
}

SenseCode senseOf(const Registers& registers) {
    constexpr uint8_t UNCORRECTABLE = 0x40;
    constexpr uint8_t ID_NOT_FOUND = 0x10;
    if ((registers.status & features::ata::STATUS_DEVICE_FAULT) != 0) return INTERNAL_FAILURE;
    if ((registers.error & UNCORRECTABLE) != 0) return UNRECOVERED_READ;
    if ((registers.error & ID_NOT_FOUND) != 0) return OUT_OF_RANGE;
    return ABORTED;
}

}  // namespace simdrive::scsi
