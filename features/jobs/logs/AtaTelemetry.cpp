#include "features/jobs/logs/AtaTelemetry.h"

#include <algorithm>
#include <cstring>

#include "features/ata/LogAddresses.h"
#include "features/ata/structures/InternalStatusHeader.h"
#include "features/jobs/support/ProgressLine.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/FieldTree.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;
using ata::AtaError;
using ata::InternalStatusHeader;

namespace {

constexpr unsigned MAX_AREAS = 3;
/// FEATURE of the read of page 0 of log 24h.
constexpr uint16_t CAPTURE = 1;
constexpr uint32_t PAGES_AT_ONCE = 256;

/// Page 0, the areas' ends, and what shows that the log has become another one.
bool isSameCapture(const InternalStatusHeader& one, const InternalStatusHeader& other) {
    return std::memcmp(one.lastPage, other.lastPage, sizeof one.lastPage) == 0 &&
           one.savedAvailable == other.savedAvailable && one.savedGeneration == other.savedGeneration;
}

/// An area whose end is not after that of the one before it is empty.
uint16_t lastPageOf(const InternalStatusHeader& header, unsigned areas) {
    uint16_t last = 0;
    for (unsigned i = 0; i < areas; ++i) last = std::max<uint16_t>(last, header.lastPage[i]);
    return last;
}

class InternalStatus {
public:
    InternalStatus(ata::Drive& drive, uint8_t address, unsigned areas, LogSink& log)
        : drive_(drive), address_(address), areas_(areas), log_(log) {}

    /// Whether the log stayed as it was while it was read.
    Result<bool, AtaError> read(uint16_t feature) {
        TRY(const Payload first, drive_.readLogPage(address_, 0, feature));
        const auto header = nvme::structureAt<InternalStatusHeader>(first.getData());
        if (address_ == ata::LOG_SAVED_INTERNAL_STATUS && header.savedAvailable == 0) {
            return withDetails(statuses::telemetryNotSupported(),
                               "Drive " + drive_.name() + " has saved no internal status.");
        }
        const uint16_t last = lastPageOf(header, areas_);
        RETURN_IF_FAILED(log_.begin((uint64_t{last} + 1) * ata::LOG_PAGE_BYTES));
        RETURN_IF_FAILED(log_.add(first.getData(), ata::LOG_PAGE_BYTES));
        RETURN_IF_FAILED(copyPages(last));
        TRY(const Payload again, drive_.readLogPage(address_, 0));
        return isSameCapture(header, nvme::structureAt<InternalStatusHeader>(again.getData()));
    }

private:
    Result<void, AtaError> copyPages(uint16_t last) {
        ProgressLine line("Drive " + drive_.name() + ", log " + nvme::hexText(address_, 2));
        for (uint32_t page = 1; page <= last;) {
            const uint32_t count = std::min(PAGES_AT_ONCE, last - page + 1);
            TRY(const Payload piece, drive_.readLog(address_, static_cast<uint16_t>(page), count));
            RETURN_IF_FAILED(log_.add(piece.getData(), piece.getSize()));
            page += count;
            line.update(page - 1, last);
        }
        return {};
    }

    ata::Drive& drive_;
    uint8_t address_;
    unsigned areas_;
    LogSink& log_;
};

}  // namespace

Result<void, AtaError> readInternalStatus(ata::Drive& drive, const TelemetryRequest& request, LogSink& log) {
    if (request.dataArea > MAX_AREAS) {
        return withDetails(statuses::driveDoesNotSupportFeature(),
                           "The internal status of SATA drive " + drive.name() + " has areas 1 to 3.");
    }
    const uint8_t address = request.hostInitiated ? ata::LOG_CURRENT_INTERNAL_STATUS : ata::LOG_SAVED_INTERNAL_STATUS;
    TRY(const uint16_t pages, drive.pagesOfLog(address));
    if (pages == 0) return withDetails(statuses::telemetryNotSupported(), "Drive " + drive.name() + ".");
    InternalStatus status(drive, address, request.dataArea, log);
    TRY(bool isWhole, status.read(request.hostInitiated ? CAPTURE : uint16_t{0}));
    if (!isWhole) {
        TRY(isWhole, status.read(0));
    }
    if (isWhole) return {};
    return withDetails(statuses::telemetryRetrievalFailed(),
                       "Drive " + drive.name() + " made another capture while its log was read, twice.");
}

}  // namespace features::jobs
