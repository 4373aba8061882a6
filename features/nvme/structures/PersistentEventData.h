#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::nvme {

/// Event type 02h.
struct FirmwareCommitEvent {
    ByteArray<8> oldRevision;
    ByteArray<8> newRevision;
    uint8_t commitAction;
    uint8_t slot;
    uint8_t statusCodeType;
    uint8_t statusCode;
    Le16 vendorResult;
};
static_assert(sizeof(FirmwareCommitEvent) == 22 && alignof(FirmwareCommitEvent) == 1);
static_assert(offsetof(FirmwareCommitEvent, vendorResult) == 20);

/// Event type 03h.
struct TimestampChangeEvent {
    ByteArray<8> previousTimestamp;
    Le64 millisecondsSinceReset;
};
static_assert(sizeof(TimestampChangeEvent) == 16 && alignof(TimestampChangeEvent) == 1);
static_assert(offsetof(TimestampChangeEvent, millisecondsSinceReset) == 8);

/// The head of event type 04h; descriptors of resets follow.
struct PowerOnEvent {
    ByteArray<8> revision;
};
static_assert(sizeof(PowerOnEvent) == 8 && alignof(PowerOnEvent) == 1);

/// A reset of event type 04h.
struct ResetDescriptor {
    Le16 cntlid;
    uint8_t firmwareActivation;
    uint8_t operationInProgress;
    ByteArray<12> reserved4;
    Le32 powerCycle;
    Le64 powerOnMilliseconds;
    ByteArray<8> timestamp;
};
static_assert(sizeof(ResetDescriptor) == 36 && alignof(ResetDescriptor) == 1);
static_assert(offsetof(ResetDescriptor, powerCycle) == 16 && offsetof(ResetDescriptor, timestamp) == 28);

/// The head of event type 05h; what the code defines follows.
struct HardwareErrorEvent {
    Le16 code;
    ByteArray<2> reserved2;
};
static_assert(sizeof(HardwareErrorEvent) == 4 && alignof(HardwareErrorEvent) == 1);

/// Event type 06h.
struct ChangeNamespaceEvent {
    Le32 cdw10;
    ByteArray<4> reserved4;
    Le64 nsze;
    ByteArray<8> reserved16;
    Le64 ncap;
    uint8_t flbas;
    uint8_t dps;
    uint8_t nmic;
    ByteArray<1> reserved35;
    Le32 anagrpid;
    Le16 nvmsetid;
    ByteArray<2> reserved42;
    Le32 nsid;
};
static_assert(sizeof(ChangeNamespaceEvent) == 48 && alignof(ChangeNamespaceEvent) == 1);
static_assert(offsetof(ChangeNamespaceEvent, nsze) == 8 && offsetof(ChangeNamespaceEvent, ncap) == 24);
static_assert(offsetof(ChangeNamespaceEvent, anagrpid) == 36 && offsetof(ChangeNamespaceEvent, nsid) == 44);

/// Event type 07h.
struct FormatStartEvent {
    Le32 nsid;
    uint8_t fna;
    ByteArray<3> reserved5;
    Le32 cdw10;
};
static_assert(sizeof(FormatStartEvent) == 12 && alignof(FormatStartEvent) == 1);
static_assert(offsetof(FormatStartEvent, cdw10) == 8);

/// Event type 08h.
struct FormatCompletionEvent {
    Le32 nsid;
    uint8_t smallestProgress;
    uint8_t formatStatus;
    Le16 completionInformation;
    Le32 statusField;
};
static_assert(sizeof(FormatCompletionEvent) == 12 && alignof(FormatCompletionEvent) == 1);
static_assert(offsetof(FormatCompletionEvent, statusField) == 8);

/// Event type 09h.
struct SanitizeStartEvent {
    Le32 sanicap;
    Le32 cdw10;
    Le32 cdw11;
};
static_assert(sizeof(SanitizeStartEvent) == 12 && alignof(SanitizeStartEvent) == 1);
static_assert(offsetof(SanitizeStartEvent, cdw11) == 8);

/// Event type 0Ah.
struct SanitizeCompletionEvent {
    Le16 sprog;
    Le16 sstat;
    Le16 completionInformation;
    ByteArray<2> reserved6;
};
static_assert(sizeof(SanitizeCompletionEvent) == 8 && alignof(SanitizeCompletionEvent) == 1);
static_assert(offsetof(SanitizeCompletionEvent, completionInformation) == 4);

/// The head of event type 0Bh: dwords, data and dword 0 of the completion follow, as its bits say.
struct SetFeatureEvent {
    Le32 layout;
};
static_assert(sizeof(SetFeatureEvent) == 4 && alignof(SetFeatureEvent) == 1);

/// Event type 0Dh.
struct ThermalExcursionEvent {
    uint8_t overTemperature;
    uint8_t threshold;
};
static_assert(sizeof(ThermalExcursionEvent) == 2 && alignof(ThermalExcursionEvent) == 1);
static_assert(offsetof(ThermalExcursionEvent, threshold) == 1);

/// The head of a descriptor of event type DEh; its data follows.
struct VendorEventDescriptor {
    Le16 code;
    uint8_t type;
    uint8_t uuidIndex;
    Le16 length;
};
static_assert(sizeof(VendorEventDescriptor) == 6 && alignof(VendorEventDescriptor) == 1);
static_assert(offsetof(VendorEventDescriptor, length) == 4);

/// The data of a vendor specific event by which a drive that follows the OCP Datacenter NVMe SSD Specification 2.5
/// reports a TCG command.
struct TcgActivity {
    ByteArray<2> reserved0;
    Le32 commandCount;
    Le64 invokingId;
    Le64 methodId;
    Le16 comId;
    uint8_t protocolId;
    uint8_t status;
    Le16 processTime;  ///< milliseconds
    ByteArray<10> context;
};
static_assert(sizeof(TcgActivity) == 38 && alignof(TcgActivity) == 1);
static_assert(offsetof(TcgActivity, comId) == 22 && offsetof(TcgActivity, processTime) == 26);

}  // namespace features::nvme
