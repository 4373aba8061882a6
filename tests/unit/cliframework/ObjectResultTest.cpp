#include <gtest/gtest.h>

#include <utility>

#include "ostrel/interfaces/cli/cliframework/ErrorResult.h"
#include "ostrel/interfaces/cli/cliframework/ObjectResult.h"
#include "ostrel/interfaces/cli/cliframework/SimpleResult.h"
#include "tests/unit/cliframework/ExpectForms.h"

namespace cli::framework {
namespace {

/// Reaches the indent that all objects share.
class SharedIndent : public ObjectResult {
public:
    using ObjectResult::s_tab;
};

class ObjectResultTest : public testing::Test {
protected:
    void SetUp() override { reset(); }
    void TearDown() override { reset(); }

private:
    static void reset() {
        SharedIndent::s_tab.clear();
        ObjectResult::setTab(false);
    }
};

std::unique_ptr<ObjectResult> objectWith(const std::string& key, const std::string& value) {
    auto object = std::make_unique<ObjectResult>();
    object->insert(key, value);
    return object;
}

TEST_F(ObjectResultTest, IsASuccessAndUnnamed) {
    const ObjectResult result;
    EXPECT_EQ(result.getErrorCode(), 0);
    EXPECT_EQ(result.getRoot(), "");
    EXPECT_EQ(result.getCount(), 0u);
    EXPECT_EQ(ObjectResult("Drive 0").getRoot(), "Drive 0");
}

TEST_F(ObjectResultTest, RendersAnEmptyUnnamedObject) {
    ObjectResult result;
    expectForms(result, {
                            "\nNo results\n",
                            "<?xml version=\"1.0\" standalone=\"yes\" ?>\n<nimbrelTool>\n</nimbrelTool>\n",
                            "",
                            "\nNo results\n",
                            "",
                            "",
                        });
}

TEST_F(ObjectResultTest, RendersAnEmptyNamedObject) {
    ObjectResult result("Drive 0");
    expectForms(result, {
                            "\n- Drive 0 -\n\nNo results\n",
                            "<Drive_0>\n</Drive_0>\n",
                            "",
                            "\n- Drive 0 -\n\nNo results\n",
                            "",
                            "",
                        });
}

TEST_F(ObjectResultTest, RendersANamedObjectWithOneProperty) {
    ObjectResult result("Drive 0");
    result.insert("Firmware", "X");
    expectForms(result, {
                            "\n- Drive 0 -\n\nFirmware : X\n",
                            "<Drive_0>\n\t<Firmware>X</Firmware>\n</Drive_0>\n",
                            "",
                            "\n- Drive 0 -\n\nFirmware : X\n",
                            "{\n\t\"Firmware\":\"X\"\n}",
                            "Firmware,X,",
                        });
}

TEST_F(ObjectResultTest, SaysWhichValuesAreMissingInTextAlone) {
    ObjectResult result;
    result.insert("Firmware", "");
    expectForms(result, {
                            "\nFirmware : Value not found\n",
                            "<?xml version=\"1.0\" standalone=\"yes\" ?>\n<nimbrelTool>\n\t<Firmware></Firmware>\n"
                            "</nimbrelTool>\n",
                            "",
                            "\nFirmware : Value not found\n",
                            "{\n\t\"Firmware\":\"\"\n}",
                            "Firmware,,",
                        });
}

TEST_F(ObjectResultTest, LeavesAnAbsentBootloaderOutOfTextAlone) {
    ObjectResult result;
    result.insert("Bootloader", "Property not found");
    result.insert("Index", "0");
    expectForms(result, {
                            "\nIndex : 0\n",
                            "<?xml version=\"1.0\" standalone=\"yes\" ?>\n<nimbrelTool>\n"
                            "\t<Bootloader>Property not found</Bootloader>\n\t<Index>0</Index>\n</nimbrelTool>\n",
                            "",
                            "\nIndex : 0\n",
                            "{\n\t\"Bootloader\":\"Property not found\",\n\t\"Index\":0\n}",
                            "Bootloader,Property not found,Index,0,",
                        });
}

TEST_F(ObjectResultTest, LeavesOutNothingButThatBootloader) {
    ObjectResult result;
    result.insert("bootloader", "Property not found");
    result.insert("Bootloader", "property not found");
    result.insert("Bootloader", "1.2");
    result.insert("Bootloader", "");
    result.insert("Firmware", "Property not found");
    EXPECT_EQ(result.outputText(),
              "\nbootloader : Property not found\nBootloader : property not found\nBootloader : 1.2\n"
              "Bootloader : Value not found\nFirmware : Property not found\n");
}

TEST_F(ObjectResultTest, StillCountsAHiddenBootloaderAsAProperty) {
    ObjectResult result("Drive 0");
    result.insert("Bootloader", "Property not found");
    EXPECT_EQ(result.outputText(), "\n- Drive 0 -\n\n");
}

TEST_F(ObjectResultTest, MakesElementNamesOfKeysInXmlAlone) {
    ObjectResult result;
    result.insert("Serial Number (Raw): A/B", "1<2");
    expectForms(result, {
                            "\nSerial Number (Raw): A/B : 1<2\n",
                            "<?xml version=\"1.0\" standalone=\"yes\" ?>\n<nimbrelTool>\n"
                            "\t<Serial_Number_Raw-_A-B>1<2</Serial_Number_Raw-_A-B>\n</nimbrelTool>\n",
                            "",
                            "\nSerial Number (Raw): A/B : 1<2\n",
                            "{\n\t\"Serial Number (Raw): A/B\":\"1<2\"\n}",
                            "Serial Number (Raw): A/B,1<2,",
                        });
}

TEST_F(ObjectResultTest, KeepsParenthesesInTheTagOfAnObject) {
    ObjectResult result("Log (raw): a/b");
    EXPECT_EQ(result.outputXml(), "<Log_(raw)-_a-b>\n</Log_(raw)-_a-b>\n");
}

TEST_F(ObjectResultTest, WritesJsonValuesByTheirKind) {
    ObjectResult result;
    result.insert("a", "TRUE");
    result.insert("b", "fAlse");
    result.insert("c", "0123");
    result.insert("d", "12");
    result.insert("e", "0.5");
    result.insert("f", "-");
    result.insert("g", "12.");
    result.insert("h", "x\"y/z");
    EXPECT_EQ(result.outputJson(),
              "{\n\t\"a\":true,\n\t\"b\":false,\n\t\"c\":\"0123\",\n\t\"d\":12,\n\t\"e\":\"0.5\",\n\t\"f\":-,\n"
              "\t\"g\":12.,\n\t\"h\":\"x\\\"y\\/z\"\n}");
}

TEST_F(ObjectResultTest, EscapesTheNamesOfChildrenInJsonButNoKeys) {
    ObjectResult result;
    result.insert("a\"b/c", "1");
    result.insert("d\"e/f", std::make_unique<ObjectResult>());
    EXPECT_EQ(result.outputJson(), "{\n\t\"a\"b/c\":1,\n\t\"d\\\"e\\/f\":\n\t{\n\t}\n}");
}

TEST_F(ObjectResultTest, RendersATree) {
    ObjectResult result;
    result.insert("Count", "2");
    result.insert("Path/To: (x) y", "a<\"b/c\"");
    auto drive = objectWith("Firmware", "X");
    drive->insert("Empty", "");
    drive->insert("Sensors (raw)/a:b", objectWith("Temp", "-1.5"));
    result.insert("Drive 0", std::move(drive));
    result.insert("Drive \"1\"", std::make_unique<ObjectResult>());
    const std::string text =
        "\n"
        "Count : 2\n"
        "Path/To: (x) y : a<\"b/c\"\n"
        "\n"
        "- Drive 0 -\n"
        "\n"
        "Firmware : X\n"
        "Empty : Value not found\n"
        "\n"
        "- Sensors (raw)/a:b -\n"
        "\n"
        "Temp : -1.5\n"
        "\n"
        "- Drive \"1\" -\n"
        "\n"
        "No results\n";
    expectForms(result, {
                            text,
                            "<?xml version=\"1.0\" standalone=\"yes\" ?>\n"
                            "<nimbrelTool>\n"
                            "\t<Count>2</Count>\n"
                            "\t<Path-To-_x_y>a<\"b/c\"</Path-To-_x_y>\n"
                            "\n"
                            "\t<Drive_0>\n"
                            "\t\t<Firmware>X</Firmware>\n"
                            "\t\t<Empty></Empty>\n"
                            "\n"
                            "\t\t<Sensors_(raw)-a-b>\n"
                            "\t\t\t<Temp>-1.5</Temp>\n"
                            "\t\t</Sensors_(raw)-a-b>\n"
                            "\t</Drive_0>\n"
                            "\t<Drive_\"1\">\n"
                            "\t</Drive_\"1\">\n"
                            "</nimbrelTool>\n",
                            "",
                            text,
                            "{\n"
                            "\t\"Count\":2,\n"
                            "\t\"Path/To: (x) y\":\"a<\\\"b\\/c\\\"\",\n"
                            "\t\"Drive 0\":\n"
                            "\t{\n"
                            "\t\t\"Firmware\":\"X\",\n"
                            "\t\t\"Empty\":\"\",\n"
                            "\t\t\"Sensors (raw)\\/a:b\":\n"
                            "\t\t{\n"
                            "\t\t\t\"Temp\":-1.5\n"
                            "\t\t}\n"
                            "\t},\n"
                            "\t\"Drive \\\"1\\\"\":\n"
                            "\t{\n"
                            "\t}\n"
                            "}",
                            "Count,2,Path/To: (x) y,a<\"b/c\",Drive 0,\n"
                            "Firmware,X,Empty,,Sensors (raw)/a:b,\n"
                            "Temp,-1.5,,\n"
                            ",\n"
                            "Drive \"1\",\n"
                            ",\n",
                        });
    EXPECT_EQ(SharedIndent::s_tab, "");
}

TEST_F(ObjectResultTest, RendersChildrenWithoutProperties) {
    ObjectResult result("Top");
    result.insert("a", objectWith("P", "1"));
    result.insert("b", objectWith("P", "2"));
    const std::string text = "\n- Top -\n\n- a -\n\nP : 1\n\n- b -\n\nP : 2\n";
    expectForms(result, {
                            text,
                            "<Top>\n\t<a>\n\t\t<P>1</P>\n\t</a>\n\t<b>\n\t\t<P>2</P>\n\t</b>\n</Top>\n",
                            "",
                            text,
                            "{\n\t\"a\":\n\t{\n\t\t\"P\":1\n\t},\n\t\"b\":\n\t{\n\t\t\"P\":2\n\t}\n}",
                            "a,\nP,1,,\nb,\nP,2,,\n",
                        });
}

TEST_F(ObjectResultTest, DeclaresAnUnnamedChildAsADocument) {
    ObjectResult result("Top");
    result.insert("", objectWith("P", "1"));
    EXPECT_EQ(result.outputXml(),
              "<Top>\n<?xml version=\"1.0\" standalone=\"yes\" ?>\n\t<nimbrelTool>\n\t\t<P>1</P>\n\t</nimbrelTool>\n"
              "</Top>\n");
}

TEST_F(ObjectResultTest, KeepsRepeatedKeysInTheirOrder) {
    ObjectResult result;
    result.insert("b", "1");
    result.insert("a", "2");
    result.insert("b", "3");
    EXPECT_EQ(result.outputText(), "\nb : 1\na : 2\nb : 3\n");
    EXPECT_EQ(result.outputCSV(), "b,1,a,2,b,3,");
}

TEST_F(ObjectResultTest, IndentsSiblingsInACycleOfTwoFourAndThree) {
    ObjectResult::setTab(true);
    ObjectResult result("Top");
    for (const char* name : {"a", "b", "c", "d"}) result.insert(name, objectWith("P", "1"));
    EXPECT_EQ(result.outputText(),
              "\n- Top -\n"
              "\n  - a -\n\n  P : 1\n"
              "\n    - b -\n\n    P : 1\n"
              "\n   - c -\n\n   P : 1\n"
              "\n  - d -\n\n  P : 1\n");
    EXPECT_EQ(SharedIndent::s_tab, "  ");
}

TEST_F(ObjectResultTest, CarriesTheIndentOverToTheNextRendering) {
    ObjectResult::setTab(true);
    ObjectResult result("Top");
    result.insert("a", objectWith("P", "1"));
    EXPECT_EQ(result.outputText(), "\n- Top -\n\n  - a -\n\n  P : 1\n");
    EXPECT_EQ(result.outputText(), "\n  - Top -\n\n    - a -\n\n    P : 1\n");
    EXPECT_EQ(result.outputText(), "\n - Top -\n\n   - a -\n\n   P : 1\n");
    EXPECT_EQ(result.outputText(), "\n- Top -\n\n  - a -\n\n  P : 1\n");
}

TEST_F(ObjectResultTest, IndentsDeeperObjectsFromWhereTheIndentIs) {
    ObjectResult::setTab(true);
    ObjectResult result("Top");
    auto child = objectWith("P", "1");
    child->insert("aa", objectWith("P", "2"));
    result.insert("a", std::move(child));
    result.insert("b", std::make_unique<ObjectResult>());
    EXPECT_EQ(result.outputText(),
              "\n- Top -\n"
              "\n  - a -\n\n  P : 1\n"
              "\n    - aa -\n\n    P : 2\n"  // cut to one blank after it, which the cut after "a" leaves whole
              "\n   - b -\n\n   No results\n");
    EXPECT_EQ(SharedIndent::s_tab, "");
}

TEST_F(ObjectResultTest, DoesNotIndentUnderAnUnnamedObject) {
    ObjectResult::setTab(true);
    ObjectResult result;
    result.insert("a", objectWith("P", "1"));
    result.insert("b", objectWith("P", "2"));
    EXPECT_EQ(result.outputText(), "\n- a -\n\nP : 1\n\n- b -\n\nP : 2\n");
    EXPECT_EQ(SharedIndent::s_tab, "");
}

TEST_F(ObjectResultTest, IndentsTextAlone) {
    ObjectResult::setTab(true);
    ObjectResult result("Top");
    result.insert("a", objectWith("P", "1"));
    EXPECT_EQ(result.outputXml(), "<Top>\n\t<a>\n\t\t<P>1</P>\n\t</a>\n</Top>\n");
    EXPECT_EQ(result.outputJson(), "{\n\t\"a\":\n\t{\n\t\t\"P\":1\n\t}\n}");
    EXPECT_EQ(result.outputCSV(), "a,\nP,1,,\n");
    EXPECT_EQ(SharedIndent::s_tab, "");
}

TEST_F(ObjectResultTest, RendersAnEmptyObjectInJsonAfterALeftoverIndent) {
    SharedIndent::s_tab = "  ";
    EXPECT_EQ(ObjectResult().outputJson(), "  {\n  }");
}

TEST_F(ObjectResultTest, KeepsALeftoverIndentInFrontOfItsTabs) {
    SharedIndent::s_tab = "\t ";
    ObjectResult result("Top");
    result.insert("a", objectWith("P", "1"));
    EXPECT_EQ(result.outputXml(), "\t <Top>\n\t \t<a>\n\t \t\t<P>1</P>\n\t \t</a>\n\t </Top>\n");
    EXPECT_EQ(SharedIndent::s_tab, "\t ") << "the last tab goes and what follows it, no more";
}

TEST_F(ObjectResultTest, RendersAnyResultAsAValueByItsText) {
    ObjectResult result;
    result.insert("Error", std::make_unique<ErrorResult>(8, "Bad.", "X"));
    auto nested = objectWith("P", "1");
    result.insert("Nested", std::unique_ptr<ResultBase>(std::move(nested)));
    result.insert("Nothing", std::unique_ptr<ResultBase>(std::make_unique<SimpleResult>("")));
    EXPECT_EQ(result.getCount(), 0u) << "none of them is a child";
    expectForms(result, {
                            "\nError : X: Error: Bad.\nNested : \nP : 1\n\nNothing : Value not found\n",
                            "<?xml version=\"1.0\" standalone=\"yes\" ?>\n<nimbrelTool>\n"
                            "\t<Error>X: Error: Bad.</Error>\n\t<Nested>\nP : 1\n</Nested>\n\t<Nothing></Nothing>\n"
                            "</nimbrelTool>\n",
                            "",
                            "\nError : X: Error: Bad.\nNested : \nP : 1\n\nNothing : Value not found\n",
                            "{\n\t\"Error\":\"X: Error: Bad.\",\n\t\"Nested\":\"\\nP : 1\\n\",\n\t\"Nothing\":\"\"\n}",
                            "Error,X: Error: Bad.,Nested,\nP : 1\n,Nothing,,",
                        });
}

TEST_F(ObjectResultTest, FindsAKeyInAnyCase) {
    ObjectResult result;
    result.insert("Firmware", "");
    result.insert("Child", std::make_unique<ObjectResult>());
    EXPECT_TRUE(result.contains("Firmware"));
    EXPECT_TRUE(result.contains("fIRMWARE"));
    EXPECT_FALSE(result.contains("Firm"));
    EXPECT_FALSE(result.contains("Child")) << "only properties have keys";
}

TEST_F(ObjectResultTest, IteratesOverChildrenAndProperties) {
    ObjectResult result;
    result.insert("p", "1");
    result.insert("q", "2");
    result.insert("a", std::make_unique<ObjectResult>("renamed"));
    result.insert("b", std::make_unique<ObjectResult>());
    std::string names;
    for (const auto& child : result) names += child->getRoot();
    EXPECT_EQ(names, "ab");
    EXPECT_EQ(result.getCount(), 2u);
    std::string pairs;
    for (auto property = result.propertiesBegin(); property != result.propertiesEnd(); ++property)
        pairs += property->key + property->value->output();
    EXPECT_EQ(pairs, "p1q2");
}

/// Writes itself in its own way, which a parent has to take over.
class OwnWay : public ObjectResult {
public:
    std::string outputText() const override { return "text\n"; }
    std::string outputXml() const override { return "xml\n"; }
    std::string outputJson() const override { return "json"; }
    std::string outputCSV() const override { return "csv"; }
};

TEST_F(ObjectResultTest, LetsADerivedChildRenderItself) {
    OwnWay alone;
    expectForms(alone, {"text\n", "xml\n", "", "text\n", "json", "csv"});
    ObjectResult parent("Top");
    parent.insert("a", std::unique_ptr<ObjectResult>(std::make_unique<OwnWay>()));
    expectForms(parent, {
                            "\n- Top -\ntext\n",
                            "<Top>\nxml\n</Top>\n",
                            "",
                            "\n- Top -\ntext\n",
                            "{\n\t\"a\":\njson\n}",
                            "a,\ncsv,\n",
                        });
}

TEST_F(ObjectResultTest, DeletesItsChildrenAndThenItsValues) {
    struct Value : SimpleResult {
        Value(std::string name, std::string& log) : SimpleResult(std::move(name)), log_(log) {}
        ~Value() override { log_ += outputText() + " "; }
        std::string& log_;
    };
    std::string log;
    {
        ObjectResult result;
        result.insert("k", std::make_unique<Value>("value1", log));
        result.insert("k", std::make_unique<Value>("value2", log));
        for (const char* name : {"child1", "child2"}) {
            auto child = std::make_unique<ObjectResult>();
            child->insert("k", std::make_unique<Value>(name, log));
            result.insert(name, std::move(child));
        }
        EXPECT_EQ(log, "");
    }
    EXPECT_EQ(log, "child1 child2 value1 value2 ");
}

TEST_F(ObjectResultTest, RendersTheSameTreeTheSameEachTime) {
    ObjectResult result("Top");
    result.insert("P", "1");
    result.insert("a", objectWith("P", "2"));
    for (const OutputType type : {OUTPUTTYPE_TEXT, OUTPUTTYPE_XML, OUTPUTTYPE_JSON, OUTPUTTYPE_CSV}) {
        result.setOutputType(type);
        const std::string first = result.output();
        EXPECT_EQ(result.output(), first);
    }
}

}  // namespace
}  // namespace cli::framework
