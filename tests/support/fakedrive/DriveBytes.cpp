#include "tests/support/fakedrive/DriveBytes.h"

namespace fakedrive {

DriveBytes& DriveBytes::put(size_t offset, std::initializer_list<uint8_t> bytes) {
    for (const uint8_t value : bytes) bytes_.at(offset++) = value;
    return *this;
}

DriveBytes& DriveBytes::text(size_t offset, const std::string& value, size_t width) {
    for (size_t i = 0; i < width; ++i) byte(offset + i, i < value.size() ? static_cast<uint8_t>(value[i]) : ' ');
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
