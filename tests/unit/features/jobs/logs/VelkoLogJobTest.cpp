#include <gtest/gtest.h>

#include <stdexcept>

#include "features/jobs/logs/VelkoLogJob.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/unit/features/jobs/Commands.h"
#include "tests/unit/features/jobs/JobRun.h"
#include "tests/unit/features/jobs/Models.h"
#include "tests/unit/features/jobs/Unplugged.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::interfaces::ostreli;

constexpr struct {
    const char* job;
    uint8_t lid;
    const char* signature;
    const char* logName;
    const char* missing;
    const char* damaged;
    const char* failed;
    const char* empty;
} LOGS[] = {
    {"Nlog", 0xD3, "NLOG", "nlog", "10/246 Drive does not support pulling Nlogs directly. Use telemetry instead.",
     "10/195 Invalid Nlog Header.", "10/231 Failed to retrieve nlog data.", "10/231 Failed to retrieve nlog data."},
    {"BridgeNlog", 0xD4, "BLOG", "bridgenlog",
     "10/246 Drive does not support pulling Nlogs directly. Use telemetry instead.", "10/195 Invalid Nlog Header.",
     "10/231 Failed to retrieve nlog data.", "10/231 Failed to retrieve nlog data."},
    {"EventLog", 0xD5, "EVNT", "eventlog", "10/217 Drive does not support Event Logging.",
     "10/93 Invalid event log data.", "10/33 Failed to retrieve data from selected device.",
     "10/33 Failed to retrieve data from selected device."},
    {"AssertLog", 0xD6, "ASRT", "assert", "10/3 The selected drive does not support this feature.",
     "10/92 Invalid assert log data.", "10/33 Failed to retrieve data from selected device.",
     "10/172 Drive is not asserted."},
    {"SystemSnapshot", 0xD7, "SNAP", "SystemSnapshot", "10/3 The selected drive does not support this feature.",
     "10/33 Failed to retrieve data from selected device.", "10/33 Failed to retrieve data from selected device.",
     "10/33 Failed to retrieve data from selected device."},
};

std::string dump(const std::string& name, const FakeDrive& drive) {
    VelkoLogJob job(name);
    return JobRun(job, JOBTYPE_METHOD).naming("S1").on({&drive});
}

DriveBytes head(const std::string& signature, uint64_t bytes, uint32_t generation) {
    return DriveBytes(64).text(0, signature, 4).put(4, {1, 0, 0x40, 0}).le64(8, bytes).le32(60, generation);
}

/// What follows the header, from offset 64 on.
Expected rest(uint8_t lid, uint32_t bytes) {
    return logPage(lid, bytes, 64).dword(10, lid | 0x8000U | (bytes / 4 - 1) << 16);
}

std::string hexOf(const DriveBytes& bytes) {
    std::string text;
    for (const uint8_t byte : bytes.bytes()) {
        text += "0123456789ABCDEF"[byte >> 4];
        text += "0123456789ABCDEF"[byte & 15];
    }
    return text;
}

TEST(VelkoLogJob, GivesHeaderAndRest) {
    for (const auto& c : LOGS) {
        SCOPED_TRACE(c.job);
        FakeDrive drive;
        const DriveBytes header = head(c.signature, 72, 5);
        const DriveBytes tail = {0xAA, 0xBB, 0xCC, 0xDD, 5, 0, 0, 0};
        velko(drive)
            .expect(identify(0x01).answers(identifyController()))
            .expect(lookAtLog(c.lid, 64).answers(header))
            .expect(rest(c.lid, 8).answers(tail));
        EXPECT_EQ(dump(c.job, drive),
                  std::string("0/0\n<Object category=\"Output\" key=\"S1\" name=\"") + c.logName +
                      "\">\n<Property category=\"payload\" displayName=\"payload\" name=\"payload\" size=\"72\" "
                      "type=\"bytepointer\" value=\"" +
                      hexOf(header) + "AABBCCDD05000000\"/>\n</Object>");
    }
}

TEST(VelkoLogJob, ALogWithoutEntriesIsAFailure) {
    for (const auto& c : LOGS) {
        FakeDrive drive;
        velko(drive)
            .expect(identify(0x01).answers(identifyController()))
            .expect(lookAtLog(c.lid, 64).answers(head(c.signature, 68, 5)));
        EXPECT_EQ(dump(c.job, drive),
                  std::string(c.empty) + " The log of drive S1 (/dev/nvme0) has a header and no data.");
    }
}

TEST(VelkoLogJob, ReadsAgainWhenAnotherHostTookAPicture) {
    FakeDrive drive;
    velko(drive)
        .expect(identify(0x01).answers(identifyController()))
        .expect(lookAtLog(0xD3, 64).answers(head("NLOG", 72, 5)))
        .expect(rest(0xD3, 8).answers({1, 1, 1, 1, 6, 0, 0, 0}))
        .expect(lookAtLog(0xD3, 64).answers(head("NLOG", 76, 7)))
        .expect(rest(0xD3, 12).answers({1, 2, 3, 4, 5, 6, 7, 8, 7, 0, 0, 0}));
    EXPECT_EQ(dump("Nlog", drive),
              "0/0\n<Object category=\"Output\" key=\"S1\" name=\"nlog\">\n<Property category=\"payload\" "
              "displayName=\"payload\" name=\"payload\" size=\"76\" type=\"bytepointer\" value=\"" +
                  hexOf(head("NLOG", 76, 7)) + "010203040506070807000000\"/>\n</Object>");
}

TEST(VelkoLogJob, GivesUpAfterThreePictures) {
    for (const auto& c : LOGS) {
        SCOPED_TRACE(c.job);
        FakeDrive drive;
        velko(drive);
        for (unsigned i = 0; i < 3; ++i) {
            if (i == 0) drive.expect(identify(0x01).answers(identifyController()));
            drive.expect(lookAtLog(c.lid, 64).answers(head(c.signature, 72, 5)));
            drive.expect(rest(c.lid, 8).answers({1, 2, 3, 4, 6, 0, 0, 0}));
        }
        EXPECT_EQ(dump(c.job, drive), std::string(c.failed) +
                                          " The log of drive S1 (/dev/nvme0) was read by another process at the same "
                                          "time.");
    }
}

TEST(VelkoLogJob, AFailureInTheMiddleLeavesNoPartOfALog) {
    for (const auto& c : LOGS) {
        SCOPED_TRACE(c.job);
        expectUnplugged(
            {identify(0x01).answers(identifyController()), lookAtLog(c.lid, 64).answers(head(c.signature, 72, 5)),
             rest(c.lid, 8).answers({1, 2, 3, 4, 6, 0, 0, 0}), lookAtLog(c.lid, 64).answers(head(c.signature, 72, 7)),
             rest(c.lid, 8).answers({1, 2, 3, 4, 7, 0, 0, 0})},
            "0/70 The drive /dev/nvme0 is gone.", [&](const FakeDrive& drive) { return dump(c.job, drive); }, 0,
            [](FakeDrive& drive) { velko(drive); });
    }
}

TEST(VelkoLogJob, OtherDrivesDoNotHaveIt) {
    for (const auto& c : LOGS) {
        FakeDrive other, refusing, old;
        EXPECT_EQ(dump(c.job, other), c.missing);
        velko(refusing)
            .expect(identify(0x01).answers(identifyController()))
            .expect(lookAtLog(c.lid, 64).refuses(NO_SUCH_LOG));
        EXPECT_EQ(dump(c.job, refusing), std::string(c.missing) +
                                             " Get Log Page failed on drive S1 (/dev/nvme0): Invalid Log Page (status "
                                             "code type 0x1, status code 0x09, opcode 0x02).");
        velko(old).expect(identify(0x01).answers(identifyController())).expect(lookAtLog(c.lid, 64).refuses(0x4002));
        EXPECT_EQ(dump(c.job, old), std::string(c.missing) +
                                        " Get Log Page failed on drive S1 (/dev/nvme0): Invalid Field in Command "
                                        "(status code type 0x0, status code 0x02, opcode 0x02).");
    }
}

TEST(VelkoLogJob, TakesNothingThatIsNotTheLog) {
    for (const auto& c : LOGS) {
        for (const DriveBytes& header :
             {head("XLOG", 72, 5), head(c.signature, 64, 5), head(c.signature, 70, 5), head(c.signature, 0, 5),
              head(c.signature, 256U * 1024 * 1024 + 4, 5), head(c.signature, 0xFFFFFFFFFFFFFFFC, 5)}) {
            FakeDrive drive;
            velko(drive)
                .expect(identify(0x01).answers(identifyController()))
                .expect(lookAtLog(c.lid, 64).answers(header));
            EXPECT_EQ(dump(c.job, drive),
                      std::string(c.damaged) + " The log of drive S1 (/dev/nvme0) does not begin with its header.");
        }
    }
}

TEST(VelkoLogJob, OfSeveralDrivesThatHaveNoneEachIsReported) {
    FakeDrive first("S1"), second("S2", "/dev/nvme1");
    VelkoLogJob job(JOB_EVENT_LOG);
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).on({&first, &second}), R"(0/0
<Object category="Output" key="S1" name="eventlog">
<Object category="status">
<Property name="Category" value="10"/>
<Property name="Code" value="217"/>
<Property name="Message" value="Drive does not support Event Logging. Drive S1 (/dev/nvme0)."/>
</Object>
</Object>
<Object category="Output" key="S2" name="eventlog">
<Object category="status">
<Property name="Category" value="10"/>
<Property name="Code" value="217"/>
<Property name="Message" value="Drive does not support Event Logging. Drive S2 (/dev/nvme1)."/>
</Object>
</Object>)");
}

TEST(VelkoLogJob, HasRowsForItsJobsAlone) {
    EXPECT_THROW(VelkoLogJob("SMART"), std::logic_error);
    for (const auto& c : LOGS) EXPECT_EQ(VelkoLogJob(c.job).clone()->getName(), c.job);
}

}  // namespace
}  // namespace features::jobs
