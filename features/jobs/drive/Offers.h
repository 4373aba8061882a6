#pragma once

#include "features/errors/Result.h"
#include "features/nvme/Drive.h"
#include "features/nvme/Features.h"
#include "features/nvme/LogPages.h"
#include "ostrel/core/Status.h"

/// What is optional is asked for only where the drive says that it has it: a drive without it adds an entry to its
/// Error Information log, and monitoring of its entries raises an alarm. docs/optional-pages.md shows the rule.
namespace features::jobs {

/// Whether the drive offers a log page: by its list of log pages where it has one, otherwise by Identify Controller.
/// Nothing is asked about a page of the standard that all controllers have.
Result<bool> isLogOffered(nvme::Drive& drive, const nvme::LogPageRow& row);

/// 10/3 with the page's name, without asking for it, where the drive does not offer it.
ostrel::core::Status requireLogOffered(nvme::Drive& drive, const nvme::LogPageRow& row);

/// `unsupported` with the feature's name where Identify Controller, or log page 12h of a drive that lists it, says that
/// the drive does not support the feature of the standard. A feature of which neither says anything may be asked for.
ostrel::core::Status requireFeatureOffered(nvme::Drive& drive, const nvme::FeatureRow& feature,
                                           const ostrel::core::Status& unsupported);

/// Whether the drive says that it has a feature of the standard: all controllers do, Identify Controller has it, or log
/// page 12h of a drive that lists it. Unlike above a feature of which nothing is said counts as missing.
Result<bool> isFeatureAnnounced(nvme::Drive& drive, const nvme::FeatureRow& feature);

}  // namespace features::jobs
