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

/// Whether the identifier is one that maker and OCP both use, C0h to C7h.
constexpr bool isContestedFeature(uint8_t fid) {
    return fid >= nvme::FID_OCP_ERROR_INJECTION && fid <= nvme::FID_OCP_DSSD_POWER_STATE;
}

/// Whether the drive has the maker's vendor interface. Nothing is asked of the drive.
bool isVelkoDrive(const nvme::Drive& drive);

/// 10/254 on a drive without OCP's log C0h, which is asked for as one that the user named.
ostrel::core::Status requireOcp(nvme::Drive& drive);

/// `missing` unless the identifier is the maker's feature on this drive. A drive of another maker is asked nothing; one
/// of this maker is asked for log C0h, since a feature is never written on a guess.
ostrel::core::Status requireVelkoFeature(nvme::Drive& drive, uint8_t fid, const ostrel::core::Status& missing);

/// Whose feature an identifier is on this drive. On a drive that has both dialects C0h to C7h are OCP's: the same
/// number written in the maker's sense would do something else. Only for these the drive is asked; one that refuses log
/// C0h for another reason than that it has none leaves the question open: its refusal is returned.
Result<Dialect> dialectOfFeature(nvme::Drive& drive, uint8_t fid, OcpGrounds grounds);

}  // namespace features::jobs
