#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace simdrive::iscsi {

inline constexpr size_t HEADER_BYTES = 48;
/// MaxRecvDataSegmentLength: the most data that a host sends in one unit.
inline constexpr uint32_t MAX_SEGMENT_BYTES = 64 << 10;
/// The same before both sides have agreed on anything.
inline constexpr uint32_t DEFAULT_SEGMENT_BYTES = 8192;

// Operation codes, bits 5:0 of byte 0 (RFC 7143 11.2.1.2). A host's:
inline constexpr uint8_t NOP_OUT = 0x00;
inline constexpr uint8_t SCSI_COMMAND = 0x01;
inline constexpr uint8_t TASK_REQUEST = 0x02;
inline constexpr uint8_t LOGIN_REQUEST = 0x03;
inline constexpr uint8_t TEXT_REQUEST = 0x04;
inline constexpr uint8_t DATA_OUT = 0x05;
inline constexpr uint8_t LOGOUT_REQUEST = 0x06;
// A target's:
inline constexpr uint8_t NOP_IN = 0x20;
inline constexpr uint8_t SCSI_RESPONSE = 0x21;
inline constexpr uint8_t TASK_RESPONSE = 0x22;
inline constexpr uint8_t LOGIN_RESPONSE = 0x23;
inline constexpr uint8_t TEXT_RESPONSE = 0x24;
inline constexpr uint8_t DATA_IN = 0x25;
inline constexpr uint8_t LOGOUT_RESPONSE = 0x26;
inline constexpr uint8_t READY_TO_TRANSFER = 0x31;
inline constexpr uint8_t REJECT = 0x3F;

inline constexpr uint8_t IMMEDIATE = 0x40;  // of byte 0
inline constexpr uint8_t FINAL = 0x80;      // of byte 1
inline constexpr uint32_t NO_TAG = 0xFFFFFFFF;

/// The basic header segment of a unit, 48 bytes. Numbers are big-endian.
class Header {
public:
    explicit Header(uint8_t opcode = 0, uint8_t flags = 0) {
        bytes_[0] = opcode;
        bytes_[1] = flags;
    }
    explicit Header(const uint8_t* bytes);

    uint8_t opcode() const { return bytes_[0] & 0x3F; }
    bool isImmediate() const { return (bytes_[0] & IMMEDIATE) != 0; }
    uint8_t flags() const { return bytes_[1]; }
    uint64_t lun() const;
    uint32_t taskTag() const { return number(16); }
    uint32_t number(size_t offset) const;
    uint16_t shortNumber(size_t offset) const;
    uint8_t byte(size_t offset) const { return bytes_[offset]; }
    const uint8_t* at(size_t offset) const { return bytes_.data() + offset; }

    void setByte(size_t offset, uint8_t value) { bytes_[offset] = value; }
    void setNumber(size_t offset, uint32_t value);
    void setShort(size_t offset, uint16_t value);
    void copy(size_t offset, const uint8_t* from, size_t count);
    void setDataLength(size_t bytes);
    const std::array<uint8_t, HEADER_BYTES>& bytes() const { return bytes_; }

private:
    std::array<uint8_t, HEADER_BYTES> bytes_{};
};

/// A unit of a host, without digests.
struct Pdu {
    Header header;
    const uint8_t* data = nullptr;
    uint32_t dataBytes = 0;
    size_t totalBytes = 0;  ///< with additional header segments and padding
};

enum class Parse : uint8_t { INCOMPLETE, COMPLETE, ERROR };

/// Reads the unit at the beginning of the bytes. An error is a unit with more data than MAX_SEGMENT_BYTES: where the
/// next one begins is not worth reading so far.
Parse parsePdu(const uint8_t* bytes, size_t size, Pdu& pdu);

/// Appends a unit with its data and padding.
void putPdu(std::vector<uint8_t>& out, Header header, const uint8_t* data = nullptr, size_t dataBytes = 0);

}  // namespace simdrive::iscsi
