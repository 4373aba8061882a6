#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/Device.h"
#include "tests/support/VirtualSlots.h"
#include "tests/unit/core/DeviceParts.h"

namespace ostrel::core {
namespace {

namespace vocabulary = attributes::device;
using Notes = NotingConnection::Notes;

// A device with two paths, of which the second serves two command sets; a third set leads nowhere.
Device deviceWithPaths() {
    Device device;
    device.addCommandPath(EchoPath("Slow", 5000000000));
    device.addCommandPath(EchoPath("Fast", 1500000000));
    device.addCommandSet("ATA", "Slow");
    device.addCommandSet("NVMe", "Fast");
    device.addCommandSet("Block", "Fast");
    device.addCommandSet("MMIO", "Missing");
    return device;
}

std::string textOfPayload(const Payload& payload) {
    return std::string(payload.getData(), payload.getData() + payload.getSize());
}

TEST(Device, KnowsItsCommandSets) {
    const Device device = deviceWithPaths();
    EXPECT_TRUE(device.supportsCommandSet("NVMe"));
    EXPECT_TRUE(device.supportsCommandSet("MMIO")) << "the set alone is looked at, not its path";
    EXPECT_FALSE(device.supportsCommandSet("nvme"));
    EXPECT_FALSE(device.supportsCommandSet("SCSI"));
}

TEST(Device, SendsACommandOnThePathOfItsSet) {
    Device device = deviceWithPaths();
    device.setAttribute(textAttribute("A", "1"));
    CommandResult result;
    device.sendCommand(PlainCommand("Block", "Read"), result, Payload("data", 4));
    EXPECT_EQ(result.command->getName(), "Read");
    EXPECT_EQ(statusText(result.status), "10/1 echo") << "the path was given the one attribute of the device";
    EXPECT_EQ(textOfPayload(result.outputPayload), "data");
    EXPECT_EQ(textOfPayload(result.inputPayload), "Read");
    ASSERT_NE(result.commandPath, nullptr);
    EXPECT_EQ(result.commandPath->getName(), "Fast");
    EXPECT_NE(result.commandPath, device.getCommandPaths().at("Fast")) << "a clone";
    EXPECT_FALSE(result.quietToXml);
}

TEST(Device, SendsACommandWithoutData) {
    Device device = deviceWithPaths();
    CommandResult result;
    device.sendCommand(PlainCommand("NVMe", "Identify"), result);
    EXPECT_EQ(result.outputPayload.getSize(), 0u);
    EXPECT_EQ(textOfPayload(result.inputPayload), "Identify");
}

// The shorter form goes through the longer one, which a derived device may have made its own.
class ForwardingDevice : public Device {
public:
    using Device::sendCommand;
    void sendCommand(const Command&, CommandResult& result, const Payload& payload) override {
        result.status = Status(10, payload.getSize(), "own");
    }
};

TEST(Device, CommandWithoutDataGoesThroughTheOverriddenForm) {
    ForwardingDevice device;
    CommandResult result;
    static_cast<Device&>(device).sendCommand(PlainCommand("NVMe", "Identify"), result);
    EXPECT_EQ(statusText(result.status), "10/0 own");
}

TEST(Device, CommandOfAnUnknownSetIsRefusedAndRecorded) {
    for (const char* set : {"SCSI", "MMIO"}) {
        Device device = deviceWithPaths();
        device.setCommandHistorySize(4);
        CommandResult result;
        device.sendCommand(PlainCommand("NVMe", "Before"), result, Payload());
        device.sendCommand(PlainCommand(set, "Refused"), result, Payload("data", 4));
        EXPECT_EQ(statusText(result.status), "0/35 Device does not support this command set.") << set;
        EXPECT_EQ(result.command->getName(), "Refused");
        EXPECT_EQ(textOfPayload(result.outputPayload), "data");
        EXPECT_EQ(result.inputPayload.getSize(), 0u) << "nothing is left of the result before";
        EXPECT_EQ(result.commandPath, nullptr);
        ASSERT_EQ(device.getCommandHistory().getSize(), 2u);
        EXPECT_EQ(device.getCommandHistory().at(1)->status.getCode(), 35u);
    }
}

constexpr struct {
    const char* bytes;
    uint32_t size;
    bool quiet;
} QUIET_CASES[] = {{"", 0, false}, {"\0", 1, false}, {"\1", 1, true}, {"\2", 1, false}, {"\1\0", 2, true}};

TEST(Device, ResultIsQuietWhenTheDeviceSaysSo) {
    for (const auto& c : QUIET_CASES) {
        Device device = deviceWithPaths();
        device.setCommandHistorySize(1);
        Attribute quiet = vocabulary::commandResultQuietXml();
        quiet.setValue(c.bytes, c.size);
        device.setAttribute(quiet);
        CommandResult result;
        device.sendCommand(PlainCommand("NVMe", "Identify"), result);
        EXPECT_EQ(result.quietToXml, c.quiet);
        EXPECT_EQ(device.getCommandHistory().at(0)->quietToXml, c.quiet) << "set before the result is recorded";
    }
}

TEST(Device, AttributesAreReplacedFoundAndRemovedByName) {
    Device device;
    EXPECT_FALSE(device.hasAttribute("A"));
    EXPECT_EQ(device.getAttribute(textAttribute("A", "default")).getText(), "default");
    device.setAttribute(textAttribute("A", "1"));
    device.setAttribute(textAttribute("A", "2"));
    EXPECT_TRUE(device.hasAttribute("A"));
    EXPECT_FALSE(device.hasAttribute("a"));
    EXPECT_EQ(device.getAttribute(textAttribute("A", "default")).getText(), "2");
    EXPECT_EQ(device.getAttributes().size(), 1u);
    device.removeAttribute("A");
    device.removeAttribute("A");
    EXPECT_FALSE(device.hasAttribute("A"));
}

TEST(Device, TimeoutsComeFromThePathOfTheSet) {
    const Device device = deviceWithPaths();
    EXPECT_EQ(device.getTimeout("ATA"), 5u);
    EXPECT_EQ(device.getTimeout("NVMe"), 2u) << "rounded up";
    EXPECT_EQ(device.getTimeoutNanoseconds("NVMe"), 1500000000u);
    for (const char* set : {"SCSI", "MMIO"}) {
        EXPECT_EQ(device.getTimeout(set), 60u) << "a default for those who wait";
        EXPECT_EQ(device.getTimeoutNanoseconds(set), 0u) << "but none here";
    }
}

TEST(Device, TimeoutsAreSetOnOneOrOnAllPaths) {
    Device device = deviceWithPaths();
    device.setTimeout(9, "NVMe");
    device.setTimeout(9, "MMIO");
    EXPECT_EQ(device.getTimeoutNanoseconds("Block"), 9000000000u) << "the path serves that set too";
    EXPECT_EQ(device.getTimeoutNanoseconds("ATA"), 5000000000u);
    device.setAllTimeouts(7);
    EXPECT_EQ(device.getTimeoutNanoseconds("NVMe"), 7u);
    EXPECT_EQ(device.getTimeoutNanoseconds("ATA"), 7u);
    device.setAllTimeoutsSeconds(3);
    EXPECT_EQ(device.getTimeoutNanoseconds("NVMe"), 3000000000u);
    EXPECT_EQ(device.getTimeoutNanoseconds("ATA"), 3000000000u);
}

TEST(Device, PathOfTheSameNameIsReplaced) {
    Device device = deviceWithPaths();
    device.addCommandPath(EchoPath("Fast", 1));
    EXPECT_EQ(device.getCommandPaths().size(), 2u);
    EXPECT_EQ(device.getTimeoutNanoseconds("NVMe"), 1u);
}

TEST(Device, PathIsAvailableWhenAllPathsSupportTheDevice) {
    EXPECT_FALSE(Device().isCommandPathAvailable());
    Device device = deviceWithPaths();
    EXPECT_TRUE(device.isCommandPathAvailable());
    EchoPath unsupported("Third");
    unsupported.supported = false;
    device.addCommandPath(unsupported);
    EXPECT_FALSE(device.isCommandPathAvailable());
}

const std::string HAS_PARTITIONS = "0/2 Device has one or more partitions.";
const std::string HAS_NONE = "0/3 Device has no partitions.";

TEST(Device, PartitionStatusComesFromItsOwnListFirst) {
    Device device;
    EXPECT_EQ(statusText(device.getPartitionStatus()), HAS_NONE);
    device.getPartitions().emplace_back();
    EXPECT_EQ(statusText(device.getPartitionStatus()), HAS_PARTITIONS);
}

TEST(Device, PartitionStatusAsksTheConnectionsOfThePathsInTheirOrder) {
    const auto notes = std::make_shared<Notes>();
    Device device;
    const auto addPath = [&](const std::string& name, const Status& status) {
        EchoPath path(name);
        const auto connection = std::make_shared<NotingConnection>(name, notes);
        connection->partitionStatus = status;
        path.setConnection(connection);
        device.addCommandPath(path);
    };
    device.addCommandPath(EchoPath("0 without a connection"));
    addPath("C", Status(0, 2, "of C"));
    addPath("A", Status(0, 9, "unable to report"));
    addPath("B", Status(0, 2, "of B"));
    EXPECT_EQ(statusText(device.getPartitionStatus()), "0/2 of B");
    EXPECT_EQ(*notes, (Notes{"partitions A", "partitions B"})) << "and not C any more";

    device.getCommandPaths().erase("B");
    device.getCommandPaths().erase("C");
    EXPECT_EQ(statusText(device.getPartitionStatus()), HAS_NONE) << "no other answer counts";
}

std::shared_ptr<NotingConnection> connectionNamed(const std::string& name, const std::shared_ptr<Notes>& notes) {
    return std::make_shared<NotingConnection>(name, notes);
}

TEST(Device, InitializeOpensChildrenThenOwnThenSharedConnections) {
    const auto notes = std::make_shared<Notes>();
    Device device;
    const auto child = std::make_shared<Device>();
    child->getConnections() = {connectionNamed("unused", notes)};
    child->getOwnConnections() = {connectionNamed("child's own", notes)};
    device.getChildDevices() = {child};
    const auto own = connectionNamed("own", notes), shared = connectionNamed("shared", notes);
    device.getOwnConnections() = {own};
    device.getConnections() = {shared};

    EXPECT_TRUE(succeeded(device.initialize()));
    EXPECT_EQ(*notes, (Notes{"open child's own", "open shared", "open own", "open shared"}));
    EXPECT_EQ(child->getConnections(), device.getConnections()) << "shared, in the place of the child's";
    EXPECT_EQ(own->openedFor, &device);
    EXPECT_EQ(shared->openedFor, &device);
    EXPECT_EQ(child->getAttribute(vocabulary::deviceStatus()).getText(), "Healthy");
}

TEST(Device, InitializeReportsTheFirstFailureAndGoesOn) {
    const auto notes = std::make_shared<Notes>();
    Device device;
    const auto first = connectionNamed("1", notes), second = connectionNamed("2", notes);
    first->openStatus = Status(1, 13, "first");
    second->openStatus = Status(1, 2, "second");
    device.getOwnConnections() = {first};
    device.getConnections() = {second, connectionNamed("3", notes)};
    EXPECT_EQ(statusText(device.initialize()), "1/13 first");
    EXPECT_EQ(*notes, (Notes{"open 1", "open 2", "open 3"}));
    EXPECT_TRUE(device.hasAttribute("DeviceStatus"));

    Device parent;
    parent.getChildDevices() = {std::make_shared<Device>(device)};
    parent.getOwnConnections() = {second};
    EXPECT_EQ(statusText(parent.initialize()), "1/13 first") << "the child's comes first";
}

TEST(Device, InitializeReportsTheErrorOrThatAllIsWell) {
    Device device;
    (void)device.initialize();  // without connections it cannot fail
    EXPECT_EQ(device.getAttribute(vocabulary::deviceStatus()).getText(), "Healthy");
    device.setAttribute(textAttribute("ErrorString", "Media failed"));
    (void)device.initialize();  // as above
    EXPECT_EQ(device.getAttribute(vocabulary::deviceStatus()).getText(), "Media failed");
    EXPECT_EQ(device.getAttribute(vocabulary::deviceStatus()).getType(), "string");
    device.setAttribute(textAttribute("ErrorString", ""));
    (void)device.initialize();  // as above
    EXPECT_EQ(device.getAttribute(vocabulary::deviceStatus()).getText(), "Healthy");
}

void setNumber(Device& device, Attribute attribute, uint64_t value) {
    attribute.setValue(value);
    device.setAttribute(attribute);
}

TEST(Device, InitializeAssumesSectorsOf512Bytes) {
    Device device;
    (void)device.initialize();  // without connections it cannot fail
    EXPECT_EQ(device.getAttribute(vocabulary::sectorSize()).getText(), "512");
    EXPECT_EQ(device.getAttribute(vocabulary::sectorSize()).getType(), "uint32");
    setNumber(device, vocabulary::sectorSize(), 4096);
    (void)device.initialize();  // as above
    EXPECT_EQ(device.getAttribute(vocabulary::sectorSize()).getText(), "4096");
}

constexpr struct {
    uint64_t lastAddress;
    uint64_t sectorSize;  // 0: not reported
    const char* size;
    const char* why;
} SIZE_CASES[] = {
    {0, 0, "512", "one sector"},
    {976773167, 0, "500107862016", "the last address counts too"},
    {937684565, 4096, "3840755982336", "sectors of 4 KiB"},
    {0x3FFFFFFFFFFFFE, 0, "9223372036854775296", "the largest size that fits"},
    {0x3FFFFFFFFFFFFF, 0, "", "one sector more does not fit"},
    {0xFFFFFFFFFFFFFFFF, 0, "", "neither does the number of sectors"},
};

TEST(Device, InitializeWorksOutThePhysicalSize) {
    for (const auto& c : SIZE_CASES) {
        Device device;
        setNumber(device, vocabulary::maximumLBA(), c.lastAddress);
        if (c.sectorSize != 0) setNumber(device, vocabulary::sectorSize(), c.sectorSize);
        (void)device.initialize();  // without connections it cannot fail
        const std::string size =
            device.hasAttribute("PhysicalSize") ? device.getAttribute(vocabulary::physicalSize()).getText() : "";
        EXPECT_EQ(size, c.size) << c.why;
    }
}

TEST(Device, InitializeLeavesAKnownOrUnknowablePhysicalSize) {
    Device device;
    (void)device.initialize();  // without connections it cannot fail
    EXPECT_FALSE(device.hasAttribute("PhysicalSize")) << "without a last address there is no size to report";
    setNumber(device, vocabulary::maximumLBA(), 9);
    setNumber(device, vocabulary::physicalSize(), 77);
    (void)device.initialize();  // as above
    EXPECT_EQ(device.getAttribute(vocabulary::physicalSize()).getText(), "77");
}

TEST(Device, DriveInformationHoldsFourProperties) {
    Device device;
    device.setAttribute(textAttribute("Firmware", "F1"));
    device.setAttribute(textAttribute("ModelNumber", "VELKO X\t"));
    device.setAttribute(textAttribute("SerialNumber", "S1"));
    EXPECT_EQ(device.getDriveInformation()->toXmlString(),
              R"(<?xml version="1.0" encoding="utf-8"?><Object name="Drive Information">)"
              R"(<Property name="ModelNumber" value="VELKO X"/><Property name="SerialNumber" value="S1"/>)"
              R"(<Property name="Firmware" value="F1"/><Property name="ErrorString" value=""/></Object>)");
}

TEST(Device, CopyHasItsOwnPathsAndHistoryAndSharesConnectionsAndChildren) {
    const auto notes = std::make_shared<Notes>();
    Device device = deviceWithPaths();
    device.setAttribute(textAttribute("A", "1"));
    device.getOwnConnections() = {connectionNamed("own", notes)};
    device.getConnections() = {connectionNamed("shared", notes)};
    device.getChildDevices() = {std::make_shared<Device>()};
    device.getPartitions().push_back({{"Path", textAttribute("Path", "/mnt")}});
    device.setCommandHistorySize(2);
    CommandResult result;
    device.sendCommand(PlainCommand("NVMe", "Identify"), result);

    Device copy(device);
    copy.setAllTimeouts(1);
    EXPECT_EQ(device.getTimeoutNanoseconds("NVMe"), 1500000000u);
    EXPECT_EQ(copy.getCommandSets(), device.getCommandSets());
    EXPECT_EQ(copy.getOwnConnections(), device.getOwnConnections());
    EXPECT_EQ(copy.getConnections(), device.getConnections());
    EXPECT_EQ(copy.getChildDevices(), device.getChildDevices());
    EXPECT_EQ(copy.getPartitions().size(), 1u);
    EXPECT_EQ(copy.getAttribute(textAttribute("A", "")).getText(), "1");
    device.getCommandHistory().clear();
    EXPECT_EQ(copy.getCommandHistory().getSize(), 1u);
}

struct NextSlot : Device {
    virtual void next();
};

// The library is built against this order.
TEST(Device, VirtualOperationsKeepTheirSlots) {
    using Send = void (Device::*)(const Command&, CommandResult&);
    using SendPayload = void (Device::*)(const Command&, CommandResult&, const Payload&);
    EXPECT_EQ(virtualSlot(&Device::supportsCommandSet), 2u);  // after the two of the destructor
    EXPECT_EQ(virtualSlot(static_cast<Send>(&Device::sendCommand)), 3u);
    EXPECT_EQ(virtualSlot(static_cast<SendPayload>(&Device::sendCommand)), 4u);
    EXPECT_EQ(virtualSlot(&NextSlot::next), 5u);
}

}  // namespace
}  // namespace ostrel::core
