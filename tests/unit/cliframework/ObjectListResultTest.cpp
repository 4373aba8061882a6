#include <gtest/gtest.h>

#include <initializer_list>
#include <utility>

#include "ostrel/interfaces/cli/cliframework/ObjectListResult.h"
#include "tests/unit/cliframework/ExpectForms.h"

namespace cli::framework {
namespace {

PropertyListResult listOf(std::initializer_list<std::pair<const char*, const char*>> properties) {
    PropertyListResult list;
    for (const auto& [key, value] : properties) list.insert(key, value);
    return list;
}

ObjectListResult objectsOf(std::initializer_list<std::pair<const char*, PropertyListResult>> lists) {
    ObjectListResult result;
    for (auto [key, list] : lists) result.insert(key, list);
    return result;
}

TEST(ObjectListResult, RendersAnEmptyList) {
    ObjectListResult result;
    EXPECT_EQ(result.getErrorCode(), 0);
    EXPECT_EQ(result.getCount(), 0u);
    expectForms(result, {
                            "No results",
                            "<RootList></RootList>\n",
                            "<?xml version=\"1.0\"?><output xmlns=\"http://www.vmware.com/Products/ESX/5.0/esxcli/\">"
                            "<list type=\"structure\"></list></output>",
                            "No results",
                            "{\n}\n",
                            "",
                        });
}

TEST(ObjectListResult, RendersOneObjectInEsxWithoutItsKey) {
    ObjectListResult result = objectsOf({{"A", listOf({{"x", "1"}})}});
    expectForms(result, {
                            "- A -\nx: 1\n\n",
                            "<RootList>\n<A>\n\t<x>1</x>\n</A>\n</RootList>\n",
                            "<?xml version=\"1.0\"?><output xmlns=\"http://www.vmware.com/Products/ESX/5.0/esxcli/\">"
                            "<list type=\"structure\"><structure typeName=\"KeyValue\"><field name=\"Attribute Name\">"
                            "<string>x</string></field><field name=\"Value\"><string>1</string></field></structure>"
                            "</list></output>",
                            "x \n1 \n",
                            "{\n\t\"A\":\n\t{\n\t\t\"x\":1\n\t}\n}\n",
                            "A,\nx,1,,\n",
                        });
}

TEST(ObjectListResult, RendersTwoObjectsWithTheRootAsTheirType) {
    ObjectListResult result = objectsOf({{"A \"1\"/(a)", listOf({{"x y", "1"}, {"z", "<\"/"}})}, {"B", listOf({})}});
    result.setRoot("My Drive");
    expectForms(result, {
                            "- A \"1\"/(a) -\nx y: 1\nz: <\"/\n\n- B -\nNo results\n\n",
                            "<My DriveList>\n"
                            "<A_\"1\"/(a)>\n\t<x_y>1</x_y>\n\t<z><\"/</z>\n</A_\"1\"/(a)>\n"
                            "<B></B>\n"
                            "</My DriveList>\n",
                            "<?xml version=\"1.0\"?><output xmlns=\"http://www.vmware.com/Products/ESX/5.0/esxcli/\">"
                            "<list type=\"structure\">"
                            "<structure typeName=\"My Drive\"><field name=\"x y\"><string>1</string></field>"
                            "<field name=\"z\"><string><\"/</string></field></structure>"
                            "<structure typeName=\"My Drive\"></structure>"
                            "</list></output>",
                            "x y z   \n1   <\"/ \n\n",
                            "{\n"
                            "\t\"A \"1\"/(a)\":\n\t{\n\t\t\"x y\":1,\n\t\t\"z\":\"<\\\"\\/\"\n\t},\n"
                            "\t\"B\":\n\t{\n\t}\n"
                            "}\n",
                            "A \"1\"/(a),\nx y,1,z,<\"/,,\nB,\n,\n",
                        });
}

TEST(ObjectListResult, AlignsTheTableToTheLongestTextOfEachColumn) {
    const ObjectListResult result =
        objectsOf({{"1", listOf({{"name", "a"}, {"size", "100"}})}, {"2", listOf({{"name", "bbbb"}, {"size", "2"}})}});
    EXPECT_EQ(result.outputTextTable(), "name size \na    100  \nbbbb 2    \n");
}

TEST(ObjectListResult, WidensAColumnByKeyAndFillsItByPosition) {
    const ObjectListResult result =
        objectsOf({{"1", listOf({{"a", "1"}, {"b", "2"}})}, {"2", listOf({{"B", "long"}, {"A", "wider"}})}});
    EXPECT_EQ(result.outputTextTable(),
              "a     b    \n"
              "1     2    \n"
              "long  wider \n");
}

TEST(ObjectListResult, ToleratesObjectsThatDifferFromTheFirst) {
    const ObjectListResult result =
        objectsOf({{"1", listOf({{"a", "1"}})}, {"2", listOf({})}, {"3", listOf({{"c", "33"}, {"d", "444"}})}});
    EXPECT_EQ(result.outputTextTable(), "a \n1 \n\n33 444 \n");
}

TEST(ObjectListResult, CountsTheBytesOfAColumn) {
    const ObjectListResult result = objectsOf({{"1", listOf({{"a", "\xC2\xB0"}})}, {"2", listOf({{"a", "x"}})}});
    EXPECT_EQ(result.outputTextTable(), "a  \n\xC2\xB0 \nx  \n");
}

TEST(ObjectListResult, RendersATableOfObjectsWithoutProperties) {
    EXPECT_EQ(objectsOf({{"1", listOf({})}}).outputTextTable(), "\n\n");
}

TEST(ObjectListResult, RenamesTheCallersListToTheKey) {
    ObjectListResult result;
    PropertyListResult list = listOf({{"x", "1"}});
    list.setName("before");
    result.insert("A", list);
    EXPECT_EQ(list.outputXml(), "<A>\n\t<x>1</x>\n</A>\n");
    list.insert("y", "2");
    result.insert("B", list);
    EXPECT_EQ(list.outputXml(), "<B>\n\t<x>1</x>\n\t<y>2</y>\n</B>\n");
    EXPECT_EQ(result.outputXml(),
              "<RootList>\n<A>\n\t<x>1</x>\n</A>\n<B>\n\t<x>1</x>\n\t<y>2</y>\n</B>\n</RootList>\n");
}

TEST(ObjectListResult, IteratesInTheOrderOfInsertion) {
    const ObjectListResult result = objectsOf({{"b", listOf({{"x", "1"}})}, {"a", listOf({})}, {"b", listOf({})}});
    EXPECT_EQ(result.getCount(), 3u);
    std::string keys;
    for (const auto& object : result) keys += object.key + std::to_string(object.list.getCount());
    EXPECT_EQ(keys, "b1a0b0");
}

}  // namespace
}  // namespace cli::framework
