#include "simdrive/iscsi/Pdu.h"

#include <algorithm>

namespace simdrive::iscsi {

namespace {

constexpr size_t AT_AHS_LENGTH = 4;  // in units of 4 bytes
constexpr size_t AT_DATA_LENGTH = 5;
constexpr size_t AT_LUN = 8;

size_t padded(size_t bytes) {
    return (bytes + 3) / 4 * 4;
}

}  // namespace

Header::Header(const uint8_t* bytes) {
    std::copy_n(bytes, HEADER_BYTES, bytes_.begin());
}

uint64_t Header::lun() const {
    return uint64_t{number(AT_LUN)} << 32 | number(AT_LUN + 4);
}

uint32_t Header::number(size_t offset) const {
    return static_cast<uint32_t>(shortNumber(offset)) << 16 | shortNumber(offset + 2);
}

uint16_t Header::shortNumber(size_t offset) const {
    return static_cast<uint16_t>(bytes_[offset] << 8 | bytes_[offset + 1]);
}

void Header::setNumber(size_t offset, uint32_t value) {
    setShort(offset, static_cast<uint16_t>(value >> 16));
    setShort(offset + 2, static_cast<uint16_t>(value));
}

void Header::setShort(size_t offset, uint16_t value) {
    bytes_[offset] = static_cast<uint8_t>(value >> 8);
    bytes_[offset + 1] = static_cast<uint8_t>(value);
}

void Header::copy(size_t offset, const uint8_t* from, size_t count) {
    std::copy_n(from, count, bytes_.begin() + static_cast<std::ptrdiff_t>(offset));
}

void Header::setDataLength(size_t bytes) {
    bytes_[AT_DATA_LENGTH] = static_cast<uint8_t>(bytes >> 16);
    setShort(AT_DATA_LENGTH + 1, static_cast<uint16_t>(bytes));
}

Parse parsePdu(const uint8_t* bytes, size_t size, Pdu& pdu) {
    if (size < HEADER_BYTES) return Parse::INCOMPLETE;
    const size_t headers = HEADER_BYTES + size_t{bytes[AT_AHS_LENGTH]} * 4;
    const uint32_t length = static_cast<uint32_t>(bytes[AT_DATA_LENGTH]) << 16 |
                            static_cast<uint32_t>(bytes[AT_DATA_LENGTH + 1]) << 8 | bytes[AT_DATA_LENGTH + 2];
    if (length > MAX_SEGMENT_BYTES) return Parse::ERROR;
    const size_t total = headers + padded(length);
    if (size < total) return Parse::INCOMPLETE;
    pdu = Pdu{Header(bytes), bytes + headers, length, total};
    return Parse::COMPLETE;
}

void putPdu(std::vector<uint8_t>& out, Header header, const uint8_t* data, size_t dataBytes) {
    header.setDataLength(dataBytes);
    out.insert(out.end(), header.bytes().begin(), header.bytes().end());
    if (dataBytes != 0) out.insert(out.end(), data, data + dataBytes);
    out.resize(out.size() + padded(dataBytes) - dataBytes);
}

}  // namespace simdrive::iscsi
