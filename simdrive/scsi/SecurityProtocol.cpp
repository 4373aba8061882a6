#include "simdrive/scsi/SecurityProtocol.h"

#include <algorithm>

namespace simdrive::scsi {

using features::ata::Protocol;
using features::simulator::sata::SECTOR_BYTES;

Answer securityProtocolIn(const ScsiCommand& command) {
    constexpr uint8_t TRUSTED_RECEIVE = 0x5C;
    constexpr uint8_t PROTOCOL_ATA_SECURITY = 0xEF;
    constexpr uint8_t INC_512 = 0x80;  // the length is one of blocks
    constexpr uint64_t MAX_BLOCKS = 0xFFFF;
    const uint8_t protocol = command.cdb[1];
    const uint64_t specific = bigEndian(command.cdb + 2, 2);
    const uint64_t unit = (command.cdb[4] & INC_512) != 0 ? SECTOR_BYTES : 1;
    const uint64_t bytes = bigEndian(command.cdb + 6, 4) * unit;
    const uint64_t blocks = (bytes + SECTOR_BYTES - 1) / SECTOR_BYTES;
    const bool isTooLong = blocks > std::min<uint64_t>(MAX_BLOCKS, MAX_TRANSFER_BYTES / SECTOR_BYTES);
    if (protocol == PROTOCOL_ATA_SECURITY || isTooLong) return checkCondition(command, INVALID_FIELD);
    if (blocks == 0) return Answer();
    Answer answer =
        translate(command, {TRUSTED_RECEIVE, Protocol::PIO_IN, false, protocol, static_cast<uint16_t>(blocks & 0xFF),
                            blocks >> 8 | specific << 8, 0, static_cast<uint32_t>(blocks * SECTOR_BYTES)});
    if (answer.data.size() > bytes) answer.data.resize(static_cast<size_t>(bytes));
    return answer;
}

}  // namespace simdrive::scsi
