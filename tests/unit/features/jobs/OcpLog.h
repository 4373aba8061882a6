#pragma once

#include <initializer_list>

#include "tests/support/fakedrive/Expected.h"

namespace features::jobs {

/// What is asked before log C0h: whether the controller lists its log pages. It does not.
inline fakedrive::Expected withoutList() {
    return fakedrive::identify(0x01).answers(fakedrive::identifyController());
}
/// It does.
inline fakedrive::Expected withList() {
    return fakedrive::identify(0x01).answers(fakedrive::identifyController().byte(261, 0x24));
}
/// Its list, log page 00h, with the pages that all have and these.
inline fakedrive::Expected logList(std::initializer_list<uint8_t> lids) {
    fakedrive::DriveBytes list = fakedrive::DriveBytes(1024).put(4, {1, 0, 0, 0, 1, 0, 0, 0, 1});
    for (const uint8_t lid : lids) list.byte(size_t{4} * lid, 1);
    return fakedrive::logPage(0x00, 1024).dword(10, 0x00FF8000).answers(list);
}
inline fakedrive::Expected logList(uint8_t lid) {
    return logList({lid});
}

/// A UUID List, CNS 17h, with OCP's as the second entry.
inline fakedrive::DriveBytes ocpUuid() {
    return fakedrive::DriveBytes(4096)
        .put(48, {0x01})
        .put(80, {0xC1, 0x94, 0xD5, 0x5B, 0xE0, 0x94, 0x47, 0x94, 0xA2, 0x1D, 0x29, 0x99, 0x8F, 0x56, 0xBE, 0x6F});
}

/// What is asked before log C0h of a controller that reports a UUID List: CTRATT bit 9.
inline fakedrive::Expected withUuids() {
    return fakedrive::identify(0x01).answers(fakedrive::identifyController().le32(96, 0x200));
}
/// The same list with the maker's UUID, associated with the PCI Vendor ID, as its first entry.
inline fakedrive::DriveBytes makerAndOcpUuids() {
    return ocpUuid().byte(32, 1);
}

/// The question whether a drive has OCP's features: 512 bytes of log C0h, with Retain Asynchronous Event.
/// `uuidIndex`: OCP's place in the UUID List.
inline fakedrive::Expected ocpLog(uint32_t uuidIndex = 0) {
    return fakedrive::logPage(0xC0, 512).dword(10, 0x007F80C0).dword(14, uuidIndex);
}

/// The log of a drive that has them; its version, 3 for OCP 2.0, and its GUID are filled.
inline fakedrive::DriveBytes ocpSmart(uint8_t version = 3) {
    return fakedrive::DriveBytes(512)
        .byte(494, version)
        .put(496, {0xC5, 0xAF, 0x10, 0x28, 0xEA, 0xBF, 0xF2, 0xA4, 0x9C, 0x4F, 0x6F, 0x7C, 0xC9, 0x14, 0xD5, 0xAF});
}

}  // namespace features::jobs
