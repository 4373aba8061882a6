#include <gtest/gtest.h>

#include <sstream>
#include <type_traits>

#include "ostrel/interfaces/cli/cliframework/ErrorCode.h"
#include "ostrel/interfaces/cli/cliframework/Logger.h"
#include "ostrel/interfaces/cli/cliframework/ResultBase.h"
#include "ostrel/interfaces/cli/cliframework/StreamChannel.h"
#include "tests/support/VirtualSlots.h"

namespace cli::framework {
namespace {

/// Says which operation rendered it.
class NamedForms : public ResultBase {
public:
    std::string outputText() const override { return "text"; }
    std::string outputXml() const override { return "xml"; }
    std::string outputEsxXml() const override { return "esx"; }
    std::string outputJson() const override { return "json"; }
    std::string outputCSV() const override { return "csv"; }
};

class NamedFormsWithTable : public NamedForms {
public:
    std::string outputTextTable() const override { return "table"; }
};

TEST(ResultBase, StartsAsASuccessInText) {
    const NamedForms result;
    EXPECT_EQ(result.getErrorCode(), 0);
    EXPECT_EQ(result.getOutputType(), OUTPUTTYPE_TEXT);
    EXPECT_EQ(result.output(), "text");
}

TEST(ResultBase, RendersByTheNumberOfTheOutputType) {
    constexpr struct {
        std::uint32_t type;
        const char* rendered;
    } CASES[] = {{0, "text"}, {1, "xml"}, {2, "esx"}, {3, "table"}, {4, "json"}, {5, "csv"}, {6, ""}, {0xFFFFFFFF, ""}};
    for (const auto& c : CASES) {
        NamedFormsWithTable result;
        result.setOutputType(static_cast<OutputType>(c.type));
        EXPECT_EQ(result.output(), c.rendered) << "type " << c.type;
        EXPECT_EQ(result.getOutputType(), c.type);
    }
}

TEST(ResultBase, RendersTheTableAsTextWhereThereIsNoTable) {
    NamedForms result;
    result.setOutputType(OUTPUTTYPE_TEXT_TABLE);
    EXPECT_EQ(result.output(), "text");
}

TEST(ResultBase, TakesTheOutputOption) {
    constexpr struct {
        const char* value;
        bool known;
        OutputType type;
        const char* why;
    } CASES[] = {
        {"text", true, OUTPUTTYPE_TEXT, "keyword"},
        {"nvmxml", true, OUTPUTTYPE_XML, "keyword"},
        {"esx", true, OUTPUTTYPE_ESX_XML, "keyword"},
        {"json", true, OUTPUTTYPE_JSON, "keyword"},
        {"csv", true, OUTPUTTYPE_CSV, "keyword"},
        {"TEXT", true, OUTPUTTYPE_TEXT, "capitals"},
        {"NVMXML", true, OUTPUTTYPE_XML, "capitals"},
        {"ESX", true, OUTPUTTYPE_ESX_XML, "capitals"},
        {"JSON", true, OUTPUTTYPE_JSON, "capitals"},
        {"CSV", true, OUTPUTTYPE_CSV, "capitals"},
        {"NvmXml", true, OUTPUTTYPE_XML, "mixed case"},
        {"jSoN", true, OUTPUTTYPE_JSON, "mixed case"},
        {"table", false, OUTPUTTYPE_TEXT, "the table has no keyword"},
        {"xml", false, OUTPUTTYPE_TEXT, "part of a keyword"},
        {"jsonx", false, OUTPUTTYPE_TEXT, "more than a keyword"},
        {"text,json", false, OUTPUTTYPE_TEXT, "two keywords"},
        {" json", false, OUTPUTTYPE_TEXT, "blanks count"},
        {"", false, OUTPUTTYPE_TEXT, "what a failed parse leaves"},
    };
    for (const auto& c : CASES) {
        NamedForms result;
        EXPECT_EQ(result.setOutputOption({{"-all", "json"}, {"-output", c.value}}), c.known)
            << c.value << ": " << c.why;
        EXPECT_EQ(result.getOutputType(), c.type) << c.value << ": " << c.why;
    }
}

TEST(ResultBase, KeepsTheOutputTypeWithoutAKnownOutputOption) {
    NamedForms result;
    result.setOutputType(OUTPUTTYPE_JSON);
    EXPECT_TRUE(result.setOutputOption({}));
    EXPECT_EQ(result.getOutputType(), OUTPUTTYPE_JSON);
    EXPECT_TRUE(result.setOutputOption({{"-o", "csv"}, {"-OUTPUT", "csv"}, {"output", "csv"}}));
    EXPECT_EQ(result.getOutputType(), OUTPUTTYPE_JSON) << "the key is looked up unchanged";
    EXPECT_FALSE(result.setOutputOption({{"-output", "yaml"}}));
    EXPECT_EQ(result.getOutputType(), OUTPUTTYPE_JSON);
}

TEST(ResultBase, CarriesAnySignedErrorCode) {
    NamedForms result;
    for (const std::int32_t code : {1, 201, 238, -1, INT32_MAX, INT32_MIN}) {
        result.setErrorCode(code);
        EXPECT_EQ(result.getErrorCode(), code);
    }
}

TEST(ResultBase, ReportsItsFunctionsToTheFrameworkLog) {
    std::ostringstream log;
    StreamChannel channel(log);
    NamedForms result;
    Logger::getInstance().setChannel(&channel);
    result.setOutputType(OUTPUTTYPE_CSV);
    Logger::getInstance().setChannel(nullptr);
    EXPECT_EQ(log.str(), "3: Entering setOutputType\n3: Exiting setOutputType\n");
}

TEST(ResultBase, KeepsTheSlotOrderOfItsOperations) {
    EXPECT_TRUE(std::has_virtual_destructor_v<ResultBase>);  // slots 0 and 1
    EXPECT_EQ(virtualSlot(&ResultBase::outputText), 2u);
    EXPECT_EQ(virtualSlot(&ResultBase::outputXml), 3u);
    EXPECT_EQ(virtualSlot(&ResultBase::outputEsxXml), 4u);
    EXPECT_EQ(virtualSlot(&ResultBase::outputTextTable), 5u);
    EXPECT_EQ(virtualSlot(&ResultBase::outputJson), 6u);
    EXPECT_EQ(virtualSlot(&ResultBase::outputCSV), 7u);
}

TEST(FormatString, FillsPlaceholders) {
    EXPECT_EQ(formatString("no placeholder"), "no placeholder");
    EXPECT_EQ(formatString("%s", ""), "");
    EXPECT_EQ(formatString("%d of '%s' at 100%%", -3, "a"), "-3 of 'a' at 100%");
    EXPECT_EQ(formatString("<%s>", std::string(100000, 'x').c_str()), "<" + std::string(100000, 'x') + ">");
}

TEST(ErrorCode, IsTheExitStatus) {
    EXPECT_EQ(ERRORCODE_SUCCESS, 0);
    EXPECT_EQ(ERRORCODE_GENERAL, 1);
    EXPECT_EQ(ERRORCODE_OUT_OF_MEMORY, 2);
    EXPECT_EQ(ERRORCODE_NOT_SUPPORTED, 3);
    EXPECT_EQ(ERRORCODE_INVALID_CONFIGURATION, 4);
    EXPECT_EQ(ERRORCODE_FILE_NOT_WRITTEN, 5);
    EXPECT_EQ(ERRORCODE_NOT_BOOLEAN, 6);
    EXPECT_EQ(ERRORCODE_INVALID_PROPERTY, 7);
    EXPECT_EQ(ERRORCODE_INVALID_VALUE, 8);
    EXPECT_EQ(ERRORCODE_INVALID_LOG_FILE, 9);
    EXPECT_EQ(ERRORCODE_SYMBOLIC_LINK, 11);
    EXPECT_EQ(ERRORCODE_CORRUPT_CONFIGURATION, 12);
    EXPECT_EQ(ERRORCODE_SYNTAX, 201);
}

}  // namespace
}  // namespace cli::framework
