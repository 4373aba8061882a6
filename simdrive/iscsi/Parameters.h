#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace simdrive::iscsi {

using Keys = std::vector<std::pair<std::string, std::string>>;

/// The keys of a data segment, "key=value" with a zero byte after each; empty: it is malformed.
std::optional<Keys> parseKeys(const std::string& text);
std::string keysText(const Keys& keys);

/// What a host and this target agree on while it logs in (RFC 7143 13). Digests and authentication there are none of;
/// all data of a write are fetched by R2T, one at a time.
class Parameters {
public:
    /// Takes the keys of a request in, and returns the answers to those that want one.
    Keys negotiate(const Keys& asked);

    std::string initiatorName;
    std::string targetName;
    bool isDiscovery = false;
    bool isRejected = false;           ///< the host insists on what this target does not do
    uint32_t hostSegmentBytes = 8192;  ///< MaxRecvDataSegmentLength of the host
    uint32_t burstBytes = 256 << 10;   ///< MaxBurstLength

private:
    void take(const std::string& key, const std::string& value, Keys& answers);
    void takeNumber(const std::string& key, const std::string& value, Keys& answers);
};

}  // namespace simdrive::iscsi
