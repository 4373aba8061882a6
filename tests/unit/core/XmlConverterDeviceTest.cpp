// The converters of the device layer.

#include <gtest/gtest.h>

#include <string>

#include "ostrel/core/XmlConverter.h"
#include "tests/unit/core/DeviceParts.h"

namespace ostrel::core {
namespace {

std::string xmlOf(const xml::XmlElement& element) {
    std::string out;
    element.appendXml(out);
    return out;
}

const std::string STATUS_XML =
    R"(<Object category="status"><Property name="Category" value="0"/><Property name="Code" value="0"/>)"
    R"(<Property name="Message" value="Completed successfully."/></Object>)";

CommandResult fullResult() {
    CommandResult result;
    result.command = std::make_unique<PlainCommand>("NVMe", "Identify");
    result.protocolResult = std::make_unique<PlainProtocolResult>();
    result.inputPayload = Payload("\x01\xAB", 2);
    result.outputPayload = Payload("\xFF", 1);
    const boost::gregorian::date day(2024, 2, 29);
    result.startTime = boost::posix_time::ptime(day, boost::posix_time::time_duration(23, 59, 59, 5));
    result.endTime = result.startTime + boost::posix_time::seconds(2);
    result.duration = boost::posix_time::seconds(2);
    result.commandPath = std::make_unique<EchoPath>("Driver", 1500000000);
    return result;
}

TEST(XmlConverter, CommandResultHasPayloadsTimesAndParts) {
    EXPECT_EQ(
        xmlOf(*XmlConverter::commandToXml(fullResult())),
        R"(<Object category="commandResult">)"
        R"(<Property category="inputPayload" displayName="payload" name="payload" size="2" type="bytepointer" value="01AB"/>)"
        R"(<Property category="outputPayload" displayName="payload" name="payload" size="1" type="bytepointer" value="FF"/>)"
        R"(<Property name="quietToXml" value="False"/>)"
        R"(<Property name="startTime" value="2024-Feb-29 23:59:59.000005"/>)"
        R"(<Property name="endTime" value="2024-Mar-01 00:00:01.000005"/>)"
        R"(<Property name="duration" value="00:00:02"/>)"
        R"(<Object name="Identify"></Object><Object name="Completion"></Object>)" +
            STATUS_XML +
            R"(<Object category="commandPath"><Property name="name" value="Driver"/>)"
            R"(<Property name="timeout" value="1500000000"/></Object></Object>)");
}

TEST(XmlConverter, QuietCommandResultLeavesThePayloadsOut) {
    CommandResult result;
    result.inputPayload = Payload("\x01\xAB", 2);
    result.quietToXml = true;
    EXPECT_EQ(
        xmlOf(*XmlConverter::commandToXml(result)),
        R"(<Object category="commandResult"><Property name="quietToXml" value="True"/>)"
        R"(<Property name="startTime" value="not-a-date-time"/><Property name="endTime" value="not-a-date-time"/>)"
        R"(<Property name="duration" value="00:00:00"/>)" +
            STATUS_XML + "</Object>");
}

TEST(XmlConverter, CommandHistoryIsAListOldestFirst) {
    CommandHistory history;
    EXPECT_EQ(xmlOf(*XmlConverter::commandHistoryToXml(history)),
              R"(<List category="commandHistory" maxSize="0" size="0"></List>)");
    history.setMaxSize(4);
    CommandResult result;
    result.quietToXml = true;
    for (const char* name : {"First", "Second"}) {
        result.command = std::make_unique<PlainCommand>("NVMe", name);
        history.add(result);
    }
    const auto list = XmlConverter::commandHistoryToXml(history);
    EXPECT_EQ(list->getAttribute("size"), "2");
    EXPECT_EQ(list->getAttribute("maxSize"), "4");
    ASSERT_EQ(list->objects.size(), 2u);
    EXPECT_EQ(xmlOf(*list->objects[0]), xmlOf(*XmlConverter::commandToXml(*history.at(0))));
    EXPECT_EQ(list->objects[0]->objects[0]->getAttribute("name"), "First");
    EXPECT_EQ(list->objects[1]->objects[0]->getAttribute("name"), "Second");
}

TEST(XmlConverter, CommandPathReportsItsNameAsItIs) {
    EXPECT_EQ(xmlOf(*XmlConverter::commandPathToXml(EchoPath(" A\t", 18446744073709551615u))),
              "<Object category=\"commandPath\"><Property name=\"name\" value=\" A\t\"/>"
              "<Property name=\"timeout\" value=\"18446744073709551615\"/></Object>");
}

Device sampleDevice() {
    Device device;
    device.setAttribute(textAttribute("Model", "X"));
    device.addCommandPath(EchoPath("B", 2));
    device.addCommandPath(EchoPath("A", 1));
    device.addCommandSet("NVMe", "B");
    device.addCommandSet("ATA", "A");
    device.getPartitions().push_back({{"Path", textAttribute("Path", "/mnt")}});
    device.getPartitions().emplace_back();
    return device;
}

const std::string PATHS_XML =
    R"(<List category="commandPathList">)"
    R"(<Object category="commandPath"><Property name="name" value="A"/><Property name="timeout" value="1"/></Object>)"
    R"(<Object category="commandPath"><Property name="name" value="B"/><Property name="timeout" value="2"/></Object>)"
    R"(</List>)";
const std::string SETS_XML =
    R"(<List category="commandSetList">)"
    R"(<Object category="commandSet"><Property name="name" value="ATA"/><Property name="commandPathName" value="A"/></Object>)"
    R"(<Object category="commandSet"><Property name="name" value="NVMe"/><Property name="commandPathName" value="B"/></Object>)"
    R"(</List>)";
const std::string PARTITIONS_XML =
    R"(<List category="partitionList"><Object category="partition">)"
    R"(<Property category="attribute" displayName="Path" name="Path" size="5" type="string" value="/mnt"/></Object>)"
    R"(<Object category="partition"></Object></List>)";
const std::string DEVICE_XML =
    R"(<Object category="device">)" + SETS_XML + PATHS_XML + PARTITIONS_XML +
    R"(<Object category="attributeList">)"
    R"(<Property category="attribute" displayName="Model" name="Model" size="2" type="string" value="X"/></Object></Object>)";

TEST(XmlConverter, ListsOfADevice) {
    const Device device = sampleDevice();
    EXPECT_EQ(xmlOf(*XmlConverter::commandPathListToXml(device.getCommandPaths())), PATHS_XML);
    EXPECT_EQ(xmlOf(*XmlConverter::commandSetListToXml(device.getCommandSets())), SETS_XML);
    EXPECT_EQ(xmlOf(*XmlConverter::partitionListToXml(device.getPartitions())), PARTITIONS_XML);
}

TEST(XmlConverter, DeviceHoldsItsListsAndAttributes) {
    EXPECT_EQ(xmlOf(*XmlConverter::deviceToXml(sampleDevice())), DEVICE_XML);
    EXPECT_EQ(xmlOf(*XmlConverter::deviceToXml(Device())),
              R"(<Object category="device"><List category="commandSetList"></List>)"
              R"(<List category="commandPathList"></List><List category="partitionList"></List>)"
              R"(<Object category="attributeList"></Object></Object>)");
}

TEST(XmlConverter, DeviceListKeepsTheOrder) {
    const auto sample = std::make_shared<Device>(sampleDevice());
    EXPECT_EQ(xmlOf(*XmlConverter::deviceListToXml({sample, std::make_shared<Device>(), sample})),
              R"(<List category="deviceList">)" + DEVICE_XML + xmlOf(*XmlConverter::deviceToXml(Device())) +
                  DEVICE_XML + "</List>");
    EXPECT_EQ(xmlOf(*XmlConverter::deviceListToXml({})), R"(<List category="deviceList"></List>)");
}

}  // namespace
}  // namespace ostrel::core
