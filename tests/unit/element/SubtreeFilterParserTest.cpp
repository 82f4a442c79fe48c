#include "SubtreeFilterParser.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ModelTestSupport.h"

using namespace OrvElement;
using ModelTest::errorOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;

namespace
{

std::string text(const FilterElement& element)
{
    std::string result = (element.module.empty() ? "" : "{" + element.module + "}") + element.name;
    result += element.value ? "=" + *element.value : "";
    if (!element.children.empty())
    {
        result += "(";
        for (const FilterElement& child : element.children)
        {
            result += (&child == &element.children.front() ? "" : " ") + text(child);
        }
        result += ")";
    }
    return result;
}

// What stands in the filter.
std::string parsed(const std::string& xml)
{
    std::string result;
    for (const FilterElement& element : parseSubtreeXml(xml).children)
    {
        result += (result.empty() ? "" : " ") + text(element);
    }
    return result;
}

std::string refusal(const std::string& xml)
{
    return errorOf([&] { parseSubtreeXml(xml); });
}

std::string nested(std::size_t depth)
{
    std::string xml;
    for (std::size_t i = 0; i < depth; ++i)
    {
        xml = "<a>" + xml + "</a>";
    }
    return xml;
}

std::string repeated(const std::string& part, std::size_t times)
{
    std::string result;
    for (std::size_t i = 0; i < times; ++i)
    {
        result += part;
    }
    return result;
}

}  // namespace

TEST(SubtreeFilterParser, KeepsNamesNamespacesAndTexts)
{
    EXPECT_EQ(parsed("<a><b>1</b><c/></a>"), "a(b=1 c)");
    EXPECT_EQ(parsed("<a xmlns=\"u\" xmlns:p=\"v\"><p:b>1</p:b><c xmlns=\"\"/></a>"), "{u}a({v}b=1 c)");
    EXPECT_EQ(parsed("<a> x <!-- no --> y </a>"), "a=x  y");
    EXPECT_EQ(parsed("<a><![CDATA[<1>]]>&amp;&#65;</a>"), "a=<1>&A");
    EXPECT_EQ(parsed("<a/> <b/>\n<?pi?>"), "a b");
}

TEST(SubtreeFilterParser, TakesTheContentOfAFilterElement)
{
    EXPECT_EQ(parsed("<filter type='subtree'><a/><b/></filter>"), "a b");
    EXPECT_EQ(parsed("<n:filter xmlns:n='urn:ietf:params:xml:ns:netconf:base:1.0'><a/></n:filter>"), "a");
    EXPECT_EQ(parsed("<filter xmlns='urn:other'/>"), "{urn:other}filter") << "a node of some module";
    EXPECT_EQ(parsed("<a><filter/></a>"), "a(filter)");
}

TEST(SubtreeFilterParser, KnowsThePrefixesInScopeOfEachElement)
{
    const FilterElement filter = parseSubtreeXml("<a xmlns:p='u'><b xmlns:p='v' xmlns='w'>p:x</b><c>p:x</c></a><d/>");
    const FilterElement& a = filter.children[0];
    EXPECT_EQ(a.children[0].prefixes->at("p"), "v");
    EXPECT_EQ(a.children[0].prefixes->at(""), "w");
    EXPECT_EQ(a.children[1].prefixes->at("p"), "u");
    EXPECT_EQ(a.children[1].prefixes->count(""), 0u);
    EXPECT_EQ(filter.children[1].prefixes->count("p"), 0u);
}

TEST(SubtreeFilterParser, RefusesAnEmptyFilter)
{
    for (const char* xml : {"", " \n", "<filter/>", "<filter type='subtree'>  </filter>", "<!-- nothing -->"})
    {
        EXPECT_EQ(refusal(xml), "the filter is empty, and would select nothing") << xml;
    }
}

TEST(SubtreeFilterParser, RefusesTextOutsideOfElementsAndBesideThem)
{
    EXPECT_EQ(refusal("a"), "a text stands outside of all elements");
    EXPECT_EQ(refusal("<filter>a</filter>"), "a text stands outside of all elements");
    EXPECT_EQ(refusal("<a/>x"), "/: text and elements stand side by side");
    EXPECT_EQ(refusal("<a><b>x<c/></b></a>"), "/a/b: text and elements stand side by side");
}

TEST(SubtreeFilterParser, RefusesASecondFilterElement)
{
    const std::string reason = "the element <filter> must be the outermost, and the only one";
    EXPECT_EQ(refusal("<filter><a/></filter><filter><a/></filter>"), reason);
    EXPECT_EQ(refusal("<a/><filter><a/></filter>"), reason);
}

TEST(SubtreeFilterParser, RefusesAttributes)
{
    const std::string reason = "\" is none of the model's; attributes cannot be matched";
    EXPECT_EQ(refusal("<a><b mtu='5'/></a>"), "/a/b: the attribute \"mtu" + reason);
    EXPECT_EQ(refusal("<filter select='/a'><a/></filter>"), "/: the attribute \"select" + reason);
    EXPECT_EQ(refusal("<filter><a type='subtree'/></filter>"), "/a: the attribute \"type" + reason);
    EXPECT_EQ(refusal("<a xmlns:p='u' p:x='1'/>"), "/a: the attribute \"p:x" + reason);
    EXPECT_EQ(refusal("<filter type='xpath'><a/></filter>"),
              "the filter's type is \"xpath\", and only \"subtree\" is understood");
}

TEST(SubtreeFilterParser, TellsWhereXmlIsMalformed)
{
    EXPECT_THAT(refusal("<a><b></a>"), StartsWith("malformed XML: Tag mismatch in line 1, column 9"));
    EXPECT_THAT(refusal("<a>\n<b x></a>"), HasSubstr("line 2, column 5"));
    EXPECT_THAT(refusal("<a x></a>"), HasSubstr("line 1, column 5"));
    EXPECT_THAT(refusal("<?xml version='1.0'?><a x></a>"), HasSubstr("line 1, column 26"));
    EXPECT_THAT(refusal("<?xml\nversion='1.0'?><a x></a>"), HasSubstr("line 2, column 20"));
    for (const char* xml : {"<a>", "<", "</a>", "<a/></subtree><subtree>", "<a/></subtree>", "<subtree>", "<p:a/>",
                            "<a>&x;</a>", "<a>\xFF</a>", "<a>\x01</a>", "<?xml version='1.0'", "<a/><?xml?>"})
    {
        EXPECT_THAT(refusal(xml), StartsWith("malformed XML: ")) << xml;
    }
    EXPECT_THAT(refusal(std::string("<a>\0</a>", 8)), StartsWith("malformed XML: "));
}

TEST(SubtreeFilterParser, TakesADeclarationOfUtf8Only)
{
    EXPECT_EQ(parsed("<?xml version='1.0' encoding='utf-8'?><a/>"), "a");
    EXPECT_EQ(parsed("\xEF\xBB\xBF<?xml version='1.0'?><a/>"), "a");
    EXPECT_EQ(refusal("<?xml version='1.0' encoding='ISO-8859-1'?><a/>"), "the text is not encoded in UTF-8");
}

TEST(SubtreeFilterParser, RefusesDocumentTypes)
{
    EXPECT_THAT(refusal("<!DOCTYPE a [<!ENTITY e 'x'>]><a>&e;</a>"), StartsWith("malformed XML: "));
    EXPECT_THAT(refusal("<?xml version='1.0'?><!DOCTYPE a SYSTEM 'file:///etc/passwd'><a/>"),
                StartsWith("malformed XML: "));
}

TEST(SubtreeFilterParser, BoundsSizeDepthNumberAndPrefixes)
{
    for (const auto& [open, close] : {std::pair<const char*, const char*>("", ""), {"<filter>", "</filter>"}})
    {
        const auto within = [open = open, close = close](const std::string& xml) { return open + xml + close; };
        EXPECT_EQ(refusal(within(nested(64))), "");
        EXPECT_EQ(refusal(within(nested(65))), "the filter is deeper than 64 elements");
        EXPECT_EQ(refusal(within(nested(10000))), "the filter is deeper than 64 elements");
        EXPECT_EQ(refusal(within(repeated("<a/>", 4096))), "");
        EXPECT_EQ(refusal(within(repeated("<a/>", 4097))), "there are more than 4096 elements");
    }
    std::string declarations;
    for (int i = 0; i < 65; ++i)
    {
        declarations += " xmlns:p" + std::to_string(i) + "='u'";
    }
    EXPECT_EQ(refusal("<a" + declarations + "/>"), "more than 64 prefixes are declared");
    EXPECT_EQ(refusal("<a>" + std::string(256 * 1024 - 7, 'x') + "</a>"), "");
    EXPECT_EQ(refusal("<a>" + std::string(256 * 1024 - 6, 'x') + "</a>"), "the filter is longer than 262144 bytes");
}
