#include <gtest/gtest.h>

#include <cerrno>

#include "features/jobs/settings/OcpErrorInjectionJob.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/unit/features/jobs/JobRun.h"
#include "tests/unit/features/jobs/OcpLog.h"
#include "tests/unit/features/jobs/StatusAnswer.h"
#include "tests/unit/features/jobs/Unplugged.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;
using namespace ostrel::interfaces::ostreli;
using features::transport::HostNamespace;
using features::transport::NamespaceUse;

std::string set(const std::string& key, const std::string& value, const FakeDrive& drive) {
    OcpErrorInjectionJob job;
    return JobRun(job, JOBTYPE_METHOD).with("FeatureId", "192").with("SetGetType", "set").with(key, value).on({&drive});
}

std::string status(const std::string& category, const std::string& code, const std::string& message) {
    return statusAnswer("Error Injection", category, code, message);
}

constexpr char SHOWN[] = R"x(0/0
<Object category="Output">
<Object key="S1" name="Error Injection">
<Property description="Number of Error Injections" name="NumberOfErrorInjections" value="1"/>
<Object name="Error Injection 1">
<Property description="Error Injection Enable" name="Enabled" value="True"/>
<Property description="Injected once and not until it is disabled" name="Single Instance" value="False"/>
<Property description="Error Injection Type" name="ErrorInjectionType" value="device panic - NAND hang"/>
<Property description="Reads that trigger the device panic" name="NumReadsToTriggerPanic" value="1000"/>
</Object>
</Object>
</Object>)x";

TEST(OcpErrorInjectionJob, ShowsTheEntriesOfTheDrive) {
    FakeDrive drive;
    for (int i = 0; i < 2; ++i) {
        drive.expect(withoutList())
            .expect(ocpLog().answers(ocpSmart()))
            .expect(
                getFeature(0xC0, 0, 0xFFFFFFFF, 4096).answers(DriveBytes(4096).put(0, {1, 0, 2, 0, 0xE8, 0x03}), 1));
    }
    OcpErrorInjectionJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).on({&drive}), SHOWN);
    EXPECT_EQ(JobRun(job, JOBTYPE_METHOD).with("FeatureId", "192").with("SetGetType", "get").on({&drive}), SHOWN);
}

TEST(OcpErrorInjectionJob, SetsTheEntriesOfAList) {
    FakeDrive drive;
    drive.expect(hostUses({unusedNamespace(1)}))
        .expect(withoutList())
        .expect(ocpLog().answers(ocpSmart()))
        .expect(hostUses({unusedNamespace(1)}))
        .expect(setFeature(0xC0, 2, false, 0xFFFFFFFF)
                    .writes(DriveBytes(4096).put(0, {3, 0, 1, 0, 0, 0}).put(32, {1, 0, 9, 0, 0x64, 0}))
                    .completes());
    EXPECT_EQ(set("ErrorInjectionEntries", "1~9:always:100", drive), status("0", "0", "Error injections set: 2."));
}

TEST(OcpErrorInjectionJob, SetsTheEntriesOfAFile) {
    TemporaryFolder folder;
    writeWholeFile(folder / "e.xml", "<ErrorInjections><ErrorInjection type=\"4\"/></ErrorInjections>");
    FakeDrive drive;
    HostNamespace partitioned = unusedNamespace(1);
    partitioned.uses.push_back({NamespaceUse::Kind::PARTITION, "/dev/nvme0n1p1", "1", false});
    drive.expect(hostUses({partitioned}))
        .expect(withoutList())
        .expect(ocpLog().answers(ocpSmart()))
        .expect(hostUses({partitioned}))
        .expect(setFeature(0xC0, 1, false, 0xFFFFFFFF).writes(DriveBytes(4096).put(0, {3, 0, 4, 0})).completes());
    EXPECT_EQ(set("ErrorInjectionEntryFile", folder / "e.xml", drive), status("0", "0", "Error injections set: 1."));
}

TEST(OcpErrorInjectionJob, AddressesTheFeatureAsTheVersionOfTheDriveWantsIt) {
    constexpr struct {
        uint8_t version;  // of log page C0h
        uint32_t nsid;
    } CASES[] = {{2, 0}, {3, 0xFFFFFFFF}, {4, 0xFFFFFFFF}};
    for (const auto& c : CASES) {
        FakeDrive drive;
        drive.expect(withUuids())
            .expect(identify(0x17).answers(ocpUuid()))
            .expect(ocpLog(2).answers(ocpSmart(c.version)))
            .expect(Expected::admin(0x09)
                        .nsid(c.nsid)
                        .dword(10, 0x000000C0)
                        .dword(11, 0)
                        .dword(14, 2)
                        .writes(DriveBytes(4096))
                        .completes());
        EXPECT_EQ(set("ErrorInjectionEntries", "none", drive), status("0", "0", "Error injections set: 0."));
    }
}

TEST(OcpErrorInjectionJob, TakesErrorsBackWhateverTheUse) {
    FakeDrive none;
    none.expect(withoutList())
        .expect(ocpLog().answers(ocpSmart()))
        .expect(setFeature(0xC0, 0, false, 0xFFFFFFFF).writes(DriveBytes(4096)).completes());
    EXPECT_EQ(set("ErrorInjectionEntries", "none", none), status("0", "0", "Error injections set: 0."));
    FakeDrive off;
    off.expect(withoutList())
        .expect(ocpLog().answers(ocpSmart()))
        .expect(setFeature(0xC0, 1, false, 0xFFFFFFFF).writes(DriveBytes(4096).put(2, {5})).completes());
    EXPECT_EQ(set("ErrorInjectionEntries", "5:off", off), status("0", "0", "Error injections set: 1."));
}

TEST(OcpErrorInjectionJob, MakesNoErrorsOnADriveThatIsUsed) {
    HostNamespace mounted = unusedNamespace(1);
    mounted.uses.push_back({NamespaceUse::Kind::MOUNTED, "/dev/nvme0n1", "/data", false});
    const std::string refusal = status(
        "10", "241", "Cannot run selected feature with the given configuration. /dev/nvme0n1 is mounted on /data.");
    FakeDrive used;
    used.expect(hostUses({mounted}));
    EXPECT_EQ(set("ErrorInjectionEntries", "1", used), refusal);
    FakeDrive mountedMeanwhile;
    mountedMeanwhile.expect(hostUses({}))
        .expect(withoutList())
        .expect(ocpLog().answers(ocpSmart()))
        .expect(hostUses({mounted}));
    EXPECT_EQ(set("ErrorInjectionEntries", "1", mountedMeanwhile), refusal);
}

TEST(OcpErrorInjectionJob, WritesNothingToADriveOfAnotherDialect) {
    FakeDrive drive;
    drive.expect(hostUses({}))
        .expect(withoutList())
        .expect(ocpLog().refuses(0x4109))
        .expect(withoutList())
        .expect(ocpLog().refuses(0x4109));
    const std::string refusal =
        status("10", "254", "Open Compute Project NVMe Cloud SSD Specification not supported on this drive.");
    EXPECT_EQ(set("ErrorInjectionEntries", "1", drive), refusal);
    OcpErrorInjectionJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).on({&drive}), refusal);
}

TEST(OcpErrorInjectionJob, ReportsARefusalAndADriveThatIsGone) {
    FakeDrive refusing;
    refusing.expect(withoutList())
        .expect(ocpLog().answers(ocpSmart()))
        .expect(setFeature(0xC0, 0, false, 0xFFFFFFFF).writes(DriveBytes(4096)).refuses(0x4002));
    EXPECT_EQ(set("ErrorInjectionEntries", "none", refusing),
              status("0", "25",
                     "Set Features failed on drive S1 (/dev/nvme0): Invalid Field in Command (status code type 0x0, "
                     "status code 0x02, opcode 0x09)."));
    FakeDrive gone;
    gone.expect(hostUses({}).breaks(Status(CATEGORY_CORE, 70, "The drive /dev/nvme0 is gone.")));
    EXPECT_EQ(set("ErrorInjectionEntries", "1", gone), status("0", "70", "The drive /dev/nvme0 is gone."));
}

TEST(OcpErrorInjectionJob, RefusesABadRequestBeforeAnythingIsSent) {
    FakeDrive drive;
    const std::string either =
        "10/253 Set error injection configured incorrectly. Give either ErrorInjectionEntries or "
        "ErrorInjectionEntryFile.";
    EXPECT_EQ(set("ErrorInjectionEntries", "", drive), either);
    OcpErrorInjectionJob both;
    EXPECT_EQ(JobRun(both, JOBTYPE_METHOD)
                  .with("SetGetType", "set")
                  .with("ErrorInjectionEntries", "1")
                  .with("ErrorInjectionEntryFile", "f")
                  .on({&drive}),
              either);
    EXPECT_EQ(
        set("ErrorInjectionEntries", "1:twice", drive),
        "10/253 Set error injection configured incorrectly. An error is injected 'once', 'always', or not ('off'), "
        "but not 'twice'.");
    OcpErrorInjectionJob put;
    EXPECT_EQ(JobRun(put, JOBTYPE_METHOD).with("SetGetType", "put").on({&drive}),
              "10/36 Invalid property specified. SetGetType must be 'get' or 'set', not 'put'.");
    OcpErrorInjectionJob several;
    FakeDrive second("S2", "/dev/nvme1");
    EXPECT_EQ(JobRun(several, JOBTYPE_METHOD)
                  .with("SetGetType", "set")
                  .with("ErrorInjectionEntries", "1")
                  .on({&drive, &second}),
              "10/6 Multiple devices selected.");
}

TEST(OcpErrorInjectionJob, AnUnpluggedDriveGetsNoErrors) {
    const Script shows{withoutList(), ocpLog().answers(ocpSmart()), getFeature(0xC0, 0, 0xFFFFFFFF, 4096)};
    const Script sets{hostUses({unusedNamespace(1)}), withoutList(), ocpLog().answers(ocpSmart()),
                      hostUses({unusedNamespace(1)}),
                      setFeature(0xC0, 1, false, 0xFFFFFFFF).writes(DriveBytes(4096).put(0, {3, 0, 1, 0, 0, 0}))};
    const std::string unplugged = status("0", "70", "The drive /dev/nvme0 is gone.");
    expectUnplugged<FakeDrive>(shows, unplugged, [](const FakeDrive& drive) {
        OcpErrorInjectionJob job;
        return JobRun(job, JOBTYPE_GET_PROPERTIES).on({&drive});
    });
    expectUnplugged<FakeDrive>(sets, unplugged,
                               [](const FakeDrive& drive) { return set("ErrorInjectionEntries", "1", drive); });
}

}  // namespace
}  // namespace features::jobs
