#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "features/jobs/firmware/SignaturePolicy.h"
#include "tests/support/StatusText.h"
#include "tests/support/TemporaryFolder.h"

namespace features::jobs {
namespace {

namespace fs = std::filesystem;

class SignaturePolicyTest : public testing::Test {
protected:
    SignaturePolicyTest() : directory_(fs::canonical(folder_ / ".")), path_(directory_ + "/SignaturePolicy") {}

    std::string policy() const {
        constexpr const char* NAMES[] = {"NONE", "WARN", "SIGNED_ONLY"};
        const auto read = readSignaturePolicy(directory_);
        return read ? NAMES[static_cast<int>(*read)] : statusText(read);
    }
    std::string refusal(const std::string& reason) const {
        return "10/54 Failed reading a file necessary for the feature. '" + path_ + "'" + reason;
    }

    const TemporaryFolder folder_;
    const std::string directory_;
    const std::string path_;
};

TEST_F(SignaturePolicyTest, IsOneLine) {
    EXPECT_EQ(policy(), "NONE") << "no file";
    for (const auto& [text, name] :
         {std::pair("warn\n", "WARN"), std::pair("warn", "WARN"), std::pair("signed only\n", "SIGNED_ONLY"),
          std::pair("signed only", "SIGNED_ONLY")}) {
        writeWholeFile(path_, text);
        EXPECT_EQ(policy(), name) << text;
    }
}

TEST_F(SignaturePolicyTest, WhatIsNotUnderstoodIsRefused) {
    for (const char* text :
         {"", "\n", "none\n", "Warn\n", "signed  only\n", "warn\r\n", "warn\n\n", "warn\nsigned only\n"}) {
        writeWholeFile(path_, text);
        EXPECT_EQ(policy(), refusal(" is neither 'warn' nor 'signed only'.")) << text;
    }
}

TEST_F(SignaturePolicyTest, WhatCannotBeReadIsRefused) {
    writeWholeFile(path_, std::string(65, ' '));
    EXPECT_EQ(policy(), refusal(": it has 65 bytes, and at most 64 can be taken."));
    writeWholeFile(path_, "warn\n");
    ASSERT_EQ(chmod(path_.c_str(), 0666), 0);
    EXPECT_EQ(policy(), refusal(" can be written by others than its owner (mode 0666)."));
    fs::remove(path_);
    fs::create_symlink("missing", path_);
    EXPECT_EQ(policy(), refusal(": a symbolic link."));
    fs::remove(path_);
    fs::create_directory(path_);
    EXPECT_EQ(policy(), refusal(": not a regular file."));
}

}  // namespace
}  // namespace features::jobs
