#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>

#include "tests/support/FileSizeLimit.h"
#include "tests/unit/features/simulator/FirmwareImageBytes.h"
#include "tests/unit/features/simulator/SimulatedDrive.h"

namespace {

namespace fs = std::filesystem;

constexpr uint16_t INTERNAL_ERROR = 0x0006;

class DownloadToASimulatedDrive : public SimulatedDrive {
protected:
    /// Sends so many bytes of the image from an offset on.
    uint16_t send(uint32_t offset, uint32_t bytes) {
        data = part(image_, offset, bytes);
        return status(admin(0x11, 0, bytes / 4 - 1, offset / 4));
    }
    /// Into slot 2, to be activated by a reset.
    uint16_t commit() {
        data.clear();
        return status(admin(0x10, 0, 1 << 3 | 2));
    }
    std::string revisionOfSlot2() { return text(log(0x03, 512), 16, 8); }

    const fs::path download_ = path() + "/firmware-download";
    Bytes image_ = firmwareImage("NEW12345", 1, 8192);
};

TEST_F(DownloadToASimulatedDrive, IsNotTakenFromNorPutIntoWhatIsNoFile) {
    const fs::path other = folder / "other";
    writeWholeFile(other, "another's");
    const struct {
        const char* what;
        std::function<void()> make;
    } intruders[] = {
        {"folder", [&] { fs::create_directory(download_); }},
        {"pipe", [&] { ASSERT_EQ(::mkfifo(download_.c_str(), 0600), 0); }},
        {"link", [&] { fs::create_symlink(other, download_); }},
        {"too large",
         [&] {
             writeWholeFile(download_, "");
             ASSERT_EQ(::truncate(download_.c_str(), (32 << 20) + 1), 0);
         }},
    };
    for (const auto& intruder : intruders) {
        EXPECT_EQ(send(0, 4096), 0) << intruder.what;
        fs::remove(download_);
        intruder.make();
        EXPECT_EQ(send(4096, 4096), INTERNAL_ERROR) << intruder.what;
        EXPECT_EQ(commit(), INTERNAL_ERROR) << intruder.what;
        fs::remove(download_);
    }
    EXPECT_EQ(readWholeFile(other), "another's");
    EXPECT_EQ(revisionOfSlot2(), std::string(8, '\0'));
    EXPECT_EQ(send(0, 4096), 0);
    EXPECT_EQ(send(4096, 4096), 0);
    EXPECT_EQ(commit(), 0);
    EXPECT_EQ(revisionOfSlot2(), "NEW12345");
}

TEST_F(DownloadToASimulatedDrive, BeginsAgainWithoutWhatCannotBeRemoved) {
    fs::create_directory(download_);
    EXPECT_EQ(send(0, 4096), INTERNAL_ERROR);
    EXPECT_TRUE(fs::is_directory(download_));
}

TEST_F(DownloadToASimulatedDrive, APieceThatHasNoRoomIsSentAgain) {
    image_ = firmwareImage("NEW12345", 1, 256 << 10);
    EXPECT_EQ(send(0, 131072), 0);
    {
        const FileSizeLimit limit(131072 + 4096);
        EXPECT_EQ(send(131072, 131072), INTERNAL_ERROR);
    }
    EXPECT_GT(fs::file_size(download_), 131080U) << "a part of it is there";
    EXPECT_EQ(send(131072, 131072), 0);
    EXPECT_EQ(commit(), 0);
    EXPECT_EQ(revisionOfSlot2(), "NEW12345");
}

/// A process that died over a piece: less follows its head than the head says.
TEST_F(DownloadToASimulatedDrive, APieceThatWasCutOffIsNone) {
    EXPECT_EQ(send(0, 4096), 0);
    EXPECT_EQ(send(4096, 4096), 0);
    for (const uintmax_t left : {uintmax_t{8207}, uintmax_t{4112}, uintmax_t{4108}}) {
        fs::resize_file(download_, left);
        EXPECT_EQ(commit(), 0x4107) << "no whole image";
    }
    EXPECT_EQ(send(4096, 4096), 0);
    EXPECT_EQ(fs::file_size(download_), 8208U) << "it took the place of what was cut off";
    EXPECT_EQ(commit(), 0);
    EXPECT_EQ(revisionOfSlot2(), "NEW12345");
}

}  // namespace
