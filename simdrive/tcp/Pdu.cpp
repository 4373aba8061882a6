#include "simdrive/tcp/Pdu.h"

#include <boost/crc.hpp>

#include <algorithm>

#include "features/nvme/Bytes.h"

namespace simdrive::tcp {

using features::nvme::le32;
using features::nvme::putLe32;
using features::nvme::putStructure;

namespace {

constexpr uint32_t DIGEST_BYTES = 4;
constexpr uint32_t MAX_TERM_DATA_BYTES = 128;
constexpr size_t AT_FLAGS = 1;
constexpr size_t AT_HLEN = 2;
constexpr size_t AT_PDO = 3;
constexpr size_t AT_PLEN = 4;
constexpr size_t AT_DATAL = 16;

/// What a unit of a host looks like. Data of a termination request is the host's copy of our header.
struct Layout {
    uint8_t type;
    uint32_t headerBytes;
    uint32_t maxDataBytes;
    bool hasDigests;
    bool hasPdo;
};
constexpr Layout LAYOUTS[] = {
    {PDU_IC_REQ, 128, 0, false, false},
    {PDU_H2C_TERM_REQ, 24, MAX_TERM_DATA_BYTES, false, false},
    {PDU_CAPSULE_CMD, 72, IN_CAPSULE_BYTES, true, true},
    {PDU_H2C_DATA, 24, MAX_H2C_DATA_BYTES, true, true},
};

const Layout* layoutOf(uint8_t type) {
    const auto* found =
        std::find_if(std::begin(LAYOUTS), std::end(LAYOUTS), [&](auto& row) { return row.type == type; });
    return found == std::end(LAYOUTS) ? nullptr : found;
}

Parse fail(ProtocolError& error, uint16_t fatalError, size_t information) {
    error = ProtocolError{fatalError, static_cast<uint32_t>(information)};
    return Parse::ERROR;
}

/// Where the parts of a unit are, from its first 8 bytes.
struct Bounds {
    uint32_t headerEnd = 0;  ///< with its digest
    uint32_t dataBegin = 0;
    uint32_t dataEnd = 0;
    uint32_t total = 0;
};

Parse findBounds(const uint8_t* common, const Layout& layout, const Framing& framing, Bounds& bounds,
                 ProtocolError& error) {
    const uint8_t flags = common[AT_FLAGS];
    const bool headerDigest = layout.hasDigests && framing.headerDigest;
    if (common[AT_HLEN] != layout.headerBytes) return fail(error, FATAL_INVALID_HEADER, AT_HLEN);
    if (((flags & FLAG_HEADER_DIGEST) != 0) != headerDigest) return fail(error, FATAL_INVALID_HEADER, AT_FLAGS);
    bounds.total = le32(common + AT_PLEN);
    bounds.headerEnd = layout.headerBytes + (headerDigest ? DIGEST_BYTES : 0);
    bounds.dataBegin = bounds.dataEnd = bounds.headerEnd;
    if (bounds.total < bounds.headerEnd) return fail(error, FATAL_INVALID_HEADER, AT_PLEN);
    const bool hasData = bounds.total > bounds.headerEnd;
    const bool dataDigest = layout.hasDigests && framing.dataDigest && hasData;
    if (((flags & FLAG_DATA_DIGEST) != 0) != dataDigest) return fail(error, FATAL_INVALID_HEADER, AT_FLAGS);
    if (!hasData) return Parse::COMPLETE;
    if (layout.hasPdo) {
        bounds.dataBegin = common[AT_PDO];
        const bool isAligned = bounds.dataBegin % 4 == 0;
        if (!isAligned || bounds.dataBegin < bounds.headerEnd) return fail(error, FATAL_INVALID_HEADER, AT_PDO);
    }
    const uint32_t digestBytes = dataDigest ? DIGEST_BYTES : 0;
    // What lies between header and data may not hide more than the data that are allowed.
    if (bounds.total < bounds.dataBegin + digestBytes ||
        bounds.total - bounds.dataBegin - digestBytes > layout.maxDataBytes) {
        return fail(error, FATAL_INVALID_HEADER, AT_PLEN);
    }
    bounds.dataEnd = bounds.total - digestBytes;
    return Parse::COMPLETE;
}

/// A multiple of the host's alignment, not below `at`.
uint32_t alignedForHost(uint32_t at, const Framing& framing) {
    const uint32_t unit = 4U * (framing.hostAlignment + 1U);
    return (at + unit - 1) / unit * unit;
}

/// Appends a header of `headerBytes` to `out`, zeros but for its first 8 bytes; returns where it begins.
size_t beginPdu(std::vector<uint8_t>& out, uint8_t type, uint8_t flags, uint32_t headerBytes, uint32_t dataBegin,
                uint32_t total) {
    const size_t start = out.size();
    out.resize(start + headerBytes);
    uint8_t* at = out.data() + start;
    at[0] = type;
    at[AT_FLAGS] = flags;
    at[AT_HLEN] = static_cast<uint8_t>(headerBytes);
    at[AT_PDO] = static_cast<uint8_t>(dataBegin);
    putLe32(at + AT_PLEN, total);
    return start;
}

void putDigest(std::vector<uint8_t>& out, size_t start) {
    const uint32_t digest = crc32c(out.data() + start, out.size() - start);
    out.resize(out.size() + DIGEST_BYTES);
    putLe32(out.data() + out.size() - DIGEST_BYTES, digest);
}

uint8_t digestFlag(const Framing& framing) {
    return framing.headerDigest ? uint8_t{FLAG_HEADER_DIGEST} : uint8_t{0};
}

}  // namespace

uint32_t crc32c(const uint8_t* data, size_t size) {
    boost::crc_optimal<32, 0x1EDC6F41, 0xFFFFFFFF, 0xFFFFFFFF, true, true> crc;
    crc.process_bytes(data, size);
    return crc.checksum();
}

Parse parsePdu(const uint8_t* bytes, size_t size, const Framing& framing, Pdu& pdu, ProtocolError& error) {
    if (size < COMMON_BYTES) return Parse::INCOMPLETE;
    const Layout* layout = layoutOf(bytes[0]);
    if (layout == nullptr) return fail(error, FATAL_INVALID_HEADER, 0);
    Bounds bounds;
    if (findBounds(bytes, *layout, framing, bounds, error) == Parse::ERROR) return Parse::ERROR;
    if (size < bounds.headerEnd) return Parse::INCOMPLETE;
    if (bounds.headerEnd > layout->headerBytes) {
        const uint32_t digest = le32(bytes + layout->headerBytes);
        if (digest != crc32c(bytes, layout->headerBytes)) return fail(error, FATAL_HEADER_DIGEST, digest);
    }
    const uint32_t dataBytes = bounds.dataEnd - bounds.dataBegin;
    if (layout->type == PDU_H2C_DATA && le32(bytes + AT_DATAL) != dataBytes) {
        return fail(error, FATAL_INVALID_HEADER, AT_DATAL);
    }
    if (size < bounds.total) return Parse::INCOMPLETE;
    pdu = Pdu{layout->type, bytes[AT_FLAGS], bytes, layout->headerBytes, bytes + bounds.dataBegin,
              dataBytes,    bounds.total,    false};
    if (bounds.dataEnd < bounds.total) {
        pdu.isDataDamaged = le32(bytes + bounds.dataEnd) != crc32c(pdu.data, dataBytes);
    }
    return Parse::COMPLETE;
}

void putIcResp(std::vector<uint8_t>& out, const Framing& framing) {
    constexpr uint32_t BYTES = 128;
    const size_t start = beginPdu(out, PDU_IC_RESP, 0, BYTES, 0, BYTES);
    InitializationHeader header{};
    header.digests = static_cast<uint8_t>((framing.headerDigest ? 1 : 0) | (framing.dataDigest ? 2 : 0));
    header.maximum = MAX_H2C_DATA_BYTES;
    putStructure(out.data() + start + COMMON_BYTES, header);
}

void putCapsuleResp(std::vector<uint8_t>& out, const Framing& framing, const CompletionQueueEntry& entry) {
    constexpr uint32_t BYTES = COMMON_BYTES + sizeof entry;
    const uint32_t total = BYTES + (framing.headerDigest ? DIGEST_BYTES : 0);
    const size_t start = beginPdu(out, PDU_CAPSULE_RESP, digestFlag(framing), BYTES, 0, total);
    putStructure(out.data() + start + COMMON_BYTES, entry);
    if (framing.headerDigest) putDigest(out, start);
}

void putR2t(std::vector<uint8_t>& out, const Framing& framing, uint16_t commandId, uint16_t tag, uint32_t offset,
            uint32_t length) {
    constexpr uint32_t BYTES = COMMON_BYTES + sizeof(R2tHeader);
    const uint32_t total = BYTES + (framing.headerDigest ? DIGEST_BYTES : 0);
    const size_t start = beginPdu(out, PDU_R2T, digestFlag(framing), BYTES, 0, total);
    R2tHeader header{};
    header.commandId = commandId;
    header.tag = tag;
    header.offset = offset;
    header.length = length;
    putStructure(out.data() + start + COMMON_BYTES, header);
    if (framing.headerDigest) putDigest(out, start);
}

void putC2hData(std::vector<uint8_t>& out, const Framing& framing, uint16_t commandId, const std::vector<uint8_t>& data,
                bool isSuccess) {
    constexpr uint32_t BYTES = COMMON_BYTES + sizeof(C2hDataHeader);
    const auto length = static_cast<uint32_t>(data.size());
    const uint32_t dataBegin = alignedForHost(BYTES + (framing.headerDigest ? DIGEST_BYTES : 0), framing);
    const uint32_t total = dataBegin + length + (framing.dataDigest ? DIGEST_BYTES : 0);
    const auto flags = static_cast<uint8_t>(FLAG_LAST | (isSuccess ? FLAG_SUCCESS : 0) | digestFlag(framing) |
                                            (framing.dataDigest ? FLAG_DATA_DIGEST : 0));
    const size_t start = beginPdu(out, PDU_C2H_DATA, flags, BYTES, dataBegin, total);
    C2hDataHeader header{};
    header.commandId = commandId;
    header.length = length;
    putStructure(out.data() + start + COMMON_BYTES, header);
    if (framing.headerDigest) putDigest(out, start);
    out.resize(start + dataBegin);
    out.insert(out.end(), data.begin(), data.end());
    if (framing.dataDigest) putDigest(out, start + dataBegin);
}

void putC2hTermReq(std::vector<uint8_t>& out, const ProtocolError& error, const uint8_t* header, size_t headerBytes) {
    constexpr uint32_t BYTES = COMMON_BYTES + sizeof(TerminationHeader);
    const auto copied = static_cast<uint32_t>(std::min<size_t>(headerBytes, MAX_TERM_DATA_BYTES));
    const size_t start = beginPdu(out, PDU_C2H_TERM_REQ, 0, BYTES, 0, BYTES + copied);
    TerminationHeader termination{};
    termination.fatalError = error.fatalError;
    termination.information = error.information;
    putStructure(out.data() + start + COMMON_BYTES, termination);
    out.insert(out.end(), header, header + copied);
}

}  // namespace simdrive::tcp
