#include "features/simulator/store/CapturedTaskFile.h"

#include <algorithm>
#include <iterator>

namespace features::simulator {

namespace {

constexpr uint8_t READ_LOG_EXT = 0x2F;
constexpr uint8_t READ_LOG_DMA_EXT = 0x47;
constexpr uint8_t SMART = 0xB0;
constexpr uint16_t SMART_READ_LOG = 0xD5;
constexpr uint8_t TRUSTED_RECEIVE = 0x5C;
constexpr uint8_t TRUSTED_RECEIVE_DMA = 0x5D;
constexpr uint64_t PAGE_BYTES = 512;
constexpr uint16_t ANY_FEATURE = 0xFFFF;

struct ReadRow {
    uint8_t opcode;
    uint16_t feature;
};
constexpr ReadRow READING[] = {
    {READ_LOG_EXT, ANY_FEATURE},  // the feature is a field of the log
    {SMART, 0xD0},                // data
    {SMART, 0xD1},                // thresholds
    {SMART, SMART_READ_LOG},
    {SMART, 0xDA},        // status
    {0xEC, ANY_FEATURE},  // IDENTIFY DEVICE
    {0x78, 0x0000},       // GET NATIVE MAX ADDRESS EXT
    {0x27, ANY_FEATURE},  // READ NATIVE MAX ADDRESS EXT
    {0xF8, ANY_FEATURE},  // READ NATIVE MAX ADDRESS
    {0xB4, 0x0000},       // SANITIZE STATUS EXT
    {TRUSTED_RECEIVE, ANY_FEATURE},
};

/// A command that reads the same by PIO.
uint8_t knownAs(uint8_t opcode) {
    if (opcode == READ_LOG_DMA_EXT) return READ_LOG_EXT;
    return opcode == TRUSTED_RECEIVE_DMA ? TRUSTED_RECEIVE : opcode;
}

}  // namespace

std::optional<CapturedCommand> capturedCommand(uint8_t opcode, uint16_t feature, uint64_t lba) {
    const uint8_t known = knownAs(opcode);
    const bool isReading = std::any_of(std::begin(READING), std::end(READING), [&](const ReadRow& row) {
        return row.opcode == known && (row.feature == ANY_FEATURE || row.feature == feature);
    });
    if (!isReading) return std::nullopt;
    // Without the upper byte of the length.
    if (known == TRUSTED_RECEIVE) return CapturedCommand{known, {feature, static_cast<uint32_t>(lba >> 8), 0, 0}};
    const bool isLog = known == READ_LOG_EXT || (known == SMART && feature == SMART_READ_LOG);
    const uint32_t address = isLog ? static_cast<uint32_t>(lba & 0xFF) : 0;
    return CapturedCommand{known, {known == SMART || isLog ? feature : 0U, address, 0, 0}};
}

uint64_t capturedOffset(uint8_t opcode, uint64_t lba) {
    if (opcode != READ_LOG_EXT && opcode != READ_LOG_DMA_EXT) return 0;
    const uint64_t page = (lba >> 8 & 0xFF) | (lba >> 32 & 0xFF) << 8;
    return page * PAGE_BYTES;
}

}  // namespace features::simulator
