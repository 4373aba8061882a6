#include <gtest/gtest.h>

#include "features/nvme/FieldTree.h"
#include "tests/unit/features/nvme/TreeText.h"

namespace features::nvme {
namespace {

TEST(FieldTree, BecomesNestedObjectsForTheAnswer) {
    FieldTree tree{"Identify", {}, {}};
    tree.add("VID", "PCI Vendor ID", "0x1B36");
    tree.add("Plain", "7");
    FieldTree& part = tree.addPart("Power State 0");
    part.add("MP", "Maximum Power", withUnit("25.00", "watts"));
    std::string xml;
    tree.toXml("S1")->appendXml(xml);
    EXPECT_EQ(xml,
              "<Object key=\"S1\" name=\"Identify\">"
              "<Property description=\"PCI Vendor ID\" name=\"VID\" value=\"0x1B36\"/>"
              "<Property name=\"Plain\" value=\"7\"/>"
              "<Object name=\"Power State 0\">"
              "<Property description=\"Maximum Power\" name=\"MP\" value=\"25.00 watts\"/>"
              "</Object></Object>");
}

TEST(FieldTree, HasNoKeyWhenNoneIsGiven) {
    std::string xml;
    FieldTree{"Empty", {}, {}}.toXml("")->appendXml(xml);
    EXPECT_EQ(xml, "<Object name=\"Empty\"></Object>");
}

TEST(FieldTree, DecimalFractionIsExact) {
    EXPECT_EQ(decimalFraction(2500, 2), "25.00");
    EXPECT_EQ(decimalFraction(825, 2), "8.25");
    EXPECT_EQ(decimalFraction(25, 2), "0.25");
    EXPECT_EQ(decimalFraction(5, 2), "0.05");
    EXPECT_EQ(decimalFraction(0, 4), "0.0000");
    EXPECT_EQ(decimalFraction(123, 4), "0.0123");
    EXPECT_EQ(decimalFraction(UINT64_MAX, 2), "184467440737095516.15");
}

TEST(FieldTree, HexTextHasAtLeastItsDigits) {
    EXPECT_EQ(hexText(0), "0x0");
    EXPECT_EQ(hexText(0xAB), "0xAB");
    EXPECT_EQ(hexText(0xAB, 4), "0x00AB");
    EXPECT_EQ(hexText(0xABCDE, 4), "0xABCDE");
    EXPECT_EQ(hexText(UINT64_MAX, 16), "0xFFFFFFFFFFFFFFFF");
}

TEST(FieldTree, AListIsAPartWithAFieldForEachEntry) {
    FieldTree tree{"Lists", {}, {}};
    tree.addList("None", std::vector<uint32_t>{});
    tree.addList("Some", std::vector<uint16_t>{1, 65535});
    EXPECT_EQ(treeText(tree),
              "[Lists]\n"
              "    [None]\n"
              "    [Some]\n"
              "    Entry 0: 1\n"
              "    Entry 1: 65535\n");
}

TEST(FieldTree, OnlyANumberHasAUnit) {
    EXPECT_EQ(withUnit("38", "C"), "38 C");
    EXPECT_EQ(withUnit("-5", "C"), "-5 C");
    EXPECT_EQ(withUnit("8.25", "watts"), "8.25 watts");
    EXPECT_EQ(withUnit("38", ""), "38");
    EXPECT_EQ(withUnit("not reported", "C"), "not reported");
    EXPECT_EQ(withUnit("0x26", "C"), "0x26");
    EXPECT_EQ(withUnit("", "C"), "");
}

}  // namespace
}  // namespace features::nvme
