#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

#include "features/jobs/health/scan/DataIntegrity.h"
#include "ostrel/core/Payload.h"
#include "ostrel/core/WriteSignals.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Emulated.h"
#include "tests/support/FileSizeLimit.h"
#include "tests/support/StatusText.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/UnnamedFiles.h"

namespace features::jobs {
namespace {

using ostrel::core::Status;

constexpr uint64_t UNIT = PatternFile::UNIT_BYTES;

/// A block of the file takes the place of another; both on block boundaries, since the file may be written directly.
void copyBlock(int file, uint64_t from, uint64_t to) {
    ostrel::core::Payload block(4096);
    ASSERT_EQ(::pread(file, block.getData(), 4096, static_cast<off_t>(from)), 4096);
    ASSERT_EQ(::pwrite(file, block.getData(), 4096, static_cast<off_t>(to)), 4096);
}

TEST(PatternFile, ComesBackAsItWasWrittenAndHasNoName) {
    const TemporaryFolder folder;
    PatternFile file(0);
    ASSERT_TRUE(succeeded(file.create(folder / "")));
    EXPECT_EQ(statusText(file.write(3 * UNIT)), "0/0 Completed successfully.");
    EXPECT_EQ(folder.names(), std::vector<std::string>());
    struct stat properties = {};
    ASSERT_EQ(::fstat(file.descriptor(), &properties), 0);
    EXPECT_EQ(properties.st_size, static_cast<off_t>(3 * UNIT));
    PatternFile::Comparison comparison;
    EXPECT_EQ(statusText(file.compare(comparison)), "0/0 Completed successfully.");
    EXPECT_EQ(comparison.blocks, 0U);
}

TEST(PatternFile, LosesItsNameWhereTheFileSystemKnowsNamedFilesAlone) {
    if (isEmulated()) GTEST_SKIP() << "an emulator has no filter of system calls";
    const TemporaryFolder folder;
    EXPECT_TRUE(holdsInAChild([&folder] {
        PatternFile file(0);
        PatternFile::Comparison comparison;
        return refuseUnnamedFiles() && succeeded(file.create(folder / "")) && folder.names().empty() &&
               succeeded(file.write(UNIT)) && succeeded(file.compare(comparison)) && comparison.blocks == 0;
    }));
    EXPECT_TRUE(holdsInAChild([] {
        return refuseUnnamedFiles() &&
               statusText(PatternFile(0).create("/proc/self")) ==
                   "10/104 Unable to create file. Cannot create a file in /proc/self: No such file or directory.";
    }));
    EXPECT_EQ(folder.names(), std::vector<std::string>());
}

TEST(PatternFile, EveryBlockThatDiffersIsCounted) {
    const TemporaryFolder folder;
    PatternFile file(0);
    ASSERT_TRUE(succeeded(file.create(folder / "")));
    ASSERT_TRUE(succeeded(file.write(2 * UNIT)));
    // Blocks of the same file in a wrong place: the same pattern everywhere would not notice.
    copyBlock(file.descriptor(), 0, UNIT + 8192);
    copyBlock(file.descriptor(), 4096, UNIT - 4096);
    PatternFile::Comparison comparison;
    EXPECT_EQ(statusText(file.compare(comparison)), "0/0 Completed successfully.");
    EXPECT_EQ(comparison.blocks, 2U);
    EXPECT_EQ(comparison.first, UNIT - 4096);
}

TEST(PatternFile, AnotherFileHasAnotherPattern) {
    const TemporaryFolder folder;
    std::vector<PatternFile> files;
    std::vector<std::vector<uint8_t>> blocks;
    for (uint64_t number = 0; number < 2; ++number) {
        files.emplace_back(number);
        ASSERT_TRUE(succeeded(files.back().create(folder / "")));
        ASSERT_TRUE(succeeded(files.back().write(UNIT)));
        ostrel::core::Payload block(4096);
        ASSERT_EQ(::pread(files.back().descriptor(), block.getData(), 4096, 0), 4096);
        blocks.emplace_back(block.getData(), block.getData() + 4096);
    }
    EXPECT_NE(blocks[0], blocks[1]);
}

TEST(PatternFile, AFileThatEndsEarlyIsUnreadableThere) {
    const TemporaryFolder folder;
    PatternFile file(0);
    ASSERT_TRUE(succeeded(file.create(folder / "")));
    ASSERT_TRUE(succeeded(file.write(UNIT)));
    ASSERT_EQ(::ftruncate(file.descriptor(), static_cast<off_t>(UNIT - 8192)), 0);
    PatternFile::Comparison comparison;
    EXPECT_EQ(statusText(file.compare(comparison)), "0/0 Completed successfully.");
    EXPECT_EQ(comparison.blocks, 2U);
    EXPECT_EQ(comparison.first, UNIT - 8192);
}

TEST(PatternFile, AFolderThatIsNotThereIsReported) {
    PatternFile file(0);
    EXPECT_EQ(statusText(file.create("/nonexistent/folder")),
              "10/104 Unable to create file. Cannot create a file in /nonexistent/folder: No such file or directory.");
    EXPECT_EQ(statusText(file.create("/dev/null")),
              "10/104 Unable to create file. Cannot create a file in /dev/null: Not a directory.");
}

TEST(DataIntegrity, WritesAndReadsWholeUnits) {
    const TemporaryFolder folder;
    const DataIntegrityResult result = checkDataIntegrity(folder / "", 2 * UNIT + 5);
    EXPECT_EQ(statusText(result.failure), "0/0 Completed successfully.");
    EXPECT_EQ(result.bytes, 2 * UNIT);
    EXPECT_EQ(result.mismatches, 0U);
    EXPECT_EQ(folder.names(), std::vector<std::string>());
}

TEST(DataIntegrity, LessThanAUnitIsNoCheck) {
    const TemporaryFolder folder;
    const DataIntegrityResult result = checkDataIntegrity(folder / "x/..", UNIT - 1);
    EXPECT_EQ(result.bytes, 0U);
    EXPECT_EQ(statusText(result.failure), "10/54 Failed reading a file necessary for the feature. " +
                                              (folder / "x/..") + ": No such file or directory.");
    EXPECT_EQ(
        statusText(checkDataIntegrity(folder / "", UNIT - 1).failure),
        "10/100 Selected Partition does not have enough free space for this feature. There is no room for a file in " +
            (folder / "") + ".");
}

TEST(PatternFile, AFileThatCannotBeWrittenOrReadIsAnError) {
    ostrel::core::ignoreWriteSignals();
    const TemporaryFolder folder;
    const std::string path = folder / "";
    PatternFile file(0);
    ASSERT_TRUE(succeeded(file.create(path)));
    {
        const FileSizeLimit limit(UNIT + 4096);
        EXPECT_EQ(statusText(file.write(2 * UNIT)),
                  "10/168 Failed to write to file. Cannot write in " + path + ": File too large.");
    }
    ASSERT_TRUE(succeeded(file.write(UNIT)));
    const int directory = ::open(path.c_str(), O_RDONLY | O_DIRECTORY);
    ASSERT_GE(directory, 0);
    ASSERT_GE(::dup2(directory, file.descriptor()), 0);
    ::close(directory);
    PatternFile::Comparison comparison;
    EXPECT_EQ(statusText(file.compare(comparison)),
              "10/54 Failed reading a file necessary for the feature. Cannot read in " + path + ": Is a directory.");
    EXPECT_EQ(comparison.blocks, 0U) << "nothing was compared";
}

TEST(DataIntegrity, WhatWasNotWrittenIsNotCounted) {
    ostrel::core::ignoreWriteSignals();
    const TemporaryFolder folder;
    const FileSizeLimit limit(UNIT);
    const DataIntegrityResult result = checkDataIntegrity(folder / "", 2 * UNIT);
    EXPECT_EQ(result.bytes, 0U);
    EXPECT_EQ(result.mismatches, 0U);
    EXPECT_EQ(statusText(result.failure),
              "10/168 Failed to write to file. Cannot write in " + (folder / "") + ": File too large.");
}

}  // namespace
}  // namespace features::jobs
