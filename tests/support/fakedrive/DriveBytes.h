#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "ostrel/core/Payload.h"

namespace fakedrive {

/// The bytes of a structure, all zero at first, filled field by field at the standard's offsets:
///
///     DriveBytes(512).le16(1, 311).put(3, {100, 10}).le64(128, 10000)
///
/// A field that does not fit throws std::out_of_range.
class DriveBytes {
public:
    explicit DriveBytes(size_t size = 0) : bytes_(size) {}
    DriveBytes(std::initializer_list<uint8_t> bytes) : bytes_(bytes) {}

    DriveBytes& put(size_t offset, std::initializer_list<uint8_t> bytes);
    DriveBytes& byte(size_t offset, uint8_t value) { return number(offset, value, 1); }
    DriveBytes& le16(size_t offset, uint16_t value) { return number(offset, value, 2); }
    DriveBytes& le32(size_t offset, uint32_t value) { return number(offset, value, 4); }
    DriveBytes& le64(size_t offset, uint64_t value) { return number(offset, value, 8); }
    /// Padded with blanks to `width`.
    DriveBytes& text(size_t offset, const std::string& value, size_t width);
    /// As ATA has texts: padded with blanks, the two characters of each word swapped.
    DriveBytes& ataText(size_t offset, const std::string& value, size_t width);
    /// Word `number` of a structure that the ATA standard counts in words.
    DriveBytes& word(size_t number, uint16_t value) { return le16(2 * number, value); }

    size_t size() const { return bytes_.size(); }
    const std::vector<uint8_t>& bytes() const { return bytes_; }
    ostrel::core::Payload payload() const { return {bytes_.data(), bytes_.size()}; }

private:
    DriveBytes& number(size_t offset, uint64_t value, size_t width);

    std::vector<uint8_t> bytes_;
};

/// Identify Controller of a plain NVMe 1.4 drive with serial number "S1": MDTS 7 (512 KiB), one firmware slot, 64 error
/// log entries, extended log data, and no optional command. A test sets what it is about.
DriveBytes identifyController();
/// IDENTIFY DEVICE of a plain SATA SSD with serial number "S1" and 2,000,000 sectors of 512 bytes: 48-bit addresses,
/// SMART enabled, with self-tests and general purpose logs, TRIM, and nothing that destroys. A test sets what it is
/// about.
DriveBytes identifyDevice();
/// Identify Namespace with blocks of 2 to the power of `blockShift` bytes, in its only format.
DriveBytes identifyNamespace(uint64_t blocks, uint8_t blockShift = 9);
/// The SMART / Health log of a healthy drive at 38 degrees Celsius.
DriveBytes smartLog();
/// A list of namespaces, as Identify gives it (4,096 bytes).
DriveBytes namespaceList(std::initializer_list<uint32_t> namespaces);
/// A list of controllers, as Identify gives it (4,096 bytes).
DriveBytes controllerList(std::initializer_list<uint16_t> controllers);

}  // namespace fakedrive
