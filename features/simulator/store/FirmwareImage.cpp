#include "features/simulator/store/FirmwareImage.h"

#include <boost/crc.hpp>

#include <algorithm>
#include <cstring>

#include "features/nvme/Bytes.h"
#include "features/simulator/store/PaddedText.h"

namespace features::simulator {

using nvme::le32;

namespace {

// An image: a head of 128 bytes, anything after it.
//    0  8  magic             12  4  CRC-32 of what follows byte 15      56  8  revision, filled up with blanks
//    8  4  length in bytes   16 40  model number, the same              64  1  the reset it needs, a FirmwareReset
constexpr char MAGIC[] = "NBSIMFW1";
constexpr size_t MAGIC_BYTES = 8;
constexpr size_t HEAD_BYTES = 128;
constexpr size_t OFFSET_CHECKED = 16;
constexpr size_t OFFSET_MODEL = 16;
constexpr size_t MODEL_BYTES = 40;
constexpr size_t OFFSET_REVISION = 56;
constexpr size_t OFFSET_RESET = 64;

std::string textAt(const uint8_t* at, size_t size) {
    const std::string text(reinterpret_cast<const char*>(at), size);
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

}  // namespace

std::optional<uint64_t> firmwareLength(const std::vector<uint8_t>& bytes, const std::string& modelNumber) {
    if (bytes.size() < HEAD_BYTES || std::memcmp(bytes.data(), MAGIC, MAGIC_BYTES) != 0) return std::nullopt;
    if (textAt(bytes.data() + OFFSET_MODEL, MODEL_BYTES) != modelNumber) return std::nullopt;
    return le32(bytes.data() + 8);
}

std::optional<FirmwareImage> readFirmwareImage(std::vector<FirmwareDownload::Piece> pieces,
                                               const std::string& modelNumber) {
    std::sort(pieces.begin(), pieces.end(),
              [](const FirmwareDownload::Piece& a, const FirmwareDownload::Piece& b) { return a.offset < b.offset; });
    std::vector<uint8_t> bytes;
    for (const FirmwareDownload::Piece& piece : pieces) {
        if (piece.offset != bytes.size()) return std::nullopt;  // a gap
        bytes.insert(bytes.end(), piece.bytes.begin(), piece.bytes.end());
    }
    const uint8_t* head = bytes.data();
    if (firmwareLength(bytes, modelNumber) != bytes.size()) return std::nullopt;
    boost::crc_32_type crc;
    crc.process_bytes(head + OFFSET_CHECKED, bytes.size() - OFFSET_CHECKED);
    const FirmwareImage image{textAt(head + OFFSET_REVISION, REVISION_BYTES),
                              static_cast<FirmwareReset>(head[OFFSET_RESET])};
    const bool isValid = crc.checksum() == le32(head + 12) && textAt(head + OFFSET_MODEL, MODEL_BYTES) == modelNumber &&
                         !image.revision.empty() && image.reset <= FirmwareReset::CONVENTIONAL;
    return isValid ? std::optional(image) : std::nullopt;
}

}  // namespace features::simulator
