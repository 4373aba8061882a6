#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "features/jobs/erase/FormatJob.h"
#include "features/jobs/firmware/FirmwareImage.h"
#include "features/jobs/health/DriveSelfTestJob.h"
#include "features/jobs/health/scan/DataIntegrity.h"
#include "features/jobs/health/scan/ReadScan.h"
#include "features/jobs/logs/TelemetryLogJob.h"
#include "features/jobs/logs/VelkoLogJob.h"
#include "features/jobs/support/ProgressLine.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TerminalStderr.h"
#include "tests/support/fakedrive/MediaDrive.h"
#include "tests/unit/features/jobs/Commands.h"
#include "tests/unit/features/jobs/FakeClock.h"
#include "tests/unit/features/jobs/JobRun.h"
#include "tests/unit/features/jobs/Models.h"
#include "tests/unit/features/jobs/firmware/FirmwareCommands.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;
using namespace ostrel::interfaces::ostreli;

const std::string CLEAR = "\r\033[K";
constexpr int PATIENCE_MS = 60000;

/// Longer than a line waits before it is drawn.
void linger() {
    std::this_thread::sleep_for(std::chrono::milliseconds(600));
}

/// The text of a line as it is drawn, without the time, which depends on the machine.
std::string drawn(std::string text) {
    const size_t at = text.find(" elapsed");
    if (at != std::string::npos && at >= 7) text.replace(at - 7, 7, "H:MM:SS");
    return text;
}

TEST(ProgressLine, ShowsPercentElapsedTimeAndEstimateAndIsTakenAway) {
    TerminalStderr terminal;
    {
        ProgressLine line("Drive S1 (/dev/nvme0), sanitize", 3723000);
        line.update(37, 100);
        EXPECT_EQ(drawn(terminal.output(PATIENCE_MS)),
                  CLEAR + "Drive S1 (/dev/nvme0), sanitize: 37 %, H:MM:SS elapsed, the drive estimates 1:02:03\r");
    }
    const std::string rest = terminal.output();
    EXPECT_EQ(rest.substr(rest.size() - 5), CLEAR + "\r");
}

TEST(ProgressLine, ShowsNoPercentThatAreNotKnownAndNeverMoreThanAll) {
    TerminalStderr terminal;
    {
        ProgressLine line("a\033b\xC3\xA4");
        line.update(5, 0);
        EXPECT_EQ(drawn(terminal.output(PATIENCE_MS)), CLEAR + "a?b??: H:MM:SS elapsed\r");
    }
    (void)terminal.output();
    ProgressLine line("x");
    line.update(7, 5);
    EXPECT_EQ(drawn(terminal.output(PATIENCE_MS)), CLEAR + "x: 100 %, H:MM:SS elapsed\r");
}

TEST(ProgressLine, IsCutToTheWidthOfTheTerminal) {
    TerminalStderr terminal;
    const ProgressLine line(std::string(200, 'x'));
    EXPECT_EQ(terminal.output(PATIENCE_MS), CLEAR + std::string(99, 'x') + "\r");
}

TEST(ProgressLine, ShowsNothingOfAShortOperation) {
    TerminalStderr terminal;
    {
        const ProgressLine line("x");
    }
    EXPECT_EQ(terminal.output(), "");
}

TEST(ProgressLine, OneIsShownAtATime) {
    TerminalStderr terminal;
    const ProgressLine first("first");
    {
        const ProgressLine second("second");
        linger();
    }
    EXPECT_EQ(drawn(terminal.output(PATIENCE_MS)), CLEAR + "first: H:MM:SS elapsed\r");
}

TEST(ProgressLine, IsNotShownUnrequestedOrWhereTheTerminalCannot) {
    TerminalStderr terminal;
    const struct {
        const char* wish;
        const char* terminal;
    } CASES[] = {{"none", "xterm"}, {"", "xterm"}, {"stderr", "dumb"}};
    std::vector<std::unique_ptr<ProgressLine>> lines;
    for (const auto& c : CASES) {
        setenv("NIMBREL_PROGRESS", c.wish, 1);
        setenv("TERM", c.terminal, 1);
        lines.push_back(std::make_unique<ProgressLine>(std::string(c.wish) + " on " + c.terminal));
    }
    unsetenv("NIMBREL_PROGRESS");
    lines.push_back(std::make_unique<ProgressLine>("not wished"));
    linger();
    EXPECT_EQ(terminal.output(), "");
}

TEST(ProgressLine, WritesNothingIntoAPipe) {
    const FileDescriptor before(dup(STDERR_FILENO));
    int ends[2] = {-1, -1};
    ASSERT_EQ(pipe2(ends, O_NONBLOCK), 0);
    const FileDescriptor reading(ends[0]);
    FileDescriptor writing(ends[1]);
    {
        TerminalStderr terminal;
        dup2(writing.get(), STDERR_FILENO);
        const ProgressLine line("x");
        linger();
    }
    char byte = 0;
    EXPECT_EQ(read(reading.get(), &byte, 1), -1) << "nothing, and the end is still open";
}

TEST(ProgressLine, AStoppedTerminalHoldsNothingUp) {
    TerminalStderr terminal;
    terminal.stop(true);
    {
        ProgressLine line("x");
        line.update(1, 2);
        linger();
    }
    terminal.stop(false);
    EXPECT_EQ(terminal.output(), "") << "what was not shown need not be taken away";
}

const TerminalStderr* terminalOfRun = nullptr;

/// Takes until a line was drawn.
void awaitLine() {
    ASSERT_TRUE(terminalOfRun->awaitOutput(PATIENCE_MS));
}

/// What a run of `operation` shows first.
template <typename Operation>
std::string shownBy(Operation operation) {
    TerminalStderr terminal;
    terminalOfRun = &terminal;
    operation();
    const std::string text = terminal.output();
    const size_t end = text.find('\r', 1);
    return end == std::string::npos ? text : drawn(text.substr(CLEAR.size(), end - CLEAR.size()));
}

/// A wait that takes real time too.
class PatientClock : public FakeClock {
public:
    void sleepMs(uint64_t milliseconds) const override {
        awaitLine();
        FakeClock::sleepMs(milliseconds);
    }
};

TEST(ProgressLine, IsShownInTheWaitForASelfTest) {
    DriveSelfTestJob job(std::make_shared<PatientClock>());
    FakeDrive drive;
    drive.expect(identify(0x01).answers(identifyController().le16(256, 0x0010).le16(316, 90)))
        .expect(Expected::admin(0x14).nsid(0xFFFFFFFF).dword(10, 2))
        .expect(lookAtLog(0x06, 564).answers(DriveBytes(564).byte(0, 2).byte(1, 42)))
        .expect(lookAtLog(0x06, 564).answers(DriveBytes(564).byte(4, 0x20)));
    EXPECT_EQ(shownBy([&] {
                  (void)JobRun(job, JOBTYPE_METHOD).with("TestType", "extended").with("Mode", "captive").on({&drive});
              }),
              "Drive S1 (/dev/nvme0), self-test: 42 %, H:MM:SS elapsed, the drive estimates 1:30:00");
}

TEST(ProgressLine, IsShownInTheWaitForASanitizeOperation) {
    FormatJob job(std::make_shared<PatientClock>());
    const DriveBytes idle = DriveBytes(512).le32(12, 1200);
    FakeDrive drive;
    drive.expect(hostUses({unusedNamespace(1)}))
        .expect(identify(0x01).answers(identifyController().le32(328, 2)))
        .expect(lookAtLog(0x81, 512).answers(idle))
        .expect(hostUses({unusedNamespace(1)}))
        .expect(Expected::admin(0x84).dword(10, 2))
        .expect(lookAtLog(0x81, 512).answers(DriveBytes(512).le16(0, 16384).le16(2, 2)))
        .expect(lookAtLog(0x81, 512).answers(DriveBytes(512).le16(0, 65535).le16(2, 1)))
        .expect(Expected::host(transport::HostRequest::RESCAN));
    EXPECT_EQ(shownBy([&] {
                  (void)JobRun(job, JOBTYPE_METHOD)
                      .naming("S1")
                      .with("Type", "Sanitize")
                      .with("SanitizeAction", "2")
                      .with("Force", "false")
                      .on({&drive});
              }),
              "Drive S1 (/dev/nvme0), sanitize: 25 %, H:MM:SS elapsed, the drive estimates 0:20:00");
}

TEST(ProgressLine, IsShownInTheWaitForAFormat) {
    FormatJob job(std::make_shared<PatientClock>());
    FakeDrive drive;
    drive.expect(hostUses({unusedNamespace(1)}))
        .expect(identify(1).answers(identifyController().le16(256, 0x0002)))
        .expect(identify(0, 1).answers(identifyNamespace(1000)))
        .expect(hostUses({unusedNamespace(1)}))
        .expect(Expected::admin(0x80).nsid(1))
        .expect(identify(0, 1).answers(identifyNamespace(1000).byte(32, 0x80 | 60)))
        .expect(identify(0, 1).answers(identifyNamespace(1000).byte(32, 0x80)))
        .expect(Expected::host(transport::HostRequest::RESCAN));
    EXPECT_EQ(shownBy([&] {
                  (void)JobRun(job, JOBTYPE_METHOD).with("Type", "NVMeFormat").with("NamespaceId", "1").on({&drive});
              }),
              "Drive S1 (/dev/nvme0), format: 40 %, H:MM:SS elapsed");
}

TEST(ProgressLine, IsShownWhileFirmwareIsDownloaded) {
    const std::string image = firmwareImage(16384);
    FakeDrive drive;
    drive.expect(identify(0x01).answers(firmwareController(0x02)))
        .expect(download(image, 0, 8192))
        .expect(download(image, 8192, 8192).then(awaitLine));
    nvme::Drive nvme(*drive.device());
    EXPECT_EQ(shownBy([&] { (void)downloadFirmware(nvme, image, 4096); }),
              "Drive S1 (/dev/nvme0), firmware download: 50 %, H:MM:SS elapsed");
}

TEST(ProgressLine, IsShownWhileALongLogIsRead) {
    const auto piece = [](uint32_t bytes, uint64_t offset, uint8_t lsp) {
        return logPage(0x07, bytes, offset).dword(10, 0x07 | uint32_t{lsp} << 8 | (bytes / 4 - 1) << 16);
    };
    const DriveBytes header = DriveBytes(512).byte(0, 7).le16(8, 32);
    FakeDrive drive;
    drive.expect(identify(0x01).answers(identifyController().byte(77, 1).byte(261, 0x0C)))
        .expect(piece(512, 0, 1).answers(header))
        .expect(piece(8192, 512, 0).answers(DriveBytes(8192)))
        .expect(piece(8192, 8704, 0).answers(DriveBytes(8192)).then(awaitLine))
        .expect(piece(512, 0, 0).answers(header));
    TelemetryLogJob job;
    EXPECT_EQ(shownBy([&] { (void)JobRun(job, JOBTYPE_METHOD).on({&drive}); }),
              "Drive S1 (/dev/nvme0), log page 0x07: 50 %, H:MM:SS elapsed");
}

TEST(ProgressLine, IsShownWhileALogOfTheMakersIsRead) {
    FakeDrive drive;
    velko(drive)
        .expect(identify(0x01).answers(identifyController()))
        .expect(lookAtLog(0xD3, 64).answers(DriveBytes(64).text(0, "NLOG", 4).put(4, {1, 0, 0x40, 0}).le64(8, 72)))
        .expect(logPage(0xD3, 8, 64).dword(10, 0x000180D3).answers(DriveBytes(8)).then(awaitLine));
    VelkoLogJob job(JOB_NLOG);
    EXPECT_EQ(shownBy([&] { (void)JobRun(job, JOBTYPE_METHOD).on({&drive}); }),
              "Drive S1 (/dev/nvme0), log page 0xD3: H:MM:SS elapsed");
}

TEST(ProgressLine, IsShownInAReadScan) {
    MediaDrive drive(5000);
    drive.gathers = 100;  // never so many at once: the first ones wait
    drive.gatherMs = 600;
    nvme::Drive nvme(*drive.device());
    ReadScanRequest request;
    request.nsid = 1;
    EXPECT_EQ(shownBy([&] { (void)readScan(nvme, request); }),
              "Drive S1 (/dev/nvme0), read scan of namespace 1: H:MM:SS elapsed");
}

TEST(ProgressLine, IsShownInADataIntegrityScan) {
    const TemporaryFolder folder;
    std::string shown;
    // Until it takes long enough on this machine.
    for (uint64_t bytes = uint64_t{16} << 20; shown.empty() && bytes <= uint64_t{4} << 30; bytes *= 2)
        shown = shownBy([&] { (void)checkDataIntegrity(folder / "", bytes); });
    const std::string begin = "Data integrity scan of " + (folder / "") + ": ";
    EXPECT_EQ(shown.substr(0, begin.size()), begin);
    EXPECT_NE(shown.find(" %, H:MM:SS elapsed"), std::string::npos) << shown;
}

}  // namespace
}  // namespace features::jobs
