// What a capture asks of a SATA drive.

#include "simdrive/capture/DriveWalk.h"

#include "features/ata/Commands.h"
#include "features/ata/Drive.h"
#include "features/ata/LogAddresses.h"
#include "features/ata/structures/SmartData.h"
#include "features/jobs/drive/DriveLocking.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/FieldTree.h"
#include "features/simulator/store/CapturedAnswers.h"
#include "ostrel/core/StatusCatalogue.h"

namespace simdrive {

using namespace features;
using namespace ostrel::core;
namespace bits = ata::identify;

namespace {

/// Above them are logs that a host wrote, and the maker's.
constexpr uint8_t LAST_LOG_OF_STANDARD = 0x3F;
constexpr uint32_t PAGE_BYTES = 512;
constexpr ata::IdentifyBit SMART_ERROR_LOG{84, 0};

class AtaWalk {
public:
    AtaWalk(Device& device, std::vector<std::string>& refused) : drive_(device), refused_(refused) {}

    Status run() {
        TRY(const ata::Identity* const identity, drive_.identify());
        if (identity->has(bits::GENERAL_PURPOSE_LOGS)) RETURN_IF_FAILED(readLogs());
        if (identity->has(bits::SMART_ENABLED)) RETURN_IF_FAILED(readSmart(*identity));
        RETURN_IF_FAILED(noted("Level 0 Discovery", jobs::readDriveLocking(drive_)));
        if (identity->has(bits::SANITIZE)) RETURN_IF_FAILED(noted("Sanitize status", drive_.sanitizeState()));
        if (!identity->has(bits::ACCESSIBLE_MAX_ADDRESS)) return Status();
        return noted("Native maximum LBA",
                     drive_.sendForRegisters(ata::AtaCommand(ata::commands::getNativeMaxAddressExt)));
    }

private:
    /// A transport error; what the drive aborted, the driver refused, or the library could not take, is noted.
    template <typename T, typename E>
    Status noted(const std::string& what, const Result<T, E>& result) {
        if (result) return Status();
        const Status& status = result.error();
        const bool isRefusal = status.getCategory() == CATEGORY_FEATURE || status.is(CATEGORY_CORE, 10) ||
                               status.is(CATEGORY_CORE, statuses::scsiCommandProblem().getCode());
        if (!isRefusal) return status;
        refused_.push_back(what + ": " + status.getMessage());
        return Status();
    }

    Status readLogs() {
        for (unsigned address = 0; address <= LAST_LOG_OF_STANDARD; ++address) {
            const auto log = static_cast<uint8_t>(address);
            const std::string what = "Log " + nvme::hexText(log, 2);
            auto pages = address == 0 ? Result<uint16_t, ata::AtaError>(uint16_t{1}) : drive_.pagesOfLog(log);
            RETURN_IF_FAILED(noted(what, pages));
            if (!pages || *pages == 0) continue;
            // Of the drive's internal status the head, which reads without making a capture.
            const bool isStatus = log == ata::LOG_CURRENT_INTERNAL_STATUS || log == ata::LOG_SAVED_INTERNAL_STATUS;
            if (isStatus) pages = uint16_t{1};
            if (size_t{*pages} * PAGE_BYTES > simulator::CapturedAnswers::MAX_ANSWER_BYTES) continue;
            // The pages that the drive lists alone: the others are errors.
            RETURN_IF_FAILED(isListed(log) ? readListed(log) : noted(what, drive_.readLog(log, 0, *pages)));
        }
        return Status();
    }

    static bool isListed(uint8_t log) { return log == ata::LOG_DEVICE_STATISTICS || log == ata::LOG_IDENTIFY_DATA; }

    Status readListed(uint8_t log) {
        TRY(const uint16_t pages, drive_.pagesOfLog(log));
        for (unsigned page = 0; page < pages && page <= UINT8_MAX; ++page)
            RETURN_IF_FAILED(noted("Log " + nvme::hexText(log, 2) + ", page " + nvme::hexText(page, 2),
                                   drive_.readListedPage(log, static_cast<uint8_t>(page))));
        return Status();
    }

    Status readSmart(const ata::Identity& identity) {
        const auto data = drive_.smartData();
        RETURN_IF_FAILED(noted("SMART data", data));
        RETURN_IF_FAILED(noted("SMART thresholds", drive_.smartThresholds()));
        RETURN_IF_FAILED(noted("SMART status", drive_.smartHealth()));
        if (identity.has(SMART_ERROR_LOG)) return readListedSmartLogs();
        return data ? readSmartLogsOf(nvme::structureAt<ata::SmartData>(data->getData())) : Status();
    }

    Status readListedSmartLogs() {
        const auto directory = drive_.readSmartLog(0);
        RETURN_IF_FAILED(noted("SMART log directory", directory));
        for (unsigned address = 1; directory && address <= LAST_LOG_OF_STANDARD; ++address) {
            const uint8_t pages = directory->getData()[size_t{2} * address];
            if (pages == 0 || isListed(static_cast<uint8_t>(address))) continue;
            RETURN_IF_FAILED(readSmartLog(static_cast<uint8_t>(address), pages));
        }
        return Status();
    }

    /// Drives before ATA/ATAPI-6 report these logs in SMART READ DATA alone, and need not have a directory.
    Status readSmartLogsOf(const ata::SmartData& smart) {
        if (nvme::bit(smart.errorLogCapability, ata::ERROR_LOGGING))
            RETURN_IF_FAILED(readSmartLog(ata::LOG_SUMMARY_ERRORS, 1));
        if (!nvme::bit(smart.offlineCapability, ata::OFFLINE_SELF_TEST)) return Status();
        return readSmartLog(ata::LOG_SELF_TESTS, 1);
    }

    Status readSmartLog(uint8_t address, uint8_t pages) {
        return noted("SMART log " + nvme::hexText(address, 2), drive_.readSmartLog(address, pages));
    }

    ata::Drive drive_;
    std::vector<std::string>& refused_;
};

}  // namespace

Status DriveWalk::ata(Device& device) {
    return AtaWalk(device, refused).run();
}

}  // namespace simdrive
