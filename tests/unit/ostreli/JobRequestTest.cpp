// The tool's side of Job: the bytes of requests.

#include <gtest/gtest.h>

#include <string>

#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/XmlConverter.h"
#include "ostrel/interfaces/ostreli/interface/Job.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace ostrel::interfaces::ostreli {
namespace {

using core::Attribute;

const std::string HEADER = R"(<?xml version="1.0" encoding="utf-8"?>)";
const std::string SCAN_FLAG =
    R"(<Property category="attribute" displayName="Scan" name="Scan" size="0" type="boolean" value="true"/>)";

std::string selectorXml(const std::string& key, const std::string& value) {
    return R"(<List name="Devices"><Object name="Device"><Property category="attribute" name=")" + key +
           R"(" type="string" value=")" + value + R"("/></Object></List>)";
}

TEST(JobRequest, ShowOfOneDriveGoesOutByteForByte) {
    const auto request = Job::createRequest(JOB_VELKOSSD, JOBTYPE_GET_PROPERTIES, true, "0");
    EXPECT_EQ(
        request->toXmlString(),
        R"(<?xml version="1.0" encoding="utf-8"?><Object name="VelkoSSD" type="GetProperties"><Property category="attribute" displayName="Scan" name="Scan" size="0" type="boolean" value="true"/><List name="Devices"><Object name="Device"><Property category="attribute" name="Index" type="string" value="0"/></Object></List></Object>)");
}

TEST(JobRequest, ShowOfAllWithADisplayListGoesOutByteForByte) {
    const auto request = Job::createRequest(JOB_VELKOSSD, JOBTYPE_GET_PROPERTIES, true, "");
    Job::addProperty(*request, Attribute("ShowAll", "Show All", "boolean"), "true");
    Job::addRequestedGetProperty(*request, Attribute("A", "", "string"));
    Job::addRequestedGetProperty(*request, Attribute("B", "", "string"));
    EXPECT_EQ(
        request->toXmlString(),
        HEADER + R"(<Object name="VelkoSSD" type="GetProperties">)" + SCAN_FLAG +
            R"(<Property category="attribute" displayName="Show All" name="ShowAll" size="0" type="boolean" value="true"/>)"
            R"(<Object name="Properties">)"
            R"(<Property category="attribute" displayName="" name="A" size="0" type="string" value=""/>)"
            R"(<Property category="attribute" displayName="" name="B" size="0" type="string" value=""/>)"
            R"(</Object></Object>)");
}

TEST(JobRequest, HasNoScanFlagUnlessAskedFor) {
    const auto request = Job::createRequest(JOB_TELEMETRY_LOG_PARSE, JOBTYPE_METHOD, false, "");
    EXPECT_EQ(request->toXmlString(), HEADER + R"(<Object name="TelemetryLogParse" type="Method"></Object>)");
}

constexpr struct {
    const char* device;
    const char* key;
    const char* value;
    const char* why;
} SELECTOR_CASES[] = {
    {"0", "Index", "0", "digits alone"},
    {"00128", "Index", "00128", "leading zeros are digits"},
    {"-1", "SerialNumber", "-1", "a sign is no digit"},
    {"+1", "SerialNumber", "+1", "neither is the other one"},
    {"0x1", "SerialNumber", "0x1", "hexadecimal is no index"},
    {" 1", "SerialNumber", " 1", "nothing is trimmed"},
    {"bootdrive", "BootDrive", "bootdrive", "the word"},
    {"BOOTDRIVE", "BootDrive", "BOOTDRIVE", "ignoring case, and the value stays as typed"},
    {"bootdrive1", "SerialNumber", "bootdrive1", "the whole text must be the word"},
    {"/dev/nvme0", "Path", "/dev/nvme0", "a node"},
    {"x/DEV/y", "Path", "x/DEV/y", "anywhere, ignoring case"},
    {"/dev", "SerialNumber", "/dev", "no slash at the end"},
    {"ABCLSI1", "Path", "ABCLSI1", "a serial number that holds the word counts as a path"},
    {"palsied", "Path", "palsied", "in any case"},
    {"PHYSICALDRIVE0", "SerialNumber", "PHYSICALDRIVE0", "the prefix comes only to what is a path"},
    {"PHYSICALDRIVE0/dev/", "Path", R"(\\.\PHYSICALDRIVE0/dev/)", "a path that begins so gains the prefix"},
    {"physicalDrive3lsi", "Path", R"(\\.\physicalDrive3lsi)", "ignoring case"},
    {"/dev/PHYSICALDRIVE0", "Path", "/dev/PHYSICALDRIVE0", "only at the beginning"},
    {"PHYVA1", "SerialNumber", "PHYVA1", "a serial number"},
};

TEST(JobRequest, SelectorKeyFollowsFromTheText) {
    for (const auto& c : SELECTOR_CASES)
        EXPECT_EQ(Job::createRequest("Trim", "Method", false, c.device)->toXmlString(),
                  HEADER + R"(<Object name="Trim" type="Method">)" + selectorXml(c.key, c.value) + "</Object>")
            << c.why;
}

TEST(JobRequest, GivenKeyIsTakenAndTheValueStaysAsItIs) {
    EXPECT_EQ(Job::createRequest("Trim", "Method", true, "PHYSICALDRIVE0/dev/", "DriveId")->toXmlString(),
              HEADER + R"(<Object name="Trim" type="Method">)" + SCAN_FLAG +
                  selectorXml("DriveId", "PHYSICALDRIVE0/dev/") + "</Object>");
    EXPECT_EQ(Job::createRequest("Trim", "Method", true, "", "DriveId")->toXmlString(),
              HEADER + R"(<Object name="Trim" type="Method">)" + SCAN_FLAG + "</Object>")
        << "an empty value selects nothing";
}

TEST(JobRequest, EachDeviceHasAListOfItsOwn) {
    const auto request = Job::createRequest("Trim", "Method", false, "1");
    Job::addDevice(*request, "S2", "SerialNumber");
    Job::addDevice(*request, "", "SerialNumber");
    EXPECT_EQ(request->toXmlString(), HEADER + R"(<Object name="Trim" type="Method">)" + selectorXml("Index", "1") +
                                          selectorXml("SerialNumber", "S2") + "</Object>");
}

TEST(JobRequest, ArgumentTakesTheGivenValueVerbatim) {
    const auto request = Job::createRequest("Trim", "Method", false, "");
    Attribute attribute("Source", "Source", "string", std::string("own"));
    attribute.setDescription("from where");
    Job::addProperty(*request, attribute, " \"a\"\t ");
    EXPECT_EQ(request->toXmlString(),
              HEADER + R"(<Object name="Trim" type="Method"><Property category="attribute" description="from where" )"
                       R"(displayName="Source" name="Source" size="4" type="string" value=" &quot;a&quot;)"
                       "\t \"/></Object>")
        << "the size is that of the attribute's own value, its terminator included";
}

TEST(JobRequest, ArgumentsKeepTheirOrderAfterTheScanFlag) {
    const auto request = Job::createRequest("Trim", "Method", true, "");
    Job::addProperty(*request, Attribute("Z", "Z", "string"), "1");
    Job::addProperty(*request, Attribute("A", "A", "uint64"), "2");
    EXPECT_EQ(request->toXmlString(),
              HEADER + R"(<Object name="Trim" type="Method">)" + SCAN_FLAG +
                  R"(<Property category="attribute" displayName="Z" name="Z" size="0" type="string" value="1"/>)"
                  R"(<Property category="attribute" displayName="A" name="A" size="0" type="uint64" value="2"/>)"
                  R"(</Object>)");
}

TEST(JobRequest, RequestedPropertyCarriesTheAttributesOwnValue) {
    const auto request = Job::createRequest("LatencyTracking", "GetProperties", false, "");
    Job::addRequestedGetProperty(*request, Attribute("Type", "Type", "uint8", static_cast<uint8_t>(1)));
    EXPECT_EQ(request->toXmlString(),
              HEADER + R"(<Object name="LatencyTracking" type="GetProperties"><Object name="Properties">)"
                       R"(<Property category="attribute" displayName="Type" name="Type" size="1" type="uint8" )"
                       R"(value="1"/></Object></Object>)");
}

TEST(JobRequest, RequestedPropertiesAreReadBack) {
    const auto request = Job::createRequest("SMART", "GetProperties", true, "0");
    EXPECT_EQ(Job::getRequestedGetProperties(*request), nullptr) << "none was asked for";

    Job::addRequestedGetProperty(*request, Attribute("A", "", "string"));
    Job::addRequestedGetProperty(*request, Attribute("Type", "Kind", "uint8", static_cast<uint8_t>(2)));
    const auto properties = Job::getRequestedGetProperties(*request);
    ASSERT_NE(properties, nullptr);
    ASSERT_EQ(properties->size(), 2u) << "the scan flag is no requested property";
    EXPECT_EQ(properties->at("A").getText(), "");
    EXPECT_EQ(properties->at("Type").getText(), "2");
    EXPECT_EQ(properties->at("Type").getDisplayName(), "Kind");
}

TEST(JobRequest, OtherObjectsAreNotTakenForTheRequestedProperties) {
    core::xml::XmlObject request;
    request.objects.push_back(std::make_unique<core::xml::XmlObject>("properties", "", ""));
    Job::addRequestedGetProperty(request, Attribute("A", "", "string"));
    ASSERT_EQ(request.objects.size(), 2u);
    EXPECT_EQ(request.objects[1]->getAttribute("name"), "Properties");
}

}  // namespace
}  // namespace ostrel::interfaces::ostreli
