#pragma once

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>

#include "ostrel/core/ProtocolResult.h"
#include "ostrel/core/Status.h"

namespace features::ata {

/// What a drive leaves in its registers at the end of a command (ACS-4 clause 4, SAT-4 12.2.2.6).
struct Registers {
    uint8_t error = 0;   ///< valid with STATUS_ERROR
    uint8_t status = 0;  ///< never 00h: that is no register of a drive
    uint8_t device = 0;
    uint16_t count = 0;
    uint64_t lba = 0;
};

inline constexpr uint8_t STATUS_ERROR = 0x01;         // ERR
inline constexpr uint8_t STATUS_DEVICE_FAULT = 0x20;  // DF
inline constexpr uint8_t ERROR_ABORT = 0x04;          // ABRT
inline constexpr uint8_t ERROR_ID_NOT_FOUND = 0x10;   // IDNF
inline constexpr uint8_t ERROR_UNCORRECTABLE = 0x40;  // UNC
inline constexpr uint8_t ERROR_INTERFACE_CRC = 0x80;  // ICRC

/// Why a result has no registers, or not all of them.
enum class RegistersMissing : uint8_t {
    NOTHING,               ///< all are there
    NOT_ASKED,             ///< the command succeeded and did not ask for them
    NO_SENSE,              ///< asked for, but no sense data came (0/17)
    NO_DESCRIPTOR,         ///< sense data without the ATA status return descriptor (0/15)
    DESCRIPTOR_TOO_SHORT,  ///< a descriptor that is cut off, or whose STATUS is 00h (0/16)
    UPPER_IN_LOG,          ///< fixed format sense: COUNT 15:8 or LBA 47:24 is in a log that was not read (0/91)
    UPPER_LOST,            ///< fixed format sense: COUNT 15:8 or LBA 47:24 is not zero, and in no log (0/92)
    UNTRUSTED,             ///< fixed format sense of a failed command in a place where no standard has them
};

/// The end of an ATA command: whether the drive carried it out, and its registers where the transport brought them.
/// A missing register is never read as zero: code that needs one looks at `missing` first.
class AtaResult : public ostrel::core::ProtocolResult {
public:
    AtaResult() = default;
    /// The drive's registers, all of them.
    explicit AtaResult(const Registers& all)
        : succeeded((all.status & (STATUS_ERROR | STATUS_DEVICE_FAULT)) == 0),
          missing(RegistersMissing::NOTHING),
          registers(all) {}

    std::unique_ptr<ostrel::core::ProtocolResult> clone() const override;
    void toString(std::ostream& out) const override;
    std::unique_ptr<ostrel::core::xml::XmlObject> toXml() const override;

    /// All registers; null when one is missing.
    const Registers* whole() const;
    /// The status of a caller that needs the registers; a success when all are there.
    ostrel::core::Status missingStatus() const;
    /// What STATUS and ERROR mean: "command aborted"; of a failure without registers that they are missing.
    std::string meaning() const;

    bool succeeded = false;
    RegistersMissing missing = RegistersMissing::NOT_ASKED;
    /// Those that came. Where `missing` is UPPER_IN_LOG, UPPER_LOST or UNTRUSTED they are for messages alone.
    std::optional<Registers> registers;
};

}  // namespace features::ata
