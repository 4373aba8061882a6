#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "features/errors/Result.h"
#include "features/jobs/base/Arguments.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// What is wanted of a drive's log pages, as the arguments say it.
struct NvmeLogRequest {
    /// 10/4 for an identifier that is none, 10/270 for an unknown name, 10/36 for a number that does not fit.
    static Result<NvmeLogRequest> read(const Arguments& arguments);

    /// Whether less than the whole page is wanted.
    bool isPart() const { return bytes || offset != 0; }

    bool list = false;              ///< which pages the drive has, and no page itself
    std::optional<uint8_t> lid;     ///< empty: all pages that can be decoded
    bool isVelko = false;           ///< the page was named, and the name is one of the maker's
    bool isOcp = false;             ///< the same, of OCP's
    bool ofNamespace = false;       ///< of the namespace that the path named, or the first; otherwise of the controller
    std::optional<uint8_t> lsp;     ///< Log Specific Field; empty: 0, and the persistent event log in a context
    std::optional<uint16_t> lsi;    ///< Log Specific Identifier; empty: that of the namespace, where the page has one
    uint8_t csi = 0;                ///< I/O command set, of a page that each of them has its own of
    bool retainEvent = true;        ///< a page that is looked at acknowledges nothing, unless that is asked for
    uint64_t offset = 0;            ///< bytes
    std::optional<uint32_t> bytes;  ///< how much; empty: the whole page
    std::string file;               ///< where the page goes; empty: it is shown
};

}  // namespace features::jobs
