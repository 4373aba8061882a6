#pragma once

#include "CLI/velkossd/FeatureServices.h"

namespace cli::velkossd {

/// The feature library that this process has loaded, and the configuration. Asking for it loads nothing yet.
FeatureServices& libraryServices();

}  // namespace cli::velkossd
