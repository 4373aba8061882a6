#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cerrno>
#include <filesystem>

#include "features/transport/linux/BlockOpener.h"
#include "tests/unit/features/transport/FakeMachine.h"

namespace features::transport {
namespace {

using Calls = std::vector<std::string>;
using MissingNode = BlockOpener::MissingNode;

class BlockOpenerTest : public ::testing::Test {
protected:
    BlockOpenerTest() { machine_.disk("pci/nvme0", "nvme0n1", "259:7", 1); }

    /// "opened", or the errno and what failed.
    std::string open(MissingNode missing) {
        machine_.kernel->calls.clear();
        int error = -1;
        LookErrors errors;
        const auto node = BlockOpener(machine_.paths(), missing).open("nvme0n1", O_RDONLY, error, errors);
        if (node.isOpen()) return error == 0 && errors.isEmpty() ? "opened" : "opened with an error";
        return std::to_string(error) + " " + errors.text();
    }
    std::string path(const std::string& place) const { return machine_.path(place); }

    FakeMachine machine_;
    Calls& calls_ = machine_.kernel->calls;
};

TEST(DeviceNumber, IsReadWholeOrNotAtAll) {
    EXPECT_EQ(toDeviceNumber("259:7"), makedev(259, 7));
    EXPECT_EQ(toDeviceNumber("0:1048575"), makedev(0, 1048575));
    for (const char* const text : {"", ":", "259", "259:", ":7", "259:7x", "259;7", "-1:7", " 259:7"}) {
        EXPECT_EQ(toDeviceNumber(text), std::nullopt) << text;
    }
}

TEST_F(BlockOpenerTest, ANodeIsOpenedAsItIs) {
    EXPECT_EQ(open(MissingNode::REPLACE), "opened");
    EXPECT_EQ(calls_, Calls{"open /dev/nvme0n1"});
}

TEST_F(BlockOpenerTest, AnErrorOfTheNodeIsNotAvoided) {
    machine_.kernel->onOpen = [](const std::string&) { return EACCES; };
    EXPECT_EQ(open(MissingNode::REPLACE), "13 open " + path("/dev/nvme0n1") + ": Permission denied.");
    EXPECT_EQ(calls_, Calls{"open /dev/nvme0n1"});
}

TEST_F(BlockOpenerTest, AMissingNodeIsReplacedForAMoment) {
    std::filesystem::remove(path("/dev/nvme0n1"));
    EXPECT_EQ(open(MissingNode::REPORT), "2 open " + path("/dev/nvme0n1") + ": No such file or directory.");
    EXPECT_EQ(calls_, Calls());
    EXPECT_EQ(open(MissingNode::REPLACE), "opened");
    EXPECT_EQ(calls_, (Calls{"mknod /dev/TEMPORARY", "open /dev/TEMPORARY", "unlink /dev/TEMPORARY"}));
    EXPECT_TRUE(std::filesystem::is_empty(path("/dev")));
}

TEST_F(BlockOpenerTest, ANodeOfAnotherDeviceIsNotOpened) {
    machine_.kernel->devices["/dev/nvme0n1"].number = makedev(259, 8);
    EXPECT_EQ(open(MissingNode::REPLACE), "opened");
    EXPECT_EQ(calls_, (Calls{"mknod /dev/TEMPORARY", "open /dev/TEMPORARY", "unlink /dev/TEMPORARY"}));
    machine_.kernel->devices["/dev/nvme0n1"] = {S_IFCHR, makedev(259, 7)};
    EXPECT_EQ(open(MissingNode::REPORT).substr(0, 7), "2 open ");
    machine_.kernel->devices.erase("/dev/nvme0n1");
    EXPECT_EQ(open(MissingNode::REPORT).substr(0, 7), "2 open ") << "a plain file";
}

TEST_F(BlockOpenerTest, ANodeThatIsReplacedWhileItIsOpenedIsNotTaken) {
    machine_.kernel->onOpen = [this](const std::string& node) {
        if (node == "/dev/nvme0n1") machine_.kernel->devices[node].number = makedev(259, 8);
        return 0;
    };
    EXPECT_EQ(open(MissingNode::REPORT), "2 open " + path("/dev/nvme0n1") + ": No such file or directory.");
}

TEST_F(BlockOpenerTest, WhereNoNodeCanBeMadeThatIsTheError) {
    std::filesystem::remove(path("/dev/nvme0n1"));
    machine_.kernel->onMakeNode = [] { return EPERM; };
    const std::string outcome = open(MissingNode::REPLACE);
    EXPECT_EQ(outcome.substr(0, 8), "1 mknod ");
    EXPECT_EQ(outcome.substr(outcome.rfind(':')), ": Operation not permitted.");
    EXPECT_EQ(calls_, Calls{"mknod /dev/TEMPORARY"});
}

TEST_F(BlockOpenerTest, TheTemporaryNodeIsRemovedWhenItDoesNotOpen) {
    std::filesystem::remove(path("/dev/nvme0n1"));
    machine_.kernel->onOpen = [](const std::string&) { return EBUSY; };
    const std::string outcome = open(MissingNode::REPLACE);
    EXPECT_EQ(outcome.substr(0, 8), "16 open ");
    EXPECT_EQ(outcome.substr(outcome.rfind(':')), ": Device or resource busy.");
    EXPECT_TRUE(std::filesystem::is_empty(path("/dev")));
}

TEST_F(BlockOpenerTest, WithoutADeviceNumberNothingIsOpened) {
    machine_.file("/sys/class/block/nvme0n1/dev", "259\n");
    EXPECT_EQ(open(MissingNode::REPLACE), "2 " + path("/sys/class/block/nvme0n1/dev") + ": no device number.");
    EXPECT_EQ(calls_, Calls());
}

}  // namespace
}  // namespace features::transport
