#include <gtest/gtest.h>

#include "features/jobs/inventory/IdentifyJob.h"
#include "features/jobs/inventory/PartitionInformationJob.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/unit/features/jobs/JobRun.h"
#include "tests/unit/features/jobs/SataCommands.h"
#include "tests/unit/features/jobs/StatusAnswer.h"
#include "tests/unit/features/jobs/Unplugged.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::interfaces::ostreli;

TEST(IdentifyJobAta, ShowsIdentifyDeviceAndTheListedPagesOfLog30h) {
    FakeSataDrive drive;
    drive.expect(identifyAta().answers(identifyDevice()))
        .expect(logExt(0x00).answers(logDirectory({0x30})))
        .expect(logExt(0x30).answers(pageList({0x00, 0x01, 0x02})))
        .expect(logExt(0x30, 0x02).answers(DriveBytes(512).byte(2, 2).le64(8, 0x80000000001E8480)));
    IdentifyJob job;
    const std::string answer =
        JobRun(job, JOBTYPE_METHOD).with("ControllerNamespaceStructure", "1").with("NamespaceId", "0").on({&drive});
    for (const char* shown :
         {"<Object key=\"S1\" name=\"Identify Device\">\n<Property description=\"General configuration\" name=\"W0\" "
          "value=\"0x0040\"/>\n",
          "<Property description=\"Serial Number\" name=\"W10-19\" value=\"S1\"/>\n",
          "<Object key=\"S1\" name=\"Identify Data Capacity\">\n<Property description=\"Device capacity\" "
          "name=\"Capacity\" "
          "value=\"2000000 logical sectors\"/>\n"})
        EXPECT_NE(answer.find(shown), std::string::npos) << shown << "is not in:\n" << answer;
}

TEST(IdentifyJobAta, WhatCameBeforeTheDriveWasUnpluggedIsShownWithTheError) {
    const Script script{identifyAta().answers(identifyDevice()), logExt(0x00).answers(logDirectory({0x30})),
                        logExt(0x30).answers(pageList({0x00, 0x01, 0x02})), logExt(0x30, 0x02)};
    const std::string error = statusObject("Identify", "0", "70", "The drive /dev/nvme0 is gone.");
    const auto run = [&](const FakeSataDrive& drive) {
        IdentifyJob job;
        return JobRun(job, JOBTYPE_METHOD).with("ControllerNamespaceStructure", "1").on({&drive});
    };
    expectUnplugged<FakeSataDrive>({script.front()}, output(error), run);
    const std::string begin = "0/0\n<Object category=\"Output\">\n<Object key=\"S1\" name=\"Identify Device\">\n";
    expectUnplugged<FakeSataDrive>(
        script, error + "</Object>",
        [&](const FakeSataDrive& drive) {
            const std::string shown = run(drive);
            EXPECT_EQ(shown.substr(0, begin.size()), begin);
            EXPECT_EQ(shown.find("Identify Data"), std::string::npos) << shown;
            return shown.substr(shown.find("<Object category=\"status\""));
        },
        1);
}

TEST(IdentifyJobAta, HasNoStructureOfNvme) {
    for (const char* structure : {"0", "2", "3", "19", "23"}) {
        FakeSataDrive drive;
        IdentifyJob job;
        EXPECT_EQ(JobRun(job, JOBTYPE_METHOD)
                      .with("ControllerNamespaceStructure", structure)
                      .with("NamespaceId", "1")
                      .on({&drive}),
                  statusAnswer("Identify", "0", "35",
                               "Device does not support this command set. S1 (/dev/sda) is a SATA drive."))
            << structure;
    }
}

TEST(PartitionInformationJobAta, ShowsTheUseOfTheDisk) {
    transport::HostNamespace disk;
    disk.nsid = 1;
    disk.node = "/dev/sda";
    disk.sizeBytes = 1024000000;
    disk.uses = {{transport::NamespaceUse::Kind::HELD, "/dev/sda", "md0", false}};
    FakeSataDrive drive;
    drive.expect(hostUses({disk}));
    PartitionInformationJob job;
    EXPECT_EQ(JobRun(job, JOBTYPE_GET_PROPERTIES).on({&drive}),
              output("<Object category=\"attributeList\" key=\"Disk /dev/sda S1\">\n"
                     "<Property category=\"attribute\" displayName=\"Mount Point\" name=\"MountPoint\" size=\"12\" "
                     "type=\"string\" value=\"not mounted\"/>\n"
                     "<Property category=\"attribute\" description=\"bytes\" displayName=\"Size\" name=\"Size\" "
                     "size=\"8\" type=\"uint64\" value=\"1024000000\"/>\n"
                     "<Property category=\"attribute\" displayName=\"Use\" name=\"Use\" size=\"12\" type=\"string\" "
                     "value=\"part of md0\"/>\n</Object>\n"));
}

}  // namespace
}  // namespace features::jobs
