#include "features/simulator/controller/StateCheck.h"
#include "features/simulator/store/DriveFolder.h"
#include "tests/unit/features/simulator/SimulatedDrive.h"

namespace {

class TelemetryOfASimulatedDrive : public SimulatedDrive {
protected:
    /// A piece of log 07h or 08h, with Retain Asynchronous Event.
    Bytes piece(uint8_t lid, uint32_t offset, uint32_t bytes, uint8_t lsp = 0, bool retain = true) {
        const uint32_t dword10 = lid | static_cast<uint32_t>(lsp) << 8 | (retain ? 0x8000 : 0) | (bytes / 4 - 1) << 16;
        EXPECT_EQ(status(admin(0x02, 0, dword10, 0, offset)), 0);
        return data;
    }
    void failARead() {
        description.faults.mediaErrors = {{1, 10, 1}};
        describe();
        EXPECT_EQ(status(io(0x02, 1, 10)), 0x4281);
    }
};

TEST_F(TelemetryOfASimulatedDrive, IsEmptyUntilItIsCreated) {
    Bytes header(512);
    header[0] = 0x07;
    header[5] = 0x4C;  // OUI 02-56-4C
    header[6] = 0x56;
    header[7] = 0x02;
    EXPECT_EQ(piece(0x07, 0, 512), header);
    header[0] = 0x08;
    EXPECT_EQ(piece(0x08, 0, 512), header);
}

TEST_F(TelemetryOfASimulatedDrive, CaptureHasThreeAreas) {
    const Bytes header = piece(0x07, 0, 512, 1);
    EXPECT_EQ(part(header, 0, 14), (Bytes{7, 0, 0, 0, 0, 0x4C, 0x56, 2, 2, 0, 10, 0, 11, 0}));
    EXPECT_EQ(part(header, 381, 3), (Bytes{1, 0, 0})) << "the host's first capture, none of the controller's";
    EXPECT_EQ(text(header, 384, 128), "Asked for by the host" + std::string(107, '\0'));
    EXPECT_EQ(piece(0x07, 512, 512), log(0x02, 512)) << "area 1 begins with the SMART log";
    EXPECT_EQ(text(piece(0x07, 1024, 512), 0, 400),
              "serial number: SIM1\n"
              "captured at: 1795197600000\n"
              "milliseconds since reset: 0\n"
              "bytes read: 0\n"
              "bytes written: 0\n"
              "active firmware slot: 1\n"
              "firmware slot 1: VSIM0100\n"
              "firmware slot 2: \n"
              "firmware slot 3: \n"
              "firmware slot 4: \n"
              "self-test: 0\n"
              "sanitize status: 0\n"
              "namespace 1 size: 131072\n"
              "namespace 1 format: 0\n" +
                  std::string(111, '\0'));
    EXPECT_EQ(piece(0x07, 1536, 4096), log(0x01, 4096)) << "area 2 holds the error log";
    EXPECT_EQ(part(piece(0x07, 5632, 512), 0, 20),
              (Bytes{0x0D, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 1, 0, 0xEC, 1}))
        << "area 3 holds the persistent event log";
}

TEST_F(TelemetryOfASimulatedDrive, CaptureIsUnchangedUntilTheNext) {
    const Bytes whole = piece(0x07, 0, 6144, 1);
    clock.advanceMs(3600000);
    data.assign(4096, 1);
    EXPECT_EQ(status(io(0x01, 1, 0, 0, 7)), 0);
    EXPECT_EQ(status(admin(0xFF)), 0x4001);
    reopen();
    Bytes pieces;
    for (uint32_t at = 0; at < 6144; at += 512) {
        const Bytes next = piece(0x07, at, 512);
        pieces.insert(pieces.end(), next.begin(), next.end());
    }
    EXPECT_EQ(pieces, whole);

    const Bytes second = piece(0x07, 0, 5632, 1);
    EXPECT_EQ(second[381], 2);
    EXPECT_EQ(text(second, 1024, 130),
              "serial number: SIM1\n"
              "captured at: 1795201200000\n"
              "milliseconds since reset: 3600000\n"
              "bytes read: 0\n"
              "bytes written: 4096\n"
              "active firmware");
    EXPECT_EQ(number(second, 1536, 8), 1U) << "the refused command";
    EXPECT_EQ(second[512 + 80], 1) << "the write";
}

TEST_F(TelemetryOfASimulatedDrive, GenerationRunsOver) {
    describe();
    features::simulator::DriveFolder drive(path(), features::simulator::impossibleIn);
    EXPECT_TRUE(succeeded(drive.begin()));
    drive.state.extensions["telemetry"] = {255, 0, 0};
    EXPECT_TRUE(succeeded(drive.commit()));
    EXPECT_EQ(piece(0x07, 0, 512)[381], 255);
    EXPECT_EQ(piece(0x07, 0, 512, 1)[381], 0);
}

TEST_F(TelemetryOfASimulatedDrive, ControllerCapturesWhenMediaFails) {
    failARead();
    EXPECT_EQ(part(piece(0x07, 0, 512), 381, 3), (Bytes{0, 1, 1})) << "the host's log reports it";
    const Bytes whole = piece(0x08, 0, 7168);
    EXPECT_EQ(part(whole, 0, 14), (Bytes{8, 0, 0, 0, 0, 0x4C, 0x56, 2, 2, 0, 10, 0, 13, 0}));
    EXPECT_EQ(part(whole, 381, 3), (Bytes{0, 1, 1}));
    EXPECT_EQ(text(whole, 384, 128), "Media and data integrity error" + std::string(98, '\0'));
    EXPECT_EQ(number(whole, 512 + 160, 8), 1U) << "the SMART log's media errors";
    EXPECT_EQ(number(whole, 1536 + 16, 8), 10U) << "the error log's block";
    EXPECT_EQ(number(whole, 5632 + 4, 4), 3U) << "power-on, SMART snapshot, media error";

    failARead();
    EXPECT_EQ(piece(0x08, 0, 7168), whole) << "not before the host has this one";
    EXPECT_EQ(part(piece(0x08, 0, 512, 0, false), 381, 3), (Bytes{0, 1, 1}));
    EXPECT_EQ(part(piece(0x08, 0, 512), 381, 3), (Bytes{0, 0, 1})) << "it was read without Retain";
    EXPECT_EQ(piece(0x08, 512, 6656), part(whole, 512, 6656)) << "the data are there until the next capture";
    failARead();
    EXPECT_EQ(part(piece(0x08, 0, 512), 381, 3), (Bytes{0, 1, 2}));
}

TEST_F(TelemetryOfASimulatedDrive, RefusesWhatIsNoPartOfIt) {
    const auto get = [](uint32_t dword10, uint32_t offset) { return admin(0x02, 0, dword10, 0, offset); };
    piece(0x07, 0, 512, 1);
    EXPECT_EQ(status(get(0x007F0007, 4)), 0x4002) << "no whole block";
    EXPECT_EQ(status(get(0x007F0007, 6144)), 0x4002) << "after the end";
    EXPECT_EQ(status(get(0x007F0207, 0)), 0x4002) << "no such bit in LSP";
    EXPECT_EQ(status(get(0x007F0108, 0)), 0x4002) << "the host does not create the controller's";
    EXPECT_EQ(status(get(0x007F0107, 71680)), 0x4002);
    EXPECT_EQ(piece(0x07, 0, 512)[381], 1) << "a refused command captures nothing";
    description.supportsTelemetry = false;
    describe();
    EXPECT_EQ(status(get(0x007F0007, 0)), 0x4109);
    EXPECT_EQ(status(get(0x007F0008, 0)), 0x4109);
    EXPECT_EQ(identify(0x01)[261] & 0x08, 0) << "LPA";
}

}  // namespace
