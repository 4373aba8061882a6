#include <gtest/gtest.h>

#include <string>

#include "ostrel/core/xml/XmlList.h"
#include "ostrel/core/xml/XmlObject.h"
#include "ostrel/core/xml/XmlProperty.h"

using namespace ostrel::core::xml;

namespace {

std::string xmlOf(const XmlElement& element) {
    std::string out;
    element.appendXml(out);
    return out;
}

}  // namespace

TEST(XmlObject, TakesItsOwnAttributesVerbatim) {
    EXPECT_EQ(xmlOf(XmlObject(" n\t", " d\n", " v\x7f")),
              "<Object description=\" d\n\" name=\" n\t\" value=\" v\x7f\"></Object>");
    EXPECT_EQ(xmlOf(XmlObject("n", "d", "v", " t ")),
              R"(<Object description="d" name="n" type=" t " value="v"></Object>)");
    EXPECT_EQ(xmlOf(XmlObject("", "", "", "")), R"(<Object description="" name="" type="" value=""></Object>)");
}

TEST(XmlObject, AddsPropertiesInOrder) {
    XmlObject object;
    object.addProperty("n1", "v1");
    object.addProperty("n2", "d2", "v2");
    object.addProperty("n3", "d3", "v3", "t3");
    EXPECT_EQ(xmlOf(object),
              R"(<Object><Property name="n1" value="v1"/><Property description="d2" name="n2" value="v2"/>)"
              R"(<Property description="d3" name="n3" type="t3" value="v3"/></Object>)");
}

TEST(XmlObject, SanitisesValueAndTypeOfAnAddedPropertyOnly) {
    XmlObject object;
    object.addProperty(" n\t", "  a\tb  ");
    object.addProperty(" n\t", " d\n",
                       "\x1f"
                       "c d\x7f");
    object.addProperty(" n\t", " d\n", " \xc3\xa9 ", " uint8\n");
    EXPECT_EQ(xmlOf(object),
              "<Object><Property name=\" n\t\" value=\"ab\"/>"
              "<Property description=\" d\n\" name=\" n\t\" value=\"c d\"/>"
              "<Property description=\" d\n\" name=\" n\t\" type=\"uint8\" value=\"\"/></Object>");
}

TEST(XmlObject, RemovesTheFirstPropertyOfAName) {
    XmlObject object;
    object.addProperty("a", "1");
    object.addProperty("b", "2");
    object.addProperty("a", "3");
    object.addProperty("c", "4");
    EXPECT_EQ(object.removeProperty("a"), 1);
    EXPECT_EQ(xmlOf(object),
              R"(<Object><Property name="b" value="2"/><Property name="a" value="3"/><Property name="c" value="4"/>)"
              "</Object>");
}

TEST(XmlObject, LeavesNamelessPropertiesWithAnEmptyNameWhenItFindsNothing) {
    XmlObject object;
    object.addProperty("a", "1");
    object.properties.push_back(std::make_unique<XmlProperty>());
    object.objects.push_back(std::make_unique<XmlObject>());
    object.objects[0]->addProperty("absent", "2");
    EXPECT_EQ(object.removeProperty("absent"), 0);
    EXPECT_EQ(xmlOf(object), R"(<Object><Property name="a" value="1"/><Property name=""/>)"
                             R"(<Object><Property name="absent" value="2"/></Object></Object>)");
}

TEST(XmlObject, GivesNoNameToPropertiesAfterTheRemovedOne) {
    XmlObject object;
    object.properties.push_back(std::make_unique<XmlProperty>());
    object.addProperty("a", "1");
    object.properties.push_back(std::make_unique<XmlProperty>());
    EXPECT_EQ(object.removeProperty("a"), 1);
    EXPECT_EQ(xmlOf(object), R"(<Object><Property name=""/><Property/></Object>)");
}

TEST(XmlObject, RemovesANamelessPropertyByTheEmptyName) {
    XmlObject object;
    object.addProperty("a", "1");
    object.properties.push_back(std::make_unique<XmlProperty>());
    EXPECT_EQ(object.removeProperty(""), 1);
    EXPECT_EQ(xmlOf(object), R"(<Object><Property name="a" value="1"/></Object>)");
}

TEST(XmlObject, RemovesPropertiesHereAndInObjectsBelowButNotInLists) {
    XmlObject object;
    object.properties.push_back(std::make_unique<XmlProperty>());
    object.addProperty("a", "1");
    object.addProperty("a", "2");
    object.addProperty("b", "3");
    object.objects.push_back(std::make_unique<XmlObject>());
    object.objects[0]->addProperty("b", "4");
    object.objects[0]->addProperty("c", "5");
    object.objects[0]->objects.push_back(std::make_unique<XmlObject>());
    object.objects[0]->objects[0]->addProperty("b", "6");
    object.objects[0]->objects[0]->addProperty("a", "7");
    object.objects[0]->objects[0]->addProperty("a", "8");
    object.lists.push_back(std::make_unique<XmlList>());
    object.lists[0]->objects.push_back(std::make_unique<XmlObject>());
    object.lists[0]->objects[0]->addProperty("a", "9");

    object.removeProperties({"b", "a"});
    EXPECT_EQ(xmlOf(object),
              R"(<Object><Property name=""/><Property name="a" value="2"/>)"
              R"(<List><Object><Property name="a" value="9"/></Object></List>)"
              R"(<Object><Property name="c" value="5"/><Object><Property name="a" value="8"/></Object></Object>)"
              "</Object>");
}

TEST(XmlObject, RemovesOnePropertyForEachTimeThatANameIsGiven) {
    XmlObject object;
    object.addProperty("a", "1");
    object.addProperty("a", "2");
    object.addProperty("a", "3");
    object.removeProperties({"a", "a"});
    EXPECT_EQ(xmlOf(object), R"(<Object><Property name="a" value="3"/></Object>)");
    object.removeProperties({});
    EXPECT_EQ(xmlOf(object), R"(<Object><Property name="a" value="3"/></Object>)");
}
