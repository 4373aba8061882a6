#include "features/jobs/logs/DriveLogs.h"

#include <cerrno>
#include <string>

#include "features/errors/PayloadCopy.h"
#include "features/jobs/base/LogLimits.h"
#include "features/jobs/drive/LogReading.h"
#include "features/jobs/drive/OcpLogOffers.h"
#include "features/jobs/drive/Offers.h"
#include "features/jobs/drive/VendorDialect.h"
#include "features/jobs/logs/FileSink.h"
#include "features/jobs/logs/LogPageNames.h"
#include "features/jobs/logs/LongLogs.h"
#include "features/jobs/logs/NvmeLogPage.h"
#include "features/jobs/logs/NvmeLogRequest.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/FieldTree.h"
#include "features/nvme/Identify.h"
#include "features/nvme/IdentifyCns.h"
#include "features/nvme/LogPageIds.h"
#include "features/nvme/LogPages.h"
#include "features/nvme/OcpLogPages.h"
#include "features/nvme/VelkoInterface.h"
#include "features/nvme/VelkoLogPages.h"
#include "features/nvme/structures/OcpSmartLog.h"
#include "features/transport/HostStatus.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/Strings.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::jobs {

using namespace ostrel::core;
using namespace ostrel::interfaces::ostreli;
using nvme::CommandError;
using nvme::LogPageRow;

namespace {

/// "log_02_smart_health_information.bin"
std::string logFileName(uint8_t lid, const std::string& name) {
    std::string file = "log_" + toLower(nvme::hexText(lid, 2).substr(2));
    bool isWord = false;
    for (const char c : toLower(name)) {
        const bool isPart = (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
        if (isPart && !isWord) file += '_';
        if (isPart) file += c;
        isWord = isPart;
    }
    return file + ".bin";
}

/// The files of one drive, one after the other, until one fails.
class Store {
public:
    Store(DriveFacts& facts, const LogFolder& folder, nvme::FieldTree& tree)
        : facts_(facts), folder_(folder), tree_(tree) {}

    Status run() {
        tree_.add("Folder", folder_.path());
        const Status status = storeAll();
        tree_.add("Files", std::to_string(files_));
        for (const Status& failure : {status, facts_.failure(), problem_}) RETURN_IF_FAILED(failure);
        return Status();
    }

private:
    Status storeAll() {
        RETURN_IF_FAILED(storeIdentify());
        RETURN_IF_FAILED(storePages(nvme::logPagesBegin(), nvme::logPagesEnd()));
        if (isVelkoDrive(facts_.drive()))
            RETURN_IF_FAILED(storePages(nvme::velkoLogPagesBegin(), nvme::velkoLogPagesEnd()));
        return storeOcpPages();
    }

    Status write(const std::string& name, const Payload& bytes) {
        RETURN_IF_FAILED(folder_.write(name, bytes));
        ++files_;
        return Status();
    }

    Status storeIdentify() {
        if (facts_.controller() == nullptr)
            return succeeded(facts_.failure()) ? statuses::deviceDataRetrievalFailed() : facts_.failure();
        RETURN_IF_FAILED(write("identify_controller.bin", copyOf(facts_.identifyController(), nvme::IDENTIFY_BYTES)));
        const auto* namespaces = facts_.hostNamespaces();
        if (namespaces == nullptr) return facts_.failure();
        for (const auto& space : *namespaces) RETURN_IF_FAILED(storeNamespace(space.nsid));
        return Status();
    }

    Status storeNamespace(uint32_t nsid) {
        const auto data = facts_.drive().identify(nvme::CNS_NAMESPACE, nsid);
        if (data) return write("identify_namespace_" + std::to_string(nsid) + ".bin", *data);
        if (!isOfDrive(data.error())) return data.error();
        reportNotRead("Namespace " + std::to_string(nsid), data.error());
        return Status();
    }

    Status storePages(const LogPageRow* row, const LogPageRow* end) {
        for (; row != end; ++row) {
            TRY(const bool isOffered, isLogOffered(facts_.drive(), *row));
            if (isOffered) RETURN_IF_FAILED(storePage(*row));
        }
        return Status();
    }

    Status storeOcpPages() {
        for (const nvme::OcpLogPageRow* row = nvme::ocpLogPagesBegin(); row != nvme::ocpLogPagesEnd(); ++row) {
            TRY(const bool isOffered, isOcpLogOffered(facts_, *row));
            if (isOffered) RETURN_IF_FAILED(storePage(row->page));
        }
        return Status();
    }

    Status storePage(const LogPageRow& row) {
        UserFile file;
        const auto written = writePage(row, file);
        if (!written && !isOfDrive(written.error())) return written.error();
        if (!written) {
            reportNotRead("LID " + nvme::hexText(row.lid, 2), written.error());
            return Status();
        }
        RETURN_IF_FAILED(file.finish());
        ++files_;
        return Status();
    }

    Result<void, CommandError> writePage(const LogPageRow& row, UserFile& file) {
        RETURN_IF_FAILED(folder_.createFile(logFileName(row.lid, row.name), file));
        FileSink log(file);
        return readPage(row, log);
    }

    static bool isOfHost(const Status& status) {
        return status.getCategory() == CATEGORY_OS || transport::isTransportError(status);
    }

    /// The failure of the transport, or of the file, is that of all that follows. A length that does not fit is the
    /// log's own.
    static bool isOfDrive(const Status& status) {
        const bool isTooLongForFile = status.is(CATEGORY_OS, EFBIG) || status.is(CATEGORY_OS, ENOSPC);
        return failed(status) && (!isOfHost(status) || isTooLongForFile);
    }

    /// What the drive does not support after all is no failure of the scan. A failure of the host is one.
    void reportNotRead(const std::string& what, const CommandError& error) {
        tree_.add(what, "Not read", error.status.getMessage());
        const bool isMissing = isRefusal(error.status) || !error.completion.isSuccess();
        if (!isMissing && succeeded(problem_)) problem_ = error.status;
    }

    Result<void, CommandError> readPage(const LogPageRow& row, LogSink& file) {
        TelemetryRequest telemetry;
        switch (row.lid) {
            case nvme::LID_TELEMETRY_CONTROLLER:
                telemetry.hostInitiated = false;
                telemetry.retainEvent = true;
                [[fallthrough]];
            case nvme::LID_TELEMETRY_HOST:
                return readTelemetryLog(facts_.drive(), telemetry, file);
            case nvme::LID_PERSISTENT_EVENT:
                return readPersistentEventLog(facts_.drive(), EventLogContext::PASSING, file);
            default:
                break;
        }
        return copyLogPage(facts_, NvmeLogRequest(), row.lid, file);
    }

    DriveFacts& facts_;
    const LogFolder& folder_;
    nvme::FieldTree& tree_;
    unsigned files_ = 0;
    Status problem_;  ///< the first log that the drive has, but did not give
};

}  // namespace

Status storeDriveLogs(DriveFacts& facts, const LogFolder& folder, nvme::FieldTree& tree) {
    return ofFile(Store(facts, folder, tree).run(), statuses::fileWriteFailed());
}

}  // namespace features::jobs
