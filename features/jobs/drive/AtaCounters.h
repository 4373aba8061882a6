#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "features/ata/DeviceStatistics.h"
#include "features/ata/Drive.h"
#include "features/ata/SmartAttributes.h"
#include "features/jobs/drive/AtaHealth.h"

namespace features::jobs {

/// What a SATA drive counts, each page read when it is first needed, and at most once.
///
/// What the drive does not have, or refuses, is empty. A transport error stays in failure(), and from then on nothing
/// more is asked.
///
/// Ownership: the drive must outlive it; what is handed out belongs to it.
class AtaCounters {
public:
    explicit AtaCounters(ata::Drive& drive) : drive_(drive) {}

    const ostrel::core::Status& failure() const { return failure_; }
    /// Why the first page that the drive failed to give is empty; a success where it gave all that it has.
    const ostrel::core::Status& refusal() const { return refusal_; }
    std::optional<int64_t> statistic(ata::StatisticId id);
    /// A SMART attribute; null when the drive does not have it.
    const ata::SmartAttribute* attribute(uint8_t id);
    /// SCT status; null when the drive does not have it.
    const ostrel::core::Payload* sctStatus();
    /// Null when the drive refuses IDENTIFY DEVICE.
    const ata::Identity* identity() { return accept(drive_.identify()).value_or(nullptr); }

private:
    template <typename T>
    std::optional<T> accept(const Result<T, ata::AtaError>& result) {
        if (result) return *result;
        if (!isRefusal(result.error())) failure_ = result.error();
        if (result.error().isOfDrive() && succeeded(refusal_)) refusal_ = result.error();
        return std::nullopt;
    }

    ata::Drive& drive_;
    ostrel::core::Status failure_;
    ostrel::core::Status refusal_;
    std::map<uint8_t, ostrel::core::Payload> statistics_;  ///< by page; without bytes: the drive does not have it
    std::optional<std::vector<ata::SmartAttribute>> attributes_;
    std::optional<ostrel::core::Payload> sctStatus_;
};

}  // namespace features::jobs
