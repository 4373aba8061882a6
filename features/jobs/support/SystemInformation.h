#pragma once

#include "features/nvme/FieldTree.h"

namespace features::jobs {

/// The machine that the drives are in: system, processor, maker and model. What is not known is "not reported".
nvme::FieldTree systemInformation();

}  // namespace features::jobs
