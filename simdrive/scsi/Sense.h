#pragma once

#include <cstdint>
#include <vector>

#include "features/ata/AtaResult.h"

namespace simdrive::scsi {

/// Sense key, additional sense code and its qualifier (SPC-4 4.5).
struct SenseCode {
    uint8_t key;
    uint8_t asc;
    uint8_t ascq;
};

inline constexpr SenseCode ATA_INFORMATION{0x01, 0x00, 0x1D};
inline constexpr SenseCode NOT_READY{0x02, 0x04, 0x00};
inline constexpr SenseCode UNRECOVERED_READ{0x03, 0x11, 0x00};
inline constexpr SenseCode INTERNAL_FAILURE{0x04, 0x44, 0x00};
inline constexpr SenseCode INVALID_OPCODE{0x05, 0x20, 0x00};
inline constexpr SenseCode OUT_OF_RANGE{0x05, 0x21, 0x00};
inline constexpr SenseCode INVALID_FIELD{0x05, 0x24, 0x00};
inline constexpr SenseCode NO_LOGICAL_UNIT{0x05, 0x25, 0x00};
inline constexpr SenseCode INVALID_PARAMETER{0x05, 0x26, 0x00};
inline constexpr SenseCode ABORTED{0x0B, 0x00, 0x00};

/// The format that sense data have: the host chooses by D_SENSE of the control mode page.
enum class SenseFormat : uint8_t { FIXED, DESCRIPTOR };

/// Sense data without registers.
std::vector<uint8_t> senseData(const SenseCode& code, SenseFormat format);
/// Sense data with the registers that an ATA command ended with (SAT-4 12.2.2.6 and 12.2.2.7).
std::vector<uint8_t> ataSenseData(const SenseCode& code, SenseFormat format, const features::ata::Registers& registers,
                                  bool is48Bit);
/// Whether a command with these registers failed: by an error, or a fault of the drive.
bool isFailed(const features::ata::Registers& registers);
/// What the registers of a command that failed mean (SAT-4 11.6).
SenseCode senseOf(const features::ata::Registers& registers);

}  // namespace simdrive::scsi
