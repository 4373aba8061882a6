#include <gtest/gtest.h>

#include <filesystem>

#include "features/jobs/support/FolderNames.h"
#include "tests/support/TemporaryFolder.h"

namespace features::jobs {
namespace {

using Names = std::vector<std::string>;

TEST(FolderNames, AreThoseWithTheExtensionInOrder) {
    const TemporaryFolder folder;
    for (const char* name : {"b.json", "a.json", "a.json.sig", "c.JSON", "json", ".json"})
        writeWholeFile(folder / name, "");
    std::filesystem::create_directory(folder / "d.json");
    std::filesystem::create_symlink("missing", folder / "e.json");
    std::error_code error;
    EXPECT_EQ(folderNames(folder / "", ".json", 10, error), Names({"a.json", "b.json", "d.json", "e.json"}));
    EXPECT_EQ(folderNames(folder / "", ".pem", 10, error), Names());
    EXPECT_EQ(folderNames(folder / "", ".json", 2, error).size(), 2u);
    EXPECT_FALSE(error);
}

TEST(FolderNames, AFolderThatCannotBeReadIsAnError) {
    const TemporaryFolder folder;
    std::error_code error;
    EXPECT_EQ(folderNames(folder / "missing", ".json", 10, error), Names());
    EXPECT_EQ(error, std::errc::no_such_file_or_directory);
    writeWholeFile(folder / "file", "");
    EXPECT_EQ(folderNames(folder / "file", ".json", 10, error), Names());
    EXPECT_EQ(error, std::errc::not_a_directory);
}

}  // namespace
}  // namespace features::jobs
