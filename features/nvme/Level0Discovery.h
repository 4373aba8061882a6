#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ostrel/core/Payload.h"

namespace features::nvme {

/// Security protocols of Security Receive and TRUSTED RECEIVE (SPC-5, clause 7.7.1), and what a host asks of them.
inline constexpr uint8_t SECURITY_PROTOCOL_INFORMATION = 0x00;  ///< with 0000h: the list of the others
inline constexpr uint8_t SECURITY_PROTOCOL_TCG = 0x01;
inline constexpr uint16_t COMID_LEVEL_0_DISCOVERY = 0x0001;
inline constexpr uint32_t SECURITY_PROTOCOL_LIST_BYTES = 512;
/// More than any drive needs: 16 bytes or so for each of some twenty features.
inline constexpr uint32_t LEVEL_0_DISCOVERY_BYTES = 4096;

/// What a drive supports of TCG, and how it is locked: Level 0 Discovery (TCG Storage Architecture Core Specification,
/// section 3.3.6), which a host may ask for at any time and which leaves no trace.
struct Level0Discovery {
    std::vector<uint16_t> features;  ///< Feature Codes, in the order of the drive
    bool isLockingEnabled = false;   ///< the owner has activated locking
    bool isLocked = false;           ///< of some blocks: they cannot be read or written without the owner's password
    bool isMbrShadowed = false;      ///< the first blocks read as the owner's program that asks for the password

    /// "TPer, Locking, Opal v2": the names of the features; a code without a name as it is. "none" without any.
    std::string featureText() const;
};

/// Whether the list of security protocols, cut to the bytes that are there, has one.
bool isSecurityProtocolListed(const ostrel::core::Payload& list, uint8_t protocol);

/// Empty: the bytes are no Level 0 Discovery. It is longer than they are, a descriptor runs over its end, or one that
/// is known is shorter than its definition.
std::optional<Level0Discovery> decodeLevel0Discovery(const ostrel::core::Payload& data);

}  // namespace features::nvme
