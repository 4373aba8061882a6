#pragma once

#include <cstdint>
#include <string>

#include "features/nvme/FieldTree.h"
#include "ostrel/core/Payload.h"

namespace features::nvme {

/// A log page that this library can decode: what it is called, how much of it is read, and its decoder.
///
/// Names are matched ignoring case, blanks and "-". A decoder takes the bytes as the controller gave them, shows what
/// lies within them, and never fails.
struct LogPageRow {
    uint8_t lid;
    const char* name;
    uint32_t lengthBytes;  ///< what is read; 0: the page tells its own length in its header
    FieldTree (*decode)(const ostrel::core::Payload& data);
};

/// The row of a log page identifier or name; null when there is none. Vendor-specific identifiers are looked up apart,
/// since their meaning depends on the drive.
const LogPageRow* findLogPage(uint8_t lid);
const LogPageRow* findLogPage(const std::string& name);
/// All rows of the standard, in the order of their identifiers.
const LogPageRow* logPagesBegin();
const LogPageRow* logPagesEnd();

/// OCP Datacenter NVMe SSD Specification 2.0, log C0h: SMART / Health Information Extended.
FieldTree decodeOcpSmart(const ostrel::core::Payload& data);
/// Whether the 512 bytes of log C0h bear the GUID of the OCP page.
bool isOcpSmart(const ostrel::core::Payload& data);

FieldTree decodeSmartHealth(const ostrel::core::Payload& data);
FieldTree decodeErrorInformation(const ostrel::core::Payload& data);
FieldTree decodeFirmwareSlots(const ostrel::core::Payload& data);
FieldTree decodeChangedNamespaces(const ostrel::core::Payload& data);
FieldTree decodeCommandEffects(const ostrel::core::Payload& data);
FieldTree decodeSelfTest(const ostrel::core::Payload& data);
FieldTree decodeTelemetryHeader(const ostrel::core::Payload& data);
FieldTree decodeEnduranceGroup(const ostrel::core::Payload& data);
FieldTree decodeAna(const ostrel::core::Payload& data);
FieldTree decodeReservation(const ostrel::core::Payload& data);
FieldTree decodeSanitizeStatus(const ostrel::core::Payload& data);
FieldTree decodeSupportedLogs(const ostrel::core::Payload& data);

/// Words of the codes in log 06h.
std::string selfTestResultText(unsigned code);
std::string selfTestOperationText(unsigned code);
/// Words of the sanitize status in log 81h, SSTAT bits 2:0.
std::string sanitizeStatusText(unsigned code);

}  // namespace features::nvme
