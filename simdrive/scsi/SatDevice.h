#pragma once

#include <cstdint>
#include <vector>

#include "features/simulator/sata/SataDrive.h"
#include "simdrive/scsi/ScsiCommand.h"

namespace simdrive::scsi {

/// A simulated SATA drive as a SCSI device with logical unit 0: the translation of SAT-4. Its only state is the control
/// mode page, one for all hosts, whose D_SENSE is set at first: then the registers of an ATA command reach the host
/// whole.
///
/// Ownership: the drive must outlive it.
/// Threads:   one.
class SatDevice {
public:
    explicit SatDevice(features::simulator::sata::SataDrive& drive) : drive_(drive) {}

    /// `cdb`: CDB_BYTES. `expectedBytes`: that the host transfers; of data to the drive they are in `dataOut`.
    Answer execute(uint64_t lun, const uint8_t* cdb, const std::vector<uint8_t>& dataOut, uint32_t expectedBytes);
    /// What is answered to a host that wants to transfer too much.
    Answer refuseTransfer(const uint8_t* cdb);

private:
    features::simulator::sata::SataDrive& drive_;
    SenseFormat senseFormat_ = SenseFormat::DESCRIPTOR;
};

}  // namespace simdrive::scsi
