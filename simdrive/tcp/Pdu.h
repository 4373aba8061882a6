#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "simdrive/tcp/PduHeaders.h"

/// The protocol data units of NVMe/TCP (NVMe/TCP Transport Specification, section 3.6): bytes to units and back,
/// nothing else. No state, no socket.
namespace simdrive::tcp {

enum PduType : uint8_t {
    PDU_IC_REQ = 0x00,
    PDU_IC_RESP = 0x01,
    PDU_H2C_TERM_REQ = 0x02,
    PDU_C2H_TERM_REQ = 0x03,
    PDU_CAPSULE_CMD = 0x04,
    PDU_CAPSULE_RESP = 0x05,
    PDU_H2C_DATA = 0x06,
    PDU_C2H_DATA = 0x07,
    PDU_R2T = 0x09,
};

enum PduFlag : uint8_t {
    FLAG_HEADER_DIGEST = 1 << 0,
    FLAG_DATA_DIGEST = 1 << 1,
    FLAG_LAST = 1 << 2,
    FLAG_SUCCESS = 1 << 3,
};

/// Fatal Error Status of a termination request.
enum FatalError : uint16_t {
    FATAL_INVALID_HEADER = 1,  ///< FEI: offset of the field
    FATAL_SEQUENCE = 2,
    FATAL_HEADER_DIGEST = 3,  ///< FEI: the digest that came
    FATAL_OUT_OF_RANGE = 4,   ///< FEI: offset of the field
    FATAL_LIMIT = 5,
    FATAL_UNSUPPORTED_PARAMETER = 6,  ///< FEI: offset of the field
};

inline constexpr uint32_t COMMON_BYTES = 8;  ///< type, flags, lengths: what all units begin with

// What the target takes. Together they bound the memory of a connection.
inline constexpr uint32_t IN_CAPSULE_BYTES = 8192;      ///< data inside a command capsule
inline constexpr uint32_t MAX_H2C_DATA_BYTES = 131072;  ///< MAXH2CDATA
inline constexpr uint32_t MAX_PDU_BYTES = 24 + 4 + 255 + MAX_H2C_DATA_BYTES + 4;

/// What both sides agreed on in ICReq and ICResp.
struct Framing {
    bool headerDigest = false;
    bool dataDigest = false;
    uint8_t hostAlignment = 0;  ///< HPDA: data to the host begins at a multiple of (HPDA + 1) dwords
};

struct ProtocolError {
    uint16_t fatalError = 0;
    uint32_t information = 0;  ///< FEI
};

/// A unit that came from a host, pointing into the bytes that it was read from.
struct Pdu {
    uint8_t type = 0;
    uint8_t flags = 0;
    const uint8_t* header = nullptr;
    uint32_t headerBytes = 0;
    const uint8_t* data = nullptr;
    uint32_t dataBytes = 0;
    uint32_t totalBytes = 0;
    bool isDataDamaged = false;  ///< by its digest: the command fails, the connection goes on
};

enum class Parse { INCOMPLETE, COMPLETE, ERROR };

/// Reads the unit at the head of `bytes`. Only INCOMPLETE depends on how much of it has come: a unit that breaks the
/// rules is an error as soon as its first 8 bytes show it, and never asks for more than MAX_PDU_BYTES.
Parse parsePdu(const uint8_t* bytes, size_t size, const Framing& framing, Pdu& pdu, ProtocolError& error);

// Units for the host, appended to `out`.

void putIcResp(std::vector<uint8_t>& out, const Framing& framing);
void putCapsuleResp(std::vector<uint8_t>& out, const Framing& framing, const CompletionQueueEntry& entry);
void putR2t(std::vector<uint8_t>& out, const Framing& framing, uint16_t commandId, uint16_t tag, uint32_t offset,
            uint32_t length);
/// The whole data of a command in one unit; `isSuccess` replaces the response capsule, which is left out then.
void putC2hData(std::vector<uint8_t>& out, const Framing& framing, uint16_t commandId, const std::vector<uint8_t>& data,
                bool isSuccess);
/// `header`: what came of the offending unit's header; up to 128 bytes of it go back.
void putC2hTermReq(std::vector<uint8_t>& out, const ProtocolError& error, const uint8_t* header, size_t headerBytes);

/// CRC-32C, the digest of headers and data.
uint32_t crc32c(const uint8_t* data, size_t size);

}  // namespace simdrive::tcp
