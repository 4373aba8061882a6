#include "features/ata/Identity.h"

#include <algorithm>
#include <iterator>

#include "features/ata/Checksum.h"
#include "features/ata/IdentityWords.h"
#include "features/nvme/Bytes.h"

namespace features::ata {

using nvme::bit;
using nvme::bits;

namespace {

constexpr uint16_t CFA_SIGNATURE = 0x848A;
constexpr uint16_t NON_ROTATING = 0x0001;
constexpr uint16_t FIRST_ROTATION_RATE = 0x0401;
constexpr uint32_t BLOCK_BYTES = 512;

/// Bits 15:14 read 01b in a word that counts, and in the word that vouches for another.
bool isMarkedValid(uint16_t word) {
    return bits(word, 15, 14) == 1;
}

struct ValidityRow {
    uint8_t word;
    uint8_t markedBy;
};
constexpr ValidityRow VALIDITY[] = {
    {48, 48}, {82, 83},   {83, 83},   {84, 84},   {85, 87},   {86, 87},
    {87, 87}, {106, 106}, {119, 119}, {120, 120}, {209, 209},
};

constexpr IdentifyBit HAS_WORDS_119_AND_120{86, 15};
constexpr IdentifyBit LARGE_LOGICAL_SECTOR{106, 12};
constexpr IdentifyBit SEVERAL_LOGICAL_SECTORS{106, 13};

template <size_t COUNT>
std::string swappedText(const nvme::ByteArray<COUNT>& text) {
    nvme::ByteArray<COUNT> ordered = text;
    for (size_t i = 0; i + 1 < COUNT; i += 2) std::swap(ordered[i], ordered[i + 1]);
    return nvme::shownText(ordered.data(), COUNT);
}

/// Words 89 and 90: in units of two minutes, the largest number means more than that. FFFFh is taken for a word that is
/// not reported.
std::optional<EraseTime> eraseTimeOf(uint16_t word) {
    if (word == 0 || word == UINT16_MAX) return std::nullopt;
    const bool isExtended = bit(word, 15);
    const uint32_t limit = isExtended ? 0x7FFF : 0xFF;
    const uint32_t units = word & limit;
    if (units == 0) return std::nullopt;
    return units == limit ? EraseTime{(limit - 1) * 2, true} : EraseTime{units * 2, false};
}

/// Empty for a code that means nothing, or 0.
std::string knownWord(const nvme::Word* words, uint64_t code) {
    const char* const word = code == 0 ? nullptr : nvme::findWord(words, code);
    return word == nullptr ? "" : word;
}

}  // namespace

uint16_t Identity::word(unsigned number) const {
    return nvme::le16(reinterpret_cast<const uint8_t*>(&data_) + size_t{2} * number);
}

bool Identity::isReported(unsigned number) const {
    const uint16_t value = word(number);
    if (value == 0 || value == UINT16_MAX) return false;
    if (number >= 77 && number <= 79) return isReported(76);
    if ((number == 119 || number == 120) && !has(HAS_WORDS_119_AND_120)) return false;
    const auto* const row = std::find_if(std::begin(VALIDITY), std::end(VALIDITY),
                                         [number](const ValidityRow& candidate) { return candidate.word == number; });
    return row == std::end(VALIDITY) || isMarkedValid(word(row->markedBy));
}

bool Identity::has(IdentifyBit wanted) const {
    return isReported(wanted.word) && bit(word(wanted.word), wanted.bit);
}

bool Identity::isAta() const {
    return !bit(data_.general, 15) && data_.general != CFA_SIGNATURE;
}

bool Identity::isSolidState() const {
    return data_.rotationRate == NON_ROTATING;
}

bool Identity::isRotating() const {
    return data_.rotationRate >= FIRST_ROTATION_RATE && data_.rotationRate != UINT16_MAX;
}

bool Identity::isChecksumGood() const {
    return data_.checksumSignature != CHECKSUM_SIGNATURE ||
           ata::isChecksumGood(reinterpret_cast<const uint8_t*>(&data_), sizeof data_);
}

std::string Identity::serialNumber() const {
    return swappedText(data_.serialNumber);
}

std::string Identity::model() const {
    return swappedText(data_.model);
}

std::string Identity::firmware() const {
    return swappedText(data_.firmware);
}

std::optional<uint64_t> Identity::worldWideName() const {
    if (!has(identify::WORLD_WIDE_NAME)) return std::nullopt;
    uint64_t name = 0;
    for (const nvme::Le16& part : data_.wwn) name = name << 16 | part;
    return name;
}

std::string Identity::negotiatedSpeed() const {
    return isReported(77) ? knownWord(SATA_SPEEDS, bits(data_.sataSpeed, 3, 1)) : "";
}

std::string Identity::formFactor() const {
    return isReported(168) ? knownWord(FORM_FACTORS, bits(data_.formFactor, 3, 0)) : "";
}

uint64_t Identity::sectors() const {
    if (has(identify::EXTENDED_SECTORS) && data_.extendedSectors != 0) return data_.extendedSectors;
    if (has(identify::ADDRESS_48_BIT) && data_.sectors48 != 0) return data_.sectors48;
    return data_.sectors28;
}

uint32_t Identity::logicalSectorBytes() const {
    // A drive whose size does not fit or is no size at all must not make a capacity of it.
    const uint32_t words = data_.logicalSectorWords;
    const bool isLarge = has(LARGE_LOGICAL_SECTOR) && words > BLOCK_BYTES / 2 && words <= UINT32_MAX / 2;
    return isLarge ? words * 2 : BLOCK_BYTES;
}

uint32_t Identity::physicalSectorBytes() const {
    if (!has(SEVERAL_LOGICAL_SECTORS)) return logicalSectorBytes();
    const uint64_t bytes = uint64_t{logicalSectorBytes()} << bits(data_.sectorSizes, 3, 0);
    return bytes > UINT32_MAX ? logicalSectorBytes() : static_cast<uint32_t>(bytes);
}

uint16_t Identity::maxTrimBlocks() const {
    return isReported(105) ? uint16_t{data_.trimBlocks} : uint16_t{1};
}

std::optional<EraseTime> Identity::eraseTime() const {
    return eraseTimeOf(data_.eraseTime);
}

std::optional<EraseTime> Identity::enhancedEraseTime() const {
    return eraseTimeOf(data_.enhancedEraseTime);
}

}  // namespace features::ata
