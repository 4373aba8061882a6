#pragma once

#include <ctime>
#include <functional>

#include "features/jobs/base/CloneableJob.h"
#include "features/jobs/health/scan/DriveHealthScan.h"

namespace features::jobs {

/// The health of drives: what they say of themselves, whether they can be read, and whether they give back what they
/// were given. docs/health-scan.md is the user's side of it.
///
/// The answer is one output object with one tree for each drive. Its property "HealthScanStatusCode" is the gravest
/// outcome, and becomes the exit status; what was found, or failed, is written in the trees, since the code of a
/// status object there would take the outcome's place.
class HealthScanJob : public CloneableJob<HealthScanJob> {
public:
    /// `now`: for the name of the folder.
    explicit HealthScanJob(
        std::function<std::time_t()> now = [] { return std::time(nullptr); }, const HealthScanExtent& extent = {});
    std::unique_ptr<HealthScanJob> makeNew() const { return std::make_unique<HealthScanJob>(now_, extent_); }
    ostrel::core::Status runMethod(const std::shared_ptr<ostrel::core::xml::XmlObject>& output) override;

private:
    std::function<std::time_t()> now_;
    HealthScanExtent extent_;
};

}  // namespace features::jobs
