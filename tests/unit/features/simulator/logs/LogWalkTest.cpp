#include <algorithm>

#include "features/nvme/Bytes.h"
#include "features/nvme/LogPages.h"
#include "features/nvme/NvmeVersions.h"
#include "features/nvme/VelkoLogPages.h"
#include "features/parsers/PersistentEventLog.h"
#include "features/parsers/TelemetryLog.h"
#include "tests/support/Golden.h"
#include "tests/unit/features/nvme/TreeText.h"
#include "tests/unit/features/simulator/FirmwareImageBytes.h"
#include "tests/unit/features/simulator/SimulatedDrive.h"

using namespace features;
using ostrel::core::Payload;
using simulator::ModelId;
using simulator::ResetKind;

namespace {

/// Reads every log page that log page 00h names, and decodes it.
class LogsOfASimulatedDrive : public SimulatedDrive {
protected:
    /// A life that leaves something in every log.
    void live() {
        clock.advanceMs(1000);
        data = {0x00, 0xB0, 0xF9, 0xFA, 0xA1, 0x01, 0, 0};
        EXPECT_EQ(status(admin(0x09, 0, 0x0E)), 0);
        EXPECT_EQ(status(admin(0x09, 0, 0x80000004, 0x0157)), 0);
        work();
        manage();
        EXPECT_EQ(status(admin(0x14, 1, 1)), 0);
        clock.advanceMs(10000);
        updateFirmware();
        EXPECT_EQ(status(admin(0x84, 0, 2)), 0);
        clock.advanceMs(10000);
        work();
        EXPECT_TRUE(succeeded(controller->reset(ResetKind::SUBSYSTEM)));
        clock.advanceMs(90000000);
        description.faults.mediaErrors = {{1, 5, 1}};
        description.faults.temperatureCelsius = 90;
        describe();
        EXPECT_EQ(status(io(0x02, 1, 0, 0, 7)), 0x4281);
        EXPECT_EQ(status(admin(0xFF)), 0x4001);
    }
    void work() {
        for (uint32_t i = 0; i < 40; ++i) {
            data.assign(65536, static_cast<uint8_t>(i));
            EXPECT_EQ(status(io(0x01, 1, i * 128, 0, (65536 >> shift) - 1)), 0);
            EXPECT_EQ(status(io(0x02, 1, i * 64, 0, (65536 >> shift) - 1)), 0);
        }
    }
    void manage() {
        EXPECT_EQ(status(admin(0x0D, 1, 1)), 0);
        data.assign(4096, 0);
        // 32 MiB in blocks of format 1.
        const bool isOcp = features::simulator::isOfOcp(description.model);
        data[isOcp ? 1 : 2] = data[isOcp ? 9 : 10] = isOcp ? 0x20 : 0x01;
        data[26] = 1;
        EXPECT_EQ(status(admin(0x0D)), 0);
        data.assign(4096, 0);
        data[0] = data[2] = 1;
        EXPECT_EQ(status(admin(0x15, 1)), 0);
        EXPECT_EQ(status(admin(0x80, 1, 0x200 | (isOcp ? 1 : 2))), 0);
        shift = 12;
    }
    void updateFirmware() {
        data = firmwareImage("NEW12345", 0, 8192, text(identify(1), 24, 40));
        EXPECT_EQ(status(admin(0x11, 0, 2047)), 0);
        EXPECT_EQ(status(admin(0x10, 0, 3 << 3 | 2)), 0);
    }

    /// The first bytes of a page; an action goes with logs 07h and 0Dh.
    Bytes head(uint8_t lid, uint32_t bytes) { return log(lid, bytes, lid == 0x07 || lid == 0x0D ? 1 : 0); }
    std::string walk() {
        std::string text;
        const Bytes supported = log(0x00, 1024);
        const Bytes identity = identify(1);
        for (unsigned lid = 0; lid < 256; ++lid) {
            if (number(supported, 4 * lid, 4) == 0) continue;
            text.append("== " + nvme::hexText(lid, 2) + " ==\n")
                .append(pageText(static_cast<uint8_t>(lid), identity))
                .append("\n");
        }
        return text;
    }
    std::string pageText(uint8_t lid, const Bytes& identity) {
        if (lid == 0x0D) return eventLogText();
        if (lid == 0xC0) return ocpSmartText();
        const nvme::LogPageRow* row = nvme::findLogPage(lid);
        if (row == nullptr) row = nvme::findVelkoLogPage(lid);
        if (row == nullptr) return dump(head(lid, lid == 0xC1 || lid == 0xC3 ? 512 : 4096));
        Bytes page = row->lengthBytes == 0 ? Bytes() : head(lid, row->lengthBytes);
        const nvme::ControllerCapabilities controllerData(identity.data());
        if (row->wholeLength != nullptr) {
            page = head(lid, static_cast<uint32_t>(row->wholeLength(controllerData, page.data())));
        }
        return treeText(row->decode(payload(page), nvme::majorAndMinor(controllerData.version)));
    }
    std::string ocpSmartText() {
        Bytes page = head(0xC0, 512);
        std::fill_n(page.begin() + 152, 8, uint8_t{0});  // NUSE: the file system's affair
        return treeText(nvme::decodeOcpSmart(payload(page)));
    }
    std::string eventLogText() {
        const auto length = static_cast<uint32_t>(number(head(0x0D, 512), 8, 8));
        Bytes page = log(0x0D, (length + 3) / 4 * 4);
        page.resize(length);
        log(0x0D, 512, 2);
        const auto parsed = parsers::parsePersistentEventLog(page.data(), page.size());
        return treeText(parsed.tree) + parsed.damageText();
    }
    static Payload payload(const Bytes& bytes) { return Payload(bytes.data(), static_cast<uint32_t>(bytes.size())); }
    /// A page without a decoder: its lines of 16 bytes that hold something.
    static std::string dump(const Bytes& page) {
        std::string text;
        for (size_t at = 0; at < page.size(); at += 16) {
            if (part(page, at, 16) == Bytes(16)) continue;
            text += nvme::hexText(at, 4) + ":";
            for (size_t i = 0; i < 16; ++i) text += " " + nvme::hexText(page[at + i], 2).substr(2);
            text += "\n";
        }
        return text;
    }
    static std::string golden(const char* name) { return std::string(SIMULATOR_TEST_DATA "/goldens/") + name; }

    unsigned shift = 9;
};

TEST_F(LogsOfASimulatedDrive, OfTheMakersModel) {
    live();
    expectGolden(golden("velko-logs.txt"), walk());
}

TEST_F(LogsOfASimulatedDrive, OfTheOcpModel) {
    describe(ModelId::OCP);
    live();
    expectGolden(golden("ocp-logs.txt"), walk());
}

TEST_F(LogsOfASimulatedDrive, TelemetryOfADriveOfOcp26) {
    describe(ModelId::OCP_2_6);
    live();
    const Bytes head = log(0x07, 512, 1);
    Bytes telemetry = log(0x07, static_cast<uint32_t>((number(head, 12, 2) + 1) * 512));
    std::fill_n(telemetry.begin() + 512 + 1024 + 152, 8, uint8_t{0});  // NUSE in the copy of log page C0h
    const Bytes names = log(0xC9, static_cast<uint32_t>(number(log(0xC9, 64), 32, 8) * 4));
    const auto parsed = parsers::parseTelemetryLog(telemetry.data(), telemetry.size(), payload(names));
    EXPECT_EQ(parsed.damageText(), "");
    expectGolden(golden("ocp-2.6-telemetry.txt"), treeText(parsed.tree));
}

TEST_F(LogsOfASimulatedDrive, OfDrivesThatWereNeverUsed) {
    expectGolden(golden("velko-logs-new.txt"), walk());
    describe(ModelId::OCP);
    reopen();
    expectGolden(golden("ocp-logs-new.txt"), walk());
}

}  // namespace
