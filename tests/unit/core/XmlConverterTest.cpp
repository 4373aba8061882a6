#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <fstream>
#include <string>
#include <utility>

#include "ostrel/core/Status.h"
#include "ostrel/core/XmlConverter.h"
#include "ostrel/core/xml/XmlMessage.h"
#include "ostrel/core/xml/XmlReader.h"
#include "tests/support/Emulated.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Sanitized.h"

using namespace ostrel::core;
using namespace ostrel::core::xml;

namespace {

#ifdef __OPTIMIZE__
constexpr bool OPTIMIZED = true;
#else
constexpr bool OPTIMIZED = false;
#endif

constexpr char HEADER[] = R"(<?xml version="1.0" encoding="utf-8"?>)";

std::string xmlOf(const XmlElement& element) {
    std::string out;
    element.appendXml(out);
    return out;
}

// With the log on the text is kept, and with the log off freed.
void expectSameOfATextGivenAway(const std::string& text, const std::string& expected) {
    std::string ownText = text;
    const auto element = XmlConverter::toXml(std::move(ownText));
    EXPECT_EQ(element ? xmlOf(*element) : "null", expected) << text;
    const LogCapture log;
    ownText = text;
    const auto logged = XmlConverter::toXml(std::move(ownText));
    EXPECT_EQ(logged ? xmlOf(*logged) : "null", expected) << text;
}

// Reads and writes again; "null" for no tree. Nothing is to be logged at error level on the way.
std::string reread(const std::string& text) {
    std::string result;
    {
        const LogCapture errors(LOGSEVERITY_ERROR);
        const auto element = XmlConverter::toXml(text);
        EXPECT_EQ(errors.lines(), "") << text;
        result = element ? xmlOf(*element) : "null";
    }
    expectSameOfATextGivenAway(text, result);
    return result;
}

void expectMalformed(const std::string& text) {
    const LogCapture errors(LOGSEVERITY_ERROR);
    EXPECT_EQ(XmlConverter::toXml(text), nullptr) << text.substr(0, 200);
    const std::string expected =
        "[error] Unable to convert the given xml string to an XmlElement\n[error] " + text + "\n";
    EXPECT_TRUE(errors.lines() == expected) << "wrong log lines for " << text.substr(0, 200);
    EXPECT_EQ(XmlConverter::toXml(std::string(text)), nullptr);
    EXPECT_TRUE(errors.lines() == expected + expected) << "wrong log lines for a text that was given away";
}

TEST(XmlConverter, ReleasesATextThatIsGivenAway) {
    std::string text = "<Object><Property value='" + std::string(1000, 'x') + "'/></Object>";
    const auto element = XmlConverter::toXml(std::move(text));
    ASSERT_NE(element, nullptr);
    EXPECT_EQ(text.capacity(), std::string().capacity());  // NOLINT(bugprone-use-after-move): what is left of it
    EXPECT_EQ(XmlConverter::toXml(std::string("<Object>")), nullptr) << "malformed, without a log";
}

std::string nested(std::size_t levels) {
    std::string text;
    for (std::size_t i = 0; i < levels; ++i) text += "<Object>";
    for (std::size_t i = 0; i < levels; ++i) text += "</Object>";
    return text;
}

}  // namespace

// Reading text.

TEST(XmlConverterToXml, ReadsEachOfTheFourElements) {
    const auto message = XmlConverter::toXml("<Message a='1'/>");
    ASSERT_NE(dynamic_cast<XmlMessage*>(message.get()), nullptr);
    EXPECT_EQ(xmlOf(*message), R"(<Message a="1"></Message>)");
    const auto object = XmlConverter::toXml("<Object a='1'/>");
    ASSERT_NE(dynamic_cast<XmlObject*>(object.get()), nullptr);
    EXPECT_EQ(xmlOf(*object), R"(<Object a="1"></Object>)");
    const auto list = XmlConverter::toXml("<List a='1'/>");
    ASSERT_NE(dynamic_cast<XmlList*>(list.get()), nullptr);
    EXPECT_EQ(xmlOf(*list), R"(<List a="1"></List>)");
    const auto property = XmlConverter::toXml("<Property a='1'/>");
    ASSERT_NE(dynamic_cast<XmlProperty*>(property.get()), nullptr);
    EXPECT_EQ(xmlOf(*property), R"(<Property a="1"/>)");
}

TEST(XmlConverterToXml, ReadsAnEmptyObject) {
    const auto element = XmlConverter::toXml("<Object></Object>");
    ASSERT_NE(element, nullptr);
    EXPECT_TRUE(element->isEmpty());
    EXPECT_EQ(element->toXmlString(), std::string(HEADER) + "<Object></Object>");
}

constexpr struct {
    const char* text;
    const char* reread;
    const char* why;
} READ_CASES[] = {
    // Of the document, the first node.
    {R"(<?xml version="1.0" encoding="utf-8"?><Object></Object>)", "<Object></Object>", "the header is no node"},
    {"\xef\xbb\xbf<Object/>", "<Object></Object>", "nor is a byte order mark"},
    {"\r\n\t <Object/>\r\n\t ", "<Object></Object>", "nor are blanks around the root"},
    {"<!DOCTYPE x [<!ENTITY y 'z'>]><Object/>", "<Object></Object>", "nor is a document type"},
    {"<?pi x?><Object/>", "<Object></Object>", "nor is a processing instruction"},
    {"<Object a='1'/><Object b='2'/>", R"(<Object a="1"></Object>)", "further roots are ignored"},
    {"<!-- comment --><Object/>", "null", "a comment is the first node"},
    {"<!-- comment -->", "null", "and also without any element"},
    {"<Other><Object/></Other>", "null", "a root that is none of the four elements"},
    {"<object/>", "null", "tags are distinguished by case"},
    {"<Device/>", "null", "no tag, for all that it is a name"},

    // Of the children, those that have their place.
    {"<Object><Object a='1'/><List a='2'/><Property a='3'/><Property a='4'/><List a='5'/><Object a='6'/></Object>",
     R"(<Object><Property a="3"/><Property a="4"/><List a="2"></List><List a="5"></List><Object a="1"></Object>)"
     R"(<Object a="6"></Object></Object>)",
     "the order within a kind is kept, that between the kinds is not"},
    {"<Message><Object a='1'/><List a='2'/><Property a='3'/></Message>",
     R"(<Message><Property a="3"/><List a="2"></List><Object a="1"></Object></Message>)", "as in an object"},
    {"<Object><Message><Property/></Message><Property/></Object>", "<Object><Property/></Object>",
     "a message in an object is dropped, with all in it"},
    {"<Message><Message/><Object/></Message>", "<Message><Object></Object></Message>", "and in a message"},
    {"<Object><Other><Property/></Other><Property/></Object>", "<Object><Property/></Object>",
     "an unknown child is dropped, with all in it"},
    {"<List><Property/><List/><Message/><Other/><Object a='1'/><Object a='2'/></List>",
     R"(<List><Object a="1"></Object><Object a="2"></Object></List>)", "a list keeps objects only"},
    {"<Property a='1'><Property/><Object/></Property>", R"(<Property a="1"/>)", "a property keeps no child"},
    {"<Object><!-- comment --><Property/><?pi?></Object>", "<Object><Property/></Object>", "comments are dropped"},
    {"<Property name='n'>value</Property>", R"(<Property name="n"/>)", "text is never read"},
    {"<Object>text<Property/><![CDATA[<Property/>]]> text</Object>", "<Object><Property/></Object>", "wherever it is"},
    {"<Object><List><Object><List><Object><Property/></Object></List></Object></List></Object>",
     "<Object><List><Object><List><Object><Property/></Object></List></Object></List></Object>", "nested"},
    {"<Object></Other>", "<Object></Object>", "the reader does not compare the names of end tags"},

    // Of the attributes, the last of a key.
    {"<Property b='1' a='2'/>", R"(<Property a="2" b="1"/>)", "sorted by key"},
    {"<Property a='1' b='2' a='3'/>", R"(<Property a="3" b="2"/>)", "the last of equal keys wins"},
    {"<Property a = '1'\n\tb\r=\r\"2\" />", R"(<Property a="1" b="2"/>)", "blanks within the tag"},
    {"<Property a='&lt;&gt;&amp;&quot;&apos;'/>", R"(<Property a="&amp;lt;&amp;gt;&amp;&quot;&apos;"/>)",
     "the reader decodes once"},
    {"<Property a='&amp;lt;'/>", R"(<Property a="&amp;lt;"/>)", "and what it then finds stays"},
    {"<Property a='&#65;&#x42;&#xe9;'/>", "<Property a=\"AB\xc3\xa9\"/>", "numeric references"},
    {"<Property a='&unknown; & x'/>", R"(<Property a="&amp;unknown; &amp; x"/>)", "unknown references stay"},
    {"<Property a='  x \t\n '/>", "<Property a=\"  x \t\n \"/>", "values are not trimmed"},
    {"<Property a='\x01\x80\xff'/>", "<Property a=\"\x01\x80\xff\"/>", "bytes pass through"},
    {"<Property a='<b/>'/>", R"(<Property a="&amp;lt;b/&amp;gt;"/>)", "markup in a value"},
    {"<Property a.b='1' x:y='2'/>", R"(<Property a.b="1" x:y="2"/>)", "a '.' in a key is no path"},
};

TEST(XmlConverterToXml, ReadsCaseByCase) {
    for (const auto& c : READ_CASES) EXPECT_EQ(reread(c.text), c.reread) << c.text << ": " << c.why;
}

TEST(XmlConverterToXml, StopsAtAZeroByte) {
    EXPECT_EQ(reread(std::string("<Object/>\0<<<", 13)), "<Object></Object>");
    expectMalformed(std::string("<Object>\0</Object>", 18));
}

TEST(XmlConverterToXml, GivesTwoErrorLinesAndNullForAMalformedText) {
    for (const char* text : {"",
                             " ",
                             R"(<?xml version="1.0" encoding="utf-8"?>)",
                             "<?pi?>",
                             "text",
                             "<",
                             "<>",
                             "</Object>",
                             "<Object",
                             "<Object>",
                             "<Object><Property></Object>",
                             "<Object a>",
                             "<Object a=>",
                             "<Object a=1/>",
                             "<Object a='1/>",
                             "<Object a=\"1'/>",
                             "<Object/ >",
                             "<Object/>text",
                             "<Object>&#x110000;</Object>",
                             "<Object a='&#xFFFFFFFFFFFFFFFFFF;'/>",
                             "<Object a='&#65'/>",
                             "<!-- comment",
                             "<!DOCTYPE x [ >",
                             "<Object><![CDATA[</Object>",
                             "<?xml version='1.0'"})
        expectMalformed(text);
}

TEST(XmlConverterToXml, DoesNotBringBackAngleBracketsOnARoundTrip) {
    XmlProperty property;
    property.attributes["value"] = "<";
    EXPECT_EQ(xmlOf(property), R"(<Property value="&amp;lt;"/>)");

    const auto once = XmlConverter::toXml(property.toXmlString());
    ASSERT_NE(once, nullptr);
    EXPECT_EQ(once->getAttribute("value"), "&lt;");
    EXPECT_EQ(xmlOf(*once), R"(<Property value="&amp;lt;"/>)");

    const auto twice = XmlConverter::toXml(once->toXmlString());
    ASSERT_NE(twice, nullptr);
    EXPECT_EQ(twice->getAttribute("value"), "&lt;");
}

TEST(XmlConverterToXml, BringsBackQuotesAndAmpersandsOnARoundTrip) {
    XmlProperty property;
    property.attributes["value"] = R"("a" & 'b' && "")";
    const auto element = XmlConverter::toXml(property.toXmlString());
    ASSERT_NE(element, nullptr);
    EXPECT_EQ(element->getAttribute("value"), R"("a" & 'b' && "")");
}

TEST(XmlConverterToXml, ReadsDocumentsUpToTheLimitOfNesting) {
    EXPECT_EQ(MAX_NESTING, 512U);
    EXPECT_EQ(reread(nested(512)), nested(512));
    expectMalformed(nested(513));
}

TEST(XmlConverterToXml, ReadsTheDeepestDocumentOnASmallStack) {
    // The reader's frames are several times as large without optimisation, and larger still with a sanitizer.
    constexpr std::size_t STACK_SIZE = (OPTIMIZED && !SANITIZED ? 512 : 4096) * 1024;
    pthread_attr_t stack;
    ASSERT_EQ(pthread_attr_init(&stack), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&stack, STACK_SIZE), 0);
    pthread_t thread;
    bool equal = false;
    const auto run = [](void* result) -> void* {
        const auto element = XmlConverter::toXml(nested(512));
        *static_cast<bool*>(result) = element && xmlOf(*element->clone()) == nested(512);
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &stack, run, &equal), 0);
    ASSERT_EQ(pthread_join(thread, nullptr), 0);
    pthread_attr_destroy(&stack);
    EXPECT_TRUE(equal);
}

TEST(XmlConverterToXml, RefusesHostileNestingWithoutOverflowingTheStack) {
    for (const char* tag :
         {"<a>", "<Object>", "<Object a=\"/>\">", "<Object a='</Object>'>", "<Object><!-- </Object> -->",
          "<Object><![CDATA[</Object>]]>", "<Object><?x </Object>?>", "<Object>\"</", "<a><b/>"}) {
        std::string text;
        for (int i = 0; i < 100000; ++i) text += tag;
        EXPECT_EQ(XmlConverter::toXml(text), nullptr) << tag;
    }
    EXPECT_EQ(XmlConverter::toXml(nested(1000000)), nullptr);
    EXPECT_EQ(XmlConverter::toXml("<Object>" + nested(1000000) + "</Object>"), nullptr);
}

// A process of its own, since the limit stays. Exit status 0: null, and no exception.
[[noreturn]] void readWithLittleMemory(rlim_t kilobytes) {
    std::string text = "<Object>";
    for (int i = 0; i < 10000; ++i) text += R"(<Property category="attribute" name="SerialNumber" value="VX1"/>)";
    text += "</Object>";
    const LogCapture errors(LOGSEVERITY_ERROR);  // so that there is no memory for the log lines either
    std::size_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    rlimit limit{};
    limit.rlim_cur = limit.rlim_max = pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + kilobytes * 1024;
    if (setrlimit(RLIMIT_AS, &limit) != 0) _exit(2);
    try {
        _exit(XmlConverter::toXml(text) == nullptr ? 0 : 1);
    } catch (...) {
        _exit(3);
    }
}

TEST(XmlConverterToXml, GivesNullWhenTheMemoryDoesNotSuffice) {
    if (SANITIZED || isEmulated()) GTEST_SKIP() << "sanitizers and emulators need the address space for themselves";
    GTEST_FLAG_SET(death_test_style, "threadsafe");  // a fresh process, without what other tests left in the heap
    for (const rlim_t kilobytes : {0U, 500U, 1000U, 2000U, 4000U})
        EXPECT_EXIT(readWithLittleMemory(kilobytes), testing::ExitedWithCode(0), "") << kilobytes << " kB";
}

// Model to tree.

TEST(XmlConverterModel, WritesAnAttribute) {
    EXPECT_EQ(xmlOf(*XmlConverter::attributeToXml(Attribute("SerialNumber", "Serial Number", "string", "VX1"))),
              R"(<Property category="attribute" displayName="Serial Number" name="SerialNumber" size="4" type="string")"
              R"( value="VX1"/>)");
}

TEST(XmlConverterModel, WritesADescriptionOnlyWhenThereIsOne) {
    Attribute attribute("Index", "Index", "uint32", uint32_t{7});
    attribute.setDescription("Number & place");
    EXPECT_EQ(xmlOf(*XmlConverter::attributeToXml(attribute)),
              R"(<Property category="attribute" description="Number &amp; place" displayName="Index" name="Index")"
              R"( size="4" type="uint32" value="7"/>)");
}

TEST(XmlConverterModel, WritesAnAttributeWithoutAValue) {
    EXPECT_EQ(
        xmlOf(*XmlConverter::attributeToXml(Attribute("Scan", "Scan", "boolean"))),
        R"(<Property category="attribute" displayName="Scan" name="Scan" size="0" type="boolean" value="False"/>)");
    EXPECT_EQ(xmlOf(*XmlConverter::attributeToXml(Attribute())),
              R"(<Property category="attribute" displayName="" name="" size="0" type="bytepointer" value=""/>)");
}

TEST(XmlConverterModel, WritesTextsVerbatim) {
    EXPECT_EQ(XmlConverter::attributeToXml(Attribute("n", " d\n", "string", " v\t "))->attributes,
              (XmlElement::Attributes{{"category", "attribute"},
                                      {"displayName", " d\n"},
                                      {"name", "n"},
                                      {"size", "5"},
                                      {"type", "string"},
                                      {"value", " v\t "}}));
}

TEST(XmlConverterModel, ReadsAnAttributeAmongOtherKeys) {
    XmlProperty property;
    property.attributes = {{"aaa", "1"},  {"category", "attribute"}, {"key", "k"},   {"maxSize", "9"},
                           {"name", "n"}, {"type", "uint8"},         {"value", "7"}, {"zzz", "2"}};
    const auto attribute = XmlConverter::xmlToAttribute(property);
    ASSERT_NE(attribute, nullptr);
    EXPECT_EQ(attribute->getName() + "=" + attribute->getText(), "n=7");
    EXPECT_EQ(property.attributes, (XmlElement::Attributes{{"aaa", "1"},
                                                           {"category", "attribute"},
                                                           {"description", ""},
                                                           {"displayName", ""},
                                                           {"key", "k"},
                                                           {"maxSize", "9"},
                                                           {"name", "n"},
                                                           {"size", ""},
                                                           {"type", "uint8"},
                                                           {"value", "7"},
                                                           {"zzz", "2"}}));
}

TEST(XmlConverterModel, WritesAPayload) {
    EXPECT_EQ(xmlOf(*XmlConverter::payloadToXml(Payload("\x00\x1a\xff", 3))),
              R"(<Property category="payload" displayName="payload" name="payload" size="3" type="bytepointer")"
              R"( value="001AFF"/>)");
    EXPECT_EQ(xmlOf(*XmlConverter::payloadToXml(Payload())),
              R"(<Property category="payload" displayName="payload" name="payload" size="0" type="bytepointer")"
              R"( value=""/>)");
}

TEST(XmlConverterModel, WritesAnAttributeList) {
    AttributeList list;
    EXPECT_EQ(xmlOf(*XmlConverter::attributeListToXml(list)), R"(<Object category="attributeList"></Object>)");
    list["Index"] = Attribute("Index", "Index", "uint8", uint8_t{1});
    EXPECT_EQ(xmlOf(*XmlConverter::attributeListToXml(list)),
              R"(<Object category="attributeList"><Property category="attribute" displayName="Index" name="Index")"
              R"( size="1" type="uint8" value="1"/></Object>)");
}

TEST(XmlConverterModel, WritesAnAttributeListInTheOrderOfTheMap) {
    AttributeList list;
    for (const char* name : {"d", "b", "a", "c", "e"}) list[name] = Attribute(name, "", "string");
    std::string expected = R"(<Object category="attributeList">)";
    for (const auto& [name, attribute] : list)
        expected +=
            R"(<Property category="attribute" displayName="" name=")" + name + R"(" size="0" type="string" value=""/>)";
    EXPECT_EQ(xmlOf(*XmlConverter::attributeListToXml(list)), expected + "</Object>");
}

TEST(XmlConverterModel, WritesAStatus) {
    EXPECT_EQ(
        XmlConverter::statusToXml(Status())->toXmlString(),
        R"(<?xml version="1.0" encoding="utf-8"?><Object category="status"><Property name="Category" value="0"/>)"
        R"(<Property name="Code" value="0"/><Property name="Message" value="Completed successfully."/></Object>)");
    EXPECT_EQ(xmlOf(*XmlConverter::statusToXml(Status(10, 4294967295, " a\tb "))),
              "<Object category=\"status\"><Property name=\"Category\" value=\"10\"/>"
              "<Property name=\"Code\" value=\"4294967295\"/><Property name=\"Message\" value=\" a\tb \"/></Object>");
}

// Tree to model.

namespace {

XmlProperty attributeProperty(const std::string& type, const std::string& value) {
    XmlProperty property;
    property.attributes = {{"category", "attribute"},
                           {"description", "the description"},
                           {"displayName", "Display Name"},
                           {"name", "Name"},
                           {"size", "ignored"},
                           {"type", type},
                           {"value", value}};
    return property;
}

std::string bytesOf(const Attribute& attribute) {
    return {reinterpret_cast<const char*>(attribute.getValue().getData()), attribute.getSize()};
}

const struct {
    const char* type;
    const char* value;
    std::string bytes;
    const char* why;
} TYPE_CASES[] = {
    {"boolean", "true", "\x01", "true"},
    {"boolean", "TRUE", "\x01", "in any case"},
    {"boolean", "1", std::string(1, '\0'), "1 is not true here"},
    {"boolean", "false", std::string(1, '\0'), "false"},
    {"boolean", "", std::string(1, '\0'), "anything else is false"},
    {"sint16", "258", "\x02\x01", "decimal"},
    {"sint16", "-2", "\xfe\xff", "negative"},
    {"sint16", "0x7FFF", "\xff\x7f", "hexadecimal"},
    {"sint16", "65537", std::string("\x01\x00", 2), "narrowed"},
    {"sint32", "67305985", "\x01\x02\x03\x04", "decimal"},
    {"sint32", "-1", "\xff\xff\xff\xff", "negative"},
    {"sint32", "4294967298", std::string("\x02\x00\x00\x00", 4), "narrowed"},
    {"sint64", "-2", "\xfe\xff\xff\xff\xff\xff\xff\xff", "negative"},
    {"sint64", "0x0102030405060708", "\x08\x07\x06\x05\x04\x03\x02\x01", "hexadecimal"},
    {"string", "text", std::string("text\0", 5), "with its zero byte"},
    {"string", "", std::string(1, '\0'), "of an empty text too"},
    {"string", " a\tb ", std::string(" a\tb \0", 6), "verbatim"},
    {"uint8", "255", "\xff", "decimal"},
    {"uint8", "ff", "\xff", "hexadecimal without a prefix"},
    {"uint8", "256", std::string(1, '\0'), "narrowed"},
    {"uint8", "text", std::string(1, '\0'), "no number is 0"},
    {"uint16", "258", "\x02\x01", "decimal"},
    {"uint16", "", std::string(2, '\0'), "no text is 0"},
    {"uint32", "0xFFFFFFFF", "\xff\xff\xff\xff", "hexadecimal"},
    {"uint32", "10", std::string("\x0a\x00\x00\x00", 4), "decimal goes before hexadecimal"},
    {"uint64", "18446744073709551615", "\xff\xff\xff\xff\xff\xff\xff\xff", "the largest"},
    {"bytepointer", "001aFF", std::string("\x00\x1a\xff", 3), "pairs of digits"},
    {"bytepointer", "01A", "\x1a", "the first of an odd number is skipped"},
    {"bytepointer", "", "", "none"},
    {"list_uint64", "317E3200", std::string("1~2\0", 4), "the list's text in pairs of digits"},
    {"vectorOfStrings", "a~b", std::string("a~b\0", 4), "as a string"},
    {"hexValue", "0x1A2B", "\x1a\x2b", "without the prefix"},
    {"hexValue", "1A2B", "\x1a\x2b", "which may be missing"},
    {"hexValue", "0x001A", std::string("\x00\x1a", 2), "leading zero bytes stay"},
    {"hexValue", "0x0A0x0B", "\x0a\x0b", "every prefix is taken out"},
    {"hexValue", "10", "\x10", "the digits are hexadecimal, even if they look decimal"},
    {"hexValue", "0x00112233445566778899AABBCCDDEEFF",
     std::string("\x00\x11\x22\x33\x44\x55\x66\x77\x88\x99\xaa\xbb\xcc\xdd\xee\xff", 16), "longer than any number"},
    {"hexValue", "0x0000", std::string(1, '\0'), "zero is one byte"},
    {"hexValue", "0x", std::string(1, '\0'), "and so is nothing"},
    {"hexValue", "", std::string(1, '\0'), "nothing at all"},
    {"hexValue", "text", std::string(1, '\0'), "or no number"},
};

}  // namespace

TEST(XmlConverterModel, ReadsAnAttributeOfEachType) {
    for (const auto& c : TYPE_CASES) {
        XmlProperty property = attributeProperty(c.type, c.value);
        const auto attribute = XmlConverter::xmlToAttribute(property);
        ASSERT_NE(attribute, nullptr) << c.type;
        EXPECT_EQ(bytesOf(*attribute), c.bytes) << c.type << " \"" << c.value << "\": " << c.why;
        EXPECT_EQ(attribute->getName(), "Name");
        EXPECT_EQ(attribute->getDisplayName(), "Display Name");
        EXPECT_EQ(attribute->getDescription(), "the description");
        EXPECT_EQ(attribute->getType(), c.type);
    }
}

TEST(XmlConverterModel, ReadsNoAttributeOfAnotherType) {
    for (const char* type : {"sint8", "uint128", "ulong", "double", "vectorOfPayloads", "", "unknown", "String"}) {
        XmlProperty property = attributeProperty(type, "1");
        EXPECT_EQ(XmlConverter::xmlToAttribute(property), nullptr) << type;
    }
}

TEST(XmlConverterModel, ReadsNoAttributeOfAnotherCategory) {
    for (const char* category : {"payload", "", "Attribute"}) {
        XmlProperty property = attributeProperty("string", "1");
        property.attributes["category"] = category;
        EXPECT_EQ(XmlConverter::xmlToAttribute(property), nullptr) << category;
    }
    const auto payload = XmlConverter::payloadToXml(Payload("\x01", 1));
    EXPECT_EQ(XmlConverter::xmlToAttribute(*payload), nullptr);
}

TEST(XmlConverterModel, ReadsAbsentAttributesAsEmptyAndLeavesThemThere) {
    XmlProperty property;
    property.attributes = {{"category", "attribute"}, {"type", "string"}, {"other", "stays"}};
    const auto attribute = XmlConverter::xmlToAttribute(property);
    ASSERT_NE(attribute, nullptr);
    EXPECT_EQ(attribute->getName(), "");
    EXPECT_EQ(attribute->getDisplayName(), "");
    EXPECT_EQ(attribute->getDescription(), "");
    EXPECT_EQ(bytesOf(*attribute), std::string(1, '\0'));
    EXPECT_EQ(xmlOf(property),
              R"(<Property category="attribute" description="" displayName="" name="" other="stays" size="")"
              R"( type="string" value=""/>)");

    XmlProperty bare;
    EXPECT_EQ(XmlConverter::xmlToAttribute(bare), nullptr);
    EXPECT_EQ(xmlOf(bare), R"(<Property category="" description="" displayName="" name="" size="" type="" value=""/>)");
}

TEST(XmlConverterModel, ReadsAnAttributeList) {
    const auto element = XmlConverter::toXml(
        R"(<Object><Property category="attribute" name="a" type="string" value="first"/>)"
        R"(<Property category="payload" name="b" type="string" value="skipped"/>)"
        R"(<Property category="attribute" name="c" type="double" value="skipped"/>)"
        R"(<Property category="attribute" name="d" type="uint8" value="4"/>)"
        R"(<Property category="attribute" name="a" displayName="A" type="string" value="last"/>)"
        R"(<Object><Property category="attribute" name="e" type="uint8" value="no property of this object"/></Object>)"
        "</Object>");
    ASSERT_NE(element, nullptr);
    const auto list = XmlConverter::xmlToAttributeList(dynamic_cast<XmlObject&>(*element));
    ASSERT_EQ(list->size(), 2U);
    EXPECT_EQ(list->at("a").getText(), "last");
    EXPECT_EQ(list->at("a").getDisplayName(), "A");
    EXPECT_EQ(list->at("d").getText(), "4");
}

TEST(XmlConverterModel, ReadsAnEmptyAttributeList) {
    XmlObject object;
    EXPECT_TRUE(XmlConverter::xmlToAttributeList(object)->empty());
}

TEST(XmlConverterModel, ReadsAttributeListsInTheOrderOfTheirObjects) {
    const auto element = XmlConverter::toXml(
        R"(<List><Object><Property category="attribute" name="a" type="uint8" value="1"/></Object><Object/>)"
        R"(<Object><Property category="attribute" name="a" type="uint8" value="3"/></Object></List>)");
    ASSERT_NE(element, nullptr);
    const auto lists = XmlConverter::xmlToAttributeLists(dynamic_cast<XmlList&>(*element));
    ASSERT_EQ(lists.size(), 3U);
    EXPECT_EQ(lists[0]->at("a").getText(), "1");
    EXPECT_TRUE(lists[1]->empty());
    EXPECT_EQ(lists[2]->at("a").getText(), "3");
}

TEST(XmlConverterModel, BringsAnAttributeListBackOverTheWire) {
    AttributeList list;
    list["SerialNumber"] = Attribute("SerialNumber", "Serial Number", "string", "VX <1> & \"2\"");
    list["Index"] = Attribute("Index", "Index", "uint32", uint32_t{70000});
    list["Temperature"] = Attribute("Temperature", "", "sint16", int16_t{-40});
    list["Csmi"] = Attribute("Csmi", "CSMI", "boolean", true);
    list["Uuid"] = Attribute("Uuid", "UUID", "hexValue", Payload("\x01\x00\xfe", 3));
    const std::string text = XmlConverter::attributeListToXml(list)->toXmlString();
    const auto element = XmlConverter::toXml(text);
    ASSERT_NE(element, nullptr);
    const auto reread = XmlConverter::xmlToAttributeList(dynamic_cast<XmlObject&>(*element));
    ASSERT_EQ(reread->size(), list.size());
    for (const auto& [name, attribute] : list) EXPECT_EQ(reread->at(name), attribute) << name;
    EXPECT_EQ(reread->at("SerialNumber").getText(), "VX &lt;1&gt; & \"2\"");  // the format's double escaping
    EXPECT_EQ(reread->at("Index").getText(), "70000");
    EXPECT_EQ(reread->at("Temperature").getText(), "-40");
    EXPECT_EQ(reread->at("Csmi").getText(), "True");
    EXPECT_EQ(reread->at("Uuid").getText(), "0x0100FE");
}
