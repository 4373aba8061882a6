#include <boost/property_tree/ptree.hpp>
#include <gtest/gtest.h>

#include <string>

#include "ostrel/core/xml/XmlElement.h"
#include "ostrel/core/xml/XmlList.h"
#include "ostrel/core/xml/XmlMessage.h"
#include "ostrel/core/xml/XmlObject.h"
#include "ostrel/core/xml/XmlProperty.h"
#include "tests/support/VirtualSlots.h"

using namespace ostrel::core::xml;

namespace {

template <typename Element>
std::unique_ptr<Element> named(const std::string& name) {
    auto element = std::make_unique<Element>();
    element->attributes["name"] = name;
    return element;
}

std::string xmlOf(const XmlElement& element) {
    std::string out;
    element.appendXml(out);
    EXPECT_EQ(element.xmlSize(), out.size());
    return out;
}

// Children of all kinds, two each, added in an order that is neither that of the fields nor that of the wire.
template <typename Parent>
std::unique_ptr<Parent> family(const std::string& name) {
    auto parent = named<Parent>(name);
    parent->objects.push_back(named<XmlObject>("o1"));
    parent->lists.push_back(named<XmlList>("l1"));
    parent->properties.push_back(named<XmlProperty>("p1"));
    parent->properties.push_back(named<XmlProperty>("p2"));
    parent->objects.push_back(named<XmlObject>("o2"));
    parent->lists.push_back(named<XmlList>("l2"));
    parent->lists[0]->objects.push_back(named<XmlObject>("l1o1"));
    parent->lists[0]->objects.push_back(named<XmlObject>("l1o2"));
    return parent;
}

constexpr char FAMILY_CHILDREN[] =
    R"(<Property name="p1"/><Property name="p2"/>)"
    R"(<List name="l1"><Object name="l1o1"></Object><Object name="l1o2"></Object></List><List name="l2"></List>)"
    R"(<Object name="o1"></Object><Object name="o2"></Object>)";

}  // namespace

TEST(XmlElement, KnowsItsTag) {
    EXPECT_EQ(XmlMessage().getType(), "Message");
    EXPECT_EQ(XmlObject().getType(), "Object");
    EXPECT_EQ(XmlList().getType(), "List");
    EXPECT_EQ(XmlProperty().getType(), "Property");
}

TEST(XmlElement, WritesEmptyElements) {
    EXPECT_EQ(xmlOf(XmlMessage()), "<Message></Message>");
    EXPECT_EQ(xmlOf(XmlObject()), "<Object></Object>");  // never self-closed
    EXPECT_EQ(xmlOf(XmlList()), "<List></List>");
    EXPECT_EQ(xmlOf(XmlProperty()), "<Property/>");  // always self-closed
}

TEST(XmlElement, WritesAttributesByTheBytesOfTheirKeys) {
    XmlProperty property;
    property.attributes = {{"value", "5"}, {"b", "4"}, {"\xc3\xa9", "6"}, {"B", "2"}, {"a", "3"}, {"1", "1"}};
    EXPECT_EQ(xmlOf(property), "<Property 1=\"1\" B=\"2\" a=\"3\" b=\"4\" value=\"5\" \xc3\xa9=\"6\"/>");
}

TEST(XmlElement, EscapesValuesButNoKeys) {
    XmlList list;
    list.attributes = {{"a&\"'", "<&\"'>"}, {"empty", ""}};
    EXPECT_EQ(xmlOf(list), R"(<List a&"'="&amp;lt;&amp;&quot;&apos;&amp;gt;" empty=""></List>)");
}

TEST(XmlElement, WritesPropertiesThenListsThenObjects) {
    EXPECT_EQ(xmlOf(*family<XmlObject>("x")), std::string(R"(<Object name="x">)") + FAMILY_CHILDREN + "</Object>");
    EXPECT_EQ(xmlOf(*family<XmlMessage>("x")), std::string(R"(<Message name="x">)") + FAMILY_CHILDREN + "</Message>");
}

TEST(XmlElement, AppendsToWhatIsThere) {
    std::string out = "before";
    XmlProperty().appendXml(out);
    EXPECT_EQ(out, "before<Property/>");
}

TEST(XmlElement, WritesADocumentWithItsHeader) {
    EXPECT_EQ(XmlObject().toXmlString(), R"(<?xml version="1.0" encoding="utf-8"?><Object></Object>)");
    EXPECT_EQ(named<XmlProperty>("n")->toXmlString(), R"(<?xml version="1.0" encoding="utf-8"?><Property name="n"/>)");
}

TEST(XmlElement, WritesADocumentIntoOneAllocationOfItsSize) {
    const auto object = family<XmlObject>(std::string(1000, '<'));
    const std::string text = object->toXmlString();
    EXPECT_EQ(text.size(), 38 + object->xmlSize());
    EXPECT_EQ(text.capacity(), text.size());
}

TEST(XmlElement, ReadsAbsentAttributesAsEmptyWithoutAddingThem) {
    XmlProperty property;
    property.attributes["name"] = "x";
    EXPECT_EQ(property.getAttribute("name"), "x");
    EXPECT_EQ(property.getAttribute("value"), "");
    EXPECT_EQ(property.attributes, (XmlElement::Attributes{{"name", "x"}}));
}

TEST(XmlElement, RemovesAttributes) {
    XmlProperty property;
    property.attributes = {{"a", "1"}, {"b", "2"}, {"c", "3"}};
    property.removeAttribute("b");
    property.removeAttribute("absent");
    EXPECT_EQ(property.attributes, (XmlElement::Attributes{{"a", "1"}, {"c", "3"}}));
    property.clearAttributes();
    EXPECT_TRUE(property.attributes.empty());
}

TEST(XmlElement, LoadsAttributesOfATreeTheLastOfEqualKeysWinning) {
    boost::property_tree::ptree tree;
    boost::property_tree::ptree& group = tree.add_child("<xmlattr>", {});
    group.push_back({"name", boost::property_tree::ptree("first")});
    group.push_back({"dotted.key", boost::property_tree::ptree("kept whole")});
    group.push_back({"name", boost::property_tree::ptree("last")});
    group.push_back({"old", boost::property_tree::ptree("new")});
    tree.push_back({"name", boost::property_tree::ptree("a child and no attribute")});
    XmlProperty property;
    property.attributes = {{"old", "old"}, {"other", "stays"}};
    property.loadAttributes(tree);
    const XmlElement::Attributes expected = {
        {"dotted.key", "kept whole"}, {"name", "last"}, {"old", "new"}, {"other", "stays"}};
    EXPECT_EQ(property.attributes, expected);
}

TEST(XmlElement, LoadsNothingWithoutAGroupOfAttributes) {
    boost::property_tree::ptree tree;
    tree.add("name", "a child");
    XmlProperty property;
    property.attributes["name"] = "x";
    property.loadAttributes(tree);
    EXPECT_EQ(property.attributes, (XmlElement::Attributes{{"name", "x"}}));
}

TEST(XmlElement, IsEmptyWithoutAttributesAndChildren) {
    EXPECT_TRUE(XmlMessage().isEmpty());
    EXPECT_TRUE(XmlObject().isEmpty());
    EXPECT_TRUE(XmlList().isEmpty());
    EXPECT_TRUE(XmlProperty().isEmpty());
}

TEST(XmlElement, IsNotEmptyWithAnAttribute) {
    EXPECT_FALSE(named<XmlMessage>("")->isEmpty());
    EXPECT_FALSE(named<XmlObject>("")->isEmpty());
    EXPECT_FALSE(named<XmlList>("")->isEmpty());
    EXPECT_FALSE(named<XmlProperty>("")->isEmpty());
}

template <typename Parent>
class XmlParent : public testing::Test {};
using Parents = testing::Types<XmlObject, XmlMessage>;
TYPED_TEST_SUITE(XmlParent, Parents, );  // the comma for clang: a variadic macro wants it

TYPED_TEST(XmlParent, IsNotEmptyWithAChildOfAnyKind) {
    TypeParam withList;
    withList.lists.push_back(std::make_unique<XmlList>());
    EXPECT_FALSE(withList.isEmpty());

    TypeParam withProperty;
    withProperty.properties.push_back(std::make_unique<XmlProperty>());
    EXPECT_FALSE(withProperty.isEmpty());

    TypeParam withObject;
    withObject.objects.push_back(std::make_unique<XmlObject>());
    EXPECT_FALSE(withObject.isEmpty());
}

TYPED_TEST(XmlParent, ClonesDeep) {
    auto original = family<TypeParam>("x");
    const std::string before = xmlOf(*original);
    const std::unique_ptr<XmlElement> clone = original->clone();
    ASSERT_NE(dynamic_cast<TypeParam*>(clone.get()), nullptr);

    original->attributes["name"] = "changed";
    original->properties[1]->attributes["name"] = "changed";
    original->lists[0]->objects[1]->attributes["name"] = "changed";
    original->objects.clear();
    EXPECT_EQ(xmlOf(*clone), before);
}

TEST(XmlList, IsNotEmptyWithAnObject) {
    XmlList list;
    list.objects.push_back(std::make_unique<XmlObject>());
    EXPECT_FALSE(list.isEmpty());
}

TEST(XmlList, ClonesDeep) {
    XmlList original;
    original.attributes["name"] = "x";
    original.objects.push_back(family<XmlObject>("o"));
    const std::string before = xmlOf(original);
    const std::unique_ptr<XmlElement> clone = original.clone();
    ASSERT_NE(dynamic_cast<XmlList*>(clone.get()), nullptr);

    original.objects[0]->properties.clear();
    original.clearAttributes();
    EXPECT_EQ(xmlOf(*clone), before);
}

TEST(XmlProperty, Clones) {
    auto original = named<XmlProperty>("x");
    const std::unique_ptr<XmlElement> clone = original->clone();
    ASSERT_NE(dynamic_cast<XmlProperty*>(clone.get()), nullptr);
    original->clearAttributes();
    EXPECT_EQ(xmlOf(*clone), R"(<Property name="x"/>)");
}

// The feature library is built against this order. Slots 0 and 1 are the destructor's.
TEST(XmlElement, KeepsItsVirtualSlots) {
    EXPECT_EQ(virtualSlot(&XmlElement::appendXml), 2u);
    EXPECT_EQ(virtualSlot(&XmlElement::find), 3u);
    EXPECT_EQ(virtualSlot(&XmlElement::clone), 4u);
    EXPECT_EQ(virtualSlot(&XmlElement::isEmpty), 5u);
}
