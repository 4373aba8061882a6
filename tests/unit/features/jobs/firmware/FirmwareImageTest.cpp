#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "features/jobs/firmware/FirmwareImage.h"
#include "ostrel/core/StatusCatalogue.h"
#include "tests/support/StatusText.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/unit/features/jobs/Commands.h"
#include "tests/unit/features/jobs/firmware/FirmwareCommands.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;

constexpr const char* GOOD = "0/0 Completed successfully.";

/// What comes of reading the file.
std::string read(const std::string& path) {
    const auto image = readFirmwareImage(path);
    EXPECT_EQ(image.value_or(""), image ? readWholeFile(path) : "");
    return statusText(image);
}

TEST(FirmwareImage, OnlyAFileThatCanBeFirmwareIsRead) {
    const TemporaryFolder folder;
    const std::string unreadable = "10/54 Failed reading a file necessary for the feature. '";
    writeWholeFile(folder / "good", firmwareImage(8));
    EXPECT_EQ(read(folder / "good"), GOOD);

    EXPECT_EQ(read(folder / "missing"), unreadable + (folder / "missing") + "': No such file or directory.");
    EXPECT_EQ(read(folder / ""), unreadable + (folder / "") + "': not a regular file.");
    std::filesystem::create_symlink(folder / "good", folder / "link");
    EXPECT_EQ(read(folder / "link"), unreadable + (folder / "link") + "': a symbolic link.");
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(read(folder / "pipe"), unreadable + (folder / "pipe") + "': not a regular file.");

    writeWholeFile(folder / "empty", "");
    EXPECT_EQ(read(folder / "empty"), "10/221 No input source binary provided. '" + (folder / "empty") + "' is empty.");
    writeWholeFile(folder / "odd", "12345");
    EXPECT_EQ(read(folder / "odd"),
              "10/52 Failed to load firmware. '" + (folder / "odd") + "' has 5 bytes, which is no multiple of 4.");
    writeWholeFile(folder / "large", "");
    std::filesystem::resize_file(folder / "large", 268435460);  // no disk is needed for a hole
    EXPECT_EQ(read(folder / "large"), "10/223 Provided firmware binary is too large. '" + (folder / "large") +
                                          "': it has 268435460 bytes, and at most 268435456 can be taken.");
}

const std::string DRIVE = "10/52 Failed to load firmware. Drive S1 (/dev/nvme0) takes firmware in multiples of ";

TEST(FirmwareImage, TheGranularityIsCheckedCaseByCase) {
    const struct {
        uint8_t fwug;
        uint8_t mdts;
        uint64_t imageBytes;
        uint32_t granularity;  // when it is good
        std::string fault;
        const char* why;
    } cases[] = {
        {1, 1, 8192, 4096, "", "two units"},
        {1, 1, 4100, 0,
         "10/52 Failed to load firmware. The image has 4100 bytes, and drive S1 (/dev/nvme0) takes multiples of 4096 "
         "bytes.",
         "the last piece would not be a whole unit"},
        {2, 1, 16384, 8192, "", "one unit in each transfer"},
        {2, 1, 12288, 0,
         "10/52 Failed to load firmware. The image has 12288 bytes, and drive S1 (/dev/nvme0) takes multiples of 8192 "
         "bytes.",
         "one unit and a half"},
        {3, 1, 12288, 0, DRIVE + "12288 bytes, more than one command can carry.", "a unit is more than a transfer"},
        {254, 0, 1040384, 0, DRIVE + "1040384 bytes, more than one command can carry.", "256 KiB without a limit"},
        {0, 1, 4100, 4096, "", "the drive reports nothing"},
        {255, 1, 4100, 4, "", "the drive takes anything"},
    };
    for (const auto& c : cases) {
        FakeDrive fake;
        fake.expect(identify(0x01).answers(firmwareController(0x02, "FW1", c.fwug, c.mdts)));
        nvme::Drive drive(*fake.device());
        const auto granularity = checkFirmwareImage(drive, c.imageBytes);
        EXPECT_EQ(statusText(granularity), c.fault.empty() ? GOOD : c.fault) << c.why;
        EXPECT_EQ(granularity.value_or(0), c.granularity) << c.why;
    }
}

/// Sends an image to a drive with transfers of 8 KiB.
class FirmwareDownloadTest : public testing::Test {
protected:
    std::string send(size_t bytes, uint32_t granularity) {
        image_.resize(bytes);
        nvme::Drive drive(*fake_.device());
        return statusText(downloadFirmware(drive, image_, granularity));
    }
    Expected controller() { return identify(0x01).answers(firmwareController(0x02)); }

    FakeDrive fake_;
    std::string image_ = firmwareImage(64 * 1024);
};

TEST_F(FirmwareDownloadTest, PiecesAreAsLargeAsATransferAndTheLastIsExact) {
    fake_.expect(controller())
        .expect(download(image_, 0, 8192))
        .expect(download(image_, 8192, 8192))
        .expect(download(image_, 16384, 4));
    EXPECT_EQ(send(16388, 4096), GOOD);
    fake_.expect(controller()).expect(download(image_, 0, 8192)).expect(download(image_, 8192, 8192));
    EXPECT_EQ(send(16384, 4096), GOOD) << "no empty piece after a whole one";
}

TEST_F(FirmwareDownloadTest, PiecesAreMultiplesOfTheGranularity) {
    image_ = firmwareImage(24 * 1024);
    fake_.expect(identify(0x01).answers(firmwareController(0x02, "FW1", 3, 2)))
        .expect(download(image_, 0, 12288))
        .expect(download(image_, 12288, 12288));
    EXPECT_EQ(send(24576, 12288), GOOD);
}

TEST_F(FirmwareDownloadTest, WhatTheSystemDoesNotTakeIsHalvedAndStaysSo) {
    const Status tooMuch = statuses::invalidTransferSize();
    fake_.expect(controller())
        .expect(download(image_, 0, 8192).breaks(tooMuch))
        .expect(download(image_, 0, 4096))
        .expect(download(image_, 4096, 4096))
        .expect(download(image_, 8192, 4096));
    EXPECT_EQ(send(12288, 4096), GOOD);
    fake_.expect(controller()).expect(download(image_, 0, 8192).breaks(tooMuch));
    EXPECT_EQ(send(16384, 8192), DRIVE + "8192 bytes, more than one command can carry.");
}

TEST_F(FirmwareDownloadTest, ARefusalEndsIt) {
    fake_.expect(controller()).expect(download(image_, 0, 8192)).expect(download(image_, 8192, 8192).refuses(0x4114));
    EXPECT_EQ(
        send(32768, 4096),
        "10/52 Failed to load firmware. Firmware Image Download failed on drive S1 (/dev/nvme0): Overlapping Range "
        "(status code type 0x1, status code 0x14, opcode 0x11).");
    fake_.expect(controller()).expect(download(image_, 0, 8192).breaks(gone()));
    EXPECT_EQ(send(32768, 4096), "0/70 The drive /dev/nvme0 is gone.");
}

}  // namespace
}  // namespace features::jobs
