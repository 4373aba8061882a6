#include <gtest/gtest.h>

#include "features/nvme/ControllerCapabilities.h"
#include "tests/unit/features/nvme/Layout.h"

namespace features::nvme {
namespace {

TEST(ControllerCapabilities, ReadsItsFields) {
    const Layout layout("identify_controller");
    const ControllerCapabilities c(layout.data().getData());
    EXPECT_EQ(c.vid, 0x1B36);
    EXPECT_EQ(c.cmic, 0x0B);
    EXPECT_EQ(c.mdts, 5);
    EXPECT_EQ(c.cntlid, 0x0201);
    EXPECT_EQ(c.version, 0x00010400U);
    EXPECT_EQ(c.oaes, 0x4300U);
    EXPECT_EQ(c.ctratt, 0x8A91U);
    EXPECT_EQ(c.oacs, 0x061F);
    EXPECT_EQ(c.frmw, 0x17);
    EXPECT_EQ(c.lpa, 0x5E);
    EXPECT_EQ(c.elpe, 0x3F);
    EXPECT_EQ(c.npss, 1);
    EXPECT_EQ(c.mtfa, 50);
    EXPECT_EQ(c.fwug, 8);
    EXPECT_EQ(c.edstt, 30);
    EXPECT_EQ(c.sanicap, 0xA0000005U);
    EXPECT_EQ(c.pels, 10000U);
    EXPECT_EQ(c.nn, 256U);
    EXPECT_EQ(c.oncs, 0x01D7);
    EXPECT_EQ(c.fna, 4);
    EXPECT_EQ(c.vwc, 7);
    EXPECT_EQ(c.mnan, 1024U);
    EXPECT_EQ(c.errorLogEntries(), 64U);
    EXPECT_EQ(c.firmwareSlots(), 3);
    EXPECT_EQ(c.maxNamespaces(), 1024U);
}

using Predicate = bool (ControllerCapabilities::*)() const;
constexpr struct {
    Predicate supports;
    const char* name;
    uint16_t offset;
    uint8_t bit;
} BITS[] = {
    {&ControllerCapabilities::supportsSecurity, "security", 256, 0},
    {&ControllerCapabilities::supportsFormat, "format", 256, 1},
    {&ControllerCapabilities::supportsFirmware, "firmware", 256, 2},
    {&ControllerCapabilities::supportsNamespaceManagement, "namespace management", 256, 3},
    {&ControllerCapabilities::supportsSelfTest, "self-test", 256, 4},
    {&ControllerCapabilities::supportsLbaStatus, "LBA status", 257, 1},
    {&ControllerCapabilities::supportsDatasetManagement, "dataset management", 520, 2},
    {&ControllerCapabilities::supportsSave, "save", 520, 4},
    {&ControllerCapabilities::supportsReservations, "reservations", 520, 5},
    {&ControllerCapabilities::supportsTimestamp, "timestamp", 520, 6},
    {&ControllerCapabilities::supportsSmartPerNamespace, "SMART per namespace", 261, 0},
    {&ControllerCapabilities::supportsCommandEffects, "command effects", 261, 1},
    {&ControllerCapabilities::supportsExtendedLogData, "extended log data", 261, 2},
    {&ControllerCapabilities::supportsTelemetry, "telemetry", 261, 3},
    {&ControllerCapabilities::supportsPersistentEventLog, "persistent event log", 261, 4},
    {&ControllerCapabilities::supportsSupportedLogs, "supported logs", 261, 5},
    {&ControllerCapabilities::supportsWideHostIdentifier, "host identifier", 96, 0},
    {&ControllerCapabilities::supportsPermissivePowerStates, "permissive power states", 96, 1},
    {&ControllerCapabilities::supportsReadRecoveryLevels, "read recovery levels", 96, 3},
    {&ControllerCapabilities::supportsEnduranceGroups, "endurance groups", 96, 4},
    {&ControllerCapabilities::supportsPredictableLatency, "predictable latency", 96, 5},
    {&ControllerCapabilities::supportsUuidList, "UUID list", 97, 1},
    {&ControllerCapabilities::supportsNamespaceNotices, "namespace notices", 93, 0},
    {&ControllerCapabilities::supportsEnduranceGroupNotices, "endurance group notices", 93, 6},
    {&ControllerCapabilities::supportsAutonomousPowerStates, "autonomous power states", 265, 0},
    {&ControllerCapabilities::supportsThermalManagement, "thermal management", 322, 0},
    {&ControllerCapabilities::supportsVolatileWriteCache, "volatile write cache", 525, 0},
    {&ControllerCapabilities::supportsNamespaceWriteProtection, "namespace write protection", 531, 0},
    {&ControllerCapabilities::hasSeveralPorts, "several ports", 76, 0},
    {&ControllerCapabilities::supportsAna, "ANA", 76, 3},
    {&ControllerCapabilities::supportsSanitize, "crypto erase", 328, 0},
    {&ControllerCapabilities::supportsSanitize, "block erase", 328, 1},
    {&ControllerCapabilities::supportsSanitize, "overwrite", 328, 2},
    {&ControllerCapabilities::firmwareSlot1IsReadOnly, "slot 1", 260, 0},
    {&ControllerCapabilities::activatesFirmwareWithoutReset, "without reset", 260, 4},
};
TEST(ControllerCapabilities, EachHangsOnItsOwnBit) {
    for (const auto& c : BITS) {
        std::vector<uint8_t> bytes(4096);
        EXPECT_FALSE((ControllerCapabilities(bytes.data()).*c.supports)()) << c.name;
        bytes[c.offset] = static_cast<uint8_t>(1 << c.bit);
        EXPECT_TRUE((ControllerCapabilities(bytes.data()).*c.supports)()) << c.name;
        bytes.assign(4096, 0xFF);
        bytes[c.offset] = static_cast<uint8_t>(~(1 << c.bit));
        EXPECT_EQ((ControllerCapabilities(bytes.data()).*c.supports)(), c.offset == 328)
            << c.name << ": any of three bits shows sanitize, else the others say nothing";
    }
}

TEST(ControllerCapabilities, SomeAreANumberThatIsNot0) {
    std::vector<uint8_t> bytes(4096);
    EXPECT_FALSE(ControllerCapabilities(bytes.data()).wantsHostMemory());
    EXPECT_FALSE(ControllerCapabilities(bytes.data()).supportsKeepAlive());
    bytes[275] = bytes[321] = 1;
    EXPECT_TRUE(ControllerCapabilities(bytes.data()).wantsHostMemory());
    EXPECT_TRUE(ControllerCapabilities(bytes.data()).supportsKeepAlive());
}

TEST(ControllerCapabilities, NamespaceDescriptorsCameWithVersion1Point3) {
    std::vector<uint8_t> bytes(4096);
    bytes[82] = 1;
    bytes[81] = 2;
    EXPECT_FALSE(ControllerCapabilities(bytes.data()).supportsNamespaceDescriptors());
    bytes[81] = 3;
    EXPECT_TRUE(ControllerCapabilities(bytes.data()).supportsNamespaceDescriptors());
}

TEST(ControllerCapabilities, WithoutALimitOfItsOwnNamespaceIdentifiersAreTheLimit) {
    std::vector<uint8_t> bytes(4096);
    bytes[516] = 8;
    EXPECT_EQ(ControllerCapabilities(bytes.data()).maxNamespaces(), 8U);
    bytes[540] = 4;
    EXPECT_EQ(ControllerCapabilities(bytes.data()).maxNamespaces(), 4U);
}

}  // namespace
}  // namespace features::nvme
