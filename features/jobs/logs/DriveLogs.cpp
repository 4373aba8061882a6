#include "features/jobs/logs/DriveLogs.h"

#include <cerrno>
#include <string>

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
#include "features/nvme/LogPages.h"
#include "features/nvme/OcpLogPages.h"
#include "features/nvme/Opcodes.h"
#include "features/nvme/VelkoInterface.h"
#include "features/nvme/VelkoLogPages.h"
#include "features/transport/HostStatus.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/Strings.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::jobs {

using namespace ostrel::core;
using namespace ostrel::interfaces::ostreli;
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
        Status status = storeIdentify();
        if (succeeded(status)) status = storePages(nvme::logPagesBegin(), nvme::logPagesEnd());
        if (succeeded(status) && isVelkoDrive(facts_.drive()))
            status = storePages(nvme::velkoLogPagesBegin(), nvme::velkoLogPagesEnd());
        if (succeeded(status)) status = storeOcpPages();
        tree_.add("Files", std::to_string(files_));
        for (const Status& failure : {status, facts_.failure(), problem_}) {
            if (failed(failure)) return failure;
        }
        return Status();
    }

private:
    Status write(const std::string& name, const Payload& bytes) {
        const Status status = folder_.write(name, bytes);
        if (succeeded(status)) ++files_;
        return status;
    }

    Status storeIdentify() {
        if (facts_.controller() == nullptr)
            return succeeded(facts_.failure()) ? statuses::deviceDataRetrievalFailed() : facts_.failure();
        Status status = write("identify_controller.bin", Payload(facts_.identifyController(), nvme::IDENTIFY_BYTES));
        const auto* namespaces = facts_.hostNamespaces();
        if (namespaces == nullptr) return succeeded(status) ? facts_.failure() : status;
        for (const auto& space : *namespaces) {
            Payload data;
            if (failed(status)) return status;
            status = facts_.drive().identify(nvme::CNS_NAMESPACE, space.nsid, 0, data);
            if (isOfDrive(status)) {
                status = reportNotRead("Namespace " + std::to_string(space.nsid), status);
                continue;
            }
            if (succeeded(status)) status = write("identify_namespace_" + std::to_string(space.nsid) + ".bin", data);
        }
        return status;
    }

    Status storePages(const LogPageRow* row, const LogPageRow* end) {
        Status status;
        for (; succeeded(status) && row != end; ++row) {
            bool isOffered = false;
            status = moveTo(isOffered, isLogOffered(facts_.drive(), *row));
            if (succeeded(status) && isOffered) status = storePage(*row);
        }
        return status;
    }

    Status storeOcpPages() {
        Status status;
        const nvme::OcpLogPageRow* row = nvme::ocpLogPagesBegin();
        for (; succeeded(status) && row != nvme::ocpLogPagesEnd(); ++row) {
            bool isOffered = false;
            status = isOcpLogOffered(facts_, *row, isOffered);
            if (succeeded(status) && isOffered) status = storePage(row->page);
        }
        return status;
    }

    Status storePage(const LogPageRow& row) {
        UserFile file;
        Status status = folder_.createFile(logFileName(row.lid, row.name), file);
        FileSink log(file);
        if (succeeded(status)) status = readPage(row, log);
        if (isOfDrive(status)) return reportNotRead("LID " + nvme::hexText(row.lid, 2), status);
        if (succeeded(status)) status = file.finish();
        if (succeeded(status)) ++files_;
        return status;
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

    /// What the drive does not support after all is no failure of the scan. A failure of the host is one: the
    /// completion at hand is then that of an earlier command.
    Status reportNotRead(const std::string& what, const Status& status) {
        tree_.add(what, "Not read", status.getMessage());
        const bool isMissing = !isOfHost(status) && !isTooLong(status) &&
                               (isRefusal(status) || !facts_.drive().lastCompletion().isSuccess());
        if (!isMissing && succeeded(problem_)) problem_ = status;
        return Status();
    }

    Status readPage(const LogPageRow& row, LogSink& file) {
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
