#pragma once

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>

#include "features/nvme/StatusCodes.h"
#include "ostrel/core/ProtocolResult.h"

namespace features::nvme {

/// The contents of a completion queue entry: the command-specific dword 0 (and 1), and the status field without the
/// phase bit, so bits 7:0 are the Status Code, 10:8 the Status Code Type, 13 More, 14 Do Not Retry (NVMe Base
/// Specification 1.4, figure 125).
class Completion : public ostrel::core::ProtocolResult {
public:
    Completion() = default;
    Completion(uint16_t statusField, uint32_t dword0, uint32_t dword1 = 0)
        : dword0(dword0), dword1(dword1), statusField(statusField) {}

    std::unique_ptr<ostrel::core::ProtocolResult> clone() const override;
    void toString(std::ostream& out) const override;
    std::unique_ptr<ostrel::core::xml::XmlObject> toXml() const override;

    bool isSuccess() const { return (statusField & 0x7FF) == 0; }
    StatusCode status() const { return StatusCode::ofField(statusField); }
    bool is(StatusCode expected) const { return status() == expected; }
    bool doNotRetry() const { return (statusField & 0x4000) != 0; }
    /// The standard's words for type and code, "Vendor Specific" or "Reserved" where it has none.
    std::string meaning() const { return statusCodeText(status()); }

    uint32_t dword0 = 0;
    uint32_t dword1 = 0;
    uint16_t statusField = 0;
};

}  // namespace features::nvme
