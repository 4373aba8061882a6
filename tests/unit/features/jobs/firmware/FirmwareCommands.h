#pragma once

#include <string>

#include "tests/support/fakedrive/FakeDrive.h"

namespace features::jobs {

/// Identify Controller of a drive with the firmware commands. `frmw`: bit 0 slot 1 is read only, bits 3:1 the number of
/// slots, bit 4 activation without a reset. `mdts` 1 is 8 KiB.
inline fakedrive::DriveBytes firmwareController(uint8_t frmw, const std::string& revision = "FW1", uint8_t fwug = 1,
                                                uint8_t mdts = 1) {
    return fakedrive::identifyController()
        .le16(256, 0x0004)
        .byte(260, frmw)
        .byte(319, fwug)
        .byte(77, mdts)
        .text(24, "VELKO P100 1T", 40)
        .text(64, revision, 8);
}

/// Bytes that show where in the image they are.
inline std::string firmwareImage(size_t bytes) {
    std::string image;
    for (size_t i = 0; i < bytes; ++i) image += static_cast<char>(i ^ i >> 8);
    return image;
}

/// The piece of an image at `offset`, as Firmware Image Download.
inline fakedrive::Expected download(const std::string& image, size_t offset, size_t bytes) {
    fakedrive::DriveBytes piece(bytes);
    for (size_t i = 0; i < bytes; ++i) piece.byte(i, static_cast<uint8_t>(image.at(offset + i)));
    return fakedrive::Expected::admin(0x11)
        .dword(10, static_cast<uint32_t>(bytes / 4 - 1))
        .dword(11, static_cast<uint32_t>(offset / 4))
        .writes(piece);
}

}  // namespace features::jobs
