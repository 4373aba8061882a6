#include <gtest/gtest.h>

#include "features/jobs/settings/SmBusAddressJob.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/unit/features/jobs/Commands.h"
#include "tests/unit/features/jobs/JobRun.h"
#include "tests/unit/features/jobs/Models.h"
#include "tests/unit/features/jobs/OcpLog.h"
#include "tests/unit/features/jobs/StatusAnswer.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::interfaces::ostreli;

std::string set(const std::string& address, const std::string& selector, const std::vector<const FakeDrive*>& drives) {
    SmBusAddressJob job;
    JobRun run(job, JOBTYPE_METHOD);
    run.with("SMBusAddress", address);
    if (!selector.empty()) run.with("SMBusSelector", selector);
    return run.on(drives);
}

/// What is asked before a feature is written that OCP 2.5 has, too.
FakeDrive& withoutOcp(FakeDrive& drive) {
    return velko(drive).expect(withoutList()).expect(ocpLog().refuses(NO_SUCH_LOG));
}

constexpr struct {
    const char* address;
    const char* selector;
    uint32_t dword11;
    uint32_t reported;
    const char* message;
} SETS[] = {
    {"212", "", 0x000000D4, 0x003AA6D4, "The address of NVMe-MI Basic Management is 0xD4."},
    {"1", "0", 0x00000001, 0x003AA601, "The address of NVMe-MI Basic Management is 0x01."},
    {"255", "1", 0x000001FF, 0x003AFFD4, "The address of VPD EEPROM is disabled."},
    {"0x3A", "2", 0x0000023A, 0x003AA6D4, "The address of NVMe-MI over MCTP is 0x3A."},
};
TEST(SmBusAddressJob, SetsOneOfThreeAddresses) {
    for (const auto& c : SETS) {
        SCOPED_TRACE(c.message);
        FakeDrive drive;
        withoutOcp(drive)
            .expect(setFeature(0xC8, c.dword11).completes())
            .expect(getFeature(0xC8).completes(c.reported));
        EXPECT_EQ(set(c.address, c.selector, {&drive}), statusAnswer("SMBus Address", "0", "0", c.message));
    }
}

TEST(SmBusAddressJob, FailsWhenTheDriveReportsAnotherAddress) {
    FakeDrive drive;
    withoutOcp(drive).expect(setFeature(0xC8, 0x1FF).completes()).expect(getFeature(0xC8).completes(0x003AA6FF));
    EXPECT_EQ(set("255", "1", {&drive}),
              statusAnswer("SMBus Address", "10", "164",
                           "Configuration update failed. Drive S1 (/dev/nvme0) accepted Address "
                           "1 disabled and reports 0xA6."));
}

TEST(SmBusAddressJob, RefusesABadRequestBeforeAnythingIsSent) {
    FakeDrive drive, second("S2", "/dev/nvme1");
    velko(drive);
    for (const char* address : {"0", "256", "-1", "y", ""}) {
        EXPECT_EQ(set(address, "", {&drive}),
                  std::string("10/35 Invalid SM Bus address. SMBusAddress must be a number from 1 to 255, not '") +
                      address + "'.");
    }
    EXPECT_EQ(set("1", "3", {&drive}),
              "10/36 Invalid value given for SMBusSelector: '3'. It must be a number from 0 to 2.");
    EXPECT_EQ(set("1", "", {}), "10/5 No device selected.");
    EXPECT_EQ(set("1", "", {&drive, &second}), "10/6 Multiple devices selected.");
}

TEST(SmBusAddressJob, WritesNothingToAnotherMakersDrive) {
    FakeDrive other;
    EXPECT_EQ(set("1", "", {&other}),
              statusAnswer("SMBus Address", "10", "3", "The selected drive does not support this feature."));
    FakeDrive refusing;
    withoutOcp(refusing).expect(setFeature(0xC8, 1).refuses(0x4002));
    EXPECT_EQ(
        set("1", "", {&refusing}),
        statusAnswer("SMBus Address", "10", "3",
                     "The selected drive does not support this feature. Set Features failed on drive S1 "
                     "(/dev/nvme0): Invalid Field in Command (status code type 0x0, status code 0x02, opcode 0x09)."));
    FakeDrive unplugged;
    withoutOcp(unplugged).expect(setFeature(0xC8, 1).breaks(gone()));
    EXPECT_EQ(set("1", "", {&unplugged}), statusAnswer("SMBus Address", "0", "70", "The drive /dev/nvme0 is gone."));
}

}  // namespace
}  // namespace features::jobs
