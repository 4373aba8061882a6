#pragma once

#include <cstdint>

#include "features/nvme/structures/IdentifyController.h"

namespace features::nvme {

/// The fields of Identify Controller that the library acts on, under the standard's names.
struct ControllerCapabilities {
    /// `identify`: 4,096 bytes.
    explicit ControllerCapabilities(const uint8_t* identify);
    explicit ControllerCapabilities(const IdentifyController& identify);

    uint16_t vid;
    uint8_t cmic;
    uint8_t mdts;
    uint16_t cntlid;
    uint32_t version;
    uint32_t oaes;
    uint32_t ctratt;
    uint16_t oacs;
    uint8_t frmw;
    uint8_t lpa;
    uint8_t elpe;
    uint8_t npss;
    uint8_t apsta;
    uint16_t mtfa;
    uint8_t fwug;
    uint16_t edstt;
    uint32_t hmpre;
    uint16_t kas;
    uint16_t hctma;
    uint32_t sanicap;
    uint32_t pels;
    uint32_t nn;
    uint16_t oncs;
    uint8_t fna;
    uint8_t vwc;
    uint8_t nwpc;
    uint32_t mnan;

    bool supportsSecurity() const { return (oacs & 0x01) != 0; }
    bool supportsFormat() const { return (oacs & 0x02) != 0; }
    bool supportsFirmware() const { return (oacs & 0x04) != 0; }
    bool supportsNamespaceManagement() const { return (oacs & 0x08) != 0; }
    bool supportsSelfTest() const { return (oacs & 0x10) != 0; }
    bool supportsLbaStatus() const { return (oacs & 0x200) != 0; }
    bool supportsDatasetManagement() const { return (oncs & 0x04) != 0; }
    /// Save in Set Features, Select in Get Features.
    bool supportsSave() const { return (oncs & 0x10) != 0; }
    bool supportsReservations() const { return (oncs & 0x20) != 0; }
    bool supportsTimestamp() const { return (oncs & 0x40) != 0; }
    bool supportsSmartPerNamespace() const { return (lpa & 0x01) != 0; }
    bool supportsCommandEffects() const { return (lpa & 0x02) != 0; }
    /// Log Page Offset and the wide Number of Dwords.
    bool supportsExtendedLogData() const { return (lpa & 0x04) != 0; }
    bool supportsTelemetry() const { return (lpa & 0x08) != 0; }
    bool supportsPersistentEventLog() const { return (lpa & 0x10) != 0; }
    /// Log page 00h, which lists the others.
    bool supportsSupportedLogs() const { return (lpa & 0x20) != 0; }
    bool supportsTelemetryArea4() const { return (lpa & 0x40) != 0; }
    /// For a page that no field of Identify Controller announces: log page 00h alone says that it is there.
    bool supportsListedLog() const { return false; }
    bool supportsLockdown() const { return (oacs & 0x400) != 0; }
    bool supportsFdp() const { return (ctratt & 0x80000) != 0; }
    bool supportsAutonomousPowerStates() const { return (apsta & 0x01) != 0; }
    bool wantsHostMemory() const { return hmpre != 0; }
    bool supportsKeepAlive() const { return kas != 0; }
    bool supportsThermalManagement() const { return (hctma & 0x01) != 0; }
    bool supportsVolatileWriteCache() const { return (vwc & 0x01) != 0; }
    bool supportsNamespaceWriteProtection() const { return (nwpc & 0x01) != 0; }
    bool supportsPermissivePowerStates() const { return (ctratt & 0x02) != 0; }
    bool supportsReadRecoveryLevels() const { return (ctratt & 0x08) != 0; }
    bool supportsNamespaceDescriptors() const { return version >= 0x00010300; }
    bool supportsWideHostIdentifier() const { return (ctratt & 0x01) != 0; }
    bool supportsEnduranceGroups() const { return (ctratt & 0x10) != 0; }
    bool supportsPredictableLatency() const { return (ctratt & 0x20) != 0; }
    bool supportsNamespaceGranularity() const { return (ctratt & 0x80) != 0; }
    bool supportsDomains() const { return (ctratt & 0x400) != 0; }
    /// What came with NVMe 2.0 for all controllers: structures of Identify for each I/O command set.
    bool followsNvme20() const { return version >= 0x00020000; }
    bool supportsUuidList() const { return (ctratt & 0x200) != 0; }
    bool supportsNamespaceNotices() const { return (oaes & 0x100) != 0; }
    /// Notices of changes of log page 0Fh.
    bool supportsEnduranceGroupNotices() const { return (oaes & 0x4000) != 0; }
    bool supportsZoneNotices() const { return (oaes & 0x8000000) != 0; }
    /// Two ports or more.
    bool hasSeveralPorts() const { return (cmic & 0x01) != 0; }
    bool supportsAna() const { return (cmic & 0x08) != 0; }
    bool supportsSanitize() const { return (sanicap & 0x07) != 0; }

    uint8_t firmwareSlots() const { return frmw >> 1 & 0x07; }
    bool firmwareSlot1IsReadOnly() const { return (frmw & 0x01) != 0; }
    bool activatesFirmwareWithoutReset() const { return (frmw & 0x10) != 0; }
    uint32_t errorLogEntries() const { return elpe + 1U; }
    /// The most namespaces that may be there at a time; identifiers may go higher.
    uint32_t maxNamespaces() const { return mnan != 0 ? mnan : nn; }
};

}  // namespace features::nvme
