#include <gtest/gtest.h>

#include "features/nvme/LogPages.h"
#include "tests/unit/features/nvme/Layout.h"

namespace features::nvme {
namespace {

using ostrel::core::Payload;

/// Capabilities of a controller with these bytes of Identify Controller.
ControllerCapabilities controllerWith(std::initializer_list<std::pair<uint16_t, uint8_t>> bytes) {
    std::vector<uint8_t> identify(4096);
    for (const auto& [offset, byte] : bytes) identify[offset] = byte;
    return ControllerCapabilities(identify.data());
}

/// Log page 00h alone says that the page is there.
constexpr uint16_t LISTED = 0xFFFF;

constexpr struct {
    uint8_t lid;
    const char* name;
    const char* shortName;
    uint32_t length;  // what is read first; 0: nothing
    uint16_t offset;  // of the byte of Identify Controller that shows that the page is there; 0: it always is
    uint8_t bits;
} PAGES[] = {
    {0x00, "Supported Log Pages", "supported", 1024, 261, 0x20},
    {0x01, "Error Information", "error", 0, 0, 0},
    {0x02, "SMART / Health Information", "smart", 512, 0, 0},
    {0x03, "Firmware Slot Information", "firmware", 512, 0, 0},
    {0x04, "Changed Namespace List", "changed-ns", 4096, 93, 0x01},
    {0x05, "Commands Supported and Effects", "effects", 4096, 261, 0x02},
    {0x06, "Device Self-test", "selftest", 564, 256, 0x10},
    {0x07, "Telemetry Host-Initiated", "telemetry", 512, 261, 0x08},
    {0x08, "Telemetry Controller-Initiated", "telemetry-ctrl", 512, 261, 0x08},
    {0x09, "Endurance Group Information", "endurance", 512, 96, 0x10},
    {0x0A, "Predictable Latency Per NVM Set", "predictable-latency", 512, 96, 0x20},
    {0x0B, "Predictable Latency Event Aggregate", "predictable-latency-events", 8, 96, 0x20},
    {0x0C, "Asymmetric Namespace Access", "ana", 16, 76, 0x08},
    {0x0D, "Persistent Event Log", "events", 512, 261, 0x10},
    {0x0E, "LBA Status Information", "lba-status", 16, 257, 0x02},
    {0x0F, "Endurance Group Event Aggregate", "endurance-events", 8, 93, 0x40},
    {0x10, "Media Unit Status", "media-units", 16, LISTED, 0},
    {0x11, "Supported Capacity Configuration List", "capacity-configurations", 512, LISTED, 0},
    {0x12, "Feature Identifiers Supported and Effects", "features", 1024, LISTED, 0},
    {0x13, "NVMe-MI Commands Supported and Effects", "mi-commands", 4096, LISTED, 0},
    {0x14, "Command and Feature Lockdown", "lockdown", 512, 257, 0x04},
    {0x15, "Boot Partition", "boot-partition", 16, LISTED, 0},
    {0x16, "Rotational Media Information", "rotational-media", 512, LISTED, 0},
    {0x17, "Dispersed Namespace Participating NVM Subsystems", "dispersed-namespaces", 512, LISTED, 0},
    {0x18, "Management Address List", "management-addresses", 512, LISTED, 0},
    {0x19, "Physical Interface Receiver Eye Opening Measurement", "eye-opening", 512, LISTED, 0},
    {0x1A, "Reachability Groups", "reachability-groups", 512, LISTED, 0},
    {0x1B, "Reachability Associations", "reachability-associations", 512, LISTED, 0},
    {0x1C, "Changed Allocated Namespace List", "changed-allocated-ns", 512, LISTED, 0},
    {0x1D, "Device Personality", "personality", 512, LISTED, 0},
    {0x1E, "Cross-Controller Reset", "cross-controller-reset", 512, LISTED, 0},
    {0x1F, "Lost Host Communication", "lost-host", 512, LISTED, 0},
    {0x20, "FDP Configurations", "fdp-configurations", 16, 98, 0x08},
    {0x21, "FDP Reclaim Unit Handle Usage", "fdp-usage", 8, 98, 0x08},
    {0x22, "FDP Statistics", "fdp-statistics", 64, 98, 0x08},
    {0x23, "FDP Events", "fdp-events", 64, 98, 0x08},
    {0x24, "Manufacturing Default Configuration", "manufacturing-default", 512, LISTED, 0},
    {0x25, "Power Measurement", "power-measurement", 512, LISTED, 0},
    {0x27, "Voltage Measurement", "voltage-measurement", 512, LISTED, 0},
    {0x28, "Rate Limiting", "rate-limiting", 512, LISTED, 0},
    {0x7F, "Sanitize Namespace Status List", "sanitize-namespaces", 512, LISTED, 0},
    {0x80, "Reservation Notification", "reservation", 64, 520, 0x20},
    {0x81, "Sanitize Status", "sanitize", 512, 328, 0x07},
    {0xBF, "Changed Zone List", "changed-zones", 4096, 95, 0x08},
};
TEST(LogPages, AreFoundByIdentifierAndName) {
    const LogPageRow* row = logPagesBegin();
    for (const auto& c : PAGES) {
        ASSERT_NE(row, logPagesEnd());
        EXPECT_EQ(findLogPage(c.lid), row) << c.name;
        EXPECT_EQ(findLogPage(std::string(c.name)), row);
        EXPECT_EQ(findLogPage(std::string(c.shortName)), row) << c.shortName;
        EXPECT_STREQ(row->shortName, c.shortName);
        EXPECT_EQ(row->lid, c.lid) << c.name;
        EXPECT_STREQ(row->name, c.name);
        EXPECT_EQ(row->lengthBytes, c.length) << c.name;
        ++row;
    }
    EXPECT_EQ(row, logPagesEnd());
}

TEST(LogPages, AreThereWhenTheControllerSaysSo) {
    const ControllerCapabilities none = controllerWith({});
    for (const auto& c : PAGES) {
        EXPECT_EQ(findLogPage(c.lid)->isSupportedBy(none), c.offset == 0) << c.name;
        if (c.offset == 0 || c.offset == LISTED) continue;
        EXPECT_TRUE(findLogPage(c.lid)->isSupportedBy(controllerWith({{c.offset, c.bits}}))) << c.name;
    }
}

TEST(LogPages, AreFoundInAnySpelling) {
    for (const char* name : {"smart/healthinformation", "SMART HEALTH INFORMATION", "Smart-Health_Information"})
        EXPECT_EQ(findLogPage(std::string(name)), findLogPage(0x02)) << name;
    for (const char* name : {"", "smar", "sanitize statuses", "2"})
        EXPECT_EQ(findLogPage(std::string(name)), nullptr) << name;
    EXPECT_EQ(findLogPage(0x26), nullptr);
    EXPECT_EQ(findLogPage(0xC0), nullptr) << "the maker's";
}

TEST(LogPages, ReportTheLengthOfTheWhole) {
    const ControllerCapabilities controller = controllerWith({{262, 0x3F}, {516, 0x10}, {540, 0x04}});
    EXPECT_EQ(findLogPage(0x01)->wholeLength(controller, nullptr), 4096U) << "64 entries";

    const uint8_t three[8] = {3};
    EXPECT_EQ(findLogPage(0x0B)->wholeLength(controller, three), 16U) << "8 + 3 * 2, in whole dwords";
    const uint8_t none[8] = {};
    EXPECT_EQ(findLogPage(0x0F)->wholeLength(controller, none), 8U);
    const uint8_t damaged[8] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    EXPECT_EQ(findLogPage(0x0F)->wholeLength(controller, damaged), 131080U) << "as if each identifier were there";

    const uint8_t groups[16] = {0, 0, 0, 0, 0, 0, 0, 0, 2, 1};
    EXPECT_EQ(findLogPage(0x0C)->wholeLength(controller, groups), 16U + 258 * 32 + 4 * 4);

    const uint8_t lbaStatus[16] = {0x59};
    EXPECT_EQ(findLogPage(0x0E)->wholeLength(controller, lbaStatus), 92U) << "89 in whole dwords";
    const uint8_t noLength[16] = {};
    EXPECT_EQ(findLogPage(0x0E)->wholeLength(controller, noLength), 16U) << "never less than the head";
    EXPECT_EQ(findLogPage(0x20)->wholeLength(controller, noLength), 16U) << "the same";

    const uint8_t units[16] = {3, 0, 5};
    EXPECT_EQ(findLogPage(0x10)->wholeLength(controller, units), 88U) << "16 + 3 * (14 + 5 * 2)";
    const uint8_t manyChannels[16] = {1, 0, 0xFF, 0xFF};
    EXPECT_EQ(findLogPage(0x10)->wholeLength(controller, manyChannels), 540U) << "a unit counts them in a byte";
    const uint8_t placement[16] = {0, 0, 0, 0, 0x9E, 0x01};
    EXPECT_EQ(findLogPage(0x20)->wholeLength(controller, placement), 416U) << "414 in whole dwords";
    EXPECT_EQ(findLogPage(0x21)->wholeLength(controller, three), 32U);
    const uint8_t events[64] = {2};
    EXPECT_EQ(findLogPage(0x23)->wholeLength(controller, events), 192U);
}

TEST(LogPages, ReportTheLengthOfWhatTheDecoderDoesNotShow) {
    uint8_t telemetry[512] = {0x08};
    telemetry[8] = 0x09;
    telemetry[11] = 0x01;  // the last block of area 2: 256; area 3 is empty
    EXPECT_EQ(findLogPage(0x07)->longLength(telemetry), 257U * 512);
    EXPECT_EQ(findLogPage(0x08)->longLength(telemetry), 257U * 512);
    uint8_t events[512] = {0x0D};
    EXPECT_EQ(findLogPage(0x0D)->longLength(events), 512U) << "never less than the header";
    events[10] = 0x02;
    EXPECT_EQ(findLogPage(0x0D)->longLength(events), 131072U);
    uint8_t boot[16] = {0x15, 0, 0, 0, 0x02, 0, 0, 0x80};
    EXPECT_EQ(findLogPage(0x15)->longLength(boot), 16U + 2 * 131072) << "bit 31 is the active partition";
    EXPECT_EQ(findLogPage(0x02)->longLength, nullptr) << "the decoder shows the page";
}

TEST(LogPages, TheOcpPageIsKnownByItsGuid) {
    const Layout layout("log_c0_ocp");
    EXPECT_TRUE(isOcpSmart(layout.data()));
    EXPECT_TRUE(isOcpSmart(layout.firstBytes(512)));
    EXPECT_FALSE(isOcpSmart(layout.firstBytes(511)));
    EXPECT_FALSE(isOcpSmart(Payload()));
    for (size_t i = 496; i < 512; ++i) {
        Payload other = layout.data();
        other.at(i) ^= 0x01;
        EXPECT_FALSE(isOcpSmart(other)) << "byte " << i;
    }
}

TEST(LogPages, ShowCodesInWords) {
    EXPECT_EQ(selfTestOperationText(0), "none");
    EXPECT_EQ(selfTestOperationText(1), "short");
    EXPECT_EQ(selfTestOperationText(2), "extended");
    EXPECT_EQ(selfTestOperationText(0xE), "vendor specific");
    EXPECT_EQ(selfTestOperationText(3), "host-initiated refresh");
    EXPECT_EQ(selfTestOperationText(4), "reserved (0x4)");
    EXPECT_EQ(selfTestResultText(0), "completed without error");
    EXPECT_EQ(selfTestResultText(0x9), "aborted due to a sanitize operation");
    EXPECT_EQ(selfTestResultText(0xA), "reserved (0xA)");
    EXPECT_EQ(sanitizeStatusText(0), "the drive has never been sanitized");
    EXPECT_EQ(sanitizeStatusText(3), "the most recent sanitize operation failed");
    EXPECT_EQ(sanitizeStatusText(7), "reserved (0x7)");
}

}  // namespace
}  // namespace features::nvme
