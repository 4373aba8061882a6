#include "features/jobs/drive/AtaCounters.h"

#include "features/ata/LogAddresses.h"
#include "features/ata/structures/SctStatus.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

constexpr ata::IdentifyBit SCT_SUPPORTED{206, 0};

}  // namespace

std::optional<int64_t> AtaCounters::statistic(ata::StatisticId id) {
    if (failed(failure_)) return std::nullopt;
    if (statistics_.count(id.page) == 0) {
        const auto page = accept(drive_.readListedPage(ata::LOG_DEVICE_STATISTICS, id.page));
        statistics_[id.page] = page && *page ? **page : Payload();
    }
    return ata::statistic(statistics_[id.page], id);
}

const ata::SmartAttribute* AtaCounters::attribute(uint8_t id) {
    if (failed(failure_)) return nullptr;
    if (!attributes_) {
        const auto data = accept(drive_.smartData());
        attributes_ = ata::smartAttributesOf(data.value_or(Payload()), Payload());
    }
    return ata::findAttribute(*attributes_, id);
}

const Payload* AtaCounters::sctStatus() {
    if (failed(failure_)) return nullptr;
    if (!sctStatus_) {
        const ata::Identity* const drive = identity();
        const bool isThere = drive != nullptr && drive->has(SCT_SUPPORTED);
        sctStatus_ = isThere ? accept(drive_.readSmartLog(ata::LOG_SCT_STATUS)).value_or(Payload()) : Payload();
    }
    return sctStatus_->getSize() < sizeof(ata::SctStatus) ? nullptr : &*sctStatus_;
}

}  // namespace features::jobs
