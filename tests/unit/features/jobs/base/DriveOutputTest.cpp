#include <gtest/gtest.h>

#include <string>

#include "features/jobs/base/DriveOutput.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/Device.h"

namespace features::jobs {
namespace {

using namespace ostrel::core;

/// The XML of all that was added.
std::string textOf(DriveOutput& out) {
    std::string text;
    for (const auto& object : out.take()) {
        object->appendXml(text);
        text += '\n';
    }
    return text;
}

AttributeList temperature(int32_t celsius) {
    Attribute attribute("Temperature", "Temperature", typeSint32(), celsius);
    attribute.setDescription("C");
    return {{"Temperature", attribute}};
}

AttributeList requested(const std::string& name) {
    return {{name, Attribute(name, "", typeString())}};
}

TEST(DriveOutput, ShowsAttributesUnderHeadingAndSerialNumber) {
    DriveOutput out("S1", nullptr, nullptr);
    out.addAttributes("Health Sensors", temperature(38));
    EXPECT_EQ(textOf(out),
              R"(<Object category="attributeList" key="Health Sensors S1">)"
              R"(<Property category="attribute" description="C" displayName="Temperature" name="Temperature")"
              R"( size="4" type="sint32" value="38"/></Object>)"
              "\n");
}

TEST(DriveOutput, FindsRequestedAttributesInAnyCase) {
    const AttributeList names = requested("tempERATURE");
    DriveOutput out("S1", &names, nullptr);
    out.addAttributes("Health Sensors", temperature(-5));
    EXPECT_EQ(textOf(out),
              R"(<Object category="attributeList" key="Health Sensors S1">)"
              R"(<Property category="attribute" description="C" displayName="Temperature" name="Temperature")"
              R"( size="4" type="sint32" value="-5"/></Object>)"
              "\n");
}

TEST(DriveOutput, ReportsRequestedAttributesThatAreNotThere) {
    const AttributeList names = requested("Foo");
    DriveOutput out("S1", &names, nullptr);
    out.addAttributes("Health Sensors", temperature(38));
    EXPECT_EQ(textOf(out), R"(<Object category="attributeList" key="Health Sensors S1">)"
                           R"(<Property category="attribute" displayName="" name="Foo" size="19" type="string")"
                           R"( value="Property not found"/></Object>)"
                           "\n");
}

TEST(DriveOutput, ShowsATreeInItsOwnOrder) {
    DriveOutput out("S1", nullptr, nullptr);
    nvme::FieldTree tree{"Log", {}, {}};
    tree.add("B", "second letter", "1");
    tree.add("A", "2");
    tree.addPart("Part").add("C", "3");
    out.addTree(tree);
    EXPECT_EQ(textOf(out),
              R"(<Object key="S1" name="Log"><Property description="second letter" name="B" value="1"/>)"
              R"(<Property name="A" value="2"/><Object name="Part"><Property name="C" value="3"/></Object></Object>)"
              "\n");
}

/// A controller with the identity that its finder sets.
Device driveOf(const std::string& serialNumber, const std::string& path) {
    Device device;
    device.getAttributes()["SerialNumber"] = Attribute("SerialNumber", "Serial Number", typeString(), serialNumber);
    device.getAttributes()["DevicePath"] = Attribute("DevicePath", "Device Path", typeString(), path);
    return device;
}

TEST(DriveOutput, EveryObjectOfADriveSaysWhichDriveItIs) {
    const Device device = driveOf("S1", "/dev/nvme0");
    const AttributeList names = requested("serialNUMBER");
    DriveOutput out("S1 nvme0", &names, &device);
    out.addAttributes("Health Sensors", temperature(38));
    out.addTree({"Log", {{"A", "", "2"}}, {}});
    out.addStatus("Health Sensors", Status(0, 25, "It failed."));
    const std::string identity =
        R"(<Property category="attribute" displayName="Serial Number" name="SerialNumber" size="3" type="string")"
        R"( value="S1"/><Property category="attribute" displayName="Device Path" name="DevicePath" size="11")"
        R"( type="string" value="/dev/nvme0"/>)";
    EXPECT_EQ(textOf(out),
              R"(<Object category="attributeList" key="Health Sensors S1 nvme0">)"
              R"(<Property category="attribute" displayName="Serial Number" name="SerialNumber" size="3" type="string")"
              R"( value="S1"/></Object>)"
              "\n"
              R"(<Object key="S1 nvme0" name="Log">)" +
                  identity +
                  R"(<Property name="A" value="2"/></Object>)"
                  "\n"
                  R"(<Object category="status" key="S1 nvme0" name="Health Sensors">)" +
                  identity +
                  R"(<Property name="Category" value="0"/><Property name="Code" value="25"/>)"
                  R"(<Property name="Message" value="It failed."/></Object>)"
                  "\n");
    EXPECT_TRUE(out.hasAllRequested({})) << "nothing more need be asked of the drive";
}

TEST(DriveOutput, AnIdentityThatIsNotKnownIsLeftOut) {
    const Device device = driveOf("", "/dev/nvme0");
    DriveOutput out("nvme0", nullptr, &device);
    out.addTree({"Log", {}, {}});
    EXPECT_EQ(textOf(out), R"(<Object key="nvme0" name="Log"><Property category="attribute" displayName="Device Path")"
                           R"( name="DevicePath" size="11" type="string" value="/dev/nvme0"/></Object>)"
                           "\n");
}

TEST(DriveOutput, HeadsAStatusByTitleAndSerialNumber) {
    DriveOutput out("S1", nullptr, nullptr);
    out.addStatus("Format", Status(10, 34, "No <such> feature."));
    EXPECT_EQ(textOf(out),
              R"(<Object category="status" key="S1" name="Format"><Property name="Category" value="10"/>)"
              R"(<Property name="Code" value="34"/><Property name="Message" value="No &amp;lt;such&amp;gt; feature."/>)"
              "</Object>\n");
}

}  // namespace
}  // namespace features::jobs
