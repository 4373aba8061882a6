#include "features/jobs/logs/AtaDriveLogs.h"

#include <algorithm>
#include <iterator>
#include <string>

#include "features/ata/ErrorLog.h"
#include "features/ata/EventLogs.h"
#include "features/ata/LogAddresses.h"
#include "features/ata/SelfTests.h"
#include "features/jobs/drive/AtaHealth.h"
#include "features/jobs/logs/AtaTelemetry.h"
#include "features/jobs/logs/FileSink.h"
#include "features/jobs/support/StatusDetails.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/Strings.h"

namespace features::jobs {

using namespace ostrel::core;
using ata::AtaError;

namespace {

constexpr uint32_t PAGES_AT_ONCE = 256;
constexpr unsigned LAST_LOG = 0xFF;

/// Logs of the standard that are shown beside their files; one of more pages is left to its file.
constexpr unsigned MAX_SHOWN_PAGES = 64;

nvme::FieldTree showSelfTests(const Payload& log) {
    return ata::decodeSelfTests(ata::selfTestsOf(log));
}
nvme::FieldTree showExtendedSelfTests(const Payload& log) {
    return ata::decodeSelfTests(ata::extendedSelfTestsOf(log));
}

struct ShownLog {
    uint8_t address;
    nvme::FieldTree (*decode)(const Payload& log);
};
constexpr ShownLog SHOWN_LOGS[] = {
    {ata::LOG_EXTENDED_ERRORS, ata::decodeExtendedErrors}, {ata::LOG_EXTENDED_SELF_TESTS, showExtendedSelfTests},
    {ata::LOG_PENDING_DEFECTS, ata::decodePendingDefects}, {ata::LOG_QUEUED_ERROR, ata::decodeQueuedError},
    {ata::LOG_PHY_EVENTS, ata::decodePhyEvents},           {ata::LOG_SCT_STATUS, ata::decodeSctStatus},
};

/// Of SMART READ LOG alone.
struct SmartLog {
    ShownLog log;
    /// Logs that have the same and more: the log is shown where the drive has none of them. 0: there is none.
    uint8_t general;  ///< of the general purpose logs
    uint8_t smart;
    bool isOfAll;  ///< asked for whether or not the directory of these logs has it, which old drives do not have
};
constexpr SmartLog SMART_LOGS[] = {
    {{ata::LOG_SUMMARY_ERRORS, ata::decodeSummaryErrors},
     ata::LOG_EXTENDED_ERRORS,
     ata::LOG_COMPREHENSIVE_ERRORS,
     true},
    {{ata::LOG_COMPREHENSIVE_ERRORS, ata::decodeComprehensiveErrors}, ata::LOG_EXTENDED_ERRORS, 0, false},
    {{ata::LOG_SELF_TESTS, showSelfTests}, ata::LOG_EXTENDED_SELF_TESTS, 0, true},
    {{ata::LOG_SELECTIVE_SELF_TEST, ata::decodeSelectiveSelfTest}, 0, 0, false},
};

std::string fileName(const char* kind, uint8_t address) {
    return kind + toLower(nvme::hexText(address, 2).substr(2)) + ".bin";
}

/// The files of one drive, one after the other, until one fails.
class Store {
public:
    Store(ata::Drive& drive, const LogFolder& folder, nvme::FieldTree& tree)
        : drive_(drive), folder_(folder), tree_(tree) {}

    Status run() {
        tree_.add("Folder", folder_.path());
        const Status status = storeAll();
        tree_.add("Files", std::to_string(files_));
        return status;
    }

private:
    Status storeAll() {
        RETURN_IF_FAILED(storePages("identify_device.bin", "Identify Device", drive_.identifyData()));
        RETURN_IF_FAILED(storePages("smart_data.bin", "SMART Data", drive_.smartData()));
        RETURN_IF_FAILED(storePages("smart_thresholds.bin", "SMART Thresholds", drive_.smartThresholds()));
        RETURN_IF_FAILED(storeSmartLogs());
        return storeDirectory();
    }

    Status storeSmartLogs() {
        const auto directory = drive_.readSmartLog(ata::LOG_DIRECTORY);
        RETURN_IF_FAILED(storePages(fileName("smart_log_", ata::LOG_DIRECTORY), "SMART Log Directory", directory));
        const auto pagesOf = [&](uint8_t address) {
            // Pages are counted in the low byte; the other one is reserved.
            return directory ? directory->getData()[size_t{2} * address] : uint8_t{0};
        };
        for (const SmartLog& row : SMART_LOGS) {
            const uint8_t pages = row.isOfAll ? uint8_t{1} : pagesOf(row.log.address);
            const bool isShown = row.smart == 0 || pagesOf(row.smart) == 0;
            if (pages != 0) RETURN_IF_FAILED(storeSmartLog(row, pages, isShown));
        }
        return Status();
    }

    Status storeSmartLog(const SmartLog& row, uint8_t pages, bool isShown) {
        const auto log = drive_.readSmartLog(row.log.address, pages);
        RETURN_IF_FAILED(
            storePages(fileName("smart_log_", row.log.address), "SMART Log " + nvme::hexText(row.log.address, 2), log));
        const auto general = row.general == 0 ? uint16_t{0} : drive_.pagesOfLog(row.general);
        // That the drive refuses the general directory is reported where its logs are stored.
        if (!general && !isRefusal(general.error())) return general.error();
        const bool hasMore = general.value_or(0) != 0;
        if (log && isShown && !hasMore) tree_.parts.push_back(row.log.decode(*log));
        return Status();
    }

    /// By address, the directory itself first: the standard has the low ones, hosts and makers those from 80h on.
    Status storeDirectory() {
        for (unsigned address = 0; address <= LAST_LOG; ++address) {
            const auto pages = drive_.pagesOfLog(static_cast<uint8_t>(address));
            if (!pages) return reportNotRead("Log Directory", pages.error());
            if (*pages != 0) RETURN_IF_FAILED(storeLog(static_cast<uint8_t>(address), *pages));
        }
        return Status();
    }

    Status write(const std::string& name, const Payload& bytes) {
        RETURN_IF_FAILED(folder_.write(name, bytes));
        ++files_;
        return Status();
    }

    Status storePages(const std::string& name, const std::string& what, const Result<Payload, AtaError>& bytes) {
        if (!bytes) return reportNotRead(what, bytes.error());
        return bytes->getSize() == 0 ? Status() : write(name, *bytes);
    }

    Status storeLog(uint8_t address, uint16_t pages) {
        const auto* const shown = std::find_if(std::begin(SHOWN_LOGS), std::end(SHOWN_LOGS),
                                               [&](const ShownLog& row) { return row.address == address; });
        if (shown == std::end(SHOWN_LOGS) || pages > MAX_SHOWN_PAGES) return copyLog(address, pages);
        const auto log = drive_.readLog(address, 0, pages);
        RETURN_IF_FAILED(storePages(fileName("log_", address), "Log " + nvme::hexText(address, 2), log));
        if (log) tree_.parts.push_back(shown->decode(*log));
        return Status();
    }

    Status copyLog(uint8_t address, uint16_t pages) {
        UserFile file;
        RETURN_IF_FAILED(folder_.createFile(fileName("log_", address), file));
        FileSink sink(file);
        const auto written = readLog(address, pages, sink);
        if (!written) return reportNotRead("Log " + nvme::hexText(address, 2), written.error());
        RETURN_IF_FAILED(file.finish());
        ++files_;
        return Status();
    }

    Result<void, AtaError> readLog(uint8_t address, uint16_t pages, LogSink& sink) {
        TelemetryRequest internalStatus;
        internalStatus.hostInitiated = address == ata::LOG_CURRENT_INTERNAL_STATUS;
        if (internalStatus.hostInitiated || address == ata::LOG_SAVED_INTERNAL_STATUS)
            return readInternalStatus(drive_, internalStatus, sink);
        RETURN_IF_FAILED(sink.begin(uint64_t{pages} * ata::LOG_PAGE_BYTES));
        for (uint32_t page = 0; page < pages;) {
            const uint32_t count = std::min<uint32_t>(PAGES_AT_ONCE, pages - page);
            TRY(const Payload piece, drive_.readLog(address, static_cast<uint16_t>(page), count));
            RETURN_IF_FAILED(sink.add(piece.getData(), piece.getSize()));
            page += count;
        }
        return {};
    }

    /// What the drive does not support after all is no failure of the scan. A failure of the host is one.
    Status reportNotRead(const std::string& what, const AtaError& error) {
        if (!isRefusal(error)) return error;
        tree_.add(what, "Not read", error.status.getMessage());
        return Status();
    }

    ata::Drive& drive_;
    const LogFolder& folder_;
    nvme::FieldTree& tree_;
    unsigned files_ = 0;
};

}  // namespace

Status storeAtaDriveLogs(ata::Drive& drive, const LogFolder& folder, nvme::FieldTree& tree) {
    return ofFile(Store(drive, folder, tree).run(), statuses::fileWriteFailed());
}

}  // namespace features::jobs
