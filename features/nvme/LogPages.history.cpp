// The logs of a drive's history: errors, firmware, self-tests, sanitize operations, telemetry, events.

#include "features/nvme/LogPages.h"

#include <algorithm>
#include <iterator>

#include "features/nvme/Bytes.h"
#include "features/nvme/FieldTable.h"
#include "features/nvme/LogPageIds.h"
#include "features/nvme/NvmeVersions.h"
#include "features/nvme/Structures.h"
#include "features/nvme/structures/ErrorInformationLog.h"
#include "features/nvme/structures/FirmwareSlotLog.h"
#include "features/nvme/structures/PersistentEventLog.h"
#include "features/nvme/structures/SanitizeStatusLog.h"
#include "features/nvme/structures/SelfTestLog.h"
#include "features/nvme/structures/TelemetryLogHeader.h"

namespace features::nvme {

using ostrel::core::Payload;

namespace {

// clang-format off
constexpr Word NO_COMMAND[] = {{0xFFFF, "not specific to a command"}, {}};
constexpr Word TRANSPORTS[] = {
    {0, NOT_REPORTED}, {1, "RDMA"}, {2, "Fibre Channel"}, {3, "TCP"}, {254, "intra-host"}, {},
};

constexpr FieldRow ERROR_FIELDS[] = {  // section 5.14.1.1
    {"ECNT", "Error Count", FIELD(ErrorInformationEntry, errorCount), Format::DECIMAL},
    inWords(NO_COMMAND, {"SQID", "Submission Queue ID", FIELD(ErrorInformationEntry, sqid), Format::DECIMAL}),
    inWords(NO_COMMAND, {"CID", "Command ID", FIELD(ErrorInformationEntry, cid), Format::HEX}),
    {"SF", "Status Field", FIELD(ErrorInformationEntry, statusField), Format::STATUS},
    inWords(NO_COMMAND, {"PEL", "Parameter Error Location",
                         FIELD(ErrorInformationEntry, parameterErrorLocation), Format::HEX}),
    {"LBA", "First LBA with the error", FIELD(ErrorInformationEntry, lba), Format::DECIMAL},
    {"NSID", "Namespace", FIELD(ErrorInformationEntry, nsid), Format::DECIMAL},
    {"VSI", "Log page with vendor specific information", FIELD(ErrorInformationEntry, vendorSpecificLid), Format::HEX},
    word("TRTYPE", "Transport Type", offsetof(ErrorInformationEntry, trtype), 7, 0, TRANSPORTS),
    {"CSI", "Command Specific Information", FIELD(ErrorInformationEntry, commandSpecific), Format::HEX},
    {"TTSI", "Transport Type Specific Information", FIELD(ErrorInformationEntry, transportSpecific), Format::HEX},
    since(1, {"CMDSET", "Command Set Indicator", FIELD(ErrorInformationEntry, commandSet), Format::HEX}),
    since(1, {"OPC", "Opcode of the command", FIELD(ErrorInformationEntry, opcode), Format::HEX}),
};

constexpr Word NOT_SET_AT_0[] = {{0, "none"}, {}};
constexpr FieldRow FIRMWARE_FIELDS[] = {  // section 5.14.1.3
    {"AFI", "Active Firmware Info", FIELD(FirmwareSlotLog, afi), Format::HEX},
    bitsRow("AFI Active Slot", "Slot that the running firmware was loaded from", offsetof(FirmwareSlotLog, afi), 2, 0),
    inWords(NOT_SET_AT_0, bitsRow("AFI Next Slot", "Slot that the next controller level reset activates",
                                  offsetof(FirmwareSlotLog, afi), 6, 4)),
    inWords(NOT_SET_AT_0, {"FRS1", "Firmware Revision for Slot 1", FIELD(FirmwareSlotLog, revision[0]), Format::TEXT}),
    inWords(NOT_SET_AT_0, {"FRS2", "Firmware Revision for Slot 2", FIELD(FirmwareSlotLog, revision[1]), Format::TEXT}),
    inWords(NOT_SET_AT_0, {"FRS3", "Firmware Revision for Slot 3", FIELD(FirmwareSlotLog, revision[2]), Format::TEXT}),
    inWords(NOT_SET_AT_0, {"FRS4", "Firmware Revision for Slot 4", FIELD(FirmwareSlotLog, revision[3]), Format::TEXT}),
    inWords(NOT_SET_AT_0, {"FRS5", "Firmware Revision for Slot 5", FIELD(FirmwareSlotLog, revision[4]), Format::TEXT}),
    inWords(NOT_SET_AT_0, {"FRS6", "Firmware Revision for Slot 6", FIELD(FirmwareSlotLog, revision[5]), Format::TEXT}),
    inWords(NOT_SET_AT_0, {"FRS7", "Firmware Revision for Slot 7", FIELD(FirmwareSlotLog, revision[6]), Format::TEXT}),
};

constexpr Word SELF_TESTS[] = {{0x0, "none"}, {0x1, "short"}, {0x2, "extended"}, {0x3, "host-initiated refresh"},
                               {0xE, "vendor specific"}, {}};
constexpr unsigned SELF_TEST_SEGMENT_IS_KNOWN = 0x7;
constexpr unsigned SELF_TEST_NEVER_USED = 0xF;
constexpr Word SELF_TEST_RESULTS[] = {
    {0x0, "completed without error"},
    {0x1, "aborted by a Device Self-test command"},
    {0x2, "aborted by a controller level reset"},
    {0x3, "aborted due to the removal of a namespace"},
    {0x4, "aborted due to a Format NVM command"},
    {0x5, "a fatal error or an unknown test error occurred"},
    {0x6, "completed with a failed segment that is not known"},
    {SELF_TEST_SEGMENT_IS_KNOWN, "completed with one or more failed segments"},
    {0x8, "aborted for an unknown reason"},
    {0x9, "aborted due to a sanitize operation"},
    {SELF_TEST_NEVER_USED, "never used"},
    {},
};

constexpr FieldRow SELF_TEST_FIELDS[] = {  // section 5.14.1.6
    word("Operation", "Self-test that is in progress", offsetof(SelfTestLog, operation), 3, 0, SELF_TESTS),
    bitsRow("Completion", "Part that is done (%)", offsetof(SelfTestLog, completion), 6, 0),
};
constexpr FieldRow SELF_TEST_RESULT_FIELDS[] = {
    word("Test", "", offsetof(SelfTestResultEntry, status), 7, 4, SELF_TESTS),
    word("Result", "", offsetof(SelfTestResultEntry, status), 3, 0, SELF_TEST_RESULTS),
    {"POH", "Power On Hours (hours)", FIELD(SelfTestResultEntry, powerOnHours), Format::DECIMAL},
    onlyIf(offsetof(SelfTestResultEntry, valid), 0, {"NSID", "Namespace",
                                                     FIELD(SelfTestResultEntry, nsid), Format::DECIMAL}),
    onlyIf(offsetof(SelfTestResultEntry, valid), 1, {"FLBA", "Failing LBA",
                                                     FIELD(SelfTestResultEntry, failingLba), Format::DECIMAL}),
    onlyIf(offsetof(SelfTestResultEntry, valid), 2, bitsRow("SCT", "Status Code Type",
                                                            offsetof(SelfTestResultEntry, statusCodeType), 2, 0, Format::HEX)),
    onlyIf(offsetof(SelfTestResultEntry, valid), 3, {"SC", "Status Code",
                                                     FIELD(SelfTestResultEntry, statusCode), Format::HEX}),
    {"Vendor Specific", "", FIELD(SelfTestResultEntry, vendorSpecific), Format::HEX},
};

constexpr FieldRow TELEMETRY_FIELDS[] = {  // sections 5.14.1.7 and 5.14.1.8
    {"LID", "Log Identifier", FIELD(TelemetryLogHeader, lid), Format::HEX},
    {"IEEE", "IEEE OUI Identifier", FIELD(TelemetryLogHeader, ieee), Format::HEX},
    {"DA1LB", "Telemetry Data Area 1 Last Block (units of 512 bytes)",
     FIELD(TelemetryLogHeader, lastBlock[0]), Format::DECIMAL},
    {"DA2LB", "Telemetry Data Area 2 Last Block (units of 512 bytes)",
     FIELD(TelemetryLogHeader, lastBlock[1]), Format::DECIMAL},
    {"DA3LB", "Telemetry Data Area 3 Last Block (units of 512 bytes)",
     FIELD(TelemetryLogHeader, lastBlock[2]), Format::DECIMAL},
    {"DA4LB", "Telemetry Data Area 4 Last Block (units of 512 bytes)",
     FIELD(TelemetryLogHeader, lastBlockOfArea4), Format::DECIMAL},  // since NVMe 2.0, 0 before
};
// Byte 381 has another meaning in each of the two pages; both are since NVMe 2.0, 0 before.
constexpr Word TELEMETRY_SCOPES[] = {{0, NOT_REPORTED}, {1, "controller"}, {2, "NVM subsystem"}, {}};
constexpr FieldRow TELEMETRY_HOST_FIELDS[] = {
    word("THIS", "Telemetry Host-Initiated Scope", offsetof(TelemetryLogHeader, hostScope), 7, 0, TELEMETRY_SCOPES),
    {"THDGN", "Telemetry Host-Initiated Data Generation Number",
     FIELD(TelemetryLogHeader, hostGeneration), Format::DECIMAL},
};
constexpr FieldRow TELEMETRY_CONTROLLER_FIELDS[] = {
    word("TCIS", "Telemetry Controller-Initiated Scope", offsetof(TelemetryLogHeader, hostGeneration), 7, 0,
         TELEMETRY_SCOPES),
};
constexpr FieldRow TELEMETRY_CAPTURE_FIELDS[] = {
    {"TCDA", "Telemetry Controller-Initiated Data Available",
     FIELD(TelemetryLogHeader, controllerDataAvailable), Format::DECIMAL},
    {"TCDGN", "Telemetry Controller-Initiated Data Generation Number",
     FIELD(TelemetryLogHeader, controllerGeneration), Format::DECIMAL},
    {"RID", "Reason Identifier", FIELD(TelemetryLogHeader, reason), Format::BYTES},
};

constexpr FieldRow PERSISTENT_EVENT_FIELDS[] = {  // section 5.14.1.13
    {"LID", "Log Identifier", FIELD(PersistentEventLogHeader, lid), Format::HEX},
    {"TNEV", "Total Number of Events", FIELD(PersistentEventLogHeader, tnev), Format::DECIMAL},
    {"TLL", "Total Log Length (bytes)", FIELD(PersistentEventLogHeader, tll), Format::DECIMAL},
    {"LREV", "Log Revision", FIELD(PersistentEventLogHeader, revision), Format::DECIMAL},
    {"LHL", "Log Header Length (bytes)", FIELD(PersistentEventLogHeader, lhl), Format::DECIMAL},
    {"TSTMP", "Timestamp (milliseconds)", offsetof(PersistentEventLogHeader, timestamp), 6, Format::DECIMAL},
    {"TSTMP Date", "Date", FIELD(PersistentEventLogHeader, timestamp), Format::DATE},
    {"POH", "Power On Hours (hours)", FIELD(PersistentEventLogHeader, powerOnHours), Format::COUNTER},
    {"PCC", "Power Cycle Count", FIELD(PersistentEventLogHeader, powerCycles), Format::DECIMAL},
    {"VID", "PCI Vendor ID", FIELD(PersistentEventLogHeader, vid), Format::HEX},
    {"SSVID", "PCI Subsystem Vendor ID", FIELD(PersistentEventLogHeader, ssvid), Format::HEX},
    {"SN", "Serial Number", FIELD(PersistentEventLogHeader, sn), Format::TEXT},
    {"MN", "Model Number", FIELD(PersistentEventLogHeader, mn), Format::TEXT},
    {"SUBNQN", "NVM Subsystem NVMe Qualified Name", FIELD(PersistentEventLogHeader, subnqn), Format::TEXT},
    {"GNUM", "Generation Number",
     FIELD(PersistentEventLogHeader, generation), Format::DECIMAL},  // since NVMe 2.0, 0 before
    {"RCI", "Reporting Context Information", FIELD(PersistentEventLogHeader, rci), Format::HEX},  // the same
    {"SEB", "Supported Events Bitmap", FIELD(PersistentEventLogHeader, supportedEvents), Format::BYTES},
};

constexpr Word SANITIZE_STATUSES[] = {
    {0, "the drive has never been sanitized"},
    {1, "the most recent sanitize operation completed successfully"},
    {2, "a sanitize operation is in progress"},
    {3, "the most recent sanitize operation failed"},
    {4, "the most recent sanitize operation completed successfully and deallocated all blocks though it was not to"},
    {},
};
constexpr unsigned STATE_MEDIA_VERIFICATION = 5;
constexpr Word SANITIZE_STATES[] = {
    {0, "idle"},
    {1, "restricted processing"},
    {2, "restricted failure"},
    {3, "unrestricted processing"},
    {4, "unrestricted failure"},
    {STATE_MEDIA_VERIFICATION, "media verification"},
    {6, "post-verification deallocation"},
    {},
};
constexpr Word SANITIZE_FAILURES[] = {
    {0, "none"},
    {1, "restricted processing"},
    {3, "unrestricted processing"},
    {STATE_MEDIA_VERIFICATION, "media verification"},
    {6, "post-verification deallocation"},
    {},
};
constexpr FieldRow SANITIZE_FIELDS[] = {  // section 5.14.1.16.2
    {"SPROG", "Sanitize Progress (units of 1/65536)", FIELD(SanitizeStatusLog, sprog), Format::DECIMAL},
    {"SSTAT", "Sanitize Status", FIELD(SanitizeStatusLog, sstat), Format::HEX},
    word("SSTAT Status", "Most recent sanitize operation", offsetof(SanitizeStatusLog, sstat), 2, 0, SANITIZE_STATUSES),
    bitsRow("SSTAT Passes", "Completed overwrite passes", offsetof(SanitizeStatusLog, sstat), 7, 3),
    flag("SSTAT Global Data Erased", "Nothing was written since the drive was made or last sanitized",
         offsetof(SanitizeStatusLog, sstat), 8),
    since(NVME_2_1, flag("SSTAT Verification Cancelled", "The media verification was cancelled",
                         offsetof(SanitizeStatusLog, sstat), 9)),
    {"SCDW10", "Sanitize Command Dword 10 Information", FIELD(SanitizeStatusLog, scdw10), Format::HEX},
    inWords(NOT_REPORTED_AT_ALL_ONES, {"ETO", "Estimated Time For Overwrite (seconds)",
                                       FIELD(SanitizeStatusLog, overwriteTime), Format::DECIMAL}),
    inWords(NOT_REPORTED_AT_ALL_ONES, {"ETBE", "Estimated Time For Block Erase (seconds)",
                                       FIELD(SanitizeStatusLog, blockEraseTime), Format::DECIMAL}),
    inWords(NOT_REPORTED_AT_ALL_ONES, {"ETCE", "Estimated Time For Crypto Erase (seconds)",
                                       FIELD(SanitizeStatusLog, cryptoEraseTime), Format::DECIMAL}),
    inWords(NOT_REPORTED_AT_ALL_ONES,
            {"ETOND", "Estimated Time For Overwrite With No-Deallocate (seconds)",
             FIELD(SanitizeStatusLog, overwriteTimeNoDeallocate), Format::DECIMAL}),
    inWords(NOT_REPORTED_AT_ALL_ONES,
            {"ETBEND", "Estimated Time For Block Erase With No-Deallocate (seconds)",
             FIELD(SanitizeStatusLog, blockEraseTimeNoDeallocate), Format::DECIMAL}),
    inWords(NOT_REPORTED_AT_ALL_ONES,
            {"ETCEND", "Estimated Time For Crypto Erase With No-Deallocate (seconds)",
             FIELD(SanitizeStatusLog, cryptoEraseTimeNoDeallocate), Format::DECIMAL}),
    since(NVME_2_1, inWords(NOT_REPORTED_AT_ALL_ONES,
                            {"ETPVDS", "Estimated Time For Post-Verification Deallocation (seconds)",
                             FIELD(SanitizeStatusLog, postVerificationTime), Format::DECIMAL})),
    since(NVME_2_1, word("SSI State", "Sanitize state", offsetof(SanitizeStatusLog, state), 3, 0, SANITIZE_STATES)),
    since(NVME_2_1, word("SSI Failure", "Sanitize state in which the operation failed",
                         offsetof(SanitizeStatusLog, state), 7, 4, SANITIZE_FAILURES)),
};
// clang-format on

constexpr size_t ERROR_ENTRY_BYTES = sizeof(ErrorInformationEntry);
constexpr size_t SELF_TEST_RESULT_BYTES = sizeof(SelfTestResultEntry);
constexpr unsigned MAX_SELF_TEST_RESULTS = 20;

}  // namespace

FieldTree decodeErrorInformation(const Payload& data) {
    FieldTree tree{"Error Information", {}, {}};
    for (size_t at = 0; at + ERROR_ENTRY_BYTES <= data.getSize(); at += ERROR_ENTRY_BYTES) {
        const uint8_t* entry = data.getData() + at;
        const auto error = structureAt<ErrorInformationEntry>(entry);
        if (error.errorCount == 0) continue;  // never used
        addFields(tree.addPart("Error " + std::to_string(error.errorCount)), ERROR_FIELDS, entry, ERROR_ENTRY_BYTES,
                  error.version);
    }
    tree.add("Entries", std::to_string(tree.parts.size()));
    return tree;
}

FieldTree decodeFirmwareSlots(const Payload& data) {
    return decodeTable("Firmware Slot Information", FIRMWARE_FIELDS, data);
}

FieldTree decodeSelfTest(const Payload& data) {
    FieldTree tree = decodeTable("Device Self-test", SELF_TEST_FIELDS, data);
    for (unsigned i = 0; i < MAX_SELF_TEST_RESULTS; ++i) {
        const size_t at = offsetof(SelfTestLog, results) + i * SELF_TEST_RESULT_BYTES;
        if (at + SELF_TEST_RESULT_BYTES > data.getSize()) break;
        const auto result = structureAt<SelfTestResultEntry>(data.getData() + at);
        const unsigned code = result.status & 0x0F;
        if (code == SELF_TEST_NEVER_USED) continue;
        FieldTree& part = tree.addPart("Result " + std::to_string(i + 1));
        addFields(part, SELF_TEST_RESULT_FIELDS, data.getData() + at, SELF_TEST_RESULT_BYTES);
        if (code == SELF_TEST_SEGMENT_IS_KNOWN)
            part.add("Segment Number", "First segment that failed", std::to_string(result.segment));
    }
    return tree;
}

FieldTree decodeTelemetryHeader(const Payload& data) {
    // Distinguished in the heading: a document that shows both must not name two objects alike.
    const uint8_t lid = data.getSize() == 0 ? 0 : data.getData()[0];
    const bool isHost = lid == LID_TELEMETRY_HOST;
    const bool isController = lid == LID_TELEMETRY_CONTROLLER;
    FieldTree tree = decodeTable(isHost         ? "Telemetry Host-Initiated Header"
                                 : isController ? "Telemetry Controller-Initiated Header"
                                                : "Telemetry Header",
                                 TELEMETRY_FIELDS, data);
    if (isHost) addFields(tree, TELEMETRY_HOST_FIELDS, data.getData(), data.getSize());
    if (isController) addFields(tree, TELEMETRY_CONTROLLER_FIELDS, data.getData(), data.getSize());
    addFields(tree, TELEMETRY_CAPTURE_FIELDS, data.getData(), data.getSize());
    return tree;
}

FieldTree decodePersistentEventHeader(const Payload& data) {
    return decodeTable("Persistent Event Log Header", PERSISTENT_EVENT_FIELDS, data);
}

FieldTree decodeSanitizeStatus(const Payload& data, uint16_t nvmeVersion) {
    return decodeTable("Sanitize Status", SANITIZE_FIELDS, data, nvmeVersion);
}

uint64_t telemetryLogBytes(const TelemetryLogHeader& header, unsigned area) {
    constexpr uint64_t BLOCK_BYTES = sizeof(TelemetryLogHeader);
    // Some drives leave the last block of an area that is empty at 0, after one that is not.
    const size_t areas = std::min<size_t>(area, std::size(header.lastBlock));
    uint32_t last = area > std::size(header.lastBlock) ? uint32_t{header.lastBlockOfArea4} : 0;
    for (size_t i = 0; i < areas; ++i) last = std::max<uint32_t>(last, header.lastBlock[i]);
    return (uint64_t{last} + 1) * BLOCK_BYTES;
}

uint64_t persistentEventLogBytes(const uint8_t* header) {
    return std::max<uint64_t>(structureAt<PersistentEventLogHeader>(header).tll, sizeof(PersistentEventLogHeader));
}

std::string selfTestOperationText(unsigned code) {
    return wordText(SELF_TESTS, code);
}

std::string selfTestResultText(unsigned code) {
    return wordText(SELF_TEST_RESULTS, code);
}

std::string firmwareSlotRevision(const uint8_t* log, unsigned slot) {
    const auto& revision = structureAt<FirmwareSlotLog>(log).revision[slot - 1U];
    return shownText(revision.data(), revision.size());
}

std::string sanitizeStatusText(unsigned code) {
    return wordText(SANITIZE_STATUSES, code);
}

bool isMediaVerification(const uint8_t* log) {
    return (structureAt<SanitizeStatusLog>(log).state & 0x0F) == STATE_MEDIA_VERIFICATION;
}

std::vector<Structure> historyLogStructures() {
    return {
        {"Error Information > Error *", ERROR_FIELDS},
        {"Firmware Slot Information", FIRMWARE_FIELDS},
        {"Device Self-test", SELF_TEST_FIELDS},
        {"Device Self-test > Result *", SELF_TEST_RESULT_FIELDS},
        {"Drive Self-Test Result *", SELF_TEST_RESULT_FIELDS},
        {"Telemetry Host-Initiated Header", TELEMETRY_FIELDS},
        {"Telemetry Host-Initiated Header", TELEMETRY_HOST_FIELDS},
        {"Telemetry Host-Initiated Header", TELEMETRY_CAPTURE_FIELDS},
        {"Telemetry Controller-Initiated Header", TELEMETRY_FIELDS},
        {"Telemetry Controller-Initiated Header", TELEMETRY_CONTROLLER_FIELDS},
        {"Telemetry Controller-Initiated Header", TELEMETRY_CAPTURE_FIELDS},
        {"Persistent Event Log", PERSISTENT_EVENT_FIELDS},
        {"Sanitize Status", SANITIZE_FIELDS},
    };
}

}  // namespace features::nvme
