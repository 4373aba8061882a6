#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <fstream>
#include <map>
#include <string>

#include "features/jobs/base/DumpJob.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Emulated.h"
#include "tests/support/Sanitized.h"
#include "tests/unit/features/jobs/Commands.h"
#include "tests/unit/features/jobs/JobRun.h"

namespace features::jobs {
namespace {

using fakedrive::FakeDrive;
using namespace ostrel::core;
using namespace ostrel::interfaces::ostreli;

/// S1 has a log that comes in two pieces, after a first try that is thrown away; S2 has none; S3 has nothing to dump;
/// S4 has a header alone.
class SampleJob : public DumpJob {
public:
    SampleJob() : DumpJob(JOB_EVENT_LOG, "eventlog", {2, statuses::driveNotAsserted}) {}
    std::unique_ptr<Job> clone() const override { return nullptr; }

protected:
    Status checkRequest(const Arguments& arguments) override {
        return arguments.has("DataArea") ? statuses::invalidProperty() : Status();
    }
    uint8_t logId(const Arguments&) const override { return 0xD5; }
    Status dumpDrive(nvme::Drive& drive, const Arguments&, LogSink& log) override {
        if (drive.serialNumber() == "S3") return Status();
        const uint8_t bytes[] = {0x00, 0x1F, 0xFF};
        if (drive.serialNumber() == "S4") return log.begin(2);
        Status status = log.begin(3);
        if (succeeded(status)) status = log.add(bytes, 3);
        if (succeeded(status)) status = log.begin(3);
        if (succeeded(status)) status = log.add(bytes, 1);
        if (drive.serialNumber() == "S2") return gone();
        return succeeded(status) ? log.add(bytes + 1, 2) : status;
    }
};

constexpr const char* OF_S1 =
    "\n<Object category=\"Output\" key=\"S1\" name=\"eventlog\">"
    "\n<Property category=\"payload\" displayName=\"payload\" name=\"payload\" size=\"3\" type=\"bytepointer\" "
    "value=\"001FFF\"/>\n</Object>";

TEST(DumpJob, GivesTheBytesOfEachDriveAndTheFailureOfOneInsideItsOutput) {
    SampleJob job;
    const FakeDrive first("S1"), second("S2"), third("S3");
    EXPECT_EQ(
        JobRun(job, JOBTYPE_METHOD).on({&first, &second, &third}),
        std::string("0/0") + OF_S1 +
            "\n<Object category=\"Output\" key=\"S2\" name=\"eventlog\">\n<Object category=\"status\">"
            "\n<Property name=\"Category\" value=\"0\"/>\n<Property name=\"Code\" value=\"70\"/>"
            "\n<Property name=\"Message\" value=\"The drive /dev/nvme0 is gone. Drive S2 (/dev/nvme0).\"/>\n</Object>"
            "\n</Object>");
}

TEST(DumpJob, ASataDriveIsRefusedBeforeAnythingIsSent) {
    SampleJob job;
    const fakedrive::FakeSataDrive sata("S1", "/dev/sda");
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).naming("S1").on({&sata}),
              "10/34 Feature is not supported. S1 (/dev/sda) is a SATA drive.");
}

TEST(DumpJob, ALogWithoutDataIsAFailure) {
    SampleJob job;
    const FakeDrive drive("S4");
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).naming("S4").on({&drive}),
              "10/172 Drive is not asserted. The log of drive S4 (/dev/nvme0) has a header and no data.");
    EXPECT_EQ(
        JobRun(job, JOBTYPE_METHOD).on({&drive}),
        "0/0\n<Object category=\"Output\" key=\"S4\" name=\"eventlog\">\n<Object category=\"status\">"
        "\n<Property name=\"Category\" value=\"10\"/>\n<Property name=\"Code\" value=\"172\"/>"
        "\n<Property name=\"Message\" value=\"Drive is not asserted. The log of drive S4 (/dev/nvme0) has a header "
        "and no data.\"/>\n</Object>\n</Object>");
}

TEST(DumpJob, TheFailureOfTheOneNamedDriveIsThatOfTheRequest) {
    SampleJob job;
    const FakeDrive first("S1"), second("S2"), third("S3");
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).naming("S2").on({&second}), "0/70 The drive /dev/nvme0 is gone.");
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).naming("S1").on({&first}), std::string("0/0") + OF_S1);
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).naming("S3").on({&third}), "0/0") << "no bytes, no output";
}

TEST(DumpJob, AsksNoDriveWhenTheRequestIsBad) {
    SampleJob job;
    const FakeDrive first("S1");
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("DataArea", "9").on({&first}), "10/36 Invalid property specified.");
}

/// A log of 64 MiB, which is never read.
class LongLogJob : public DumpJob {
public:
    LongLogJob() : DumpJob(JOB_EVENT_LOG, "eventlog", {0, statuses::deviceDataRetrievalFailed}) {}
    std::unique_ptr<Job> clone() const override { return nullptr; }

protected:
    uint8_t logId(const Arguments&) const override { return 7; }
    Status dumpDrive(nvme::Drive&, const Arguments&, LogSink& log) override {
        const Status status = log.begin(uint64_t{64} << 20);
        return succeeded(status) ? statuses::invalidProperty() : status;
    }
};

TEST(DumpJob, ALogThatTheAddressSpaceCannotHoldIsRefusedBeforeItIsRead) {
    if (SANITIZED || isEmulated()) GTEST_SKIP() << "sanitizers and emulators need the address space for themselves";
    EXPECT_TRUE(holdsInAChild([] {
        uint64_t pages = 0;
        std::ifstream("/proc/self/statm") >> pages;
        const rlim_t bytes = pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + (rlim_t{200} << 20);
        const rlimit limit = {bytes, bytes};
        setrlimit(RLIMIT_AS, &limit);
        FakeDrive drive;
        LongLogJob job;
        const std::string answer = JobRun(job, JOBTYPE_METHOD).naming("S1").on({&drive});
        return answer.find(
                   "0/37 The log of drive S1 (/dev/nvme0) has 67108864 bytes, and this host has the memory to "
                   "hand over ") == 0 &&
               answer.find(
                   ". 'dump -destination FILE -velkossd /dev/nvme0 -nvmelog 7' writes it to a file piece by piece.") !=
                   std::string::npos;
    }));
}

}  // namespace
}  // namespace features::jobs
