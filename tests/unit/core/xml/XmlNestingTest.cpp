#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <sstream>
#include <string>

#include "ostrel/core/xml/XmlNesting.h"

using namespace ostrel::core::xml;

namespace {

std::size_t depthOf(const std::string& text) {
    std::size_t depth = 0;
    while (nestsDeeperThan(text, depth)) ++depth;
    return depth;
}

const struct {
    std::string text;
    std::size_t depth;
    const char* why;
} CASES[] = {
    {"", 0, "nothing there"},
    {"text", 0, "no element"},
    {"<a></a>", 1, "one element"},
    {"<a/>", 1, "a self-closed element counts"},
    {"<a><b/></a>", 2, "also inside another"},
    {"<a><b/><c/><d></d></a>", 2, "siblings do not add up"},
    {"<a></a><b></b>", 1, "nor do several roots"},
    {"<a><b><c></c></b></a>", 3, "nested"},
    {"<a ><b\n/><c\t></c ></a>", 2, "blanks in tags"},
    {"<?xml version=\"1.0\"?><a/>", 1, "the declaration is no element"},
    {"<?pi <x><y> ?><a/>", 1, "nor is what is in a processing instruction"},
    {"<a><?><b></a>?><c/></a>", 2, "which is not ended by its own beginning"},
    {"<!-- <x><y></y> --><a/>", 1, "or in a comment"},
    {"<!--><x>--><a/>", 1, "a comment is not ended by its own beginning"},
    {"<a><![CDATA[<x><y></y>]]></a>", 1, "or in a CDATA section"},
    {"<!DOCTYPE a [ <!ENTITY x \"<y>\"> [ ] ] ><a/>", 1, "or in a document type"},
    {"<!DOCTYPE><a/>", 1, "which needs a blank after its name and is skipped to the next '>' without"},
    {"<!WHATEVER <x><a/>", 1, "other declarations end at the next '>'"},
    {"<a x=\"<b><c>\"/>", 1, "tags in a value do not count"},
    {"<a x=\"/>\"><b/></a>", 2, "the end of a tag in a value does not end it"},
    {"<a x='\"/>'><b/></a>", 2, "with the other kind of quotes"},
    {"<a x=\"</a>\"><b x='</b></a>'><c/></b></a>", 3, "nor does an end tag there"},
    {"<a><!--</a>--><b><!--</b></a>--></b></a>", 2, "or in a comment"},
    {"<a><![CDATA[</a>]]><b/></a>", 2, "or in a CDATA section"},
    {"<a><?pi </a> ?><b/></a>", 2, "or in a processing instruction"},
    {"<a>\"<b>'<c/></b></a>", 3, "quotes in a text mean nothing"},
    {"<a> > <b/></a>", 2, "nor does a '>'"},
    {"<a></x><b/>", 1, "an end tag ends an element whatever its name"},
    {"<a<b><c/></a<b>", 2, "'<' may be in a tag's name"},
    {"<a\"><b/></a>", 2, "and so may a quote"},
    {"<a b\"c'=\"/>\"><d/></a>", 2, "and in a key"},
    {"<a \x80=\"\xff\"><b/></a>", 2, "and bytes above 7Fh"},
    {std::string("<a/>\0<b><c><d>", 14), 1, "the reader stops at a zero byte"},
    {"<a><b><c", 2, "an unfinished tag is never entered"},
    {"<a><b></b", 2, "an unfinished end tag"},
    {"<a><b x></b><c><d><e>", 1, "the reader stops at a key without a value"},
    {"<a><b x=y><c><d>", 1, "at a value without quotes"},
    {"<a><b x=\"><c><d>", 1, "at a value without an end"},
    {"<a><b/ ><c><d>", 1, "at a '/' without its '>'"},
    {"<a>< b><c><d>", 1, "at an element without a name"},
    {"</a><b><c>", 0, "at an end tag without its element"},
    {"<a></a b><c><d>", 1, "at an end tag with an attribute"},
    {"<a><!-- ", 1, "at a comment without an end"},
    {"<a><![CDATA[ <b>", 1, "at a CDATA section without an end"},
    {"<!DOCTYPE a [ > <b>", 0, "at a document type without an end"},
    {"<a><?pi >", 1, "at a processing instruction without an end"},
    {"<", 0, "at the end of the text"},
};

std::size_t depthOf(const boost::property_tree::ptree& tree) {
    std::size_t depth = 0;
    for (const auto& [name, child] : tree)
        if (name != "<xmlattr>" && name != "<xmlcomment>") depth = std::max(depth, 1 + depthOf(child));
    return depth;
}

// Text that has a fair chance to be well formed, from the pieces that a scanner can trip over.
std::string randomText(std::mt19937& random) {
    static const std::string pieces[] = {"<a>",
                                         "<a>",
                                         "<b x=\"1\">",
                                         "<c x='/>'>",
                                         "<d/>",
                                         "</a>",
                                         "</a>",
                                         "</a>",
                                         "</ >",
                                         "<e y=\"</a>\"/>",
                                         "text",
                                         "<!--<a>-->",
                                         "<!--->",
                                         "-->",
                                         "<![CDATA[<a>]]>",
                                         "<?p <a>?>",
                                         "<?>",
                                         "?>",
                                         "<!>",
                                         "<!DOCTYPE [<a>]>",
                                         "<!X<a>",
                                         "]]>",
                                         "\"",
                                         "'",
                                         "&amp;",
                                         "&#0;",
                                         ">",
                                         "<a<b>",
                                         "<a\n\tb = \"<\" c='>' >",
                                         "</a\r\n>",
                                         "<f\xff/>",
                                         " ",
                                         "<g x=\"&lt;&quot;\"/>",
                                         "<",
                                         "/",
                                         "="};
    std::string text;
    for (auto i = random() % 12; i > 0; --i) text += pieces[random() % std::size(pieces)];
    return text;
}

}  // namespace

TEST(XmlNesting, CountsCaseByCase) {
    for (const auto& c : CASES) EXPECT_EQ(depthOf(c.text), c.depth) << c.text << ": " << c.why;
}

TEST(XmlNesting, SeesEveryWellFormedTextAsTheReaderDoes) {
    std::mt19937 random(20240612);
    int wellFormed = 0;
    for (int round = 0; round < 50000; ++round) {
        const std::string text = randomText(random);
        std::istringstream stream(text);
        boost::property_tree::ptree tree;
        try {
            boost::property_tree::read_xml(stream, tree, boost::property_tree::xml_parser::trim_whitespace);
        } catch (const boost::property_tree::xml_parser_error&) {
            continue;
        }
        ++wellFormed;
        ASSERT_EQ(depthOf(text), depthOf(tree)) << text;
    }
    EXPECT_GT(wellFormed, 2500);  // enough of them were more than a lucky few
}
