#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "features/jobs/support/TrustedInput.h"
#include "tests/support/StatusText.h"
#include "tests/support/TemporaryFolder.h"

namespace features::jobs {
namespace {

class TrustedInputTest : public testing::Test {
protected:
    TrustedInputTest() : path_(std::filesystem::canonical(folder_ / ".") / "input") {}

    std::string read(uint64_t maxBytes = 8) {
        const auto contents = readTrustedInput(path_, maxBytes);
        return contents ? *contents : statusText(contents);
    }
    std::string refusal(const std::string& reason) {
        return "10/54 Failed reading a file necessary for the feature. '" + path_ + "'" + reason;
    }

    const TemporaryFolder folder_;
    const std::string path_;
};

TEST_F(TrustedInputTest, AFileOfTheUserIsRead) {
    writeWholeFile(path_, "contents");
    EXPECT_EQ(read(), "contents");
    EXPECT_EQ(read(7), refusal(": it has 8 bytes, and at most 7 can be taken."));
}

TEST_F(TrustedInputTest, WhatOthersCanChangeIsRefused) {
    writeWholeFile(path_, "contents");
    ASSERT_EQ(chmod(path_.c_str(), 0666), 0);
    EXPECT_EQ(read(), refusal(" can be written by others than its owner (mode 0666)."));
}

TEST_F(TrustedInputTest, WhatIsNoRegularFileIsNotOpened) {
    EXPECT_EQ(read(), refusal(": No such file or directory."));
    std::filesystem::create_symlink(folder_ / "other", path_);
    writeWholeFile(folder_ / "other", "contents");
    EXPECT_EQ(read(), refusal(": a symbolic link."));
    std::filesystem::remove(path_);
    std::filesystem::create_directory(path_);
    EXPECT_EQ(read(), refusal(": not a regular file."));
}

}  // namespace
}  // namespace features::jobs
