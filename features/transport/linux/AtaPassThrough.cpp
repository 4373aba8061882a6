#include "features/transport/linux/AtaPassThrough.h"

#include "features/ata/Commands.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::transport {

using ata::Addressing;
using ata::AtaCommand;
using ata::Protocol;

namespace {

constexpr uint8_t ATA_PASS_THROUGH_16 = 0x85;
constexpr uint8_t SECURITY_PROTOCOL_IN = 0xA2;
constexpr uint8_t SECURITY_PROTOCOL_IN_BYTES = 12;
constexpr uint32_t BLOCK_BYTES = 512;
// Of byte 1.
constexpr uint8_t EXTEND = 0x01;
// Of byte 2.
constexpr uint8_t CK_COND = 0x20;
constexpr uint8_t T_DIR_FROM_DRIVE = 0x08;
constexpr uint8_t BYTE_BLOCK = 0x04;  // the length is one of blocks
constexpr uint8_t T_LENGTH_IN_COUNT = 0x02;
constexpr uint8_t T_LENGTH_OF_TRANSFER = 0x03;  // that of the data which goes with the SCSI command

/// The PROTOCOL field (SAT-4 table 149). DMA has one value for both directions: T_DIR has the direction.
uint8_t protocolField(Protocol protocol) {
    switch (protocol) {
        case Protocol::NON_DATA:
            return 3;
        case Protocol::PIO_IN:
            return 4;
        case Protocol::PIO_OUT:
            return 5;
        case Protocol::DMA_IN:
        case Protocol::DMA_OUT:
            return 6;
    }
    return 0;
}

bool isTrustedReceive(const AtaCommand& command) {
    return command.opcode == ata::commands::level0Discovery.opcode;
}

/// DOWNLOAD MICROCODE has the upper byte of the number of blocks in LBA 7:0, where no translator looks for a length.
bool isDownload(const AtaCommand& command) {
    return command.opcode == ata::commands::downloadMicrocode.opcode ||
           command.opcode == ata::commands::downloadMicrocodeDma.opcode;
}

/// A COUNT of 0 is the highest one and 1.
uint32_t blocksIn(const AtaCommand& command) {
    if (isDownload(command) || isTrustedReceive(command))
        return command.count | static_cast<uint32_t>(command.lba & 0xFF) << 8;
    if (command.count != 0) return command.count;
    return command.addressing == Addressing::BITS_48 ? 65536 : 256;
}

bool isSendable(const AtaCommand& command) {
    if (!command.isEncodable()) return false;
    if (command.protocol == Protocol::NON_DATA) return command.dataLength == 0;
    return command.dataLength == blocksIn(command) * BLOCK_BYTES;
}

uint8_t lengthField(const AtaCommand& command) {
    if (command.protocol == Protocol::NON_DATA) return 0;
    if (isDownload(command) && blocksIn(command) > UINT8_MAX) return T_LENGTH_OF_TRANSFER;
    return BYTE_BLOCK | T_LENGTH_IN_COUNT;
}

uint8_t byteOf(uint64_t number, unsigned index) {
    return static_cast<uint8_t>(number >> (8 * index));
}

/// With the length in bytes: libata does not look at INC_512.
ScsiBlock toSecurityProtocolIn(const AtaCommand& command) {
    ScsiBlock block{};
    block[0] = SECURITY_PROTOCOL_IN;
    block[1] = byteOf(command.feature, 0);
    block[2] = byteOf(command.lba, 2);
    block[3] = byteOf(command.lba, 1);
    for (unsigned i = 0; i < 4; ++i) block[6 + i] = byteOf(command.dataLength, 3 - i);
    return block;
}

}  // namespace

uint8_t lengthOf(const ScsiBlock& block) {
    return block[0] == SECURITY_PROTOCOL_IN ? SECURITY_PROTOCOL_IN_BYTES : static_cast<uint8_t>(block.size());
}

Result<ScsiBlock> toScsi(const AtaCommand& command) {
    if (!isSendable(command)) return ostrel::core::statuses::ataScsiConversionFailed();
    if (isTrustedReceive(command)) return toSecurityProtocolIn(command);
    const bool isExtended = command.addressing == Addressing::BITS_48;
    ScsiBlock block{};
    block[0] = ATA_PASS_THROUGH_16;
    block[1] = static_cast<uint8_t>(protocolField(command.protocol) << 1 | (isExtended ? EXTEND : 0));
    if (command.wantsRegisters) block[2] |= CK_COND;
    block[2] |= lengthField(command);
    if (command.readsData()) block[2] |= T_DIR_FROM_DRIVE;
    block[3] = byteOf(command.feature, 1);
    block[4] = byteOf(command.feature, 0);
    block[5] = byteOf(command.count, 1);
    block[6] = byteOf(command.count, 0);
    // Each pair: the byte of the previous content first, which 28-bit commands do not have.
    if (isExtended) {
        block[7] = byteOf(command.lba, 3);
        block[9] = byteOf(command.lba, 4);
        block[11] = byteOf(command.lba, 5);
    }
    block[8] = byteOf(command.lba, 0);
    block[10] = byteOf(command.lba, 1);
    block[12] = byteOf(command.lba, 2);
    block[13] = static_cast<uint8_t>(command.device | (isExtended ? 0 : byteOf(command.lba, 3)));
    block[14] = command.opcode;
    return block;
}

}  // namespace features::transport
