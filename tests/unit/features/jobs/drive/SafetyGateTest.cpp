#include <gtest/gtest.h>

#include "features/errors/DriveName.h"
#include "features/jobs/drive/SafetyGate.h"
#include "ostrel/core/CommandPath.h"
#include "ostrel/core/CommandResult.h"
#include "tests/support/LogCapture.h"
#include "tests/support/StatusText.h"
#include "tests/support/fakedrive/FakeDrive.h"

namespace features::jobs {
namespace {

using ostrel::core::Status;
using transport::HostNamespace;
using transport::HostRequest;
using transport::NamespaceUse;
using Kind = transport::NamespaceUse::Kind;
using Namespaces = std::vector<HostNamespace>;

constexpr const char* ON_OS_DRIVE = "10/192 Restricted feature on OS drive. ";
constexpr const char* IN_USE = "10/241 Cannot run selected feature with the given configuration. ";
constexpr const char* PARTITIONED = "10/94 Selected Drive contains a partition. Remove all partitions to proceed. ";
constexpr const char* ALLOWED = "0/0 Completed successfully.";

HostNamespace usedNamespace(uint32_t nsid, std::vector<NamespaceUse> uses) {
    HostNamespace part = fakedrive::unusedNamespace(nsid);
    part.uses = std::move(uses);
    return part;
}

/// The outcome of the gate when the host reports these namespaces; nothing else is asked of the drive.
std::string check(const Namespaces& namespaces, const DestructionScope& scope = {}) {
    fakedrive::FakeDrive fake;
    fake.expect(fakedrive::hostUses(namespaces));
    return statusText(checkDestruction(*fake.device(), scope));
}

const NamespaceUse MOUNTED{Kind::MOUNTED, "/dev/nvme0n1p1", "/data", false};
const NamespaceUse SWAP{Kind::SWAP, "/dev/nvme0n1p2", {}, false};
const NamespaceUse HELD{Kind::HELD, "/dev/nvme0n1", "dm-0 (vg-data)", false};
const NamespaceUse OPENED{Kind::OPENED, "/dev/nvme0n1", {}, false};
const NamespaceUse UNKNOWN{Kind::UNKNOWN, "/dev/nvme0n1", "open /dev/nvme0n1: No", false};
const NamespaceUse CONTENT{Kind::CONTENT, "/dev/nvme0n1", "a file system (ext4)", false};
const NamespaceUse UNREADABLE{Kind::UNREADABLE, "/dev/nvme0n1", "No", false};
const NamespaceUse PARTITION{Kind::PARTITION, "/dev/nvme0n1p1", {}, false};
const NamespaceUse ROOT{Kind::MOUNTED, "/dev/nvme0n1p2", "/", true};

TEST(SafetyGate, AnUnusedDrivePasses) {
    EXPECT_EQ(check({}), ALLOWED) << "no namespace";
    EXPECT_EQ(check({fakedrive::unusedNamespace(1), fakedrive::unusedNamespace(2)}), ALLOWED);
}

TEST(SafetyGate, EachUseIsRefusedAndNamed) {
    const struct {
        NamespaceUse use;
        std::string outcome;
    } CASES[] = {
        {MOUNTED, std::string(IN_USE) + "/dev/nvme0n1p1 is mounted on /data."},
        {SWAP, std::string(IN_USE) + "/dev/nvme0n1p2 is used as swap."},
        {HELD, std::string(IN_USE) + "/dev/nvme0n1 is part of dm-0 (vg-data)."},
        {OPENED, std::string(IN_USE) + "/dev/nvme0n1 is opened exclusively by another program."},
        {UNKNOWN, std::string(IN_USE) + "Whether /dev/nvme0n1 is in use cannot be determined: open /dev/nvme0n1: No."},
        {PARTITION, std::string(PARTITIONED) + "/dev/nvme0n1p1 is a partition."},
        {CONTENT, std::string(PARTITIONED) + "/dev/nvme0n1 holds a file system (ext4)."},
        {UNREADABLE, std::string(PARTITIONED) + "The content of /dev/nvme0n1 cannot be read: No."},
        {ROOT, std::string(ON_OS_DRIVE) + "/dev/nvme0n1p2 is mounted on /."},
        {{Kind::SWAP, "/dev/nvme0n1", {}, true}, std::string(ON_OS_DRIVE) + "/dev/nvme0n1 is used as swap."},
        {{Kind::HELD, "/dev/nvme0n1", "md0", true}, std::string(ON_OS_DRIVE) + "/dev/nvme0n1 is part of md0."},
    };
    for (const auto& c : CASES) {
        EXPECT_EQ(check({usedNamespace(1, {c.use})}), c.outcome);
        EXPECT_EQ(check({usedNamespace(1, {c.use})}, {1, true}), c.outcome) << "named";
    }
}

TEST(SafetyGate, ARefusalIsLogged) {
    const LogCapture log;
    check({usedNamespace(1, {SWAP})});
    check({fakedrive::unusedNamespace(1)});
    EXPECT_EQ(log.lines(), "[info] Safety gate: " + driveName(*fakedrive::FakeDrive().device()) +
                               ": Cannot run selected feature with the given configuration. /dev/nvme0n1p2 is used as "
                               "swap.\n");
}

TEST(SafetyGate, ContentCountsOnlyWhereItIsSaidTo) {
    for (const NamespaceUse& content : {PARTITION, CONTENT, UNREADABLE}) {
        EXPECT_EQ(check({usedNamespace(1, {content})}, {1, false}), ALLOWED);
        EXPECT_EQ(check({usedNamespace(1, {content})}, {0xFFFFFFFF, false}), ALLOWED);
    }
    EXPECT_EQ(check({usedNamespace(1, {UNKNOWN})}, {1, false}).substr(0, 6), "10/241") << "no force helps";
    EXPECT_EQ(check({usedNamespace(1, {PARTITION, MOUNTED})}, {1, false}),
              std::string(IN_USE) + "/dev/nvme0n1p1 is mounted on /data.")
        << "what is used is still refused";
}

TEST(SafetyGate, AUseThatNoForceOverridesIsReportedBeforeAPartition) {
    EXPECT_EQ(check({usedNamespace(1, {PARTITION, MOUNTED})}),
              std::string(IN_USE) + "/dev/nvme0n1p1 is mounted on /data.");
    EXPECT_EQ(check({usedNamespace(1, {PARTITION}), usedNamespace(2, {HELD})}),
              std::string(IN_USE) + "/dev/nvme0n1 is part of dm-0 (vg-data).");
    EXPECT_EQ(check({usedNamespace(1, {MOUNTED}), usedNamespace(2, {ROOT})}),
              std::string(ON_OS_DRIVE) + "/dev/nvme0n1p2 is mounted on /.")
        << "the system before all";
    EXPECT_EQ(
        check({usedNamespace(1, {PARTITION}), usedNamespace(2, {{Kind::PARTITION, "/dev/nvme0n2p1", {}, false}})}),
        std::string(PARTITIONED) + "/dev/nvme0n1p1 is a partition.")
        << "of two the first";
}

TEST(SafetyGate, OnlyTheNamespacesThatAreReachedCount) {
    const Namespaces namespaces{usedNamespace(1, {MOUNTED}), fakedrive::unusedNamespace(2),
                                usedNamespace(3, {PARTITION})};
    EXPECT_EQ(check(namespaces, {2, true}), ALLOWED);
    EXPECT_EQ(check(namespaces, {1, true}), std::string(IN_USE) + "/dev/nvme0n1p1 is mounted on /data.");
    EXPECT_EQ(check(namespaces, {3, true}), std::string(PARTITIONED) + "/dev/nvme0n1p1 is a partition.");
    EXPECT_EQ(check(namespaces, {0xFFFFFFFF, true}), std::string(IN_USE) + "/dev/nvme0n1p1 is mounted on /data.");
    EXPECT_EQ(check(namespaces, {9, true}), ALLOWED) << "one that the host does not see has no use";
}

TEST(SafetyGate, ANamespaceOfAnotherControllerCounts) {
    HostNamespace elsewhere = usedNamespace(2, {MOUNTED});
    elsewhere.attached = false;
    const std::string refused = std::string(IN_USE) + "/dev/nvme0n1p1 is mounted on /data.";
    EXPECT_EQ(check({elsewhere}), refused);
    EXPECT_EQ(check({elsewhere}, {2, false}), refused);
}

TEST(SafetyGate, TheSystemOnOneNamespaceProtectsTheWholeDrive) {
    const Namespaces namespaces{fakedrive::unusedNamespace(1), usedNamespace(2, {ROOT})};
    const std::string refused = std::string(ON_OS_DRIVE) + "/dev/nvme0n1p2 is mounted on /.";
    EXPECT_EQ(check(namespaces, {1, true}), refused);
    EXPECT_EQ(check(namespaces, {1, false}), refused);
    EXPECT_EQ(check(namespaces), refused);
}

TEST(SafetyGate, AHostThatCannotAnswerIsARefusal) {
    fakedrive::FakeDrive fake;
    fake.expect(fakedrive::Expected::host(HostRequest::USES).breaks(Status(1, 2, "System error. No table.")));
    EXPECT_EQ(statusText(checkDestruction(*fake.device(), {1, false})), "1/2 System error. No table.");
}

/// Answers every request with a success that says nothing, and records how closely the uses were looked at.
class MutePath : public ostrel::core::CommandPath {
public:
    using Checks = std::vector<transport::UseCheck>;
    explicit MutePath(std::shared_ptr<Checks> checks = std::make_shared<Checks>())
        : CommandPath("Fake", NANOSECONDS_PER_SECOND), checks_(std::move(checks)) {}
    std::unique_ptr<CommandPath> clone() const override { return std::make_unique<MutePath>(*this); }
    ostrel::core::CommandResult send(const ostrel::core::Command& command, const ostrel::core::Payload&,
                                     const ostrel::core::AttributeList&) override {
        checks_->push_back(dynamic_cast<const transport::HostCommand&>(command).useCheck);
        return {};
    }
    bool isSupported(const ostrel::core::AttributeList&) const override { return true; }

private:
    std::shared_ptr<Checks> checks_;
};

TEST(SafetyGate, MediaIsReadWhereContentCounts) {
    const auto checks = std::make_shared<MutePath::Checks>();
    fakedrive::FakeDrive fake;
    fake.device()->addCommandPath(MutePath(checks));
    (void)checkDestruction(*fake.device(), {1, true});
    (void)checkDestruction(*fake.device(), {1, false});
    EXPECT_EQ(*checks, (MutePath::Checks{transport::UseCheck::CONTENT, transport::UseCheck::DESTROY}));
}

TEST(SafetyGate, AnAnswerThatSaysNothingIsARefusal) {
    fakedrive::FakeDrive fake;
    fake.device()->addCommandPath(MutePath());
    EXPECT_EQ(statusText(checkDestruction(*fake.device(), {1, false})),
              "10/33 Failed to retrieve data from selected device.");
}

TEST(SafetyGate, ADriveWithoutAHostsSideIsRefused) {
    fakedrive::FakeDrive fake;
    fake.device()->getCommandSets().erase("Host");
    EXPECT_EQ(statusText(checkDestruction(*fake.device(), {1, false})),
              "0/35 Device does not support this command set.");
}

}  // namespace
}  // namespace features::jobs
