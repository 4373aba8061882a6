#include <gtest/gtest.h>

#include <filesystem>

#include "features/transport/linux/NvmeTopology.h"
#include "tests/unit/features/transport/FakeMachine.h"

namespace features::transport {
namespace {

using Names = std::vector<std::string>;

/// "1 nvme0n1", one a namespace.
Names texts(const std::vector<NamespaceNode>& nodes) {
    Names list;
    for (const NamespaceNode& node : nodes) list.push_back(std::to_string(node.nsid) + " " + node.block);
    return list;
}

/// What a test looks at can be looked at, unless it says otherwise.
class NvmeTopologyTest : public testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(errors_.text(), ""); }

    LookErrors errors_;
};

TEST_F(NvmeTopologyTest, AMachineWithoutTheDriverHasNoControllers) {
    FakeMachine machine;
    std::filesystem::remove_all(machine.path("/sys/class"));
    const NvmeTopology topology(machine.paths());
    EXPECT_EQ(topology.controllers(errors_), Names());
    EXPECT_EQ(texts(topology.namespacesOf("nvme0", errors_)), Names());
    EXPECT_EQ(topology.controllersOf("nvme0n1", errors_), Names());
    EXPECT_EQ(topology.subsystemOf("nvme0", errors_), Names{"nvme0"});
}

TEST_F(NvmeTopologyTest, ControllersComeInByteOrderWithoutOtherEntries) {
    FakeMachine machine;
    for (int i = 10; i >= 0; --i) machine.controller("nvme" + std::to_string(i), "nvme-subsys" + std::to_string(i));
    for (const char* const other : {"nvme-fabrics", "nvme", "nvme0n1", "nvme1x", "ctl"}) {
        machine.folder(std::string("/sys/class/nvme/") + other);
    }
    EXPECT_EQ(
        NvmeTopology(machine.paths()).controllers(errors_),
        (Names{"nvme0", "nvme1", "nvme10", "nvme2", "nvme3", "nvme4", "nvme5", "nvme6", "nvme7", "nvme8", "nvme9"}));
}

TEST_F(NvmeTopologyTest, NamespacesComeByTheirNumberWhateverTheirNames) {
    FakeMachine machine;
    machine.controller("nvme0", "nvme-subsys0");
    // A name's last number is the order of discovery; the identifier is in the file.
    machine.disk("pci/nvme0", "nvme0n1", "259:0", 10);
    machine.disk("pci/nvme0", "nvme0n2", "259:1", 2);
    machine.disk("pci/nvme0", "nvme0n10", "259:2", 4294967294U);
    machine.file("/sys/devices/pci/nvme0/ng0n1/dev", "240:0\n");
    machine.file("/sys/devices/pci/nvme0/nvme0n3/size", "8\n");  // on its way out: the identifier is gone
    EXPECT_EQ(texts(NvmeTopology(machine.paths()).namespacesOf("nvme0", errors_)),
              (Names{"2 nvme0n2", "10 nvme0n1", "4294967294 nvme0n10"}));
}

TEST_F(NvmeTopologyTest, TheNumberInANodesNameIsNotTheControllers) {
    FakeMachine machine;
    machine.controller("nvme0", "nvme-subsys1");
    machine.controller("nvme1", "nvme-subsys0");
    machine.disk("pci/nvme0", "nvme1n1", "259:0", 1);
    machine.disk("pci/nvme1", "nvme0n1", "259:1", 1);
    const NvmeTopology topology(machine.paths());
    EXPECT_EQ(texts(topology.namespacesOf("nvme0", errors_)), Names{"1 nvme1n1"});
    EXPECT_EQ(texts(topology.namespacesOf("nvme1", errors_)), Names{"1 nvme0n1"});
    EXPECT_EQ(topology.controllersOf("nvme0n1", errors_), Names{"nvme1"});
    EXPECT_EQ(topology.controllersOf("nvme1n1", errors_), Names{"nvme0"});
    EXPECT_EQ(topology.controllersOf("nvme2n1", errors_), Names());
}

/// Two controllers of one subsystem under native multipath: namespace 1 on both, 2 on the first alone.
class Multipath : public NvmeTopologyTest {
protected:
    Multipath() {
        machine_.controller("nvme0", "nvme-subsys0");
        machine_.controller("nvme1", "nvme-subsys0");
        machine_.controller("nvme2", "nvme-subsys2");
        machine_.hiddenPath("nvme0", "nvme0c0n1", 1);
        machine_.hiddenPath("nvme0", "nvme0c0n2", 2);
        machine_.hiddenPath("nvme1", "nvme0c1n1", 1);
        machine_.disk("virtual/nvme-subsys0", "nvme0n1", "259:0", 1);
        machine_.disk("virtual/nvme-subsys0", "nvme0n2", "259:1", 2);
        machine_.disk("pci/nvme2", "nvme2n1", "259:2", 1);
    }

    FakeMachine machine_;
};

TEST_F(Multipath, APathSelectsTheNodeAboveAllPaths) {
    const NvmeTopology topology(machine_.paths());
    EXPECT_EQ(texts(topology.namespacesOf("nvme0", errors_)), (Names{"1 nvme0n1", "2 nvme0n2"}));
    EXPECT_EQ(texts(topology.namespacesOf("nvme1", errors_)), Names{"1 nvme0n1"});
    EXPECT_EQ(texts(topology.namespacesOf("nvme2", errors_)), Names{"1 nvme2n1"});
}

TEST_F(Multipath, ANodeBelongsToAllItsControllers) {
    const NvmeTopology topology(machine_.paths());
    EXPECT_EQ(topology.controllersOf("nvme0n1", errors_), (Names{"nvme0", "nvme1"}));
    EXPECT_EQ(topology.controllersOf("nvme0n2", errors_), Names{"nvme0"});
    EXPECT_EQ(topology.controllersOf("nvme0c0n1", errors_), Names()) << "a path is no node";
}

TEST_F(Multipath, ASubsystemIsAllItsControllers) {
    const NvmeTopology topology(machine_.paths());
    EXPECT_EQ(topology.subsystemOf("nvme0", errors_), (Names{"nvme0", "nvme1"}));
    EXPECT_EQ(topology.subsystemOf("nvme1", errors_), (Names{"nvme0", "nvme1"}));
    EXPECT_EQ(topology.subsystemOf("nvme2", errors_), Names{"nvme2"});
}

TEST_F(Multipath, ANodeWithAnotherNameIsFoundByItsIdentifier) {
    machine_.hiddenPath("nvme1", "nvme0c1n2", 9);
    machine_.hiddenPath("nvme1", "nvme5c1n3", 10);
    machine_.disk("virtual/nvme-subsys0", "nvme0n9", "259:3", 9);
    machine_.disk("virtual/nvme-subsys0", "nvme0n3", "259:4", 10);
    const NvmeTopology topology(machine_.paths());
    EXPECT_EQ(texts(topology.namespacesOf("nvme1", errors_)), (Names{"1 nvme0n1", "9 nvme0n9", "10 nvme0n3"}))
        << "nvme0n2 is namespace 2, and there is no nvme5n3";
}

TEST_F(Multipath, APathWhoseHeadIsGoneHasNoNode) {
    machine_.hiddenPath("nvme1", "nvme0c1n7", 7);
    const NvmeTopology topology(machine_.paths());
    EXPECT_EQ(texts(topology.namespacesOf("nvme1", errors_)), (Names{"1 nvme0n1", "7 "}));
}

TEST_F(Multipath, APathWithoutASubsystemHasNoNode) {
    machine_.controller("nvme3", "nvme-subsys3");
    machine_.hiddenPath("nvme3", "nvme3c3n1", 1);
    std::filesystem::remove(machine_.path("/sys/class/nvme-subsystem/nvme-subsys3"));
    const NvmeTopology topology(machine_.paths());
    EXPECT_EQ(texts(topology.namespacesOf("nvme3", errors_)), Names{"1 "});
    EXPECT_EQ(topology.subsystemOf("nvme3", errors_), Names{"nvme3"}) << "an older kernel: it is alone";
    EXPECT_EQ(errors_.text(), "");
}

TEST_F(Multipath, AHeadThatWentAwayMeanwhileIsNone) {
    machine_.hiddenPath("nvme1", "nvme5c1n2", 9);
    machine_.disk("virtual/nvme-subsys0", "nvme0n9", "259:3", 9);
    std::filesystem::remove(machine_.path("/sys/devices/virtual/nvme-subsys0/nvme0n9/nsid"));
    const NvmeTopology topology(machine_.paths());
    EXPECT_EQ(texts(topology.namespacesOf("nvme1", errors_)), (Names{"1 nvme0n1", "9 "}));
}

TEST_F(NvmeTopologyTest, TwoControllersWithoutMultipathHaveANodeEach) {
    FakeMachine machine;
    machine.controller("nvme0", "nvme-subsys0");
    machine.controller("nvme1", "nvme-subsys0");
    machine.disk("pci/nvme0", "nvme0n1", "259:0", 1);
    machine.disk("pci/nvme1", "nvme1n1", "259:1", 1);
    const NvmeTopology topology(machine.paths());
    EXPECT_EQ(topology.subsystemOf("nvme1", errors_), (Names{"nvme0", "nvme1"}));
    EXPECT_EQ(topology.controllersOf("nvme0n1", errors_), Names{"nvme0"});
    EXPECT_EQ(topology.controllersOf("nvme1n1", errors_), Names{"nvme1"});
}

/// What is reported of a folder or file that cannot be looked at: a link that leads to itself can be made by every
/// user.
class UnreadableSysfs : public NvmeTopologyTest {
protected:
    UnreadableSysfs() {
        machine_.controller("nvme0", "nvme-subsys0");
        machine_.disk("pci/nvme0", "nvme0n1", "259:0", 1);
    }
    void TearDown() override {}

    void spoil(const std::string& place) {
        std::filesystem::remove_all(machine_.path(place));
        machine_.link(place, place);
    }
    std::string loop(const std::string& place) const {
        return machine_.path(place) + ": Too many levels of symbolic links.";
    }

    FakeMachine machine_;
};

TEST_F(UnreadableSysfs, ControllersAreFoundByTheirNodes) {
    machine_.controller("nvme10", "nvme-subsys10");
    machine_.file("/dev/nvme-fabrics", "");
    machine_.folder("/dev/nvme7");
    spoil("/sys/class/nvme");
    EXPECT_EQ(NvmeTopology(machine_.paths()).controllers(errors_), (Names{"nvme0", "nvme10"}));
    EXPECT_EQ(errors_.text(), loop("/sys/class/nvme"));
}

TEST_F(UnreadableSysfs, AFileSystemThatIsNotMountedIsAnError) {
    machine_.kernel->mounted = {"/proc"};
    std::filesystem::remove_all(machine_.path("/sys"));
    EXPECT_EQ(NvmeTopology(machine_.paths()).controllers(errors_), Names{"nvme0"});
    EXPECT_EQ(errors_.text(), machine_.path("/sys") + ": sysfs is not mounted.");
    LookErrors ofNamespaces;
    EXPECT_EQ(texts(NvmeTopology(machine_.paths()).namespacesOf("nvme0", ofNamespaces)), Names());
    EXPECT_EQ(ofNamespaces.text(), machine_.path("/sys") + ": sysfs is not mounted.");
}

TEST_F(UnreadableSysfs, AFileSystemThatWasSeenIsMissedByTheNextLookAtAController) {
    const NvmeTopology topology(machine_.paths());
    machine_.kernel->mounted = {"/proc"};
    LookErrors before;
    EXPECT_FALSE(topology.wasVisible(before));
    EXPECT_EQ(before.text(), machine_.path("/sys") + ": sysfs is not mounted.");
    machine_.kernel->mounted = {"/proc", "/sys"};
    EXPECT_TRUE(topology.wasVisible(errors_)) << "asked again";
    machine_.kernel->mounted = {"/proc"};
    EXPECT_TRUE(topology.wasVisible(errors_));
    EXPECT_EQ(errors_.text(), "");
    std::filesystem::remove_all(machine_.path("/sys"));
    EXPECT_EQ(texts(topology.namespacesOf("nvme0", errors_)), Names());
    EXPECT_EQ(errors_.text(), machine_.path("/sys") + ": sysfs is not mounted.");
}

TEST_F(UnreadableSysfs, NodesAreNoDrivesWhereSysfsHasNone) {
    std::filesystem::remove(machine_.path("/sys/class/nvme/nvme0"));
    EXPECT_EQ(NvmeTopology(machine_.paths()).controllers(errors_), Names()) << "a stale node";
    EXPECT_EQ(errors_.text(), "");
}

TEST_F(UnreadableSysfs, EachFileOfANamespaceCounts) {
    for (const char* const place :
         {"/sys/devices/pci/nvme0/nvme0n1/nsid", "/sys/devices/pci/nvme0/nvme0n1/hidden", "/sys/devices/pci/nvme0"}) {
        FakeMachine other;
        other.controller("nvme0", "nvme-subsys0");
        other.disk("pci/nvme0", "nvme0n1", "259:0", 1);
        std::filesystem::remove_all(other.path(place));
        other.link(place, place);
        LookErrors errors;
        (void)NvmeTopology(other.paths()).namespacesOf("nvme0", errors);
        EXPECT_NE(errors.text().find("Too many levels of symbolic links."), std::string::npos) << place;
    }
}

TEST_F(UnreadableSysfs, ASubsystemThatCannotBeReadIsReportedEachTime) {
    spoil("/sys/class/nvme-subsystem");
    const NvmeTopology topology(machine_.paths());
    for (int i = 0; i < 2; ++i) {
        LookErrors errors;
        EXPECT_EQ(topology.subsystemOf("nvme0", errors), Names{"nvme0"});
        EXPECT_EQ(errors.text(), loop("/sys/class/nvme-subsystem"));
    }
}

}  // namespace
}  // namespace features::transport
