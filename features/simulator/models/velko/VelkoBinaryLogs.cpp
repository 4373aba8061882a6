#include "features/simulator/models/velko/VelkoBinaryLogs.h"

#include <algorithm>
#include <string>

#include "features/nvme/LogPageIds.h"
#include "features/nvme/VelkoInterface.h"
#include "features/nvme/structures/VelkoLogs.h"
#include "features/simulator/commands/Identify.h"
#include "features/simulator/context/DriveTables.h"
#include "features/simulator/models/velko/VelkoRecords.h"
#include "features/simulator/models/velko/VelkoState.h"
#include "features/simulator/store/Extension.h"
#include "features/simulator/store/PaddedText.h"

namespace features::simulator {

using namespace nvme;

namespace {

constexpr uint16_t LOG_VERSION = 1;
constexpr uint32_t RECORD_BYTES = sizeof(VelkoLogRecord);
constexpr uint32_t ASSERT_BYTES = sizeof(VelkoAssertEntry);
constexpr uint32_t SECTION_BYTES = sizeof(VelkoSnapshotSection);

/// What a binary log holds after its header.
struct Body {
    uint32_t entries = 0;
    uint32_t entryBytes = 0;
    std::vector<uint8_t> bytes;
};

std::vector<uint8_t> pictureOf(const CommandContext& context, const char* signature, const Body& body,
                               uint32_t generation) {
    std::vector<uint8_t> log(VELKO_LOG_HEADER_BYTES + body.bytes.size() + VELKO_LOG_TRAILER_BYTES);
    VelkoBinaryLogHeader header{};
    putText(header.signature, signature);
    header.version = LOG_VERSION;
    header.headerBytes = sizeof header;
    header.bytes = log.size();
    header.entries = body.entries;
    header.entryBytes = body.entryBytes;
    header.time = velkoTime(context);
    putText(header.serialNumber, context.description.serialNumber);
    putText(header.firmware, context.state.firmware.running);
    header.generation = generation;
    putStructure(log.data(), header);
    std::copy(body.bytes.begin(), body.bytes.end(), log.begin() + sizeof header);
    putStructure(log.data() + log.size() - VELKO_LOG_TRAILER_BYTES, header.generation);
    return log;
}

/// Takes a picture where one is due, and gives the last one.
template <typename MakeBody>
CompletionEntry givePicture(CommandContext& context, const LogRequest& request, std::vector<uint8_t>& page,
                            const char* signature, MakeBody makeBody) {
    const auto lid = static_cast<uint8_t>(context.command.cdw10);
    VelkoState velko = readExtension<VelkoState>(context.state);
    if (request.offset == 0 || velko.pictures.count(lid) == 0) {
        const Body body = makeBody(context, velko);
        velko.pictures[lid] = pictureOf(context, signature, body, ++velko.generation);
        writeExtension(context.state, velko);
    }
    page = velko.pictures.at(lid);
    return {};
}

Body recordsOf(const VelkoRing& ring) {
    Body body{static_cast<uint32_t>(ring.records.size()), RECORD_BYTES, {}};
    body.bytes.resize(ring.records.size() * RECORD_BYTES);
    uint8_t* at = body.bytes.data();
    for (const VelkoRecord& record : ring.records) {
        VelkoLogRecord entry{};
        entry.time = record.time;
        entry.sequence = record.sequence;
        entry.code = record.code;
        entry.severity = record.severity;
        entry.core = record.core;
        std::copy(record.details.begin(), record.details.end(), entry.details.begin());
        putStructure(at, entry);
        at += sizeof entry;
    }
    return body;
}

Body asserts(const CommandContext&, const VelkoState& velko) {
    Body body{static_cast<uint32_t>(velko.asserts.size()), ASSERT_BYTES, {}};
    body.bytes.resize(velko.asserts.size() * ASSERT_BYTES);
    uint8_t* at = body.bytes.data();
    for (const VelkoAssert& entry : velko.asserts) {
        VelkoAssertEntry shown{};
        shown.time = entry.time;
        shown.code = entry.code;
        shown.line = entry.line;
        putText(shown.file, entry.file);
        putStructure(at, shown);
        at += sizeof shown;
    }
    return body;
}

/// The logs of a snapshot, by what their section is called.
constexpr struct {
    uint16_t section;
    uint8_t lid;
} SNAPSHOT_LOGS[] = {
    {2, LID_SMART_HEALTH},      {3, LID_VELKO_EXTENDED_SMART}, {4, LID_FIRMWARE_SLOT},
    {5, LID_ERROR_INFORMATION}, {6, LID_VELKO_BACKGROUND},
};

void addSection(Body& body, std::vector<uint8_t>& structures, uint16_t section, const std::vector<uint8_t>& bytes) {
    VelkoSnapshotSection head{};
    head.section = section;
    head.offset = static_cast<uint32_t>(structures.size());  // moved after the entries when all are known
    head.bytes = static_cast<uint32_t>(bytes.size());
    const std::vector<uint8_t> entry = bytesOf(head);
    body.bytes.insert(body.bytes.end(), entry.begin(), entry.end());
    structures.insert(structures.end(), bytes.begin(), bytes.end());
    ++body.entries;
}

Body snapshot(CommandContext& context, const VelkoState&) {
    Body body{0, SECTION_BYTES, {}};
    std::vector<uint8_t> structures;
    addSection(body, structures, 1, controllerStructure(context));
    for (const auto& part : SNAPSHOT_LOGS) {
        const LogRow* row = findLog(context, part.lid);
        std::vector<uint8_t> page;
        if (row != nullptr && row->build(context, {}, page).isSuccess())
            addSection(body, structures, part.section, page);
    }
    const auto first = static_cast<uint32_t>(VELKO_LOG_HEADER_BYTES + body.bytes.size());
    for (uint32_t i = 0; i < body.entries; ++i) {
        uint8_t* entry = body.bytes.data() + size_t{i} * SECTION_BYTES;
        auto head = structureAt<VelkoSnapshotSection>(entry);
        head.offset = head.offset + first;
        putStructure(entry, head);
    }
    body.bytes.insert(body.bytes.end(), structures.begin(), structures.end());
    return body;
}

}  // namespace

CompletionEntry buildNlog(CommandContext& context, const LogRequest& request, std::vector<uint8_t>& page) {
    return givePicture(context, request, page, "NLOG",
                       [](const CommandContext&, const VelkoState& velko) { return recordsOf(velko.nlog); });
}

CompletionEntry buildBridgeNlog(CommandContext& context, const LogRequest& request, std::vector<uint8_t>& page) {
    return givePicture(context, request, page, "BLOG",
                       [](const CommandContext&, const VelkoState& velko) { return recordsOf(velko.bridgeNlog); });
}

CompletionEntry buildVelkoEventLog(CommandContext& context, const LogRequest& request, std::vector<uint8_t>& page) {
    return givePicture(context, request, page, "EVNT",
                       [](const CommandContext&, const VelkoState& velko) { return recordsOf(velko.events); });
}

CompletionEntry buildAssertLog(CommandContext& context, const LogRequest& request, std::vector<uint8_t>& page) {
    return givePicture(context, request, page, "ASRT", asserts);
}

CompletionEntry buildSystemSnapshot(CommandContext& context, const LogRequest& request, std::vector<uint8_t>& page) {
    return givePicture(context, request, page, "SNAP", snapshot);
}

}  // namespace features::simulator
