#include "SubtreePathParser.h"

#include <gtest/gtest.h>

#include "ModelTestSupport.h"

using namespace OrvElement;
using ModelTest::errorOf;

namespace
{

std::string text(const FilterElement& element)
{
    std::string result = element.module + (element.module.empty() ? "" : ":") + element.name;
    result += element.value ? "=" + *element.value : "";
    result += element.condition ? "?" : "";
    if (!element.children.empty() || element.everything)
    {
        result += "(";
        for (const FilterElement& child : element.children)
        {
            result += (&child == &element.children.front() ? "" : " ") + text(child);
        }
        result += element.everything ? "*)" : ")";
    }
    return result;
}

std::string parsed(const std::string& path)
{
    return text(parseSubtreePath(path));
}

std::string refusal(const std::string& path)
{
    return errorOf([&] { parseSubtreePath(path); });
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

TEST(SubtreePathParser, TakesStepsSetsAndStars)
{
    EXPECT_EQ(parsed("/"), "(*)");
    EXPECT_EQ(parsed("/*"), "(*)");
    EXPECT_EQ(parsed("/a/m-1:b_.2/c"), "(a(m-1:b_.2(c)))");
    EXPECT_EQ(parsed("/a/*"), "(a(*))");
    EXPECT_EQ(parsed("/a/{b}"), "(a(b))");
    EXPECT_EQ(parsed("/a/{ b , m:c,\td }"), "(a(b m:c d))");
}

TEST(SubtreePathParser, TakesConditionsWithEitherQuote)
{
    EXPECT_EQ(parsed("/a[b='1']"), "(a(b=1?))");
    EXPECT_EQ(parsed("/a[ m:b/c = \"it's ]\" ][d='']/e"), "(a(m:b?(c=it's ]?) d=? e))");
    EXPECT_EQ(parsed("/a[ b / c\t/d = '1' ]"), "(a(b?(c?(d=1?))))") << "blanks around any part";
}

TEST(SubtreePathParser, NamesTheColumnOfWhatIsWrong)
{
    EXPECT_EQ(refusal(""), "column 1: \"/\" is missing");
    EXPECT_EQ(refusal("a"), "column 1: \"/\" is missing");
    EXPECT_EQ(refusal("//a"), "column 2: the name of a node is missing");
    EXPECT_EQ(refusal("/a/"), "column 4: the name of a node is missing");
    EXPECT_EQ(refusal("/1a"), "column 2: the name of a node is missing");
    EXPECT_EQ(refusal("/m:"), "column 4: the name of a node is missing");
    EXPECT_EQ(refusal("/a b"), "column 3: the path should end here");
    EXPECT_EQ(refusal("/a/*/b"), "column 5: the path should end here");
    EXPECT_EQ(refusal("/a/{b}/c"), "column 7: the path should end here");
    EXPECT_EQ(refusal("/a/{}"), "column 5: the name of a node is missing");
    EXPECT_EQ(refusal("/a/{b"), "column 6: \"}\" is missing");
    EXPECT_EQ(refusal("/a[]"), "column 4: the name of a node is missing");
    EXPECT_EQ(refusal("/a[b]"), "column 5: \"=\" is missing");
    EXPECT_EQ(refusal("/a[b=1]"), "column 6: a value in quotes is missing");
    EXPECT_EQ(refusal("/a[b="), "column 6: a value in quotes is missing");
    EXPECT_EQ(refusal("/a[b='1]"), "column 6: the quote is not closed");
    EXPECT_EQ(refusal("/a[b='1'"), "column 9: \"]\" is missing");
}

TEST(SubtreePathParser, RefusesAValueThatIsNoText)
{
    for (const std::string value : {"\xFF", "a\xC3", "\xED\xA0\x80", "\xC0\x80", "\xF8\x88\x80\x80\x80"})
    {
        EXPECT_EQ(refusal("/a[b='" + value + "']"), "column 6: the value is no UTF-8 text") << value;
    }
    EXPECT_EQ(refusal(std::string("/a[b='x\0y']", 11)), "column 6: the value is no UTF-8 text");
    EXPECT_EQ(parsed("/a[b='\xC3\xA4\xE2\x82\xAC\xF0\x9F\x99\x82']"), "(a(b=\xC3\xA4\xE2\x82\xAC\xF0\x9F\x99\x82?))");
}

TEST(SubtreePathParser, BoundsSizeDepthAndNumber)
{
    EXPECT_EQ(refusal(repeated("/a", 64)), "");
    EXPECT_EQ(refusal(repeated("/a", 65)), "column 130: the path is deeper than 64 nodes");
    EXPECT_EQ(refusal("/a[" + repeated("b/", 62) + "c='1']"), "");
    EXPECT_EQ(refusal("/a[" + repeated("b/", 63) + "c='1']"), "column 130: the path is deeper than 64 nodes");
    EXPECT_EQ(refusal("/{" + repeated("a,", 4095) + "a}"), "");
    EXPECT_EQ(refusal("/{" + repeated("a,", 4096) + "a}"), "column 8195: there are more than 4096 nodes");
    EXPECT_EQ(refusal("/" + std::string(256 * 1024 - 1, 'a')), "");
    EXPECT_EQ(refusal("/" + std::string(256 * 1024, 'a')), "the path is longer than 262144 bytes");
}
