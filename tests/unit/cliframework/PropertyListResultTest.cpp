#include <gtest/gtest.h>

#include "ostrel/interfaces/cli/cliframework/ErrorResult.h"
#include "ostrel/interfaces/cli/cliframework/PropertyListResult.h"
#include "tests/unit/cliframework/ExpectForms.h"

namespace cli::framework {
namespace {

TEST(PropertyListResult, RendersAnEmptyList) {
    PropertyListResult list;
    EXPECT_EQ(list.getErrorCode(), 0);
    EXPECT_EQ(list.getCount(), 0u);
    expectForms(list, {
                          "No results\n",
                          "<Root></Root>\n",
                          "<?xml version=\"1.0\"?><output xmlns=\"http://www.vmware.com/Products/ESX/5.0/esxcli/\">"
                          "<list type=\"structure\"></list></output>",
                          "No results\n",
                          "\t{\n\t}",
                          "",
                      });
}

TEST(PropertyListResult, RendersItsProperties) {
    PropertyListResult list;
    list.setName("My List (a): b/c");
    list.insert("Key One (a): b/c", "x<\"y/z\"");
    list.insert("k\"2", "12");
    list.insert("Empty", "");
    list.insert("On", "TRUE");
    expectForms(list, {
                          "Key One (a): b/c: x<\"y/z\"\nk\"2: 12\nEmpty: \nOn: TRUE\n",
                          "<My_List_(a):_b/c>\n"
                          "\t<Key_One_(a):_b/c>x<\"y/z\"</Key_One_(a):_b/c>\n"
                          "\t<k\"2>12</k\"2>\n"
                          "\t<Empty></Empty>\n"
                          "\t<On>TRUE</On>\n"
                          "</My_List_(a):_b/c>\n",
                          "<?xml version=\"1.0\"?><output xmlns=\"http://www.vmware.com/Products/ESX/5.0/esxcli/\">"
                          "<list type=\"structure\">"
                          "<structure typeName=\"KeyValue\"><field name=\"Attribute Name\"><string>Key One (a): b/c"
                          "</string></field><field name=\"Value\"><string>x<\"y/z\"</string></field></structure>"
                          "<structure typeName=\"KeyValue\"><field name=\"Attribute Name\"><string>k\"2"
                          "</string></field><field name=\"Value\"><string>12</string></field></structure>"
                          "<structure typeName=\"KeyValue\"><field name=\"Attribute Name\"><string>Empty"
                          "</string></field><field name=\"Value\"><string></string></field></structure>"
                          "<structure typeName=\"KeyValue\"><field name=\"Attribute Name\"><string>On"
                          "</string></field><field name=\"Value\"><string>TRUE</string></field></structure>"
                          "</list></output>",
                          "Key One (a): b/c: x<\"y/z\"\nk\"2: 12\nEmpty: \nOn: TRUE\n",
                          "\t{\n"
                          "\t\t\"Key One (a): b/c\":\"x<\\\"y\\/z\\\"\",\n"
                          "\t\t\"k\"2\":12,\n"
                          "\t\t\"Empty\":\"\",\n"
                          "\t\t\"On\":true\n"
                          "\t}",
                          "Key One (a): b/c,x<\"y/z\",k\"2,12,Empty,,On,TRUE,",
                      });
}

TEST(PropertyListResult, LooksUpTheFirstPropertyOfAKeyInAnyCase) {
    PropertyListResult list;
    list.insert("Name", "first");
    list.insert("name", "second");
    list.insert("Nothing", "");
    EXPECT_EQ(list["Name"], "first");
    EXPECT_EQ(list["NAME"], "first");
    EXPECT_EQ(list["Nam"], "");
    EXPECT_EQ(list["Nothing"], "");
    EXPECT_TRUE(list.contains("nAME"));
    EXPECT_TRUE(list.contains("Nothing"));
    EXPECT_FALSE(list.contains("Nam"));
    EXPECT_EQ(list.getCount(), 3u);
}

TEST(PropertyListResult, TakesAnyResultAsAValue) {
    PropertyListResult list;
    list.insert("k", std::make_unique<ErrorResult>(8, "Bad.", "X"));
    EXPECT_EQ(list["k"], "X: Error: Bad.");
    EXPECT_EQ(list.outputCSV(), "k,X: Error: Bad.,");
}

TEST(PropertyListResult, SharesItsValuesWithCopiesThatOutliveIt) {
    PropertyListResult copy;
    const ResultBase* value = nullptr;
    {
        PropertyListResult list;
        list.setName("List");
        list.insert("k", "a text that does not fit into the string object itself");
        copy = list;
        value = list.propertiesBegin()->value;
        list.insert("only here", "1");
    }
    ASSERT_EQ(copy.getCount(), 1u);
    EXPECT_EQ(copy.propertiesBegin()->value, value);
    EXPECT_EQ(copy.outputXml(), "<List>\n\t<k>a text that does not fit into the string object itself</k>\n</List>\n");
}

TEST(PropertyListResult, IteratesInTheOrderOfInsertion) {
    PropertyListResult list;
    list.insert("b", "1");
    list.insert("a", "2");
    std::string pairs;
    for (auto property = list.propertiesBegin(); property != list.propertiesEnd(); ++property)
        pairs += property->key + property->value->output();
    EXPECT_EQ(pairs, "b1a2");
}

}  // namespace
}  // namespace cli::framework
