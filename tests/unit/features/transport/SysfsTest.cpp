#include <gtest/gtest.h>
#include <linux/magic.h>

#include <cerrno>
#include <filesystem>
#include <limits>

#include "features/transport/linux/Sysfs.h"
#include "tests/support/TemporaryFolder.h"

namespace features::transport {
namespace {

using Names = std::vector<std::string>;

class SysfsTest : public testing::Test {
protected:
    /// Since the last call.
    std::string takeErrors() {
        const std::string text = errors.text();
        errors = LookErrors();
        return text;
    }

    const TemporaryFolder folder;
    LookErrors errors;
};

TEST_F(SysfsTest, ALineIsTheFirstOneWithoutBlanksAtItsEnd) {
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
    for (const auto& c : CASES) {
        writeWholeFile(folder / "file", c.text);
        EXPECT_EQ(readLine(folder / "file", errors), std::string(c.line)) << c.why;
    }
}

TEST_F(SysfsTest, ALineKeepsEveryByteOfItsOwn) {
    const std::string bytes("\0\x01\x80\xFF", 4);
    writeWholeFile(folder / "file", bytes + "\n");
    EXPECT_EQ(readLine(folder / "file", errors), bytes);
}

TEST_F(SysfsTest, WhatDoesNotExistIsAbsentWithoutAnError) {
    EXPECT_EQ(readLine(folder / "missing", errors), std::nullopt);
    EXPECT_EQ(readNumber(folder / "missing", errors), std::nullopt);
    EXPECT_EQ(readAll(folder / "missing", errors), std::nullopt);
    EXPECT_EQ(listFolder(folder / "missing", errors), Names());
    EXPECT_EQ(linkName(folder / "missing", errors), std::nullopt);
    EXPECT_EQ(takeErrors(), "");
}

TEST_F(SysfsTest, WhatCannotBeReadIsAnErrorThatNamesIt) {
    const std::string isFolder = folder / "";
    EXPECT_EQ(readLine(isFolder, errors), std::nullopt) << "a folder opens and cannot be read";
    EXPECT_EQ(takeErrors(), isFolder + ": Is a directory.");
    EXPECT_EQ(readNumber(isFolder, errors), std::nullopt);
    EXPECT_EQ(takeErrors(), isFolder + ": Is a directory.");
    EXPECT_EQ(readAll(isFolder, errors), std::nullopt);
    EXPECT_EQ(takeErrors(), isFolder + ": Is a directory.");
    writeWholeFile(folder / "file", "");
    const std::string below = folder / "file/below";
    EXPECT_EQ(readLine(below, errors), std::nullopt);
    EXPECT_EQ(takeErrors(), below + ": Not a directory.");
    EXPECT_EQ(readAll(below, errors), std::nullopt);
    EXPECT_EQ(takeErrors(), below + ": Not a directory.");
    EXPECT_EQ(listFolder(folder / "file", errors), Names());
    EXPECT_EQ(takeErrors(), folder / "file" + ": Not a directory.");
    EXPECT_EQ(linkName(folder / "file", errors), std::nullopt);
    EXPECT_EQ(takeErrors(), folder / "file" + ": Invalid argument.");
}

TEST_F(SysfsTest, ANumberIsDecimalAndWhole) {
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
    for (const auto& c : CASES) {
        writeWholeFile(folder / "file", c.text);
        EXPECT_EQ(readNumber(folder / "file", errors), c.number) << c.why;
        EXPECT_EQ(takeErrors(), c.number ? "" : folder / "file" + ": not a number.") << c.why;
    }
}

TEST_F(SysfsTest, AWholeTextIsReadInPieces) {
    const std::string text = std::string(40000, 'a') + "\nend";
    writeWholeFile(folder / "file", text);
    EXPECT_EQ(readAll(folder / "file", errors), text);
    writeWholeFile(folder / "file", "");
    EXPECT_EQ(readAll(folder / "file", errors), "");
    EXPECT_EQ(takeErrors(), "");
}

TEST_F(SysfsTest, NamesOfAFolderComeInByteOrder) {
    for (const char* const name : {"nvme10", "nvme2", "nvme1", ".hidden", "Z"}) writeWholeFile(folder / name, "");
    EXPECT_EQ(listFolder(folder / "", errors), (Names{".hidden", "Z", "nvme1", "nvme10", "nvme2"}));
    EXPECT_EQ(takeErrors(), "");
}

TEST_F(SysfsTest, ALinkIsTheLastPartOfWhatItPointsTo) {
    std::filesystem::create_symlink("../../devices/pci/nvme0", folder / "far");
    std::filesystem::create_symlink("near", folder / "short");
    EXPECT_EQ(linkName(folder / "far", errors), "nvme0");
    EXPECT_EQ(linkName(folder / "short", errors), "near");
    EXPECT_EQ(takeErrors(), "");
}

TEST_F(SysfsTest, AFileSystemIsMountedOrNot) {
    class Kernel : public KernelCalls {
    public:
        long fileSystemType(const std::string&) override {
            errno = EACCES;
            return type;
        }
        long type = -1;
    };
    const auto kernel = std::make_shared<Kernel>();
    const LinuxPaths paths("/root", kernel);
    const struct {
        long type;
        std::string ofSysfs;
        std::string ofProcfs;
    } CASES[] = {
        {SYSFS_MAGIC, "", "/root/proc: procfs is not mounted."},
        {PROC_SUPER_MAGIC, "/root/sys: sysfs is not mounted.", ""},
        {TMPFS_MAGIC, "/root/sys: sysfs is not mounted.", "/root/proc: procfs is not mounted."},
        {-1, "/root/sys: Permission denied.", "/root/proc: Permission denied."},
    };
    for (const auto& c : CASES) {
        kernel->type = c.type;
        EXPECT_EQ(isSysfs(paths, errors), c.ofSysfs.empty());
        EXPECT_EQ(takeErrors(), c.ofSysfs);
        EXPECT_EQ(isProcfs(paths, errors), c.ofProcfs.empty());
        EXPECT_EQ(takeErrors(), c.ofProcfs);
    }
}

TEST_F(SysfsTest, TheKernelsOwnFileSystemsAreKnown) {
    KernelCalls kernel;
    EXPECT_EQ(kernel.fileSystemType("/proc"), PROC_SUPER_MAGIC);
    EXPECT_EQ(kernel.fileSystemType(folder / "missing"), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_TRUE(kernel.isCharacterDevice("/dev/null"));
    EXPECT_FALSE(kernel.isCharacterDevice(folder / ""));
    EXPECT_FALSE(kernel.isCharacterDevice(folder / "missing"));
}

TEST_F(SysfsTest, ErrorsAreOneSentenceAndOneStatus) {
    EXPECT_TRUE(succeeded(errors.status()));
    errors.add("/proc/swaps", EIO);
    errors.add("/sys", ENOENT, "sysfs is not mounted");
    errors.add("/proc/swaps", EACCES);
    LookErrors others;
    others.add("/sys", EIO);
    others.add("/opt", ENFILE);
    errors.add(others);
    EXPECT_EQ(errors.text(),
              "/proc/swaps: Input/output error; /sys: sysfs is not mounted; /opt: Too many open files in system.");
    EXPECT_TRUE(errors.status().is(0, 39));
    EXPECT_EQ(errors.status().getMessage(), "System rescan failed. " + errors.text());
}

}  // namespace
}  // namespace features::transport
