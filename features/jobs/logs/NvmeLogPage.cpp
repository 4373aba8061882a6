#include "features/jobs/logs/NvmeLogPage.h"

#include <algorithm>
#include <functional>
#include <vector>

#include "features/jobs/base/EmptyLog.h"
#include "features/jobs/base/LogLimits.h"
#include "features/jobs/drive/LogReading.h"
#include "features/jobs/drive/Offers.h"
#include "features/jobs/drive/VendorDialect.h"
#include "features/jobs/logs/LogPageNames.h"
#include "features/jobs/logs/LongLogs.h"
#include "features/jobs/logs/VelkoLogJob.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/HexTree.h"
#include "features/nvme/LogPageIds.h"
#include "features/nvme/LogPages.h"
#include "features/nvme/NvmeVersions.h"
#include "features/nvme/OcpLogPages.h"
#include "features/nvme/VelkoInterface.h"
#include "features/nvme/VelkoLogPages.h"
#include "features/nvme/structures/AnaLog.h"
#include "features/nvme/structures/IdentifyNamespace.h"
#include "features/parsers/PersistentEventLog.h"
#include "features/parsers/TelemetryHeader.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/Strings.h"

namespace features::jobs {

using namespace ostrel::core;
using nvme::CommandError;
using nvme::LogPageRow;

namespace {

constexpr uint32_t UNKNOWN_PAGE_BYTES = 512;

/// Pages of the standard that may have a header and no data.
constexpr struct {
    uint8_t lid;
    EmptyLog empty;
} EMPTY_PAGES[] = {
    {nvme::LID_TELEMETRY_HOST, {parsers::TelemetryHeader::BYTES, statuses::telemetryRetrievalFailed}},
    {nvme::LID_TELEMETRY_CONTROLLER, {parsers::TelemetryHeader::BYTES, statuses::telemetryRetrievalFailed}},
    {nvme::LID_PERSISTENT_EVENT, {parsers::PersistentEventLog::HEADER_BYTES, statuses::deviceDataRetrievalFailed}},
};

using WholeLength = uint64_t (*)(const uint8_t* head);

/// Null for a page that the decoder shows whole.
WholeLength lengthOfLongPage(uint8_t lid) {
    const LogPageRow* row = nvme::findLogPage(lid);
    if (row == nullptr) row = nvme::findVelkoLogPage(lid);
    return row == nullptr ? nullptr : row->longLength;
}

/// The pages that are there once for each group or set: where Identify Namespace reports which is the namespace's.
constexpr struct {
    uint8_t lid;
    unsigned offset;
} PAGES_OF_GROUPS[] = {
    {nvme::LID_ENDURANCE_GROUP, offsetof(nvme::IdentifyNamespace, endgid)},
    {nvme::LID_PREDICTABLE_LATENCY_SET, offsetof(nvme::IdentifyNamespace, nvmsetid)},
    {nvme::LID_FDP_CONFIGURATIONS, offsetof(nvme::IdentifyNamespace, endgid)},
    {nvme::LID_FDP_USAGE, offsetof(nvme::IdentifyNamespace, endgid)},
    {nvme::LID_FDP_STATISTICS, offsetof(nvme::IdentifyNamespace, endgid)},
    {nvme::LID_FDP_EVENTS, offsetof(nvme::IdentifyNamespace, endgid)},
};

uint16_t groupOfNamespace(DriveFacts& facts, uint8_t lid) {
    for (const auto& page : PAGES_OF_GROUPS) {
        if (page.lid != lid) continue;
        const uint8_t* identify = facts.identifyNamespace();
        return identify == nullptr ? uint16_t{0} : nvme::le16(identify + page.offset);
    }
    return 0;
}

Result<nvme::LogPageRequest> pageRequest(DriveFacts& facts, const NvmeLogRequest& request, uint8_t lid) {
    nvme::LogPageRequest page;
    page.lid = lid;
    page.lsp = request.lsp.value_or(0);
    const bool isAction = lengthOfLongPage(lid) != nullptr && lid != nvme::LID_BOOT_PARTITION;
    page.lspOfFurtherPieces = isAction ? uint8_t{0} : page.lsp;
    page.lsi = request.lsi ? *request.lsi : groupOfNamespace(facts, lid);
    page.csi = request.csi;
    page.retainEvent = request.retainEvent;
    if (request.ofNamespace || lid == nvme::LID_CHANGED_ZONES) {
        const transport::HostNamespace* host = facts.hostNamespace();
        if (host == nullptr && succeeded(facts.failure())) return statuses::noNamespaceId();
        if (host != nullptr) page.nsid = host->nsid;
    }
    RETURN_IF_FAILED(facts.failure());
    return page;
}

Result<const nvme::ControllerCapabilities*> controllerOf(DriveFacts& facts) {
    const nvme::ControllerCapabilities* const controller = facts.controller();
    if (controller != nullptr) return controller;
    return succeeded(facts.failure()) ? statuses::deviceDataRetrievalFailed() : facts.failure();
}

constexpr size_t ANA_HEAD_BYTES = sizeof(nvme::AnaLogHeader);
constexpr size_t ANA_NUMBER_OF_GROUPS = offsetof(nvme::AnaLogHeader, numberOfGroups);
constexpr size_t ANA_GROUP_BYTES = sizeof(nvme::AnaGroupDescriptor);
constexpr size_t ANA_NUMBER_OF_NAMESPACES = offsetof(nvme::AnaGroupDescriptor, numberOfNsids);
constexpr uint64_t ANA_BEGINNING_BYTES = 4096;

/// How many namespaces the ANA group at `page.offset` has. Its descriptor is read only where `beginning`, of the log,
/// ends before it.
Result<uint64_t, CommandError> countAnaNamespaces(nvme::Drive& drive, const nvme::LogPageRequest& page,
                                                  const Payload& beginning) {
    if (page.offset + ANA_GROUP_BYTES <= beginning.getSize())
        return uint64_t{nvme::le32(beginning.getData() + page.offset + ANA_NUMBER_OF_NAMESPACES)};
    TRY(const Payload group, drive.readLogPage(page, ANA_GROUP_BYTES));
    return uint64_t{nvme::le32(group.getData() + ANA_NUMBER_OF_NAMESPACES)};
}

/// Each group says how many namespaces follow it (NVMe Base Specification 2.0, section 5.16.1.13). `maxBytes`: what
/// the log can have; that is the length of a damaged log, whose groups do not fit.
Result<uint64_t, CommandError> walkAnaGroups(nvme::Drive& drive, nvme::LogPageRequest page, unsigned groups,
                                             uint64_t maxBytes) {
    // As the Linux driver reads it: the Linux target (nvmet) answers the beginning of this log at every offset.
    page.offset = 0;
    TRY(const Payload beginning, drive.readLogPage(page, std::min(maxBytes, ANA_BEGINNING_BYTES)));
    page.offset = ANA_HEAD_BYTES;
    for (unsigned left = groups; page.offset + uint64_t{left} * ANA_GROUP_BYTES <= maxBytes; --left) {
        if (left == 0) return page.offset;
        TRY(const uint64_t namespaces, countAnaNamespaces(drive, page, beginning));
        page.offset += ANA_GROUP_BYTES + 4 * namespaces;
    }
    return maxBytes;
}

/// How long a page is from its beginning.
class PageLength {
public:
    /// `whole`: of a long page not the header alone.
    PageLength(DriveFacts& facts, const NvmeLogRequest& request, uint8_t lid, bool whole)
        : facts_(facts), row_(rowOf(facts, request, lid)), ofLongPage_(whole ? lengthOfLongPage(lid) : nullptr) {}

    /// How many bytes of the page it takes to know its length; 0: none.
    size_t headBytes() const { return isInHead() ? row_->lengthBytes : 0; }

    /// `head`: headBytes() bytes. `page`: how the page is read.
    Result<uint64_t, CommandError> of(const nvme::LogPageRequest& page, const uint8_t* head) const {
        if (row_ == nullptr) return UNKNOWN_PAGE_BYTES;
        if (ofLongPage_ != nullptr) return ofLongPage_(head);
        if (!isInHead()) return row_->lengthBytes;
        TRY(const nvme::ControllerCapabilities* const controller, controllerOf(facts_));
        const uint64_t length = row_->wholeLength(*controller, head);
        if (row_->lid != nvme::LID_ANA || !controller->supportsExtendedLogData()) return length;
        return walkAnaGroups(facts_.drive(), page, nvme::le16(head + ANA_NUMBER_OF_GROUPS), length);
    }

    /// Reads the head for it, where it takes one: then the page's action is done, and `page` asks for it no more.
    Result<uint64_t, CommandError> ask(nvme::LogPageRequest& page) const {
        Payload head;
        if (headBytes() != 0) {
            TRY(head, facts_.drive().readLogPage(page, headBytes()));
            page.lsp = page.lspOfFurtherPieces;
        }
        return of(page, head.getData());
    }

private:
    /// What the user named is that page; what has a number alone depends on the drive.
    static const LogPageRow* rowOf(DriveFacts& facts, const NvmeLogRequest& request, uint8_t lid) {
        return request.isOcp ? &nvme::findOcpLogPage(lid)->page : findLogRow(facts, lid);
    }

    bool isInHead() const { return row_ != nullptr && (row_->wholeLength != nullptr || ofLongPage_ != nullptr); }

    DriveFacts& facts_;
    const LogPageRow* row_;
    const WholeLength ofLongPage_;
};

Status beyondTheEnd(const nvme::Drive& drive, uint64_t offset, uint64_t length) {
    return Status(CATEGORY_FEATURE, statuses::invalidProperty().getCode(),
                  "The offset " + std::to_string(offset) + " is not within the log page, which has " +
                      std::to_string(length) + " bytes on drive " + drive.name() + ".");
}

/// Whether a page of OCP's that the user named may be asked for. The SMART log is asked itself whether it is OCP's.
Status requireOcpLog(nvme::Drive& drive, uint8_t lid) {
    if (lid == nvme::LID_OCP_SMART) return Status();
    const Status status = requireOcp(drive);
    return succeeded(status) ? requireLogOffered(drive, nvme::findOcpLogPage(lid)->page) : status;
}

/// Calls `read` where the drive offers the page, in a reporting context where the page is read in one and the request
/// does not say itself what becomes of it.
Result<void, CommandError> readOffered(nvme::Drive& drive, const NvmeLogRequest& request, uint8_t lid,
                                       const std::function<Result<void, CommandError>()>& read) {
    // Another maker's page may have the same identifier.
    if (request.isVelko && !isVelkoDrive(drive)) return statuses::driveDoesNotSupportFeature();
    const LogPageRow* row = nvme::findLogPage(lid);
    if (row != nullptr) RETURN_IF_FAILED(requireLogOffered(drive, *row));
    if (request.isOcp) RETURN_IF_FAILED(requireOcpLog(drive, lid));
    return lid == nvme::LID_PERSISTENT_EVENT && !request.lsp ? inEventLogContext(drive, read) : read();
}

/// What is to be read: the page from its offset on, up to `end`.
struct PagePart {
    nvme::LogPageRequest page;
    uint64_t end;

    uint64_t bytes() const { return end - page.offset; }
};

Result<PagePart, CommandError> preparePage(DriveFacts& facts, const NvmeLogRequest& request, uint8_t lid,
                                           const PageLength& pageLength) {
    TRY(nvme::LogPageRequest page, pageRequest(facts, request, lid));
    if (request.bytes) {
        page.offset = request.offset;
        const uint64_t end = page.offset + *request.bytes;
        if (end < page.offset) return statuses::requestOutOfBounds();
        return PagePart{page, end};
    }
    TRY(const uint64_t end, pageLength.ask(page));
    page.offset = request.offset;
    if (page.offset >= end) return beyondTheEnd(facts.drive(), page.offset, end);
    return PagePart{page, end};
}

/// Whether the command's fields are those of a reader that knows the page.
bool hasDefaultFields(const NvmeLogRequest& request) {
    return request.lsp.value_or(0) == 0 && !request.lsi && request.retainEvent && !request.ofNamespace;
}

/// Passes a log on and keeps its first bytes.
class HeadKeeper : public LogSink {
public:
    HeadKeeper(LogSink& log, size_t headBytes) : log_(log), headBytes_(headBytes) {}

    Status begin(uint64_t bytes) override { return log_.begin(bytes); }
    Status add(const uint8_t* data, size_t bytes) override {
        head_.insert(head_.end(), data, data + std::min(bytes, headBytes_ - head_.size()));
        return log_.add(data, bytes);
    }

    /// Null before all of it came.
    const uint8_t* head() const { return head_.size() == headBytes_ ? head_.data() : nullptr; }

private:
    LogSink& log_;
    const size_t headBytes_;
    std::vector<uint8_t> head_;
};

/// Where the page ends that begins with the head that was copied; where the part ends when that was no beginning.
Result<uint64_t, CommandError> findNewEnd(const nvme::Drive& drive, const PageLength& pageLength, const PagePart& part,
                                          const uint8_t* head) {
    if (head == nullptr) return part.end;
    TRY(const uint64_t length, pageLength.of(part.page, head));
    RETURN_IF_FAILED(checkLogLength(drive.name(), length));
    return std::max(part.end, length);
}

Result<void, CommandError> copyPieces(DriveFacts& facts, const NvmeLogRequest& request, uint8_t lid, LogSink& log) {
    nvme::Drive& drive = facts.drive();
    const PageLength pageLength(facts, request, lid, true);
    TRY(PagePart part, preparePage(facts, request, lid, pageLength));
    RETURN_IF_FAILED(checkLogLength(drive.name(), part.bytes()));
    RETURN_IF_FAILED(log.begin(part.bytes()));
    HeadKeeper keeper(log, request.isPart() ? 0 : pageLength.headBytes());
    RETURN_IF_FAILED(copyLog(drive, part.page, part.end, keeper));
    if (request.isPart()) return {};
    part.page.offset = part.end;
    TRY(const uint64_t newEnd, findNewEnd(drive, pageLength, part, keeper.head()));
    return copyLog(drive, part.page, newEnd, log);
}

/// That of the controller, which was asked whether it offers the page; the oldest where it does not say.
uint16_t nvmeVersion(DriveFacts& facts) {
    const nvme::ControllerCapabilities* const controller = facts.controller();
    return controller == nullptr ? uint16_t{0} : nvme::majorAndMinor(controller->version);
}

}  // namespace

Status checkHasData(const nvme::Drive& drive, uint8_t lid, uint64_t bytes) {
    if (isVelkoDrive(drive) && VelkoLogJob::isLog(lid)) return VelkoLogJob::emptyLog(lid).check(drive.name(), bytes);
    for (const auto& page : EMPTY_PAGES)
        if (page.lid == lid) return page.empty.check(drive.name(), bytes);
    return Status();
}

Result<Payload, CommandError> readLogPage(DriveFacts& facts, const NvmeLogRequest& request, uint8_t lid) {
    Payload data;
    const auto read = [&]() -> Result<void, CommandError> {
        TRY(const PagePart part, preparePage(facts, request, lid, PageLength(facts, request, lid, false)));
        RETURN_IF_FAILED(checkDecoding(NamedLog(facts.drive().device(), lid), part.bytes()));
        TRY(data, facts.drive().readLogPage(part.page, part.bytes()));
        return {};
    };
    RETURN_IF_FAILED(readOffered(facts.drive(), request, lid, read));
    return data;
}

Result<void, CommandError> copyLogPage(DriveFacts& facts, const NvmeLogRequest& request, uint8_t lid, LogSink& log) {
    nvme::Drive& drive = facts.drive();
    // Each reading from the start takes another picture of these logs: head and rest have to be of one.
    if (!request.isPart() && hasDefaultFields(request) && isVelkoDrive(drive) && VelkoLogJob::isLog(lid))
        return VelkoLogJob::readLog(lid, drive, log);
    return readOffered(drive, request, lid, [&] { return copyPieces(facts, request, lid, log); });
}

nvme::FieldTree showLogPage(DriveFacts& facts, uint8_t lid, uint64_t offset, const Payload& data) {
    const nvme::OcpLogPageRow* ocp = offset == 0 ? nvme::identifyOcpLogPage(lid, data) : nullptr;
    if (ocp != nullptr) return ocp->page.decode(data);
    const LogPageRow* row = findLogRow(facts.drive(), lid);
    if (offset != 0 || row == nullptr || !row->decode.exists()) return nvme::hexTree(logName(row, lid), offset, data);
    nvme::FieldTree tree = row->decode(data, row->decode.isByVersion() ? nvmeVersion(facts) : uint16_t{0});
    if (nvme::findVelkoLogPage(lid) == row) tree.heading = row->name;  // several logs have the same header
    return tree;
}

}  // namespace features::jobs
