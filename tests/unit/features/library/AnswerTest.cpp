#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "features/library/Answer.h"
#include "ostrel/core/xml/XmlList.h"
#include "tests/support/ResidentPages.h"

namespace features::library {
namespace {

using ostrel::core::xml::XmlList;
using ostrel::core::xml::XmlObject;
using ostrel::core::xml::XmlProperty;

constexpr std::size_t LARGE = std::size_t{1} << 20;

std::string textOf(Answer answer) {
    std::string text(answer.size(), '?');
    answer.moveTo(text.data());
    return text;
}

/// Bytes that are different everywhere, so that one in a wrong place shows.
std::string digits(std::size_t size, unsigned seed) {
    std::string text(size, '\0');
    for (std::size_t i = 0; i < size; ++i) text[i] = "0123456789ABCDEF"[(i * 7 + i / 16 + i / 4096 + seed) % 16];
    return text;
}

void add(XmlObject& object, const std::string& name, const std::string& value) {
    auto property = std::make_unique<XmlProperty>();
    property->attributes = {{"name", name}, {"size", "1"}, {"value", value}};
    object.properties.push_back(std::move(property));
}

XmlObject& addChild(XmlObject& parent, const std::string& name) {
    parent.objects.push_back(std::make_unique<XmlObject>());
    parent.objects.back()->attributes["name"] = name;
    return *parent.objects.back();
}

void expectTheTextOfTheTree(XmlObject& root) {
    const std::string expected = root.toXmlString();
    Answer answer(root);
    EXPECT_EQ(answer.size(), expected.size());
    EXPECT_TRUE(textOf(std::move(answer)) == expected) << "too long to be shown";
}

TEST(Answer, WithoutALargeValueIsTheTextOfTheTree) {
    XmlObject root;
    root.attributes["name"] = "a<b";
    add(root, "x", "\"1\"");
    EXPECT_EQ(textOf(Answer(root)),
              "<?xml version=\"1.0\" encoding=\"utf-8\"?><Object name=\"a&amp;lt;b\">"
              "<Property name=\"x\" size=\"1\" value=\"&quot;1&quot;\"/></Object>");
    EXPECT_EQ(root.properties.front()->getAttribute("value"), "\"1\"") << "a small value stays in the tree";
}

TEST(Answer, TakesALargeValueOutOfTheTree) {
    XmlObject root;
    add(root, "payload", digits(LARGE, 0));
    const std::string expected =
        "<?xml version=\"1.0\" encoding=\"utf-8\"?><Object><Property name=\"payload\" size=\"1\" "
        "value=\"" +
        digits(LARGE, 0) + "\"/></Object>";
    Answer answer(root);
    EXPECT_EQ(root.properties.front()->getAttribute("value"), "");
    EXPECT_EQ(answer.size(), expected.size());
    EXPECT_TRUE(textOf(std::move(answer)) == expected) << "too long to be shown";
}

TEST(Answer, PutsSeveralLargeValuesWhereTheyBelong) {
    XmlObject root;
    root.attributes["name"] = "a<b";
    add(addChild(root, "status"), "Code", "0");
    XmlObject& first = addChild(root, "nlog");
    add(first, "before", "1");
    add(first, "payload", digits(LARGE, 1));
    add(first, "between", "& value=\"\"");
    add(first, "payload", digits(3 * LARGE + 1, 2));
    first.lists.push_back(std::make_unique<XmlList>());
    first.lists.back()->attributes["name"] = "list";
    add(addChild(addChild(root, "outer"), "inner"), "payload", digits(2 * LARGE - 1, 3));
    add(root, "own", digits(LARGE, 4));
    add(addChild(root, "last"), "payload", digits(LARGE - 1, 5));
    expectTheTextOfTheTree(root);
}

TEST(Answer, ReleasesALargeValueWhileItIsMoved) {
    XmlObject root;
    add(root, "payload", digits(16 * LARGE, 0));
    const char* const value = root.properties.front()->attributes["value"].data();
    Answer answer(root);
    const std::size_t pages = residentPages(value, 16 * LARGE);
    EXPECT_GT(pages, 16 * LARGE / static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) - 2) << "not copied";
    std::string text(answer.size(), '?');
    answer.moveTo(text.data());
    EXPECT_LT(residentPages(value, 16 * LARGE), pages / 10);
}

TEST(Answer, LeavesALargeValueWithBytesToEscapeInTheText) {
    XmlObject root;
    add(root, "first", digits(LARGE, 1) + "<");
    add(root, "second", digits(LARGE, 2));
    expectTheTextOfTheTree(root);
}

TEST(Answer, FindsTheValueAmongAttributesThatLookLikeIt) {
    XmlObject root;
    add(root, " value=\"\"", digits(LARGE, 1));
    auto& attributes = root.properties.front()->attributes;
    attributes["another value"] = "value";
    attributes["zvalue"] = "";
    expectTheTextOfTheTree(root);
}

}  // namespace
}  // namespace features::library
