#include <gtest/gtest.h>

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

TEST(NvmeTopology, AMachineWithoutTheDriverHasNoControllers) {
    const TemporaryFolder empty;
    const NvmeTopology topology(LinuxPaths(empty / "nowhere"));
    EXPECT_EQ(topology.controllers(), Names());
    EXPECT_EQ(texts(topology.namespacesOf("nvme0")), Names());
    EXPECT_EQ(topology.controllersOf("nvme0n1"), Names());
    EXPECT_EQ(topology.subsystemOf("nvme0"), Names{"nvme0"});
}

TEST(NvmeTopology, ControllersComeInByteOrderWithoutOtherEntries) {
    FakeMachine machine;
    for (int i = 10; i >= 0; --i) machine.controller("nvme" + std::to_string(i), "nvme-subsys" + std::to_string(i));
    for (const char* const other : {"nvme-fabrics", "nvme", "nvme0n1", "nvme1x", "ctl"}) {
        machine.folder(std::string("/sys/class/nvme/") + other);
    }
    EXPECT_EQ(NvmeTopology(machine.paths()).controllers(), (Names{"nvme0", "nvme1", "nvme10", "nvme2", "nvme3", "nvme4",
                                                                  "nvme5", "nvme6", "nvme7", "nvme8", "nvme9"}));
}

TEST(NvmeTopology, NamespacesComeByTheirNumberWhateverTheirNames) {
    FakeMachine machine;
    machine.controller("nvme0", "nvme-subsys0");
    // A name's last number is the order of discovery; the identifier stands in the file.
    machine.disk("pci/nvme0", "nvme0n1", "259:0", 10);
    machine.disk("pci/nvme0", "nvme0n2", "259:1", 2);
    machine.disk("pci/nvme0", "nvme0n10", "259:2", 4294967294U);
    machine.file("/sys/devices/pci/nvme0/ng0n1/dev", "240:0\n");
    machine.file("/sys/devices/pci/nvme0/nvme0n3/size", "8\n");  // on its way out: the identifier is gone
    EXPECT_EQ(texts(NvmeTopology(machine.paths()).namespacesOf("nvme0")),
              (Names{"2 nvme0n2", "10 nvme0n1", "4294967294 nvme0n10"}));
}

TEST(NvmeTopology, TheNumberInANodesNameIsNotTheControllers) {
    FakeMachine machine;
    machine.controller("nvme0", "nvme-subsys1");
    machine.controller("nvme1", "nvme-subsys0");
    machine.disk("pci/nvme0", "nvme1n1", "259:0", 1);
    machine.disk("pci/nvme1", "nvme0n1", "259:1", 1);
    const NvmeTopology topology(machine.paths());
    EXPECT_EQ(texts(topology.namespacesOf("nvme0")), Names{"1 nvme1n1"});
    EXPECT_EQ(texts(topology.namespacesOf("nvme1")), Names{"1 nvme0n1"});
    EXPECT_EQ(topology.controllersOf("nvme0n1"), Names{"nvme1"});
    EXPECT_EQ(topology.controllersOf("nvme1n1"), Names{"nvme0"});
    EXPECT_EQ(topology.controllersOf("nvme2n1"), Names());
}

/// Two controllers of one subsystem under native multipath: namespace 1 on both, 2 on the first alone.
class Multipath : public ::testing::Test {
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

TEST_F(Multipath, APathStandsForTheNodeAboveAllPaths) {
    const NvmeTopology topology(machine_.paths());
    EXPECT_EQ(texts(topology.namespacesOf("nvme0")), (Names{"1 nvme0n1", "2 nvme0n2"}));
    EXPECT_EQ(texts(topology.namespacesOf("nvme1")), Names{"1 nvme0n1"});
    EXPECT_EQ(texts(topology.namespacesOf("nvme2")), Names{"1 nvme2n1"});
}

TEST_F(Multipath, ANodeBelongsToAllItsControllers) {
    const NvmeTopology topology(machine_.paths());
    EXPECT_EQ(topology.controllersOf("nvme0n1"), (Names{"nvme0", "nvme1"}));
    EXPECT_EQ(topology.controllersOf("nvme0n2"), Names{"nvme0"});
    EXPECT_EQ(topology.controllersOf("nvme0c0n1"), Names()) << "a path is no node";
}

TEST_F(Multipath, ASubsystemIsAllItsControllers) {
    const NvmeTopology topology(machine_.paths());
    EXPECT_EQ(topology.subsystemOf("nvme0"), (Names{"nvme0", "nvme1"}));
    EXPECT_EQ(topology.subsystemOf("nvme1"), (Names{"nvme0", "nvme1"}));
    EXPECT_EQ(topology.subsystemOf("nvme2"), Names{"nvme2"});
}

TEST_F(Multipath, ANodeWithAnotherNameIsFoundByItsIdentifier) {
    machine_.hiddenPath("nvme1", "nvme0c1n2", 9);
    machine_.hiddenPath("nvme1", "nvme5c1n3", 10);
    machine_.disk("virtual/nvme-subsys0", "nvme0n9", "259:3", 9);
    machine_.disk("virtual/nvme-subsys0", "nvme0n3", "259:4", 10);
    const NvmeTopology topology(machine_.paths());
    EXPECT_EQ(texts(topology.namespacesOf("nvme1")), (Names{"1 nvme0n1", "9 nvme0n9", "10 nvme0n3"}))
        << "nvme0n2 is namespace 2, and there is no nvme5n3";
}

TEST_F(Multipath, APathWhoseHeadIsGoneHasNoNode) {
    machine_.hiddenPath("nvme1", "nvme0c1n7", 7);
    const NvmeTopology topology(machine_.paths());
    EXPECT_EQ(texts(topology.namespacesOf("nvme1")), (Names{"1 nvme0n1", "7 "}));
}

TEST(NvmeTopology, TwoControllersWithoutMultipathHaveANodeEach) {
    FakeMachine machine;
    machine.controller("nvme0", "nvme-subsys0");
    machine.controller("nvme1", "nvme-subsys0");
    machine.disk("pci/nvme0", "nvme0n1", "259:0", 1);
    machine.disk("pci/nvme1", "nvme1n1", "259:1", 1);
    const NvmeTopology topology(machine.paths());
    EXPECT_EQ(topology.subsystemOf("nvme1"), (Names{"nvme0", "nvme1"}));
    EXPECT_EQ(topology.controllersOf("nvme0n1"), Names{"nvme0"});
    EXPECT_EQ(topology.controllersOf("nvme1n1"), Names{"nvme1"});
}

}  // namespace
}  // namespace features::transport
