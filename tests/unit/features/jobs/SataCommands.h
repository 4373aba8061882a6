#pragma once

#include <cstdint>
#include <initializer_list>

#include "features/ata/AtaResult.h"
#include "tests/support/fakedrive/Expected.h"

namespace features::jobs {

/// SMART RETURN STATUS with this in LBA 23:8: C24Fh is good, 2CF4h a threshold that is exceeded.
inline fakedrive::Expected smartStatus(uint16_t signature) {
    ata::Registers registers;
    registers.status = 0x50;
    registers.lba = uint64_t{signature} << 8;
    return fakedrive::smart(0xDA).wantsRegisters().returns(registers);
}
inline constexpr uint16_t SMART_GOOD = 0xC24F;
inline constexpr uint16_t SMART_EXCEEDED = 0x2CF4;

/// The directory of the general purpose logs: one page of each of these.
inline fakedrive::DriveBytes logDirectory(std::initializer_list<uint8_t> logs) {
    fakedrive::DriveBytes directory(512);
    directory.le16(0, 1);
    for (const uint8_t log : logs) directory.le16(size_t{2} * log, 1);
    return directory;
}

/// Page 00h of log 04h or 30h.
inline fakedrive::DriveBytes pageList(std::initializer_list<uint8_t> pages) {
    fakedrive::DriveBytes list(512);
    size_t at = 9;
    for (const uint8_t page : pages) list.byte(at++, page);
    return list.byte(8, static_cast<uint8_t>(pages.size()));
}

/// A page of device statistics; a statistic that counts is set with STATISTIC in its upper bits.
inline fakedrive::DriveBytes statisticsPage(uint8_t page) {
    return fakedrive::DriveBytes(512).byte(0, 1).byte(2, page);
}
inline constexpr uint64_t STATISTIC = 0xC000000000000000;

/// SMART READ DATA with two attributes: 05h, pre-failure, and C2h, which reads 36 degrees.
inline fakedrive::DriveBytes smartData(uint8_t reallocatedValue = 100) {
    return fakedrive::DriveBytes(512)
        .le16(0, 16)
        .put(2, {0x05, 0x33, 0x00, reallocatedValue, reallocatedValue, 7})
        .put(14, {0xC2, 0x22, 0x00, 64, 50, 36, 0, 20, 0, 45})
        .put(367, {0x7B, 0x03, 0x00, 0x01, 0x00, 2, 30, 3});
}
/// The threshold of attribute 05h is 10.
inline fakedrive::DriveBytes smartThresholds() {
    return fakedrive::DriveBytes(512).put(2, {0x05, 10});
}

}  // namespace features::jobs
