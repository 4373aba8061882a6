#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "features/nvme/ControllerCapabilities.h"
#include "features/nvme/FieldTree.h"
#include "features/nvme/structures/TelemetryLogHeader.h"
#include "ostrel/core/Payload.h"

namespace features::nvme {

/// A decoder of a log page: of its bytes alone, or of its bytes and the version of the controller, by which a field
/// that a later version brought is left out (NvmeVersions.h). Null for a page without one.
class LogDecoder {
public:
    using OfBytes = FieldTree (*)(const ostrel::core::Payload& data);
    using OfVersion = FieldTree (*)(const ostrel::core::Payload& data, uint16_t nvmeVersion);

    constexpr LogDecoder(std::nullptr_t) {}                         // NOLINT(google-explicit-constructor)
    constexpr LogDecoder(OfBytes decode) : ofBytes_(decode) {}      // NOLINT: a row names its decoder
    constexpr LogDecoder(OfVersion decode) : ofVersion_(decode) {}  // NOLINT: the same
    constexpr bool exists() const { return ofBytes_ != nullptr || ofVersion_ != nullptr; }
    constexpr bool isByVersion() const { return ofVersion_ != nullptr; }
    /// Without a version: as the newest controller has the page.
    FieldTree operator()(const ostrel::core::Payload& data, uint16_t nvmeVersion = UINT16_MAX) const {
        return ofVersion_ != nullptr ? ofVersion_(data, nvmeVersion) : ofBytes_(data);
    }

private:
    OfBytes ofBytes_ = nullptr;
    OfVersion ofVersion_ = nullptr;
};

/// A log page of the standard: what it is called, which controllers have it, how much of it is read, and its decoder.
struct LogPageRow {
    uint8_t lid;
    const char* name;
    const char* shortName;
    /// Null: every controller has it.
    bool (ControllerCapabilities::*isSupported)() const;
    /// The bytes that are read: the whole page, or the head that holds the length of the whole.
    uint32_t lengthBytes;
    /// The length of the whole page, a multiple of 4 (`head`: the first lengthBytes bytes); null: that is lengthBytes.
    uint64_t (*wholeLength)(const ControllerCapabilities& controller, const uint8_t* head);
    LogDecoder decode;
    /// Of a page of which the decoder shows the header alone: how long the page is by that header. Its Log Specific
    /// Field is an action, which happens once. Null: the decoder shows the page.
    uint64_t (*longLength)(const uint8_t* head) = nullptr;

    bool isSupportedBy(const ControllerCapabilities& controller) const {
        return isSupported == nullptr || (controller.*isSupported)();
    }
};

/// The row of a log page identifier or name, long or short; null when there is none. In names only letters and digits
/// count, without their case. Vendor-specific identifiers have no rows, since their meaning depends on the drive.
const LogPageRow* findLogPage(uint8_t lid);
const LogPageRow* findLogPage(const std::string& name);
/// Whether a name, long or short, is that of the page.
bool isLogName(const LogPageRow& row, const std::string& name);
/// A name as it is compared.
std::string comparableLogName(const std::string& name);
/// All rows, in the order of their identifiers.
const LogPageRow* logPagesBegin();
const LogPageRow* logPagesEnd();

/// The decoders. All take the bytes as the controller gave them, show what lies within them, and never fail: a page
/// that is cut short shows less, a count that runs over the end is cut to what is there.

/// The supported pages alone, and what is said of some beside that.
FieldTree decodeSupportedLogs(const ostrel::core::Payload& data);
/// Entries that were never used are left out.
FieldTree decodeErrorInformation(const ostrel::core::Payload& data);
FieldTree decodeSmartHealth(const ostrel::core::Payload& data);
FieldTree decodeFirmwareSlots(const ostrel::core::Payload& data);
FieldTree decodeChangedNamespaces(const ostrel::core::Payload& data);
/// The supported commands alone, of the NVM command set.
FieldTree decodeCommandEffects(const ostrel::core::Payload& data);
/// The same of another I/O command set, which has commands of its own.
FieldTree decodeCommandEffectsOf(uint8_t csi, const ostrel::core::Payload& data);
/// The newest result first; entries that were never used are left out.
FieldTree decodeSelfTest(const ostrel::core::Payload& data);
/// The head of logs 07h and 08h.
FieldTree decodeTelemetryHeader(const ostrel::core::Payload& data);
FieldTree decodeEnduranceGroup(const ostrel::core::Payload& data, uint16_t nvmeVersion);
FieldTree decodePredictableLatency(const ostrel::core::Payload& data);
FieldTree decodePredictableLatencyAggregate(const ostrel::core::Payload& data);
FieldTree decodeAna(const ostrel::core::Payload& data);
/// The head of log 0Dh.
FieldTree decodePersistentEventHeader(const ostrel::core::Payload& data);
FieldTree decodeLbaStatus(const ostrel::core::Payload& data);
FieldTree decodeEnduranceGroupAggregate(const ostrel::core::Payload& data);
FieldTree decodeMediaUnitStatus(const ostrel::core::Payload& data);
/// The supported features alone.
FieldTree decodeSupportedFeatures(const ostrel::core::Payload& data);
/// The supported commands of the Management Interface alone.
FieldTree decodeSupportedMiCommands(const ostrel::core::Payload& data);
FieldTree decodeLockdown(const ostrel::core::Payload& data);
/// The head of log 15h.
FieldTree decodeBootPartition(const ostrel::core::Payload& data);
/// Flexible Data Placement.
FieldTree decodeFdpConfigurations(const ostrel::core::Payload& data);
FieldTree decodeFdpUsage(const ostrel::core::Payload& data);
FieldTree decodeFdpStatistics(const ostrel::core::Payload& data);
FieldTree decodeFdpEvents(const ostrel::core::Payload& data);
FieldTree decodeReservation(const ostrel::core::Payload& data);
FieldTree decodeSanitizeStatus(const ostrel::core::Payload& data, uint16_t nvmeVersion);
FieldTree decodeChangedZones(const ostrel::core::Payload& data);

/// OCP Datacenter NVMe SSD Specification, log C0h: SMART / Health Information Extended. The other pages of OCP are in
/// OcpLogPages.h.
inline constexpr uint32_t OCP_SMART_BYTES = 512;
FieldTree decodeOcpSmart(const ostrel::core::Payload& data);
/// Whether log C0h bears the GUID of the OCP page: on other drives it is the maker's own.
bool isOcpSmart(const ostrel::core::Payload& data);

/// Bytes of a telemetry log up to the end of data area `area` (1 to 4), the header included.
uint64_t telemetryLogBytes(const TelemetryLogHeader& header, unsigned area);
/// Bytes of a persistent event log by its header of 512 bytes, and no less than that.
uint64_t persistentEventLogBytes(const uint8_t* header);

/// Words of the codes in log 06h: what runs or ran, and how it ended.
std::string selfTestOperationText(unsigned code);
std::string selfTestResultText(unsigned code);
/// The revision in a slot, 1 to 7, of the 512 bytes of log 03h; empty when there is none.
std::string firmwareSlotRevision(const uint8_t* log, unsigned slot);
/// Words of the sanitize status in log 81h, SSTAT bits 2:0.
std::string sanitizeStatusText(unsigned code);
/// Whether by the 512 bytes of log 81h the drive is in the Media Verification state (NVMe 2.1): a sanitize operation
/// that was started with it stays there until a host ends it. Never by that of an older drive, which has 0 there.
bool isMediaVerification(const uint8_t* log);
/// What that state is, and how it is left.
inline constexpr const char* MEDIA_VERIFICATION_TEXT =
    "the drive is in the Media Verification state until a host sends a Sanitize command with the action Exit Media "
    "Verification State (5h)";

}  // namespace features::nvme
