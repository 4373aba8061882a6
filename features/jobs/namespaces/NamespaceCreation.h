#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "features/errors/Result.h"
#include "features/jobs/base/Arguments.h"
#include "features/jobs/namespaces/NamespaceAmount.h"
#include "features/nvme/ControllerCapabilities.h"
#include "features/nvme/Drive.h"
#include "features/nvme/NamespaceProperties.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// A namespace that is to be made.
struct NamespaceRequest {
    NamespaceAmount size;
    std::optional<NamespaceAmount> capacity;  ///< absent: as large as the size
    uint8_t lbaFormat = 0;
    uint8_t protectionType = 0;
    bool isShared = false;
};

/// Reads the arguments of the action "create", each refused by the catalogue's status for it.
Result<NamespaceRequest> readNamespaceRequest(const Arguments& arguments);

/// Makes a namespace (NVMe Base Specification 1.4, section 5.20). The drive's limits are looked at first: formats,
/// protection, thin provisioning, the number of namespaces, the space that is left, and the granularity in which the
/// drive gives it out. A size that does not fit is reported with the nearest ones that do.
class NamespaceCreation {
public:
    NamespaceCreation(nvme::Drive& drive, const NamespaceRequest& request) : drive_(drive), request_(request) {}

    /// `controller`: Identify Controller, 4,096 bytes, of a controller with namespace management. The result says
    /// which namespace it became.
    Result<std::string> run(const uint8_t* controller);

private:
    ostrel::core::Status checkCount(const nvme::ControllerCapabilities& controller);
    ostrel::core::Status checkFormat(const nvme::NamespaceProperties& common);
    ostrel::core::Status checkProtection(const nvme::NamespaceProperties& common);
    ostrel::core::Status findBlocks(uint64_t freeBytes);
    Result<uint64_t> toBlocks(const char* what, const NamespaceAmount& amount, uint64_t step, uint64_t freeBytes) const;
    ostrel::core::Status checkSize(uint64_t freeBytes);
    ostrel::core::Status checkMultiple(const char* what, uint64_t blocks, uint64_t step, uint64_t most) const;
    ostrel::core::Status readGranularity(const nvme::ControllerCapabilities& controller);
    Result<std::string> create();

    nvme::Drive& drive_;
    NamespaceRequest request_;
    nvme::NamespaceProperties::LbaFormat format_{};
    uint64_t size_ = 0;  ///< in blocks
    uint64_t capacity_ = 0;
    bool metadataExtended_ = false;
    bool protectionFirst_ = false;
    uint64_t sizeStep_ = 1;      ///< in blocks
    uint64_t capacityStep_ = 1;  ///< in blocks
};

}  // namespace features::jobs
