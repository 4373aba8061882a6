#include "features/jobs/logs/VelkoLogJob.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>

#include "features/jobs/drive/LogReading.h"
#include "features/jobs/drive/VendorDialect.h"
#include "features/jobs/support/ProgressLine.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/FieldTree.h"
#include "features/nvme/VelkoInterface.h"
#include "features/nvme/VelkoLogPages.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::jobs {

using namespace ostrel::core;
using namespace ostrel::interfaces::ostreli;

namespace {

/// How often a log is read whose picture changes under the reader.
constexpr unsigned MAX_READS = 3;

bool isLength(uint64_t bytes) {
    return bytes >= nvme::VELKO_LOG_HEADER_BYTES + nvme::VELKO_LOG_TRAILER_BYTES && bytes % 4 == 0 &&
           bytes <= nvme::VELKO_MAX_LOG_BYTES;
}

}  // namespace

struct VelkoLogJob::Row {
    const char* job;
    uint8_t lid;
    const char* signature;
    const char* logName;  ///< the beginning of the file's name
    Status (*missing)();  ///< the drive does not support the log
    Status (*damaged)();  ///< what the drive gave is not the log
    Status (*failed)();   ///< the log changed again and again
    Status (*empty)();    ///< the log has no entry
};
// clang-format off
const VelkoLogJob::Row VelkoLogJob::ROWS[] = {
    {JOB_NLOG,            nvme::LID_VELKO_NLOG,            "NLOG", "nlog",           statuses::directNlogsNotSupported,    statuses::invalidNlogHeader,         statuses::nlogRetrievalFailed,       statuses::nlogRetrievalFailed},
    {JOB_BRIDGE_NLOG,     nvme::LID_VELKO_BRIDGE_NLOG,     "BLOG", "bridgenlog",     statuses::directNlogsNotSupported,    statuses::invalidNlogHeader,         statuses::nlogRetrievalFailed,       statuses::nlogRetrievalFailed},
    {JOB_EVENT_LOG,       nvme::LID_VELKO_EVENT_LOG,       "EVNT", "eventlog",       statuses::eventLogNotSupported,       statuses::invalidEventLog,           statuses::deviceDataRetrievalFailed, statuses::deviceDataRetrievalFailed},
    {JOB_ASSERT_LOG,      nvme::LID_VELKO_ASSERT_LOG,      "ASRT", "assert",         statuses::driveDoesNotSupportFeature, statuses::invalidAssertLog,          statuses::deviceDataRetrievalFailed, statuses::driveNotAsserted},
    {JOB_SYSTEM_SNAPSHOT, nvme::LID_VELKO_SYSTEM_SNAPSHOT, "SNAP", "SystemSnapshot", statuses::driveDoesNotSupportFeature, statuses::deviceDataRetrievalFailed, statuses::deviceDataRetrievalFailed, statuses::deviceDataRetrievalFailed},
};
// clang-format on

const VelkoLogJob::Row& VelkoLogJob::rowOf(const std::string& name) {
    const auto* row = std::find_if(std::begin(ROWS), std::end(ROWS), [&](const Row& r) { return r.job == name; });
    if (row == std::end(ROWS)) throw std::logic_error("no job of a vendor log: " + name);
    return *row;
}

const VelkoLogJob::Row& VelkoLogJob::rowOf(uint8_t lid) {
    const Row* row = findRow(lid);
    if (row == nullptr) throw std::logic_error("no vendor log: " + nvme::hexText(lid, 2));
    return *row;
}

const VelkoLogJob::Row* VelkoLogJob::findRow(uint8_t lid) {
    const auto* row = std::find_if(std::begin(ROWS), std::end(ROWS), [&](const Row& r) { return r.lid == lid; });
    return row == std::end(ROWS) ? nullptr : row;
}

VelkoLogJob::VelkoLogJob(const std::string& name)
    : CloneableJob(name, rowOf(name).logName, emptyLog(rowOf(name).lid)) {}

uint8_t VelkoLogJob::logId(const Arguments&) const {
    return rowOf(getName()).lid;
}

Status VelkoLogJob::dumpDrive(nvme::Drive& drive, const Arguments&, LogSink& log) {
    return statusOf(readLog(rowOf(getName()).lid, drive, log));
}

EmptyLog VelkoLogJob::emptyLog(uint8_t lid) {
    return {nvme::VELKO_LOG_HEADER_BYTES + nvme::VELKO_LOG_TRAILER_BYTES, rowOf(lid).empty};
}

Result<void, nvme::CommandError> VelkoLogJob::readLog(uint8_t lid, nvme::Drive& drive, LogSink& log) {
    const Row& row = rowOf(lid);
    if (!isVelkoDrive(drive)) return row.missing();
    for (unsigned i = 0; i < MAX_READS; ++i) {
        TRY(const bool isWhole, readOnce(row, drive, log));
        if (isWhole) return {};
    }
    return withDetails(row.failed(),
                       "The log of drive " + drive.name() + " was read by another process at the same time.");
}

Result<bool, nvme::CommandError> VelkoLogJob::readOnce(const Row& row, nvme::Drive& drive, LogSink& log) {
    const auto head = jobs::readLog(drive, row.lid, nvme::VELKO_LOG_HEADER_BYTES);
    if (!head) return missingLogAs(head.error(), row.missing());
    const nvme::VelkoLogHeader header = nvme::velkoLogHeader(head->getData());
    if (header.signature != row.signature || !isLength(header.bytes))
        return withDetails(row.damaged(), "The log of drive " + drive.name() + " does not begin with its header.");
    RETURN_IF_FAILED(log.begin(header.bytes));
    RETURN_IF_FAILED(log.add(head->getData(), head->getSize()));
    nvme::LogPageRequest rest;
    rest.lid = row.lid;
    rest.retainEvent = true;
    rest.offset = nvme::VELKO_LOG_HEADER_BYTES;
    uint32_t generation = 0;
    uint64_t done = rest.offset;
    ProgressLine line("Drive " + drive.name() + ", log page " + nvme::hexText(row.lid, 2));
    RETURN_IF_FAILED(drive.readLogPieces(rest, header.bytes - rest.offset, [&](const Payload& piece, uint32_t bytes) {
        generation = nvme::le32(piece.getData() + bytes - nvme::VELKO_LOG_TRAILER_BYTES);
        line.update(done += bytes, header.bytes);
        return log.add(piece.getData(), bytes);
    }));
    return generation == header.generation;
}

Status VelkoLogJob::ataRefusal() const {
    return rowOf(getName()).missing();
}

}  // namespace features::jobs
