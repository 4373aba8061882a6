#include <gtest/gtest.h>

#include "features/jobs/base/LogLimits.h"
#include "features/jobs/support/AvailableMemory.h"
#include "tests/support/fakedrive/FakeDrive.h"

namespace features::jobs {
namespace {

constexpr uint64_t MEBIBYTE = 1 << 20;
constexpr bool IS_32_BIT = sizeof(size_t) == 4;
constexpr const char* MEMINFO = "MemTotal:        8000000 kB\nMemFree:          100000 kB\nMemAvailable:    2048 kB\n";

constexpr struct {
    const char* meminfo;
    const char* statm;
    uint64_t limit;
    uint64_t available;
    const char* why;
} MEMORY_CASES[] = {
    {MEMINFO, "", UINT64_MAX, 2 * MEBIBYTE, "what the host has"},
    {"", "", UINT64_MAX, 256 * MEBIBYTE, "no /proc"},
    {"MemTotal: 1 kB\nMemAvailable: x kB\n", "", UINT64_MAX, 256 * MEBIBYTE, "no such line, or no number in it"},
    {"MemAvailable: 8388608 kB\n", "", UINT64_MAX, IS_32_BIT ? 2147483647 : 8589934592, "more than 32 bits address"},
    {MEMINFO, "256 10 10", 3 * MEBIBYTE, 2 * MEBIBYTE, "a limit that leaves more"},
    {MEMINFO, "512 10 10", 3 * MEBIBYTE, MEBIBYTE, "a limit that leaves less"},
    {MEMINFO, "1024 10 10", 3 * MEBIBYTE, 0, "a limit that came after the memory"},
    {MEMINFO, "", 2 * MEBIBYTE, MEBIBYTE, "a limit, and a size that is not known: half of it"},
};

TEST(AvailableMemory, IsTheLeastOfWhatHostAndLimitLeave) {
    for (const auto& c : MEMORY_CASES)
        EXPECT_EQ(availableMemoryBytes(c.meminfo, c.statm, 4096, c.limit), c.available) << c.why;
}

TEST(LogLimits, TakeWhatFitsAndCountWhatIsThereAlready) {
    const NamedLog smart(*fakedrive::FakeDrive("S1").device(), 2);
    EXPECT_TRUE(succeeded(checkPayload(smart, 0, 0)));
    EXPECT_TRUE(succeeded(checkPayload(smart, 4096, 4096)));
    EXPECT_TRUE(checkPayload(smart, UINT64_MAX, 0).is(0, 37));
    EXPECT_TRUE(checkPayload(smart, 1, UINT64_MAX).is(0, 37));
    EXPECT_TRUE(succeeded(checkDecoding(smart, 4096)));
    EXPECT_TRUE(checkDecoding(smart, MAX_DECODED_BYTES + 1).is(0, 37));
    EXPECT_TRUE(succeeded(checkLogLength("S1", MAX_LOG_BYTES)));
    EXPECT_TRUE(checkLogLength("S1", MAX_LOG_BYTES + 1).is(0, 37));
}

TEST(LogLimits, NameACommandThatTheDriveSupports) {
    EXPECT_EQ(NamedLog(*fakedrive::FakeDrive("S1").device(), 7).copyCommand,
              "dump -destination FILE -velkossd /dev/nvme0 -nvmelog 7");
    EXPECT_EQ(NamedLog(*fakedrive::FakeDrive("S1").device(), 13).copyCommand,
              "dump -destination FILE -velkossd /dev/nvme0 -nvmelog 13 LogSpecificField=1");
    EXPECT_EQ(NamedLog(*fakedrive::FakeSataDrive("S1").device(), 7).copyCommand, "start -velkossd /dev/sda -scan Logs");
}

}  // namespace
}  // namespace features::jobs
