// The logs of a drive's history: errors, firmware, self-tests, sanitize operations, telemetry, events.

#include "features/nvme/LogPages.h"

#include "features/nvme/Bytes.h"
#include "features/nvme/FieldTable.h"
#include "features/nvme/LogPageIds.h"
#include "features/nvme/Structures.h"

namespace features::nvme {

using ostrel::core::Payload;

namespace {

// clang-format off
constexpr Word NO_COMMAND[] = {{0xFFFF, "not specific to a command"}, {}};
constexpr Word TRANSPORTS[] = {
    {0, NOT_REPORTED}, {1, "RDMA"}, {2, "Fibre Channel"}, {3, "TCP"}, {254, "intra-host"}, {},
};

constexpr FieldRow ERROR_FIELDS[] = {  // section 5.14.1.1
    {"ECNT", "Error Count", 0, 8, Format::DECIMAL},
    inWords(NO_COMMAND, {"SQID", "Submission Queue ID", 8, 2, Format::DECIMAL}),
    inWords(NO_COMMAND, {"CID", "Command ID", 10, 2, Format::HEX}),
    {"SF", "Status Field", 12, 2, Format::STATUS},
    inWords(NO_COMMAND, {"PEL", "Parameter Error Location", 14, 2, Format::HEX}),
    {"LBA", "First LBA with the error", 16, 8, Format::DECIMAL},
    {"NSID", "Namespace", 24, 4, Format::DECIMAL},
    {"VSI", "Log page with vendor specific information", 28, 1, Format::HEX},
    word("TRTYPE", "Transport Type", 29, 7, 0, TRANSPORTS),
    {"CSI", "Command Specific Information", 32, 8, Format::HEX},
    {"TTSI", "Transport Type Specific Information", 40, 2, Format::HEX},
};

constexpr Word NOT_SET_AT_0[] = {{0, "none"}, {}};
constexpr FieldRow FIRMWARE_FIELDS[] = {  // section 5.14.1.3
    {"AFI", "Active Firmware Info", 0, 1, Format::HEX},
    bitsRow("AFI Active Slot", "Slot that the running firmware was loaded from", 0, 2, 0),
    inWords(NOT_SET_AT_0, bitsRow("AFI Next Slot", "Slot that the next controller level reset activates", 0, 6, 4)),
    inWords(NOT_SET_AT_0, {"FRS1", "Firmware Revision for Slot 1", 8, 8, Format::TEXT}),
    inWords(NOT_SET_AT_0, {"FRS2", "Firmware Revision for Slot 2", 16, 8, Format::TEXT}),
    inWords(NOT_SET_AT_0, {"FRS3", "Firmware Revision for Slot 3", 24, 8, Format::TEXT}),
    inWords(NOT_SET_AT_0, {"FRS4", "Firmware Revision for Slot 4", 32, 8, Format::TEXT}),
    inWords(NOT_SET_AT_0, {"FRS5", "Firmware Revision for Slot 5", 40, 8, Format::TEXT}),
    inWords(NOT_SET_AT_0, {"FRS6", "Firmware Revision for Slot 6", 48, 8, Format::TEXT}),
    inWords(NOT_SET_AT_0, {"FRS7", "Firmware Revision for Slot 7", 56, 8, Format::TEXT}),
};

constexpr Word SELF_TESTS[] = {{0x0, "none"}, {0x1, "short"}, {0x2, "extended"}, {0xE, "vendor specific"}, {}};
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
    word("Operation", "Self-test that is in progress", 0, 3, 0, SELF_TESTS),
    bitsRow("Completion", "Part that is done (%)", 1, 6, 0),
};
constexpr FieldRow SELF_TEST_RESULT_FIELDS[] = {
    word("Test", "", 0, 7, 4, SELF_TESTS),
    word("Result", "", 0, 3, 0, SELF_TEST_RESULTS),
    {"POH", "Power On Hours (hours)", 4, 8, Format::DECIMAL},
    onlyIf(2, 0, {"NSID", "Namespace", 12, 4, Format::DECIMAL}),
    onlyIf(2, 1, {"FLBA", "Failing LBA", 16, 8, Format::DECIMAL}),
    onlyIf(2, 2, bitsRow("SCT", "Status Code Type", 24, 2, 0, Format::HEX)),
    onlyIf(2, 3, {"SC", "Status Code", 25, 1, Format::HEX}),
    {"Vendor Specific", "", 26, 2, Format::HEX},
};

constexpr FieldRow TELEMETRY_FIELDS[] = {  // sections 5.14.1.7 and 5.14.1.8
    {"LID", "Log Identifier", 0, 1, Format::HEX},
    {"IEEE", "IEEE OUI Identifier", 5, 3, Format::HEX},
    {"DA1LB", "Telemetry Data Area 1 Last Block (units of 512 bytes)", 8, 2, Format::DECIMAL},
    {"DA2LB", "Telemetry Data Area 2 Last Block (units of 512 bytes)", 10, 2, Format::DECIMAL},
    {"DA3LB", "Telemetry Data Area 3 Last Block (units of 512 bytes)", 12, 2, Format::DECIMAL},
    {"DA4LB", "Telemetry Data Area 4 Last Block (units of 512 bytes)", 16, 4, Format::DECIMAL},  // since NVMe 2.0, 0 before
    {"THDGN", "Telemetry Host-Initiated Data Generation Number", 381, 1, Format::DECIMAL},  // the same
    {"TCDA", "Telemetry Controller-Initiated Data Available", 382, 1, Format::DECIMAL},
    {"TCDGN", "Telemetry Controller-Initiated Data Generation Number", 383, 1, Format::DECIMAL},
    {"RID", "Reason Identifier", 384, 128, Format::BYTES},
};

constexpr FieldRow PERSISTENT_EVENT_FIELDS[] = {  // section 5.14.1.13
    {"LID", "Log Identifier", 0, 1, Format::HEX},
    {"TNEV", "Total Number of Events", 4, 4, Format::DECIMAL},
    {"TLL", "Total Log Length (bytes)", 8, 8, Format::DECIMAL},
    {"LREV", "Log Revision", 16, 1, Format::DECIMAL},
    {"LHL", "Log Header Length (bytes)", 18, 2, Format::DECIMAL},
    {"TSTMP", "Timestamp (milliseconds)", 20, 6, Format::DECIMAL},
    {"TSTMP Date", "Date", 20, 8, Format::DATE},
    {"POH", "Power On Hours (hours)", 28, 16, Format::COUNTER},
    {"PCC", "Power Cycle Count", 44, 8, Format::DECIMAL},
    {"VID", "PCI Vendor ID", 52, 2, Format::HEX},
    {"SSVID", "PCI Subsystem Vendor ID", 54, 2, Format::HEX},
    {"SN", "Serial Number", 56, 20, Format::TEXT},
    {"MN", "Model Number", 76, 40, Format::TEXT},
    {"SUBNQN", "NVM Subsystem NVMe Qualified Name", 116, 256, Format::TEXT},
    {"GNUM", "Generation Number", 372, 2, Format::DECIMAL},  // since NVMe 2.0, 0 before
    {"RCI", "Reporting Context Information", 374, 4, Format::HEX},  // the same
    {"SEB", "Supported Events Bitmap", 480, 32, Format::BYTES},
};

constexpr Word SANITIZE_STATUSES[] = {
    {0, "the drive has never been sanitized"},
    {1, "the most recent sanitize operation completed successfully"},
    {2, "a sanitize operation is in progress"},
    {3, "the most recent sanitize operation failed"},
    {4, "the most recent sanitize operation completed successfully and deallocated all blocks though it was not to"},
    {},
};
constexpr Word NOT_REPORTED_AT_ALL_ONES[] = {{0xFFFFFFFF, NOT_REPORTED}, {}};
constexpr FieldRow SANITIZE_FIELDS[] = {  // section 5.14.1.16.2
    {"SPROG", "Sanitize Progress (units of 1/65536)", 0, 2, Format::DECIMAL},
    {"SSTAT", "Sanitize Status", 2, 2, Format::HEX},
    word("SSTAT Status", "Most recent sanitize operation", 2, 2, 0, SANITIZE_STATUSES),
    bitsRow("SSTAT Passes", "Completed overwrite passes", 2, 7, 3),
    flag("SSTAT Global Data Erased", "Nothing was written since the drive was made or last sanitized", 2, 8),
    {"SCDW10", "Sanitize Command Dword 10 Information", 4, 4, Format::HEX},
    inWords(NOT_REPORTED_AT_ALL_ONES, {"ETO", "Estimated Time For Overwrite (seconds)", 8, 4, Format::DECIMAL}),
    inWords(NOT_REPORTED_AT_ALL_ONES, {"ETBE", "Estimated Time For Block Erase (seconds)", 12, 4, Format::DECIMAL}),
    inWords(NOT_REPORTED_AT_ALL_ONES, {"ETCE", "Estimated Time For Crypto Erase (seconds)", 16, 4, Format::DECIMAL}),
    inWords(NOT_REPORTED_AT_ALL_ONES,
            {"ETOND", "Estimated Time For Overwrite With No-Deallocate (seconds)", 20, 4, Format::DECIMAL}),
    inWords(NOT_REPORTED_AT_ALL_ONES,
            {"ETBEND", "Estimated Time For Block Erase With No-Deallocate (seconds)", 24, 4, Format::DECIMAL}),
    inWords(NOT_REPORTED_AT_ALL_ONES,
            {"ETCEND", "Estimated Time For Crypto Erase With No-Deallocate (seconds)", 28, 4, Format::DECIMAL}),
};
// clang-format on

constexpr size_t ERROR_ENTRY_BYTES = 64;
constexpr size_t SELF_TEST_HEAD_BYTES = 4;
constexpr size_t SELF_TEST_RESULT_BYTES = 28;
constexpr unsigned MAX_SELF_TEST_RESULTS = 20;

}  // namespace

FieldTree decodeErrorInformation(const Payload& data) {
    FieldTree tree{"Error Information", {}, {}};
    for (size_t at = 0; at + ERROR_ENTRY_BYTES <= data.getSize(); at += ERROR_ENTRY_BYTES) {
        const uint8_t* entry = data.getData() + at;
        const uint64_t errorCount = le64(entry);
        if (errorCount == 0) continue;  // never used
        addFields(tree.addPart("Error " + std::to_string(errorCount)), ERROR_FIELDS, entry, ERROR_ENTRY_BYTES);
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
        const size_t at = SELF_TEST_HEAD_BYTES + i * SELF_TEST_RESULT_BYTES;
        if (at + SELF_TEST_RESULT_BYTES > data.getSize()) break;
        const uint8_t* result = data.getData() + at;
        const unsigned code = result[0] & 0x0F;
        if (code == SELF_TEST_NEVER_USED) continue;
        FieldTree& part = tree.addPart("Result " + std::to_string(i + 1));
        addFields(part, SELF_TEST_RESULT_FIELDS, result, SELF_TEST_RESULT_BYTES);
        if (code == SELF_TEST_SEGMENT_IS_KNOWN)
            part.add("Segment Number", "First segment that failed", std::to_string(result[1]));
    }
    return tree;
}

FieldTree decodeTelemetryHeader(const Payload& data) {
    // Distinguished in the heading: a document that shows both must not name two objects alike.
    const uint8_t lid = data.getSize() == 0 ? 0 : data.getData()[0];
    const char* name = lid == LID_TELEMETRY_HOST         ? "Telemetry Host-Initiated Header"
                       : lid == LID_TELEMETRY_CONTROLLER ? "Telemetry Controller-Initiated Header"
                                                         : "Telemetry Header";
    return decodeTable(name, TELEMETRY_FIELDS, data);
}

FieldTree decodePersistentEventHeader(const Payload& data) {
    return decodeTable("Persistent Event Log Header", PERSISTENT_EVENT_FIELDS, data);
}

FieldTree decodeSanitizeStatus(const Payload& data) {
    return decodeTable("Sanitize Status", SANITIZE_FIELDS, data);
}

std::string selfTestOperationText(unsigned code) {
    return wordText(SELF_TESTS, code);
}

std::string selfTestResultText(unsigned code) {
    return wordText(SELF_TEST_RESULTS, code);
}

std::string firmwareSlotRevision(const uint8_t* log, unsigned slot) {
    constexpr size_t REVISION_BYTES = 8;  // the slots follow on the first 8 bytes
    return shownText(log + slot * REVISION_BYTES, REVISION_BYTES);
}

std::string sanitizeStatusText(unsigned code) {
    return wordText(SANITIZE_STATUSES, code);
}

std::vector<Structure> historyLogStructures() {
    return {
        {"Error Information > Error *", ERROR_FIELDS},
        {"Firmware Slot Information", FIRMWARE_FIELDS},
        {"Device Self-test", SELF_TEST_FIELDS},
        {"Device Self-test > Result *", SELF_TEST_RESULT_FIELDS},
        {"Drive Self-Test Result *", SELF_TEST_RESULT_FIELDS},
        {"Telemetry Host-Initiated Header", TELEMETRY_FIELDS},
        {"Telemetry Controller-Initiated Header", TELEMETRY_FIELDS},
        {"Persistent Event Log", PERSISTENT_EVENT_FIELDS},
        {"Sanitize Status", SANITIZE_FIELDS},
    };
}

}  // namespace features::nvme
