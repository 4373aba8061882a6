#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

#include "features/nvme/Bytes.h"
#include "features/nvme/Opcodes.h"
#include "features/nvme/StatusCodes.h"

namespace simdrive::tcp {

/// The most data that one command carries: MDTS of Identify is never above it.
inline constexpr uint32_t MAX_TRANSFER_BYTES = 1 << 20;

/// Bits 1:0 of an opcode, and of a Fabrics command type.
enum class Direction : uint8_t { NONE = 0, TO_CONTROLLER = 1, TO_HOST = 2, BOTH = 3 };

/// The submission queue entry of a command capsule.
class Capsule {
public:
    static constexpr size_t BYTES = 64;
    explicit Capsule(const uint8_t* entry) { std::copy_n(entry, BYTES, bytes_.begin()); }

    uint8_t opcode() const { return bytes_[0]; }
    uint8_t flags() const { return bytes_[1]; }  ///< FUSE in bits 1:0, PSDT in bits 7:6
    uint16_t commandId() const { return word(2); }
    bool isFabrics() const { return opcode() == features::nvme::OPC_FABRICS; }
    uint8_t fabricsType() const { return bytes_[4]; }
    Direction direction() const { return static_cast<Direction>((isFabrics() ? fabricsType() : opcode()) & 3); }
    uint64_t sglAddress() const { return features::nvme::le64(bytes_.data() + 24); }
    uint32_t sglLength() const { return dword(32); }
    uint8_t sglType() const { return bytes_[39]; }

    uint8_t byte(size_t at) const { return bytes_[at]; }
    uint16_t word(size_t at) const { return features::nvme::le16(bytes_.data() + at); }
    uint32_t dword(size_t at) const { return features::nvme::le32(bytes_.data() + at); }
    /// Command dword `number`.
    uint32_t cdw(unsigned number) const { return dword(4 * size_t{number}); }

private:
    std::array<uint8_t, BYTES> bytes_{};
};

/// What becomes of a command.
struct Reply {
    uint16_t statusField = 0;  ///< without the phase bit, as in features::simulator::CompletionEntry
    uint64_t result = 0;       ///< dwords 0 and 1 of the completion
    bool isHeld = false;       ///< it is completed some day, or never
    uint32_t delayMs = 0;      ///< the host gets it that much later

    bool isSuccess() const {
        return features::nvme::StatusCode::ofField(statusField) == features::nvme::SC_SUCCESSFUL_COMPLETION;
    }

    /// A refusal that the same command would meet again: with Do Not Retry.
    static Reply refusal(features::nvme::StatusCode status, uint32_t result = 0) {
        return Reply{static_cast<uint16_t>(0x4000 | status.field()), result, false};
    }
    static Reply passingRefusal(features::nvme::StatusCode status) { return Reply{status.field(), 0, false}; }
    static Reply held() { return Reply{0, 0, true}; }
};

}  // namespace simdrive::tcp
