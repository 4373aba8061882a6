#pragma once

#include <optional>
#include <string>

#include "features/errors/Result.h"
#include "simdrive/auth/DhChap.h"

namespace simdrive::auth {

/// A secret of NVMe in-band authentication, in the text form of the NVMe Base Specification 2.0, section 8.13.5.8,
/// which `nvme gen-dhchap-key` makes:
///
///     DHHC-1:hh:BASE64:
///
/// hh is the hash function of its transformation (00: none), BASE64 the key of 32, 48 or 64 bytes with its CRC-32
/// after it, little endian.
struct Secret {
    std::optional<Hash> transformation;
    Bytes key;

    /// Errors: 1/22 (EINVAL) with what is wrong; the text itself is never in the words.
    static features::Result<Secret> parse(const std::string& text);
    /// Reads the first and only line of a file, a regular one of the running user (or root) that no other user can
    /// open. Errors: of the system, and those of parse(), with the path.
    static features::Result<Secret> read(const std::string& path);

    /// The key that a side with this NQN proves to have.
    Bytes keyOf(const std::string& nqn) const;
};

}  // namespace simdrive::auth
