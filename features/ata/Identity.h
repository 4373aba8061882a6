#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "features/ata/structures/IdentifyDevice.h"
#include "features/nvme/FieldTree.h"
#include "ostrel/core/Payload.h"

namespace features::ata {

/// One bit of IDENTIFY DEVICE.
struct IdentifyBit {
    uint8_t word;
    uint8_t bit;
};

/// The bits that decide what this library does or shows of its own.
namespace identify {
inline constexpr IdentifyBit TRUSTED_COMPUTING{48, 0};
inline constexpr IdentifyBit SANITIZE_ANTIFREEZE{59, 10};
inline constexpr IdentifyBit SANITIZE{59, 12};
inline constexpr IdentifyBit SANITIZE_CRYPTO{59, 13};
inline constexpr IdentifyBit SANITIZE_OVERWRITE{59, 14};
inline constexpr IdentifyBit SANITIZE_BLOCK{59, 15};
inline constexpr IdentifyBit EXTENDED_SECTORS{69, 3};
inline constexpr IdentifyBit ZEROES_AFTER_TRIM{69, 5};
inline constexpr IdentifyBit DOWNLOAD_DMA{69, 8};
inline constexpr IdentifyBit DETERMINISTIC_AFTER_TRIM{69, 14};
inline constexpr IdentifyBit SATA_GEN1{76, 1};
inline constexpr IdentifyBit SATA_GEN2{76, 2};
inline constexpr IdentifyBit SATA_GEN3{76, 3};
inline constexpr IdentifyBit NCQ{76, 8};
inline constexpr IdentifyBit DIPM_SUPPORTED{78, 3};
inline constexpr IdentifyBit DIPM_ENABLED{79, 3};
inline constexpr IdentifyBit SMART_SUPPORTED{82, 0};
inline constexpr IdentifyBit SECURITY_FEATURES{82, 1};
inline constexpr IdentifyBit WRITE_CACHE_SUPPORTED{82, 5};
inline constexpr IdentifyBit HPA_SUPPORTED{82, 10};
inline constexpr IdentifyBit DOWNLOAD_MICROCODE{83, 0};
inline constexpr IdentifyBit ADDRESS_48_BIT{83, 10};
inline constexpr IdentifyBit SMART_SELF_TEST{84, 1};
inline constexpr IdentifyBit GENERAL_PURPOSE_LOGS{84, 5};
inline constexpr IdentifyBit SMART_ENABLED{85, 0};
inline constexpr IdentifyBit WRITE_CACHE_ENABLED{85, 5};
inline constexpr IdentifyBit WORLD_WIDE_NAME{87, 8};
inline constexpr IdentifyBit DOWNLOAD_IN_PIECES{119, 4};
inline constexpr IdentifyBit ACCESSIBLE_MAX_ADDRESS{119, 8};
inline constexpr IdentifyBit SECURITY_SUPPORTED{128, 0};
inline constexpr IdentifyBit SECURITY_ENABLED{128, 1};
inline constexpr IdentifyBit SECURITY_LOCKED{128, 2};
inline constexpr IdentifyBit SECURITY_FROZEN{128, 3};
inline constexpr IdentifyBit SECURITY_COUNT_EXPIRED{128, 4};
inline constexpr IdentifyBit ENHANCED_ERASE{128, 5};
inline constexpr IdentifyBit TRIM{169, 0};
}  // namespace identify

/// How long a drive says that SECURITY ERASE UNIT takes.
struct EraseTime {
    uint32_t minutes;
    bool isMore;  ///< it takes more than that
};

/// IDENTIFY DEVICE as the jobs see it, under the standard's rules of which words count. A value that the drive does not
/// report is empty, and a bit of such a word is clear.
class Identity {
public:
    /// Of 512 bytes: the caller has checked the length.
    explicit Identity(const uint8_t* bytes) : data_(nvme::structureAt<IdentifyDevice>(bytes)) {}

    const IdentifyDevice& data() const { return data_; }
    uint16_t word(unsigned number) const;
    /// Whether a word counts: neither 0000h nor FFFFh, and valid by its own bits 15:14 or those of the word that the
    /// standard names for it.
    bool isReported(unsigned number) const;
    bool has(IdentifyBit bit) const;

    /// ATA, and neither ATAPI nor CFA.
    bool isAta() const;
    /// By w217. A drive that does not report its rotation rate is neither.
    bool isSolidState() const;
    bool isRotating() const;
    /// Whether the checksum, where the drive has one, is the sum of its bytes.
    bool isChecksumGood() const;

    // As they may be shown.
    std::string serialNumber() const;
    std::string model() const;
    std::string firmware() const;
    std::optional<uint64_t> worldWideName() const;
    /// "6.0 Gb/s"; empty when the drive does not say.
    std::string negotiatedSpeed() const;
    std::string formFactor() const;

    uint64_t sectors() const;
    uint32_t logicalSectorBytes() const;
    uint32_t physicalSectorBytes() const;
    /// Number of 512-byte blocks that one DATA SET MANAGEMENT command may carry.
    uint16_t maxTrimBlocks() const;
    std::optional<EraseTime> eraseTime() const;
    std::optional<EraseTime> enhancedEraseTime() const;

private:
    IdentifyDevice data_;
};

/// The texts of IDENTIFY DEVICE with the characters of each word in the order of reading.
ostrel::core::Payload withTextsInOrder(const ostrel::core::Payload& identifyDevice);
/// Word by word; words without a meaning known here follow in a part of their own where they are not zero.
nvme::FieldTree decodeIdentifyDevice(const ostrel::core::Payload& data);

}  // namespace features::ata
