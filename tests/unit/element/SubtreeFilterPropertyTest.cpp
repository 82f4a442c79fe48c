// Texts that a hostile or hasty writer may send: each gives trees that can be walked, or one error.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "ModelTestSupport.h"
#include "SubtreeFilter.h"
#include "SubtreeTestSupport.h"

using namespace OrvElement;

namespace
{

const int ROUNDS = 20000;

const char* const WORDS[] = {"/",
                             "/",
                             "/",
                             "types",
                             "types",
                             "orv-types:",
                             "place",
                             "place",
                             "label",
                             "inner",
                             "depth",
                             "numbers",
                             "a-int8",
                             "an-identity",
                             "an-instance",
                             "a-union",
                             "[",
                             "]",
                             "{",
                             "}",
                             ",",
                             "*",
                             "=",
                             "'",
                             "'5'",
                             "\"red\"",
                             "''",
                             ":",
                             " ",
                             "\xFF",
                             "<",
                             "</",
                             ">",
                             "/>",
                             "<types>",
                             "<types xmlns='urn:orv:types' xmlns:t='urn:orv:types'>",
                             "</types>",
                             "<place>",
                             "</place>",
                             "<label>",
                             "</label>",
                             "<numbers/>",
                             "<a-int8>",
                             "</a-int8>",
                             "t:red",
                             "/t:types/t:numbers[.='5']",
                             "<filter>",
                             "</filter>",
                             "<filter type='subtree'>",
                             "<!--",
                             "-->",
                             "<![CDATA[",
                             "]]>",
                             "&lt;",
                             "&x;",
                             "<!DOCTYPE a []>",
                             "<?xml version='1.0'?>",
                             "@",
                             "12"};

const char* const VALID[] = {
    "/types[place/label='x'][an-identity='orv-types:red']/{numbers,a-int8,place}",
    "/types[an-instance='/orv-types:types/numbers[.=\"5\"]'][a-bits='one two']/with-list/l[k='a,b']/*",
    "<filter type=\"subtree\"><types xmlns=\"urn:orv:types\" xmlns:t=\"urn:orv:types\"><place><label>x</label></place>"
    "<an-identity>t:red</an-identity><numbers/><with-list><l><k>1</k></l></with-list></types></filter>",
    "<types xmlns='urn:orv:types' xmlns:t='urn:orv:types'><an-instance>/t:types/t:numbers[.='5']</an-instance>"
    "<a-union>7</a-union><a-decimal>1.5</a-decimal><marker><note>n</note></marker></types>"};

// Walks every pointer of every tree.
bool givesTreesOrAnError(const std::string& text)
{
    try
    {
        for (const std::string& tree : ModelTest::treesOf(ModelTest::typesModel(), {text}))
        {
            EXPECT_EQ(tree.compare(0, 14, "ManagedElement"), 0) << tree;
        }
        return true;
    }
    catch (const ElementError& error)
    {
        EXPECT_NE(std::string(error.what()), "");
        EXPECT_EQ(std::string(error.what()).find('\n'), std::string::npos);
        return false;
    }
}

}  // namespace

TEST(SubtreeFilterProperty, RandomWordsGiveTreesOrAnError)
{
    std::mt19937 random(20261121);
    std::uniform_int_distribution<std::size_t> word(0, std::size(WORDS) - 1);
    std::uniform_int_distribution<int> length(1, 14);
    int accepted = 0;
    for (int round = 0; round < ROUNDS; ++round)
    {
        std::string text = round % 2 == 0 ? "/types" : "<types>";
        for (int left = length(random); left > 0; --left)
        {
            text += WORDS[word(random)];
        }
        SCOPED_TRACE(text);
        accepted += givesTreesOrAnError(text) ? 1 : 0;
    }
    EXPECT_GT(accepted, 0);
    EXPECT_LT(accepted, ROUNDS);
}

TEST(SubtreeFilterProperty, DamagedFiltersGiveTreesOrAnError)
{
    std::mt19937 random(20261122);
    std::uniform_int_distribution<std::size_t> which(0, std::size(VALID) - 1);
    std::uniform_int_distribution<int> damages(0, 3);
    std::uniform_int_distribution<int> byte(0, 255);
    int accepted = 0;
    for (int round = 0; round < ROUNDS; ++round)
    {
        std::string text = VALID[which(random)];
        for (int left = damages(random); left > 0; --left)
        {
            std::uniform_int_distribution<std::size_t> position(1, text.size() - 1);
            const std::size_t at = position(random);
            switch (byte(random) % 4)
            {
                case 0:
                    text[at] = static_cast<char>(byte(random));
                    break;
                case 1:
                    text.erase(at, text.size() > 2 ? 1 : 0);
                    break;
                case 2:
                    text.insert(at, text.substr(position(random), 12));
                    break;
                default:
                    text.resize(std::max<std::size_t>(at, 2));
                    break;
            }
        }
        SCOPED_TRACE(text);
        accepted += givesTreesOrAnError(text) ? 1 : 0;
    }
    EXPECT_GT(accepted, ROUNDS / 8) << "the undamaged ones at least";
    EXPECT_LT(accepted, ROUNDS);
}
