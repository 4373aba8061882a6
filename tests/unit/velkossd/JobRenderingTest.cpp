#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "CLI/velkossd/JobRendering.h"
#include "ostrel/core/XmlConverter.h"
#include "ostrel/interfaces/cli/cliframework/ObjectResult.h"
#include "tests/unit/velkossd/IndentReset.h"

namespace cli::velkossd {
namespace {

using framework::ObjectResult;
using ostrel::core::XmlConverter;

const std::vector<std::string> HIDDEN = {"VendorUniqueIdentifyPayload"};

std::unique_ptr<ObjectResult> renderText(const std::string& responseText) {
    const auto response = XmlConverter::toXml(responseText);
    return response == nullptr ? nullptr : render(HIDDEN, *response);
}

/// A response with one output object of this content.
std::unique_ptr<ObjectResult> renderOutputOf(const std::string& content) {
    return renderText("<Object name=\"Job\"><Object category=\"Output\">" + content + "</Object></Object>");
}

class JobRendering : public IndentReset {
protected:
    /// The esx form is empty, and the table is the text.
    static void expectForms(ObjectResult& result, const std::string& text, const std::string& xml,
                            const std::string& json, const std::string& csv) {
        EXPECT_EQ(render(result, framework::OUTPUTTYPE_TEXT), text);
        EXPECT_EQ(render(result, framework::OUTPUTTYPE_XML), xml);
        EXPECT_EQ(render(result, framework::OUTPUTTYPE_ESX_XML), "");
        EXPECT_EQ(render(result, framework::OUTPUTTYPE_TEXT_TABLE), text);
        EXPECT_EQ(render(result, framework::OUTPUTTYPE_JSON), json);
        EXPECT_EQ(render(result, framework::OUTPUTTYPE_CSV), csv);
    }

private:
    static std::string render(ObjectResult& result, framework::OutputType type) {
        resetIndent();
        result.setOutputType(type);
        return result.output();
    }
};

constexpr char NOTHING_XML[] = "<?xml version=\"1.0\" standalone=\"yes\" ?>\n<nimbrelTool>\n</nimbrelTool>\n";

TEST_F(JobRendering, ShowsOneDrive) {
    const auto result = renderText(
        R"(<?xml version="1.0" encoding="utf-8"?><Object name="VelkoSSD">)"
        R"(<Object category="status"><Property name="Category" value="0"/><Property name="Code" value="0"/>)"
        R"(<Property name="Message" value="Completed successfully."/></Object>)"
        R"(<Object category="Output"><Object category="attributeList" key="Velko SSD Index 0">)"
        R"(<Property category="attribute" displayName="Serial Number" name="SerialNumber" size="9" type="string" value="VX000001"/>)"
        R"(<Property category="attribute" displayName="Index" name="Index" size="4" type="sint32" value="0"/>)"
        R"(<Property category="attribute" displayName="Bootloader" name="Bootloader" size="19" type="string" value="Property not found"/>)"
        R"(</Object></Object></Object>)");
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->getErrorCode(), 0);
    const std::string text = R"(
- Velko SSD Index 0 -

Index : 0
SerialNumber : VX000001
)";
    expectForms(*result, text,
                "<?xml version=\"1.0\" standalone=\"yes\" ?>\n"
                "<nimbrelTool>\n"
                "\t<Velko_SSD_Index_0>\n"
                "\t\t<Bootloader>Property not found</Bootloader>\n"
                "\t\t<Index>0</Index>\n"
                "\t\t<SerialNumber>VX000001</SerialNumber>\n"
                "\t</Velko_SSD_Index_0>\n"
                "</nimbrelTool>\n",
                "{\n"
                "\t\"Velko SSD Index 0\":\n"
                "\t{\n"
                "\t\t\"Bootloader\":\"Property not found\",\n"
                "\t\t\"Index\":0,\n"
                "\t\t\"SerialNumber\":\"VX000001\"\n"
                "\t}\n"
                "}",
                "Velko SSD Index 0,\n"
                "Bootloader,Property not found,Index,0,SerialNumber,VX000001,,\n");
}

TEST_F(JobRendering, ShowsSeveralDrivesOneOfWhichFailed) {
    const auto result = renderOutputOf(
        R"(<Object category="attributeList" key="Drive 0">)"
        R"(<Property category="attribute" name="Temperature" type="uint16" value="41" description="Celsius"/></Object>)"
        R"(<Object category="status" name="Drive 1" key="VX000002"><Property name="Category" value="10"/>)"
        R"(<Property name="Code" value="34"/><Property name="Message" value="Feature is not supported."/></Object>)"
        R"(<Object category="attributeList" key="Drive 2">)"
        R"(<Property category="attribute" name="Temperature" type="uint16" value="38" description="Celsius"/></Object>)");
    EXPECT_EQ(result->getErrorCode(), 34);
    const std::string text = R"(
- Drive 0 -

Temperature : 41 Celsius

- Drive 1 VX000002 -

Status : Feature is not supported.

- Drive 2 -

Temperature : 38 Celsius
)";
    expectForms(*result, text,
                "<?xml version=\"1.0\" standalone=\"yes\" ?>\n"
                "<nimbrelTool>\n"
                "\t<Drive_0>\n"
                "\t\t<Temperature>41 Celsius</Temperature>\n"
                "\t</Drive_0>\n"
                "\t<Drive_1_VX000002>\n"
                "\t\t<Status>Feature is not supported.</Status>\n"
                "\t</Drive_1_VX000002>\n"
                "\t<Drive_2>\n"
                "\t\t<Temperature>38 Celsius</Temperature>\n"
                "\t</Drive_2>\n"
                "</nimbrelTool>\n",
                "{\n"
                "\t\"Drive 0\":\n"
                "\t{\n"
                "\t\t\"Temperature\":\"41 Celsius\"\n"
                "\t},\n"
                "\t\"Drive 1 VX000002\":\n"
                "\t{\n"
                "\t\t\"Status\":\"Feature is not supported.\"\n"
                "\t},\n"
                "\t\"Drive 2\":\n"
                "\t{\n"
                "\t\t\"Temperature\":\"38 Celsius\"\n"
                "\t}\n"
                "}",
                "Drive 0,\nTemperature,41 Celsius,,\n"
                "Drive 1 VX000002,\nStatus,Feature is not supported.,,\n"
                "Drive 2,\nTemperature,38 Celsius,,\n");
}

TEST_F(JobRendering, ShowsNestedObjectsInTheOrderOfTheLibrary) {
    const auto result =
        renderText(R"(<Object name="SMART"><Object category="OUTPUT" description="Report" value="full">)"
                   R"(<Property name="Zeta" value="1"/><Property name="Alpha" description="in hours" value="true"/>)"
                   R"(<Property name="NoValue"/><Property value="no name"/>)"
                   R"(<Object name="Drive" key="VX1"><Property name="State" value="a &quot;b&quot; &lt;c&gt;"/>)"
                   R"(<Object name="Log" key=""><Property name="Entry" value="1"/></Object>)"
                   R"(<Object name="" key="K2"><Property name="Entry" value="2"/></Object>)"
                   R"(<Object name="Log 3"><Property name="Entry" value="3"/></Object></Object>)"
                   R"(<Object name="Empty"/>)"
                   R"(<List name="Ignored"><Object name="Never"><Property name="Shown" value="0"/></Object></List>)"
                   R"(</Object></Object>)");
    EXPECT_EQ(result->getErrorCode(), 0);
    const std::string text = R"(
Report : full
Zeta : 1
Alpha - in hours : true
NoValue : Value not found
 : no name

- Drive VX1 -

State : a "b" <c>

  - Log -

  Entry : 1

    -  K2 -

    Entry : 2

   - Log 3 -

   Entry : 3

- Empty -

No results
)";
    expectForms(*result, text,
                "<?xml version=\"1.0\" standalone=\"yes\" ?>\n"
                "<nimbrelTool>\n"
                "\t<Report>full</Report>\n"
                "\t<Zeta>1</Zeta>\n"
                "\t<Alpha_-_in_hours>true</Alpha_-_in_hours>\n"
                "\t<NoValue></NoValue>\n"
                "\t<>no name</>\n"
                "\n"
                "\t<Drive_VX1>\n"
                "\t\t<State>a \"b\" <c></State>\n"
                "\n"
                "\t\t<Log>\n"
                "\t\t\t<Entry>1</Entry>\n"
                "\t\t</Log>\n"
                "\t\t<_K2>\n"
                "\t\t\t<Entry>2</Entry>\n"
                "\t\t</_K2>\n"
                "\t\t<Log_3>\n"
                "\t\t\t<Entry>3</Entry>\n"
                "\t\t</Log_3>\n"
                "\t</Drive_VX1>\n"
                "\t<Empty>\n"
                "\t</Empty>\n"
                "</nimbrelTool>\n",
                "{\n"
                "\t\"Report\":\"full\",\n"
                "\t\"Zeta\":1,\n"
                "\t\"Alpha - in hours\":true,\n"
                "\t\"NoValue\":\"\",\n"
                "\t\"\":\"no name\",\n"
                "\t\"Drive VX1\":\n"
                "\t{\n"
                "\t\t\"State\":\"a \\\"b\\\" <c>\",\n"
                "\t\t\"Log\":\n"
                "\t\t{\n"
                "\t\t\t\"Entry\":1\n"
                "\t\t},\n"
                "\t\t\" K2\":\n"
                "\t\t{\n"
                "\t\t\t\"Entry\":2\n"
                "\t\t},\n"
                "\t\t\"Log 3\":\n"
                "\t\t{\n"
                "\t\t\t\"Entry\":3\n"
                "\t\t}\n"
                "\t},\n"
                "\t\"Empty\":\n"
                "\t{\n"
                "\t}\n"
                "}",
                "Report,full,Zeta,1,Alpha - in hours,true,NoValue,,,no name,"
                "Drive VX1,\nState,a \"b\" <c>,"
                "Log,\nEntry,1,,\n"
                " K2,\nEntry,2,,\n"
                "Log 3,\nEntry,3,,\n"
                ",\n"
                "Empty,\n,\n");
}

TEST_F(JobRendering, ShowsEveryTypeOfAttributeInTheOrderOfTheNames) {
    const auto result = renderOutputOf(
        R"(<Object category="attributeList" key="Types">)"
        R"(<Property category="attribute" name="z_uint64" type="uint64" value="18446744073709551615"/>)"
        R"(<Property category="attribute" name="boolean" type="boolean" value="TRUE"/>)"
        R"(<Property category="attribute" name="Zoo" type="string" value="capitals go first"/>)"
        R"(<Property category="attribute" name="bytepointer" type="bytepointer" value="00ffA0"/>)"
        R"(<Property category="attribute" name="hexValue" type="hexValue" value="0x00001A"/>)"
        R"(<Property category="attribute" name="list_uint64" type="list_uint64" value="317E3200"/>)"
        R"(<Property category="attribute" name="sint16" type="sint16" value="32767"/>)"
        R"(<Property category="attribute" name="sint32" type="sint32" value="2147483647"/>)"
        R"(<Property category="attribute" name="sint64" type="sint64" value="9223372036854775807"/>)"
        R"(<Property category="attribute" name="string" type="string" value="text"/>)"
        R"(<Property category="attribute" name="uint8" type="uint8" value="255"/>)"
        R"(<Property category="attribute" name="uint16" type="uint16" value="0xffff"/>)"
        R"(<Property category="attribute" name="uint32" type="uint32" value="4294967295"/>)"
        R"(<Property category="attribute" name="vectorOfStrings" type="vectorOfStrings" value="a~b"/>)"
        R"(<Property category="attribute" name="dropped_sint8" type="sint8" value="1"/>)"
        R"(<Property category="attribute" name="dropped_uint128" type="uint128" value="1"/>)"
        R"(<Property category="attribute" name="dropped_ulong" type="ulong" value="1"/>)"
        R"(<Property category="attribute" name="dropped_double" type="double" value="1.5"/>)"
        R"(<Property category="attribute" name="dropped_payloads" type="vectorOfPayloads" value=""/>)"
        R"(<Property category="payload" name="dropped_payload" type="bytepointer" value="00"/>)"
        R"(<Property name="dropped_plain" value="no attribute"/>)"
        R"(<Property category="attribute" name="twice" type="string" value="first"/>)"
        R"(<Property category="attribute" name="twice" type="string" value="last" description="counts"/></Object>)");
    EXPECT_EQ(result->getErrorCode(), 0);
    const std::string text = R"(
- Types -

Zoo : capitals go first
boolean : True
bytepointer : 00FFA0
hexValue : 0x1A
list_uint64 : 317E3200
sint16 : 32767
sint32 : 2147483647
sint64 : 9223372036854775807
string : text
twice : last counts
uint16 : 65535
uint32 : 4294967295
uint8 : 255
vectorOfStrings : a~b
z_uint64 : 18446744073709551615
)";
    expectForms(*result, text,
                "<?xml version=\"1.0\" standalone=\"yes\" ?>\n"
                "<nimbrelTool>\n"
                "\t<Types>\n"
                "\t\t<Zoo>capitals go first</Zoo>\n"
                "\t\t<boolean>True</boolean>\n"
                "\t\t<bytepointer>00FFA0</bytepointer>\n"
                "\t\t<hexValue>0x1A</hexValue>\n"
                "\t\t<list_uint64>317E3200</list_uint64>\n"
                "\t\t<sint16>32767</sint16>\n"
                "\t\t<sint32>2147483647</sint32>\n"
                "\t\t<sint64>9223372036854775807</sint64>\n"
                "\t\t<string>text</string>\n"
                "\t\t<twice>last counts</twice>\n"
                "\t\t<uint16>65535</uint16>\n"
                "\t\t<uint32>4294967295</uint32>\n"
                "\t\t<uint8>255</uint8>\n"
                "\t\t<vectorOfStrings>a~b</vectorOfStrings>\n"
                "\t\t<z_uint64>18446744073709551615</z_uint64>\n"
                "\t</Types>\n"
                "</nimbrelTool>\n",
                "{\n"
                "\t\"Types\":\n"
                "\t{\n"
                "\t\t\"Zoo\":\"capitals go first\",\n"
                "\t\t\"boolean\":true,\n"
                "\t\t\"bytepointer\":\"00FFA0\",\n"
                "\t\t\"hexValue\":\"0x1A\",\n"
                "\t\t\"list_uint64\":\"317E3200\",\n"
                "\t\t\"sint16\":32767,\n"
                "\t\t\"sint32\":2147483647,\n"
                "\t\t\"sint64\":9223372036854775807,\n"
                "\t\t\"string\":\"text\",\n"
                "\t\t\"twice\":\"last counts\",\n"
                "\t\t\"uint16\":65535,\n"
                "\t\t\"uint32\":4294967295,\n"
                "\t\t\"uint8\":255,\n"
                "\t\t\"vectorOfStrings\":\"a~b\",\n"
                "\t\t\"z_uint64\":18446744073709551615\n"
                "\t}\n"
                "}",
                "Types,\nZoo,capitals go first,boolean,True,bytepointer,00FFA0,hexValue,0x1A,list_uint64,"
                "317E3200,sint16,32767,sint32,2147483647,sint64,9223372036854775807,string,text,twice,"
                "last counts,uint16,65535,uint32,4294967295,uint8,255,vectorOfStrings,a~b,z_uint64,"
                "18446744073709551615,,\n");
}

TEST_F(JobRendering, ShowsAPayloadAndHidesWhatIsHiddenAtEveryDepth) {
    const auto result = renderOutputOf(
        R"(<Property name="VendorUniqueIdentifyPayload" value="00"/><Property name="payload" value="0A0B"/>)"
        R"(<Object name="Drive" key="1"><Property name="VendorUniqueIdentifyPayload" value="01"/>)"
        R"(<Property name="Model" value="M"/><Object category="attributeList" key="Identify">)"
        R"(<Property category="attribute" name="VendorUniqueIdentifyPayload" type="bytepointer" value="02"/>)"
        R"(<Property category="attribute" name="VendorUniqueIdentifyPayload2" type="string" value="another name"/>)"
        R"(</Object></Object>)");
    const std::string text = R"(
payload : 0A0B

- Drive 1 -

Model : M

  - Identify -

  VendorUniqueIdentifyPayload2 : another name
)";
    expectForms(*result, text,
                "<?xml version=\"1.0\" standalone=\"yes\" ?>\n"
                "<nimbrelTool>\n"
                "\t<payload>0A0B</payload>\n"
                "\n"
                "\t<Drive_1>\n"
                "\t\t<Model>M</Model>\n"
                "\n"
                "\t\t<Identify>\n"
                "\t\t\t<VendorUniqueIdentifyPayload2>another name</VendorUniqueIdentifyPayload2>\n"
                "\t\t</Identify>\n"
                "\t</Drive_1>\n"
                "</nimbrelTool>\n",
                "{\n"
                "\t\"payload\":\"0A0B\",\n"
                "\t\"Drive 1\":\n"
                "\t{\n"
                "\t\t\"Model\":\"M\",\n"
                "\t\t\"Identify\":\n"
                "\t\t{\n"
                "\t\t\t\"VendorUniqueIdentifyPayload2\":\"another name\"\n"
                "\t\t}\n"
                "\t}\n"
                "}",
                "payload,0A0B,Drive 1,\nModel,M,Identify,\n"
                "VendorUniqueIdentifyPayload2,another name,,\n"
                ",\n");
}

TEST_F(JobRendering, ShowsTheMessageOfAStatusAndNothingElseOfIt) {
    const auto result = renderText(
        R"(<Object name="Trim"><Object category="output"><Object category="STATUS" name="Drive" key="VX1">)"
        R"(<Property name="CODE" value="17"/><Property name="Category" value="10"/>)"
        R"(<Property name="message" value="Not possible."/><Property name="HealthScanStatusCode" value="5"/>)"
        R"(</Object></Object></Object>)");
    EXPECT_EQ(result->getErrorCode(), 17);
    const std::string text = "\n- Drive VX1 -\n\nStatus : Not possible.\n";
    expectForms(*result, text,
                "<?xml version=\"1.0\" standalone=\"yes\" ?>\n"
                "<nimbrelTool>\n"
                "\t<Drive_VX1>\n"
                "\t\t<Status>Not possible.</Status>\n"
                "\t</Drive_VX1>\n"
                "</nimbrelTool>\n",
                "{\n"
                "\t\"Drive VX1\":\n"
                "\t{\n"
                "\t\t\"Status\":\"Not possible.\"\n"
                "\t}\n"
                "}",
                "Drive VX1,\nStatus,Not possible.,,\n");
}

TEST_F(JobRendering, ShowsTheAttributesOfAStatusBesideItsMessage) {
    const auto result = renderText(
        R"(<Object name="SMART"><Object category="output"><Object category="status" name="SMART Attributes" key="S1">)"
        R"(<Property category="attribute" name="SerialNumber" type="string" value="S1"/>)"
        R"(<Property category="attribute" name="DevicePath" type="string" value="/dev/nvme0"/>)"
        R"(<Property category="attribute" name="Code" type="string" value="9"/>)"
        R"(<Property name="Category" value="0"/><Property name="Code" value="70"/>)"
        R"(<Property name="Message" value="The drive is gone."/></Object></Object></Object>)");
    EXPECT_EQ(result->getErrorCode(), 70) << "an attribute is data, whatever it is called";
    expectForms(*result,
                "\n- SMART Attributes S1 -\n\n"
                "SerialNumber : S1\nDevicePath : /dev/nvme0\nCode : 9\nStatus : The drive is gone.\n",
                "<?xml version=\"1.0\" standalone=\"yes\" ?>\n"
                "<nimbrelTool>\n"
                "\t<SMART_Attributes_S1>\n"
                "\t\t<SerialNumber>S1</SerialNumber>\n"
                "\t\t<DevicePath>/dev/nvme0</DevicePath>\n"
                "\t\t<Code>9</Code>\n"
                "\t\t<Status>The drive is gone.</Status>\n"
                "\t</SMART_Attributes_S1>\n"
                "</nimbrelTool>\n",
                "{\n"
                "\t\"SMART Attributes S1\":\n"
                "\t{\n"
                "\t\t\"SerialNumber\":\"S1\",\n"
                "\t\t\"DevicePath\":\"\\/dev\\/nvme0\",\n"
                "\t\t\"Code\":9,\n"
                "\t\t\"Status\":\"The drive is gone.\"\n"
                "\t}\n"
                "}",
                "SMART Attributes S1,\nSerialNumber,S1,DevicePath,/dev/nvme0,Code,9,Status,The drive is gone.,,\n");
}

struct NoOutputCase {
    const char* response;
    const char* why;
};

TEST_F(JobRendering, GivesAnEmptyResultWhereThereIsNoOutput) {
    constexpr NoOutputCase CASES[] = {
        {"<Object/>", "nothing at all"},
        {"<Message/>", "nothing in a message"},
        {"<Object category=\"Output\"><Property name=\"A\" value=\"1\"/></Object>", "the root itself is none"},
        {"<Object><Object category=\"status\"/></Object>", "a status alone"},
        {"<Object><Object><Object category=\"Output\"/></Object></Object>", "not right below the root"},
        {"<Object><Property category=\"Output\" name=\"A\" value=\"1\"/></Object>", "no object"},
        {"<Object><List><Object category=\"Output\"><Property name=\"A\"/></Object></List></Object>", "in a list"},
        {"<List><Object category=\"Output\"><Property name=\"A\" value=\"1\"/></Object></List>", "no object as root"},
        {"<Property category=\"Output\"/>", "a property as root"},
    };
    for (const auto& c : CASES) {
        SCOPED_TRACE(c.why);
        const auto result = renderText(c.response);
        ASSERT_NE(result, nullptr);
        EXPECT_EQ(result->getErrorCode(), 0);
        expectForms(*result, "\nNo results\n", NOTHING_XML, "", "");
    }
}

TEST_F(JobRendering, ShowsTheFirstOutputOnly) {
    const auto result = renderText(R"(<Message><Object category="other"><Property name="A" value="1"/></Object>)"
                                   R"(<Object category="output"><Property name="B" value="2"/></Object>)"
                                   R"(<Object category="Output"><Property name="C" value="3"/></Object></Message>)");
    EXPECT_EQ(result->outputText(), "\nB : 2\n");
}

struct ErrorCodeCase {
    const char* content;
    int errorCode;
    const char* text;
    const char* why;
};

constexpr ErrorCodeCase ERROR_CODE_CASES[] = {
    {R"(<Object category="status" name="A"><Property name="Code" value="0"/></Object>)", 0, "\n- A -\n\nNo results\n",
     "a success"},
    {R"(<Object category="status" name="A"><Property name="Code" value="0"/><Property name="Message" value="M"/></Object>)",
     0, "\n- A -\n\nStatus : M\n", "a success with a message"},
    {R"(<Object category="status" name="A"><Property name="Code" value="7"/><Property name="Message" value=""/></Object>)",
     7, "\n- A -\n\nNo results\n", "a failure without words"},
    {R"(<Object category="status" name="A"><Property name="Code" value="-1"/></Object>)", 3, "\n- A -\n\nNo results\n",
     "not a number"},
    {R"(<Object category="status" name="A"><Property name="Code" value="0x10"/></Object>)", 3,
     "\n- A -\n\nNo results\n", "not a decimal number"},
    {R"(<Object category="status" name="A"><Property name="Code" value=""/></Object>)", 3, "\n- A -\n\nNo results\n",
     "an empty code is not \"0\""},
    {R"(<Object category="status" name="A"><Property name="Code" value="00"/></Object>)", 0, "\n- A -\n\nNo results\n",
     "not \"0\", yet the value 0"},
    {R"(<Object category="status" name="A"><Property name="Code" value="2147483647"/></Object>)", 2147483647,
     "\n- A -\n\nNo results\n", "the largest exit status"},
    {R"(<Object category="status" name="A"><Property name="Code" value="2147483648"/></Object>)", 3,
     "\n- A -\n\nNo results\n", "more than an exit status can hold"},
    {R"(<Object category="status" name="A"><Property name="Code" value="18446744073709551616"/></Object>)", 3,
     "\n- A -\n\nNo results\n", "0 by overflow"},
    {R"(<Object category="status" name="A"><Property name="Code" description="x" value="7"/></Object>)", 0,
     "\n- A -\n\nNo results\n", "its name is \"Code - x\""},
    {R"(<Object category="status" name="A"><Property name="Code" value="5"/></Object>)"
     R"(<Object category="status" name="B"><Property name="Code" value="9"/></Object>)"
     R"(<Object category="status" name="C"><Property name="Code" value="0"/></Object>)",
     9, "\n- A -\n\nNo results\n\n- B -\n\nNo results\n\n- C -\n\nNo results\n", "the last child that failed"},
    {R"(<Object name="A"><Object name="B"><Object category="status" name="C"><Property name="Code" value="6"/></Object>)"
     R"(</Object></Object>)",
     6, "\n- A -\n\n  - B -\n\n    - C -\n\n    No results\n", "a failure deep below"},
    {R"(<Object category="attributeList" key="A"><Property category="attribute" name="Code" type="string" value="4"/></Object>)",
     0, "\n- A -\n\nCode : 4\n", "an attribute called Code"},
    {R"(<Property name="Code" value="4"/>)", 0, "\nCode : 4\n", "a property called Code, of no status"},
    {R"(<Property name="healthscanstatuscode" value="2"/>)", 2, "\nNo results\n", "the outcome of a health scan"},
    {R"(<Property name="HealthScanStatusCode" value="0"/>)", 0, "\nNo results\n", "a good one"},
    {R"(<Property name="HealthScanStatusCode" value="bad"/>)", 0, "\nNo results\n", "not a number: not shown either"},
    {R"(<Property name="HealthScanStatusCode" value="4294967296"/>)", 3, "\nNo results\n", "0 by overflow"},
    {R"(<Object name="A"><Property name="HealthScanStatusCode" value="2"/></Object>)", 2, "\n- A -\n\nNo results\n",
     "in an object below"},
    {R"(<Property name="HealthScanStatusCode" description="x" value="2"/>)", 0, "\nHealthScanStatusCode - x : 2\n",
     "another name"},
};

TEST_F(JobRendering, TakesTheErrorCodeFromStatusesAndHealthScans) {
    for (const auto& c : ERROR_CODE_CASES) {
        SCOPED_TRACE(c.why);
        resetIndent();
        const auto result = renderOutputOf(c.content);
        EXPECT_EQ(result->getErrorCode(), c.errorCode);
        EXPECT_EQ(result->outputText(), c.text);
    }
}

TEST_F(JobRendering, ReadsAStatusThatIsTheOutputItself) {
    const auto output = XmlConverter::toXml(
        R"(<Object category="status"><Property name="Code" value="8"/><Property name="Message" value="M"/></Object>)");
    auto& object = dynamic_cast<ostrel::core::xml::XmlObject&>(*output);
    const auto result = renderOutput(HIDDEN, object);
    EXPECT_EQ(result->getErrorCode(), 8);
    EXPECT_EQ(result->outputText(), "\nStatus : M\n");
}

}  // namespace
}  // namespace cli::velkossd
