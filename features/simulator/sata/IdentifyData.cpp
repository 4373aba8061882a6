#include "features/simulator/sata/IdentifyData.h"

#include <algorithm>
#include <numeric>
#include <string>

#include "features/nvme/Bytes.h"
#include "features/simulator/sata/Handlers.h"
#include "features/simulator/store/Model.h"

namespace features::simulator::sata {

using nvme::putLe16;

namespace {

constexpr size_t WORDS = 256;
constexpr uint16_t VALID = 0x4000;  // bits 15:14 of words that say so
constexpr uint64_t MAX_28_BIT_SECTORS = 0x0FFFFFFF;
constexpr uint32_t SECONDS_PER_UNIT = 120;  // of the erase times
constexpr uint16_t MAX_ERASE_UNITS = 0x00FF;

constexpr uint16_t bitIf(bool condition, unsigned position) {
    return condition ? static_cast<uint16_t>(1U << position) : uint16_t{0};
}

/// The words as numbers; texts are put into them with their bytes exchanged.
class Words {
public:
    uint16_t& operator[](size_t word) { return words_[word]; }
    void putText(size_t first, size_t count, const std::string& text) {
        std::string padded = text.substr(0, count * 2);
        padded.resize(count * 2, ' ');
        for (size_t i = 0; i < count; ++i) {
            words_[first + i] = static_cast<uint16_t>(static_cast<uint8_t>(padded[2 * i]) << 8 |
                                                      static_cast<uint8_t>(padded[2 * i + 1]));
        }
    }
    void putNumber(size_t first, size_t count, uint64_t number) {
        for (size_t i = 0; i < count; ++i) words_[first + i] = static_cast<uint16_t>(number >> 16 * i);
    }
    std::vector<uint8_t> bytes() const {
        std::vector<uint8_t> page(SECTOR_BYTES);
        for (size_t i = 0; i < WORDS; ++i) putLe16(page.data() + 2 * i, words_[i]);
        return page;
    }

private:
    uint16_t words_[WORDS] = {};
};

void putIdentity(const SataContext& context, Words& words) {
    words[0] = 0x0040;
    words[2] = 0xC837;  // no power-up in standby
    words.putText(10, 10, context.description.serialNumber);
    words.putText(23, 4, context.drive.firmware.running);
    words.putText(27, 20, context.description.shownModelNumber());
    words[47] = 0x8000;
    words[48] = static_cast<uint16_t>(VALID | bitIf(context.description.supportsSecurity, 0));
    words[49] = 0x2F00;  // DMA, LBA, IORDY, standby timer
    words[50] = VALID;
    words[53] = 0x0006;
    const uint64_t name = worldWideName(context.description);
    for (size_t i = 0; i < 4; ++i) words[108 + i] = static_cast<uint16_t>(name >> (48 - 16 * i));
}

void putCapacity(const SataContext& context, Words& words) {
    const uint64_t sectors = context.sectors();
    words.putNumber(60, 2, std::min(sectors, MAX_28_BIT_SECTORS));
    words.putNumber(100, 4, sectors);
    words[106] = 0x6003;  // 8 logical sectors of 512 bytes in a physical one
    words[209] = VALID;
}

void putInterface(Words& words) {
    words[63] = 0x0007;
    words[64] = 0x0003;
    words[65] = words[66] = words[67] = words[68] = 120;
    words[76] = 0x000E;   // Gen 1 to 3
    words[77] = 0x0006;   // at Gen 3
    words[80] = 0x0FF0;   // ATA/ATAPI-4 to ACS-4
    words[88] = 0x407F;   // UDMA mode 6
    words[168] = 0x0003;  // 2.5 inches
    words[217] = 0x0001;  // does not rotate
    words[222] = 0x10FF;  // serial, to SATA 3.3
}

/// What the drive supports, and what of it is enabled.
void putFeatures(const SataContext& context, Words& words) {
    const Description& description = context.description;
    const SataState& state = context.state;
    const bool hasHpa = !description.supportsAccessibleMaxAddress;
    words[82] = static_cast<uint16_t>(0x006B | bitIf(hasHpa, 10));
    words[85] = static_cast<uint16_t>(0x0008 | bitIf(state.isSmartEnabled, 0) | bitIf(context.isSecurityEnabled(), 1) |
                                      bitIf(state.hasWriteCache, 5) | bitIf(state.hasLookAhead, 6) | bitIf(hasHpa, 10));
    const uint16_t commands = static_cast<uint16_t>(0x3400 | bitIf(description.supportsFirmwareUpdate, 0));
    words[83] = static_cast<uint16_t>(VALID | commands | bitIf(true, 3));
    words[86] = static_cast<uint16_t>(0x8000 | commands | bitIf(state.apmLevel != 0, 3));
    words[84] = words[87] = static_cast<uint16_t>(VALID | 0x0121 | bitIf(description.supportsSelfTest, 1));
    words[91] = state.apmLevel;
    const bool takesPieces = description.supportsFirmwareUpdate && description.supportsFirmwarePieces;
    words[119] = words[120] = static_cast<uint16_t>(VALID | bitIf(true, 3) | bitIf(takesPieces, 4) | bitIf(!hasHpa, 8));
    words[59] = description.supportsSanitize ? 0xFC00 : 0;
    words[69] = static_cast<uint16_t>(0x4030 | bitIf(description.supportsFirmwareUpdate, 8));
    words[105] = MAX_TRIM_SECTORS;
    words[169] = 0x0001;
    words[206] = 0x0001;  // SCT, its status alone
    if (!takesPieces) return;
    words[234] = MIN_MICROCODE_SECTORS;
    words[235] = MAX_MICROCODE_SECTORS;
}

void putSecurity(const SataContext& context, Words& words) {
    const SecurityState& security = context.state.security;
    const uint32_t units = context.description.sanitizeSeconds / SECONDS_PER_UNIT + 1;
    words[89] = words[90] = static_cast<uint16_t>(std::min<uint32_t>(units, MAX_ERASE_UNITS));
    words[92] = security.masterId;
    words[128] = static_cast<uint16_t>(0x0021 | bitIf(context.isSecurityEnabled(), 1) |
                                       bitIf(context.isSecurityLocked(), 2) | bitIf(context.isSecurityFrozen(), 3) |
                                       bitIf(security.attemptsLeft == 0, 4) | bitIf(security.isMaximum, 8));
}

}  // namespace

std::vector<uint8_t> identifyData(const SataContext& context) {
    Words words;
    putIdentity(context, words);
    putCapacity(context, words);
    putInterface(words);
    putFeatures(context, words);
    putSecurity(context, words);
    words[255] = 0x00A5;
    std::vector<uint8_t> page = words.bytes();
    putChecksum(page);
    return page;
}

uint64_t worldWideName(const Description& description) {
    constexpr uint64_t NAA_5 = uint64_t{5} << 60;
    uint64_t hash = 0xCBF29CE484222325;  // FNV-1a
    for (const char c : description.serialNumber) hash = (hash ^ static_cast<uint8_t>(c)) * 0x100000001B3;
    return NAA_5 | static_cast<uint64_t>(modelOf(description.model).oui) << 36 | (hash & 0xFFFFFFFFF);
}

void putChecksum(std::vector<uint8_t>& page) {
    page.back() = 0;
    const auto sum = std::accumulate(page.begin(), page.end(), 0U);
    page.back() = static_cast<uint8_t>(-sum);
}

ata::Registers identifyDevice(SataContext& context) {
    context.data = identifyData(context);
    return completed();
}

}  // namespace features::simulator::sata
