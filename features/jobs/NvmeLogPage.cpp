#include "features/jobs/NvmeLogPage.h"

#include <algorithm>
#include <iterator>

#include "features/jobs/VendorDialect.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/LogPages.h"
#include "features/nvme/Opcodes.h"
#include "features/nvme/VelkoInterface.h"
#include "features/nvme/VelkoLogPages.h"
#include "features/parsers/PersistentEventLog.h"
#include "features/parsers/TelemetryHeader.h"
#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/Strings.h"

namespace features::jobs {

using namespace ostrel::core;
using nvme::LogPageRow;

namespace {

constexpr uint32_t UNKNOWN_PAGE_BYTES = 512;

uint64_t telemetryLength(const uint8_t* head) {
    return parsers::TelemetryHeader(head).lengthBytes(parsers::TelemetryHeader::MOST_AREAS);
}

uint64_t persistentEventLength(const uint8_t* head) {
    return parsers::persistentEventLogBytes(head) / 4 * 4;
}

uint64_t velkoLogLength(const uint8_t* head) {
    constexpr uint64_t LEAST = nvme::VELKO_LOG_HEADER_BYTES;
    return std::clamp(nvme::velkoLogHeader(head).bytes, LEAST, nvme::VELKO_MOST_LOG_BYTES) / 4 * 4;
}

/// The pages of which the decoder shows the header alone, and how long they say that they are.
constexpr struct {
    uint8_t lid;
    uint64_t (*wholeLength)(const uint8_t* head);
} LONG_PAGES[] = {
    {nvme::LID_TELEMETRY_HOST, telemetryLength},         {nvme::LID_TELEMETRY_CONTROLLER, telemetryLength},
    {nvme::LID_PERSISTENT_EVENT, persistentEventLength}, {nvme::LID_VELKO_NLOG, velkoLogLength},
    {nvme::LID_VELKO_BRIDGE_NLOG, velkoLogLength},       {nvme::LID_VELKO_EVENT_LOG, velkoLogLength},
    {nvme::LID_VELKO_ASSERT_LOG, velkoLogLength},        {nvme::LID_VELKO_SYSTEM_SNAPSHOT, velkoLogLength},
};

/// The pages that are there once for each group or set: where Identify Namespace tells which is the namespace's.
constexpr struct {
    uint8_t lid;
    unsigned offset;
} PAGES_OF_GROUPS[] = {
    {nvme::LID_ENDURANCE_GROUP, 102},
    {nvme::LID_PREDICTABLE_LATENCY_SET, 100},
};

uint16_t groupOfNamespace(DriveFacts& facts, uint8_t lid) {
    for (const auto& page : PAGES_OF_GROUPS) {
        if (page.lid != lid) continue;
        const uint8_t* identify = facts.identifyNamespace();
        return identify == nullptr ? uint16_t{0} : nvme::le16(identify + page.offset);
    }
    return 0;
}

Status pageRequest(DriveFacts& facts, const NvmeLogRequest& request, uint8_t lid, nvme::LogPageRequest& page) {
    page.lid = lid;
    page.lsp = request.lsp;
    page.lspOfFurtherPieces = request.lsp;
    page.lsi = request.lsi ? *request.lsi : groupOfNamespace(facts, lid);
    page.retainEvent = request.retainEvent;
    if (request.ofNamespace) {
        const transport::HostNamespace* host = facts.hostNamespace();
        if (host == nullptr && facts.failure().is(0, 0)) return statuses::noNamespaceId();
        if (host != nullptr) page.nsid = host->nsid;
    }
    return facts.failure();
}

Status controllerOf(DriveFacts& facts, const nvme::ControllerCapabilities*& controller) {
    controller = facts.controller();
    if (controller != nullptr) return Status();
    return facts.failure().is(0, 0) ? statuses::deviceDataRetrievalFailed() : facts.failure();
}

/// The length of the page from its beginning. Where its head tells it, the head is read for that.
Status pageLength(DriveFacts& facts, const nvme::LogPageRequest& page, LogExtent extent, uint64_t& length) {
    const LogPageRow* row = findLogRow(facts.drive(), page.lid);
    length = row == nullptr ? UNKNOWN_PAGE_BYTES : row->lengthBytes;
    const auto* longPage = std::find_if(std::begin(LONG_PAGES), std::end(LONG_PAGES),
                                        [&](const auto& entry) { return entry.lid == page.lid; });
    const bool isLong = extent == LogExtent::WHOLE && longPage != std::end(LONG_PAGES);
    if (row == nullptr || (row->wholeLength == nullptr && !isLong)) return Status();
    Payload head;
    if (row->lengthBytes != 0) {
        const Status status = facts.drive().readLogPage(page, row->lengthBytes, head);
        if (!status.is(0, 0)) return status;
    }
    if (isLong) {
        length = longPage->wholeLength(head.getData());
        return Status();
    }
    const nvme::ControllerCapabilities* controller = nullptr;
    const Status status = controllerOf(facts, controller);
    if (status.is(0, 0)) length = row->wholeLength(*controller, head.getData());
    return status;
}

/// Sixteen bytes a line, under their offset in the page.
nvme::FieldTree hexTree(const std::string& heading, uint64_t offset, const Payload& data) {
    constexpr size_t BYTES_PER_LINE = 16;
    nvme::FieldTree tree{heading, {}, {}};
    for (size_t at = 0; at < data.getSize(); at += BYTES_PER_LINE) {
        const size_t bytes = std::min(BYTES_PER_LINE, data.getSize() - at);
        tree.add("Offset " + nvme::hexText(offset + at, 8), bytesToHex(data.getData() + at, bytes));
    }
    return tree;
}

}  // namespace

const LogPageRow* findLogRow(const nvme::Drive& drive, uint8_t lid) {
    OSTREL_TRACE();
    const LogPageRow* row = nvme::findLogPage(lid);
    return row == nullptr && isVelkoDrive(drive) ? nvme::findVelkoLogPage(lid) : row;
}

std::optional<uint8_t> findLogByName(const std::string& name) {
    OSTREL_TRACE();
    const LogPageRow* row = nvme::findLogPage(name);
    if (row == nullptr) row = nvme::findVelkoLogPage(name);
    if (row != nullptr) return row->lid;
    if (nvme::comparableLogName(name) == nvme::comparableLogName(OCP_SMART_NAME)) return nvme::LID_OCP_SMART;
    return std::nullopt;
}

std::string logName(const nvme::Drive& drive, uint8_t lid) {
    OSTREL_TRACE();
    const LogPageRow* row = findLogRow(drive, lid);
    return row == nullptr ? "Log Page " + nvme::hexText(lid, 2) : row->name;
}

Status readLogPage(DriveFacts& facts, const NvmeLogRequest& request, uint8_t lid, LogExtent extent, Payload& data) {
    OSTREL_TRACE();
    // Another maker's page may stand at the same identifier.
    if (request.isVelko && !isVelkoDrive(facts.drive())) return statuses::driveDoesNotSupportFeature();
    nvme::LogPageRequest page;
    Status status = pageRequest(facts, request, lid, page);
    if (!status.is(0, 0)) return status;
    uint64_t length = request.bytes.value_or(0);
    if (!request.bytes) {
        status = pageLength(facts, page, extent, length);
        if (!status.is(0, 0)) return status;
        if (request.offset >= length) {
            return Status(CATEGORY_FEATURE, statuses::invalidProperty().getCode(),
                          "The offset " + std::to_string(request.offset) +
                              " lies behind the end of the log page, which has " + std::to_string(length) +
                              " bytes on drive " + facts.drive().name() + ".");
        }
        length -= request.offset;
    }
    page.offset = request.offset;
    return facts.drive().readLogPage(page, length, data);
}

nvme::FieldTree showLogPage(const nvme::Drive& drive, uint8_t lid, uint64_t offset, const Payload& data) {
    OSTREL_TRACE();
    if (offset == 0 && lid == nvme::LID_OCP_SMART && nvme::isOcpSmart(data)) return nvme::decodeOcpSmart(data);
    const LogPageRow* row = findLogRow(drive, lid);
    if (offset != 0 || row == nullptr) return hexTree(logName(drive, lid), offset, data);
    nvme::FieldTree tree = row->decode(data);
    if (nvme::findVelkoLogPage(lid) == row) tree.heading = row->name;  // several logs have the same header
    return tree;
}

}  // namespace features::jobs
