#pragma once

#include <cstdint>

#include "features/errors/Result.h"
#include "features/jobs/drive/OcpSmartLog.h"
#include "features/nvme/Drive.h"
#include "features/nvme/FeatureIds.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// Whose meaning a vendor specific identifier has on a drive.
enum class Dialect : uint8_t {
    NONE,   ///< the standard's, or of a maker that is not known
    VELKO,  ///< the maker's: the model number begins with "VELKO"
    OCP,    ///< of the OCP Datacenter NVMe SSD Specification
};

/// A feature identifier on a drive: whose it is, and how a command addresses that feature.
struct FeatureAddress {
    Dialect dialect = Dialect::NONE;
    uint8_t uuidIndex = 0;
    uint32_t nsid = 0;  ///< of a feature that namespaces do not have each for itself

    nvme::FeatureRequest request(uint8_t fid) const;
};

/// Whether the identifier is one that maker and OCP both use, C0h to CAh.
constexpr bool isContestedFeature(uint8_t fid) {
    return fid >= nvme::FID_OCP_ERROR_INJECTION && fid <= nvme::FID_OCP_IDLE_WAKE_UP_TIME;
}

/// Whether the drive has the maker's vendor interface. Nothing is asked of the drive.
bool isVelkoDrive(const nvme::Drive& drive);

/// 10/254 on a drive without OCP's log C0h, which is asked for as one that the user named.
ostrel::core::Status requireOcp(nvme::Drive& drive);
/// The same, and 10/3 where the drive follows a version of OCP's specification that does not have the feature.
Result<FeatureAddress> requireOcpFeature(nvme::Drive& drive, uint8_t fid);

/// The maker's feature, or `missing` on another maker's drive, which is asked nothing. On a drive with OCP's log C0h
/// the identifiers of OCP's version are the maker's by the maker's own UUID Index alone; `missing` with words where the
/// UUID List does not have it. A feature is never written on a guess: `grounds` is NAMED for what is written.
Result<FeatureAddress> requireVelkoFeature(nvme::Drive& drive, uint8_t fid, OcpGrounds grounds,
                                           const ostrel::core::Status& missing);

/// What an identifier means that was given without its owner. On a drive that has both dialects C0h to CAh are OCP's as
/// far as the OCP version that it reports defines them: the same number written in the maker's sense would do
/// something else. Only for these the drive is asked for its log C0h; one that refuses it for another reason than that
/// it has none leaves the question open: its refusal is returned.
Result<FeatureAddress> addressOfFeature(nvme::Drive& drive, uint8_t fid, OcpGrounds grounds);

}  // namespace features::jobs
