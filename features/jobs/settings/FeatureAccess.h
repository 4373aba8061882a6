#pragma once

#include <cstdint>

#include "features/errors/Result.h"
#include "features/jobs/base/Arguments.h"
#include "features/nvme/CommandError.h"
#include "features/nvme/Drive.h"
#include "features/nvme/Features.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// The argument "Select"; the current value when there is none.
Result<nvme::Select> readSelect(const Arguments& arguments);

/// Get Features, with a refusal explained: `unsupported` when the drive does not know the feature, 10/80
/// for a namespace that it does not have. A selection other than the current value is refused where the controller has
/// none (10/3): it would answer with the current value.
Result<nvme::Answer> readFeature(nvme::Drive& drive, const nvme::FeatureRequest& request, nvme::Select select,
                                 const ostrel::core::Status& unsupported);

/// Says what a refusal means, as above. Other errors stay as they are.
ostrel::core::Status explained(const nvme::CommandError& error, const ostrel::core::Status& unsupported);

/// What readFeature() brought, decoded.
nvme::FieldTree decodeAnswer(const nvme::FeatureRow& feature, nvme::Select select, const nvme::Answer& answer,
                             uint16_t nvmeVersion = UINT16_MAX);

/// Writes the one field of an OCP feature that does something and has no value. 10/254 on a drive without OCP's
/// features, before anything is written; 0/14 for a value that does not fit.
ostrel::core::Status writeOcpField(nvme::Drive& drive, uint8_t fid, uint32_t value);

}  // namespace features::jobs
