#include <gtest/gtest.h>

#include <csignal>

#include "features/jobs/erase/FormatJob.h"
#include "features/jobs/namespaces/NamespaceManagementJob.h"
#include "features/jobs/settings/MaxAddressJob.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/support/ProcessEnd.h"
#include "tests/unit/features/jobs/Commands.h"
#include "tests/unit/features/jobs/FakeClock.h"
#include "tests/unit/features/jobs/JobRun.h"
#include "tests/unit/features/jobs/Models.h"
#include "tests/unit/features/jobs/OcpLog.h"
#include "tests/unit/features/jobs/SetRun.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::interfaces::ostreli;
using transport::HostRequest;

void say(const char* text) {
    (void)!write(STDERR_FILENO, text, strlen(text));
}

/// The user ends the tool while the drive carries the command out.
Expected interrupted(Expected command) {
    return command.completes().then([] { (void)raise(SIGINT); });
}
Expected look() {
    return Expected::host(HostRequest::RESCAN).then([] { say("looked"); });
}
/// The first command that nothing holds the end back for.
Expected tooLate(Expected command) {
    return command.then([] { say(", and went on"); });
}

DriveBytes controller(uint16_t commands) {
    return identifyController().le16(78, 3).le16(256, commands);
}
DriveBytes oneFormat() {
    return identifyNamespace(1000).byte(25, 0).le32(128, 9U << 16);
}
Expected unused() {
    return hostUses({unusedNamespace(1)});
}

void setMaximumLba() {
    FakeDrive drive;
    velko(drive)
        .expect(unused())
        .expect(identify(0x01).answers(controller(0x0008)))
        .expect(ocpLog().refuses(NO_SUCH_LOG))
        .expect(identify(0x10).answers(namespaceList({1})))
        .expect(getFeature(0xC2, 0, 0, 16).answers(DriveBytes(16).le64(0, 1000)))
        .expect(unused())
        .expect(interrupted(Expected::admin(0x09).dword(10, 0xC1).writes(DriveBytes(16).le64(0, 9))))
        .expect(look());
    MaxAddressJob job;
    if (!setText(job, "MaximumLBA", "9", drive).empty()) say(", and went on");
}

void manage(const char* action, const Expected& command) {
    FakeDrive drive;
    if (action != std::string("attach")) drive.expect(unused());
    drive.expect(identify(1).answers(controller(0x0008))).expect(identify(0x10).answers(namespaceList({1})));
    if (action != std::string("attach")) drive.expect(unused());
    drive.expect(interrupted(command)).expect(look()).expect(tooLate(hostNamespaces({})));
    NamespaceManagementJob job(std::make_shared<FakeClock>());
    JobRun run(job, JOBTYPE_METHOD);
    (void)run.with("Action", action).with("NamespaceId", "1").on({&drive});
}
void deleteNamespace() {
    manage("delete", Expected::admin(0x0D).nsid(1).dword(10, 1));
}
void attachNamespace() {
    manage("attach", Expected::admin(0x15).nsid(1).dword(10, 0).writes(controllerList({3})));
}
void detachNamespace() {
    manage("detach", Expected::admin(0x15).nsid(1).dword(10, 1).writes(controllerList({3})));
}

/// Two namespaces, of which the second is not begun.
void format(const char* type, uint32_t dword10, const Expected& after) {
    FakeDrive drive;
    drive.expect(unused())
        .expect(identify(1).answers(controller(0x0002)))
        .expect(identify(2).answers(namespaceList({1, 2})))
        .expect(identify(0, 1).answers(oneFormat()))
        .expect(identify(0, 2).answers(oneFormat()))
        .expect(unused())
        .expect(interrupted(Expected::admin(0x80).nsid(1).dword(10, dword10)))
        .expect(after)
        .expect(look())
        .expect(tooLate(unused()));
    FormatJob job(std::make_shared<FakeClock>());
    (void)JobRun(job, JOBTYPE_METHOD).with("Type", type).on({&drive});
}
void deleteData() {
    format("Delete", 0x200, identify(0, 1).answers(oneFormat()));
}
void formatNamespaces() {
    format("NVMeFormat", 0, identify(0, 1).answers(oneFormat()));
}
void formatOn() {
    const auto inProgress = [] { say("asked"); };
    format("NVMeFormat", 0, identify(0, 1).answers(oneFormat().byte(32, 0x80 | 50)).then(inProgress));
}

constexpr struct {
    const char* name;
    void (*change)();
    const char* done;
} CHANGES[] = {
    {"maximum LBA", setMaximumLba, "looked"},
    {"namespace deletion", deleteNamespace, "looked"},
    {"attachment", attachNamespace, "looked"},
    {"detachment", detachNamespace, "looked"},
    {"delete", deleteData, "looked"},
    {"format", formatNamespaces, "looked"},
    {"a format that the drive goes on with", formatOn, "asked"},
};
TEST(InterruptedChange, TheProcessEndsWhenTheHostHasLooked) {
    for (const auto& row : CHANGES) {
        const End end = endOf(row.change);
        EXPECT_EQ(end.said, row.done) << row.name;
        EXPECT_TRUE(WIFSIGNALED(end.status) && WTERMSIG(end.status) == SIGINT) << row.name << ": " << end.status;
    }
}

}  // namespace
}  // namespace features::jobs
