#include "tests/support/fakedrive/DriveBytes.h"

#include <utility>

namespace fakedrive {

DriveBytes& DriveBytes::put(size_t offset, std::initializer_list<uint8_t> bytes) {
    for (const uint8_t value : bytes) bytes_.at(offset++) = value;
    return *this;
}

DriveBytes& DriveBytes::text(size_t offset, const std::string& value, size_t width) {
    for (size_t i = 0; i < width; ++i) byte(offset + i, i < value.size() ? static_cast<uint8_t>(value[i]) : ' ');
    return *this;
}

DriveBytes& DriveBytes::ataText(size_t offset, const std::string& value, size_t width) {
    text(offset, value, width);
    for (size_t i = offset; i < offset + width; i += 2) std::swap(bytes_.at(i), bytes_.at(i + 1));
    return *this;
}

DriveBytes& DriveBytes::number(size_t offset, uint64_t value, size_t width) {
    for (size_t i = 0; i < width; ++i) bytes_.at(offset + i) = static_cast<uint8_t>(value >> (8 * i));
    return *this;
}

DriveBytes identifyController() {
    return DriveBytes(4096)
        .le16(0, 0x1B36)
        .text(4, "S1", 20)
        .text(24, "FAKE DRIVE", 40)
        .text(64, "FW1", 8)
        .byte(77, 7)             // MDTS: 512 KiB
        .le32(80, 0x00010400)    // VER 1.4
        .byte(111, 1)            // CNTRLTYPE
        .byte(260, 0x02)         // FRMW: one slot
        .byte(261, 0x04)         // LPA: extended data
        .byte(262, 63)           // ELPE
        .put(512, {0x66, 0x44})  // SQES, CQES
        .le32(516, 1)            // NN
        .text(768, "nqn.2014-08.org.nvmexpress:S1", 29);
}

DriveBytes identifyDevice() {
    return DriveBytes(512)
        .word(0, 0x0040)
        .ataText(20, "S1", 20)
        .ataText(46, "FW1", 8)
        .ataText(54, "FAKE DRIVE", 40)
        .word(49, 0x0300)    // LBA, DMA
        .le32(120, 2000000)  // sectors of 28-bit commands
        .word(75, 31)        // 32 commands
        .word(76, 0x010E)    // Gen1 to Gen3, NCQ
        .word(77, 0x0006)    // at Gen3
        .word(80, 0x0FF0)    // up to ACS-4
        .word(82, 0x0021)    // write cache, SMART
        .word(83, 0x4400)    // 48-bit
        .word(84, 0x4122)    // World Wide Name, general purpose logs, self-test
        .word(85, 0x0021)    // write cache and SMART enabled
        .word(86, 0x0400)    // 48-bit
        .word(87, 0x4120)    // World Wide Name, general purpose logs
        .le64(200, 2000000)  // sectors
        .word(105, 8)        // blocks of one TRIM
        .word(106, 0x6003)   // 8 logical sectors per physical sector
        .word(108, 0x5000)   // World Wide Name 5000C50012345678h
        .word(109, 0xC500)
        .word(110, 0x1234)
        .word(111, 0x5678)
        .word(168, 3)   // 2.5 inch
        .word(169, 1)   // TRIM
        .word(217, 1);  // non-rotating
}

DriveBytes identifyNamespace(uint64_t blocks, uint8_t blockShift) {
    return DriveBytes(4096).le64(0, blocks).le64(8, blocks).le64(16, blocks).byte(130, blockShift);
}

DriveBytes smartLog() {
    return DriveBytes(512)
        .le16(1, 311)       // 38 degrees
        .put(3, {100, 10})  // spare and its threshold
        .byte(5, 3)         // used
        .le64(32, 1000)     // data units read, written
        .le64(48, 2000)
        .le64(64, 30000)  // host reads, writes
        .le64(80, 40000)
        .le64(96, 50)    // busy minutes
        .le64(112, 6)    // power cycles
        .le64(128, 700)  // power on hours
        .le64(144, 2);   // unsafe shutdowns
}

DriveBytes namespaceList(std::initializer_list<uint32_t> namespaces) {
    DriveBytes list(4096);
    size_t offset = 0;
    for (const uint32_t nsid : namespaces) {
        list.le32(offset, nsid);
        offset += 4;
    }
    return list;
}

DriveBytes controllerList(std::initializer_list<uint16_t> controllers) {
    DriveBytes list(4096);
    list.le16(0, static_cast<uint16_t>(controllers.size()));
    size_t offset = 2;
    for (const uint16_t controller : controllers) {
        list.le16(offset, controller);
        offset += 2;
    }
    return list;
}

}  // namespace fakedrive
