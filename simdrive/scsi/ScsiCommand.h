#pragma once

#include <cstdint>
#include <vector>

#include "features/simulator/sata/SataDrive.h"
#include "simdrive/scsi/Sense.h"

namespace simdrive::scsi {

inline constexpr size_t CDB_BYTES = 16;
/// The most data of one command: of VPD page B0h, and what a host that does not look there may send.
inline constexpr uint32_t MAX_TRANSFER_BYTES = 1 << 20;

inline constexpr uint8_t STATUS_GOOD = 0x00;
inline constexpr uint8_t STATUS_CHECK_CONDITION = 0x02;

/// How a SCSI command ended.
struct Answer {
    enum class Delivery : uint8_t {
        COMPLETED,
        BUSY,   ///< nothing was done: to be carried out again after `delayMs`
        NEVER,  ///< the drive does not answer
    };
    Delivery delivery = Delivery::COMPLETED;
    uint8_t status = STATUS_GOOD;
    std::vector<uint8_t> sense = {};
    std::vector<uint8_t> data = {};  ///< to the host, whatever the status
    uint32_t delayMs = 0;            ///< the host gets the answer that much later
};

/// What the handler of a SCSI command sees.
struct ScsiCommand {
    const uint8_t* cdb;  ///< CDB_BYTES, filled up with zeros
    const std::vector<uint8_t>& dataOut;
    uint32_t expectedBytes;  ///< that the host transfers, in either direction
    features::simulator::sata::SataDrive& drive;
    SenseFormat& senseFormat;  ///< of the control mode page
};

Answer checkCondition(const ScsiCommand& command, const SenseCode& code);
/// Parameter data, cut to what the host allocated for it.
Answer parameterData(std::vector<uint8_t> data, size_t allocationLength);

/// Sends an ATA command. `data` goes to the drive, or comes from it.
struct AtaEnd {
    bool isAnswered = false;  ///< `completion` holds; otherwise `failure` is the answer to the host
    features::simulator::sata::Completion completion = {};
    Answer failure = {};
};
AtaEnd sendAta(const ScsiCommand& command, const features::simulator::sata::TaskFile& task, std::vector<uint8_t>& data);
/// The same where the drive's error is that of the SCSI command.
Answer translate(const ScsiCommand& command, const features::simulator::sata::TaskFile& task,
                 std::vector<uint8_t> data = {});

/// Numbers in CDBs and pages are big-endian.
uint64_t bigEndian(const uint8_t* at, size_t bytes);
/// A length: no field of one has more than 4 bytes.
size_t bigEndianLength(const uint8_t* at, size_t bytes);
void putBigEndian(uint8_t* at, uint64_t number, size_t bytes);

}  // namespace simdrive::scsi
