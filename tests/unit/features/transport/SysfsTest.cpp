#include <gtest/gtest.h>

#include <filesystem>
#include <limits>

#include "features/transport/linux/Sysfs.h"
#include "tests/support/TemporaryFolder.h"

namespace features::transport {
namespace {

using Names = std::vector<std::string>;

TEST(Sysfs, ALineIsTheFirstOneWithoutBlanksAtItsEnd) {
    constexpr struct {
        const char* text;
        const char* line;
        const char* why;
    } CASES[] = {
        {"live\n", "live", "as an attribute is written"},
        {"live", "live", "no end of line"},
        {"QEMU NVMe Ctrl                          \n", "QEMU NVMe Ctrl", "padded to the field's width"},
        {" S1 \t\n", " S1", "blanks in front belong to the value"},
        {"one\ntwo\n", "one", "further lines"},
        {"\n", "", "an empty line"},
        {"   \n", "", "blanks alone"},
        {"", "", "an empty file"},
    };
    const TemporaryFolder folder;
    for (const auto& c : CASES) {
        writeWholeFile(folder / "file", c.text);
        EXPECT_EQ(readLine(folder / "file"), std::string(c.line)) << c.why;
    }
}

TEST(Sysfs, ALineKeepsEveryByteOfItsOwn) {
    const TemporaryFolder folder;
    const std::string bytes("\0\x01\x80\xFF", 4);
    writeWholeFile(folder / "file", bytes + "\n");
    EXPECT_EQ(readLine(folder / "file"), bytes);
}

TEST(Sysfs, ALineThatCannotBeReadIsAbsent) {
    const TemporaryFolder folder;
    EXPECT_EQ(readLine(folder / "missing"), std::nullopt);
    EXPECT_EQ(readLine(folder / ""), std::nullopt) << "a folder opens and cannot be read";
}

TEST(Sysfs, ANumberIsDecimalAndWhole) {
    constexpr uint64_t MOST = std::numeric_limits<uint64_t>::max();
    const struct {
        const char* text;
        std::optional<uint64_t> number;
        const char* why;
    } CASES[] = {
        {"0\n", 0, "zero"},
        {"42\n", 42, "as an attribute is written"},
        {"42", 42, "no end of line"},
        {"18446744073709551615\n", MOST, "the greatest"},
        {"18446744073709551616\n", std::nullopt, "one too great"},
        {"\n", std::nullopt, "nothing"},
        {"-1\n", std::nullopt, "a sign"},
        {"0x10\n", std::nullopt, "hexadecimal"},
        {"1 2\n", std::nullopt, "two of them"},
        {" 1\n", std::nullopt, "a blank in front"},
    };
    const TemporaryFolder folder;
    for (const auto& c : CASES) {
        writeWholeFile(folder / "file", c.text);
        EXPECT_EQ(readNumber(folder / "file"), c.number) << c.why;
    }
    EXPECT_EQ(readNumber(folder / "missing"), std::nullopt);
}

TEST(Sysfs, AWholeTextIsReadInPieces) {
    const TemporaryFolder folder;
    const std::string text = std::string(40000, 'a') + "\nend";
    writeWholeFile(folder / "file", text);
    EXPECT_EQ(readAll(folder / "file"), text);
    writeWholeFile(folder / "file", "");
    EXPECT_EQ(readAll(folder / "file"), "");
    EXPECT_EQ(readAll(folder / "missing"), std::nullopt);
    EXPECT_EQ(readAll(folder / ""), std::nullopt);
}

TEST(Sysfs, NamesOfAFolderComeInByteOrder) {
    const TemporaryFolder folder;
    for (const char* const name : {"nvme10", "nvme2", "nvme1", ".hidden", "Z"}) writeWholeFile(folder / name, "");
    EXPECT_EQ(listFolder(folder / ""), (Names{".hidden", "Z", "nvme1", "nvme10", "nvme2"}));
    EXPECT_EQ(listFolder(folder / "Z"), Names()) << "no folder";
    EXPECT_EQ(listFolder(folder / "missing"), Names());
}

TEST(Sysfs, ALinkIsTheLastPartOfWhatItPointsTo) {
    const TemporaryFolder folder;
    std::filesystem::create_symlink("../../devices/pci/nvme0", folder / "far");
    std::filesystem::create_symlink("near", folder / "short");
    writeWholeFile(folder / "file", "");
    EXPECT_EQ(linkName(folder / "far"), "nvme0");
    EXPECT_EQ(linkName(folder / "short"), "near");
    EXPECT_EQ(linkName(folder / "file"), std::nullopt);
    EXPECT_EQ(linkName(folder / "missing"), std::nullopt);
}

}  // namespace
}  // namespace features::transport
