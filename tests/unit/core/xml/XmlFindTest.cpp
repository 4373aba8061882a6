#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ostrel/core/xml/XmlList.h"
#include "ostrel/core/xml/XmlMessage.h"
#include "ostrel/core/xml/XmlObject.h"
#include "ostrel/core/xml/XmlProperty.h"

using namespace ostrel::core::xml;

namespace {

template <typename Element>
std::unique_ptr<Element> named(const std::string& name) {
    auto element = std::make_unique<Element>();
    element->attributes["name"] = name;
    return element;
}

/// root             properties rp; lists rl; objects ro
///   ro             properties x; objects deep
///     deep         properties x
///   rl             objects lo
///     lo           properties x
template <typename Root>
Root sampleTree() {
    Root root;
    root.attributes["name"] = "root";
    root.properties.push_back(named<XmlProperty>("rp"));
    root.properties.push_back(named<XmlProperty>("x"));
    root.lists.push_back(named<XmlList>("rl"));
    root.lists[0]->objects.push_back(named<XmlObject>("lo"));
    root.lists[0]->objects[0]->properties.push_back(named<XmlProperty>("x"));
    root.objects.push_back(named<XmlObject>("ro"));
    root.objects[0]->properties.push_back(named<XmlProperty>("x"));
    root.objects[0]->objects.push_back(named<XmlObject>("deep"));
    root.objects[0]->objects[0]->properties.push_back(named<XmlProperty>("x"));
    root.objects[0]->properties[0]->attributes["value"] = "of ro";
    root.objects[0]->objects[0]->properties[0]->attributes["value"] = "of deep";
    root.lists[0]->objects[0]->properties[0]->attributes["value"] = "of lo";
    root.properties[1]->attributes["value"] = "of root";
    return root;
}

// "Object ro" for each element found.
std::vector<std::string> namesOf(const std::vector<std::unique_ptr<XmlElement>>& elements) {
    std::vector<std::string> names;
    for (const auto& element : elements) {
        std::string name = element->getType() + " " + element->getAttribute("name");
        if (!element->getAttribute("value").empty()) name += " " + element->getAttribute("value");
        names.push_back(name);
    }
    return names;
}

using Names = std::vector<std::string>;

}  // namespace

template <typename Root>
class XmlFind : public testing::Test {};
using Roots = testing::Types<XmlObject, XmlMessage>;
TYPED_TEST_SUITE(XmlFind, Roots, );  // the comma for clang: a variadic macro wants it

TYPED_TEST(XmlFind, FindsNothingAtDepthZero) {
    EXPECT_EQ(namesOf(sampleTree<TypeParam>().find("", "", "", 0)), Names{});
}

TYPED_TEST(XmlFind, ReachesItselfAndItsPropertiesAtDepthOne) {
    const TypeParam root = sampleTree<TypeParam>();
    EXPECT_EQ(namesOf(root.find("", "", "", 1)),
              (Names{root.getType() + " root", "Property rp", "Property x of root"}));
    EXPECT_EQ(namesOf(root.find("Property", "name", "x", 1)), (Names{"Property x of root"}));
}

TYPED_TEST(XmlFind, ReachesObjectsListsAndTheObjectsPropertiesAtDepthTwo) {
    const TypeParam root = sampleTree<TypeParam>();
    EXPECT_EQ(namesOf(root.find("", "", "", 2)), (Names{root.getType() + " root", "Object ro", "Property x of ro",
                                                        "List rl", "Property rp", "Property x of root"}));
    EXPECT_EQ(namesOf(root.find("Property", "name", "x", 2)), (Names{"Property x of ro", "Property x of root"}));
}

TYPED_TEST(XmlFind, WalksObjectsThenListsThenProperties) {
    const TypeParam root = sampleTree<TypeParam>();
    const Names all = {root.getType() + " root",
                       "Object ro",
                       "Object deep",
                       "Property x of deep",
                       "Property x of ro",
                       "List rl",
                       "Object lo",
                       "Property x of lo",
                       "Property rp",
                       "Property x of root"};
    EXPECT_EQ(namesOf(root.find("", "", "", 3)), all);
    EXPECT_EQ(namesOf(root.find("", "", "", 255)), all);
    EXPECT_EQ(namesOf(root.find("Property", "name", "x", 255)),
              (Names{"Property x of deep", "Property x of ro", "Property x of lo", "Property x of root"}));
}

TYPED_TEST(XmlFind, FindsByTagByKeyOrByBoth) {
    const TypeParam root = sampleTree<TypeParam>();
    EXPECT_EQ(namesOf(root.find("List", "", "", 255)), (Names{"List rl"}));
    EXPECT_EQ(namesOf(root.find("", "name", "ro", 255)), (Names{"Object ro"}));
    EXPECT_EQ(namesOf(root.find("Property", "name", "ro", 255)), Names{});
    EXPECT_EQ(namesOf(root.find("property", "", "", 255)), Names{});
}

TYPED_TEST(XmlFind, IgnoresTheValueWithoutAKey) {
    EXPECT_EQ(namesOf(sampleTree<TypeParam>().find("List", "", "whatever", 255)), (Names{"List rl"}));
}

TYPED_TEST(XmlFind, TakesAnAbsentAttributeForAnEmptyValue) {
    EXPECT_EQ(namesOf(sampleTree<TypeParam>().find("Property", "value", "", 255)), (Names{"Property rp"}));
}

TYPED_TEST(XmlFind, RepeatsEachSubtreeUnderTheCloneOfItsParent) {
    TypeParam root;
    root.objects.push_back(named<XmlObject>("o"));
    root.objects[0]->properties.push_back(named<XmlProperty>("p"));
    std::string texts;
    for (const auto& element : root.find("", "", "", 255)) element->appendXml(texts);
    const std::string tag = root.getType();
    EXPECT_EQ(texts, "<" + tag + R"(><Object name="o"><Property name="p"/></Object></)" + tag +
                         R"(><Object name="o"><Property name="p"/></Object><Property name="p"/>)");
}

TYPED_TEST(XmlFind, ReturnsClones) {
    TypeParam root = sampleTree<TypeParam>();
    const auto found = root.find("List", "", "", 2);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_NE(found[0].get(), root.lists[0].get());
    root.lists.clear();
    std::string text;
    found[0]->appendXml(text);
    EXPECT_EQ(text, R"(<List name="rl"><Object name="lo"><Property name="x" value="of lo"/></Object></List>)");
}

TEST(XmlListFind, ReachesItselfAtDepthOneAndItsObjectsAtDepthTwo) {
    const XmlObject root = sampleTree<XmlObject>();
    const XmlList& list = *root.lists[0];
    EXPECT_EQ(namesOf(list.find("", "", "", 0)), Names{});
    EXPECT_EQ(namesOf(list.find("", "", "", 1)), (Names{"List rl"}));
    EXPECT_EQ(namesOf(list.find("", "", "", 2)), (Names{"List rl", "Object lo", "Property x of lo"}));
    EXPECT_EQ(namesOf(list.find("Object", "name", "lo", 2)), (Names{"Object lo"}));
}

TEST(XmlPropertyFind, TestsItselfWhateverTheDepth) {
    const auto property = named<XmlProperty>("p");
    for (const uint8_t depth : {uint8_t{0}, uint8_t{1}, uint8_t{255}}) {
        EXPECT_EQ(namesOf(property->find("Property", "name", "p", depth)), (Names{"Property p"}));
        EXPECT_EQ(namesOf(property->find("Object", "name", "p", depth)), Names{});
        EXPECT_EQ(namesOf(property->find("", "name", "q", depth)), Names{});
    }
}

TEST(XmlFindDepth, EndsAtTheLevelThatAByteCanCount) {
    // 300 objects in each other, named by their level from 1; each holds one property.
    XmlObject root;
    XmlObject* innermost = &root;
    for (int level = 1;; ++level) {
        innermost->attributes["name"] = std::to_string(level);
        innermost->addProperty("p" + std::to_string(level), "");
        if (level == 300) break;
        innermost->objects.push_back(std::make_unique<XmlObject>());
        innermost = innermost->objects.back().get();
    }
    EXPECT_EQ(root.find("Object", "", "", 255).size(), 255U);
    EXPECT_EQ(namesOf(root.find("", "name", "255", 255)), (Names{"Object 255"}));
    EXPECT_EQ(namesOf(root.find("", "name", "p255", 255)), (Names{"Property p255"}));
    EXPECT_EQ(namesOf(root.find("", "name", "256", 255)), Names{});
    EXPECT_EQ(namesOf(root.find("", "name", "p256", 255)), Names{});
}
