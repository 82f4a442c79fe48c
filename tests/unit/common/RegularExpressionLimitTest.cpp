// What a regular expression may ask of the C library, and what it costs at the limit.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <random>
#include <thread>
#include <vector>

#include "RegularExpression.h"

namespace
{

typedef std::chrono::steady_clock Clock;

const int LENGTH = Orv::RegularExpression::MAX_LENGTH;
const int OPERATORS = Orv::RegularExpression::MAX_OPERATORS;

bool isValid(const std::string& expression, int compileFlags = REG_EXTENDED)
{
    return Orv::RegularExpression(expression, compileFlags).isExpressionValid();
}

std::string repeated(const std::string& text, int times)
{
    std::string result;
    for (int i = 0; i < times; ++i)
    {
        result += text;
    }
    return result;
}

std::string interval(int least, int most)
{
    return "{" + std::to_string(least) + "," + std::to_string(most) + "}";
}

// A text of these two letters; in most of them each character gives the expressions below a state of its own.
std::string randomText(std::mt19937& random, size_t length)
{
    std::string text;
    while (text.size() < length)
    {
        text += random() % 2 == 0 ? 'a' : 'b';
    }
    return text;
}

TEST(RegularExpressionLimit, FiltersAsAgentsWriteThemAreValid)
{
    const std::vector<std::string> expressions = {
        "", ".*", ".*$", "^ManagedElement=1(,.*)?$", "ManagedElement=1,Interface=eth[0-9]+$",
        "ManagedElement=[^,]*,(Interface|Cell|Unit)=[0-9]{1,3},(state|mode)",
        "ManagedElement=1,SystemFunctions=1,Log=[A-Za-z0-9_.-]{1,64}$", ".*,Interface=eth[0-9]{1,4}(,Unit=(1|2|3|4))?$",
        "(ManagedElement|MeContext)=.*,[A-Z][A-Za-z]*=[^,]+,[a-z][A-Za-z]*", "A=1\\.5,B=\\(x\\)\\{2\\}",
        // A list of objects, each by its full name.
        "(" + repeated("ManagedElement=1,Equipment=1,Subrack=7,Slot=11,PlugInUnit=1|", 97) + "ManagedElement=1)$"};
    for (const std::string& expression : expressions)
    {
        EXPECT_TRUE(isValid(expression)) << expression;
    }
}

TEST(RegularExpressionLimit, ClassicCasesOfExponentialTimeOrMemoryAreNotValid)
{
    const std::vector<std::string> expressions = {"((((a{1,100}){1,100}){1,100}){1,100})",
                                                  "(((a{100}){100}){100}){100}",
                                                  "a{0,32767}",
                                                  "a{32767}",
                                                  "a{20000,}",
                                                  repeated("a{0,255}", 1000),
                                                  repeated("(", 30) + "a" + repeated("+)", 30),
                                                  repeated("a?", 500) + repeated("a", 500),
                                                  repeated("(a|", 1000) + "a" + repeated(")", 1000),
                                                  repeated("a|", 100000),
                                                  "a" + repeated("*", 2000),
                                                  repeated("(", 100000),
                                                  "(a|b)*a(a|b){100}",
                                                  ".*a.{200}",
                                                  ".*a" + repeated(".", 200),
                                                  "(a*)*\\1",
                                                  "(.*)(.*)\\1\\2x"};
    for (const std::string& expression : expressions)
    {
        EXPECT_FALSE(isValid(expression)) << expression.substr(0, 60);
    }
}

TEST(RegularExpressionLimit, PlainCharactersCountForTheLengthAlone)
{
    const std::string text(static_cast<size_t>(LENGTH), 'a');
    EXPECT_NE(Orv::RegularExpression(text, REG_EXTENDED).match(text, 0, nullptr, 0), 0);
    EXPECT_FALSE(isValid(text + "a"));
}

TEST(RegularExpressionLimit, OperatorsCountForTheLengthToo)
{
    const std::string text(static_cast<size_t>(LENGTH - 1), 'a');
    EXPECT_TRUE(isValid(text + "?"));
    EXPECT_FALSE(isValid(text + "a?"));
    EXPECT_TRUE(isValid(text + "a\\{1\\}", 0)) << "an interval alone does not";
    EXPECT_FALSE(isValid(text + "a\\{1\\}}", 0)) << "the second brace is a plain character";
}

// Behind such a repetition the C library holds, at each character, all places that the literal may have got to.
TEST(RegularExpressionLimit, WhatRepeatsWithoutLimitMayHaveTwoThousandCharacters)
{
    const auto filled = [](const std::string& head, int counted, const std::string& tail)
    { return head + std::string(static_cast<size_t>(counted), 'a') + tail; };
    EXPECT_TRUE(isValid(filled(".*", 2048 - 4, "[bc]$")));
    EXPECT_FALSE(isValid(filled(".*", 2048 - 3, "[bc]$")));
    EXPECT_TRUE(isValid(filled("", 2048 - 2, "b*")));
    EXPECT_FALSE(isValid(filled("", 2048 - 1, "b*")));
    EXPECT_TRUE(isValid(filled("", 2048 - 3, "b+"))) << "counted as bb*";
    EXPECT_FALSE(isValid(filled("", 2048 - 2, "b+")));
    EXPECT_TRUE(isValid(filled("", 2048 - 2, "b{1,}"))) << "counted as bb";
    EXPECT_FALSE(isValid(filled("", 2048 - 1, "b{1,}")));
    EXPECT_FALSE(isValid(filled("(b*|", 2048, ")c"))) << "wherever it stands";
    EXPECT_FALSE(isValid(filled("", 2048, "b*"), 0)) << "in the basic syntax, too";
    EXPECT_TRUE(isValid(filled("", 16384 - 2, "b?"))) << "a limited one is none";
    EXPECT_TRUE(isValid(filled("", 16384 - 9, "b{0,9}")));
    EXPECT_TRUE(isValid(filled("*", 16384 - 1, ""), 0)) << "a plain star is none";
}

TEST(RegularExpressionLimit, ABracketIsOneCharacter)
{
    EXPECT_TRUE(isValid(repeated("[[=]=]....]", OPERATORS)));
    EXPECT_TRUE(isValid("[" + repeated("ab", LENGTH) + "]"));
    EXPECT_TRUE(isValid("[]a*+(]"));
    EXPECT_TRUE(isValid("[^]a*+(]"));
    EXPECT_TRUE(isValid("[[:alpha:]]{" + std::to_string(OPERATORS) + "}"));
    EXPECT_FALSE(isValid("[[:alpha:]]{" + std::to_string(OPERATORS + 1) + "}"));
    EXPECT_FALSE(isValid("[[.].]a]{" + std::to_string(OPERATORS + 1) + "}"));
    EXPECT_FALSE(isValid("[[=a=]]{" + std::to_string(OPERATORS + 1) + "}"));
    EXPECT_FALSE(isValid("[a[]{" + std::to_string(OPERATORS + 1) + "}"));
}

TEST(RegularExpressionLimit, EachOperatorCountsOne)
{
    for (const char* unit : {".", "[ab]", "a?", "a*", "a|b", "(a)", "()", "\\w", "\\W", "\\s", "\\S"})
    {
        EXPECT_TRUE(isValid(repeated(unit, OPERATORS))) << unit;
        EXPECT_FALSE(isValid(repeated(unit, OPERATORS) + ".")) << unit;
    }
    EXPECT_TRUE(isValid(repeated("(", OPERATORS) + "a" + repeated(")", OPERATORS)));
    EXPECT_FALSE(isValid(repeated("(", OPERATORS + 1) + "a" + repeated(")", OPERATORS + 1)));
    EXPECT_TRUE(isValid("a" + repeated("?", OPERATORS)));
    EXPECT_FALSE(isValid("a" + repeated("?", OPERATORS + 1)));
}

// The C library follows each way through anchors when it compiles, and there are exponentially many.
TEST(RegularExpressionLimit, EachAnchorCountsOneOfTheFourInABranch)
{
    for (const char* unit : {"^", "$", "\\b", "\\B", "\\<", "\\>", "\\`", "\\'"})
    {
        const std::string text(unit);
        EXPECT_TRUE(isValid(repeated(text, 4))) << text;
        EXPECT_FALSE(isValid(repeated(text, 5))) << text;
        EXPECT_TRUE(isValid(repeated("(|a" + text + ")?", 4))) << text;
        EXPECT_FALSE(isValid(repeated("(|a" + text + ")?", 5))) << text;
        EXPECT_TRUE(isValid("(" + text + text + "){2}")) << text;
        EXPECT_FALSE(isValid("(" + text + text + "){3}")) << text;
    }
    EXPECT_TRUE(isValid("^" + repeated("A=1$|^", 30) + "B=1$")) << "branches are not added up";
    EXPECT_TRUE(isValid("(^^|^)($|$$)"));
    EXPECT_FALSE(isValid("(^^|^)($|$$$)"));
}

// The C library loses itself among the ways through loops that can be left as they were entered.
TEST(RegularExpressionLimit, WhatCanBeEmptyMayNotBeRepeatedWithoutLimit)
{
    for (const char* text : {"(a*)*", "(a?)+", "a**", "(a|)*", "(|a)+", "()*", "(a|()){2,}", "(a{0,2}b*)*",
                             "((a?)(b?))*", "a{0}*", "(^)*", "($)+", "(\\b){2,}", "(a|(\\<)?){0,}", "(a*|b)*c"})
    {
        EXPECT_FALSE(isValid(text)) << text;
    }
    for (const char* text : {"(a*b)*", "(a?b|c)+", "((a|b)c?)*", "(,[^,]*)*", "(a{1,2}){2,}", "(a\\B|b)*",
                             "^A=1(,B=1$)?$", "(a*)?", "(a*){0,3}"})
    {
        EXPECT_TRUE(isValid(text)) << text;
    }
}

TEST(RegularExpressionLimit, WhatCanBeEmptyMayBeRepeatedUpToZeroTimes)
{
    EXPECT_TRUE(isValid("(a*){0,0}"));
}

TEST(RegularExpressionLimit, AClosingBracketWithoutAnOpeningOneIsAPlainCharacter)
{
    EXPECT_TRUE(isValid("(a*))*"));
}

TEST(RegularExpressionLimit, EscapedOperatorsArePlainCharacters)
{
    EXPECT_TRUE(isValid(repeated("\\.\\[\\(\\|\\^\\$\\*\\+\\?\\{\\)", 100)));
    EXPECT_TRUE(isValid(repeated("\\\\", 1000)));
    EXPECT_TRUE(isValid(repeated("a)", 1000))) << "one that closes nothing is a plain character";
}

TEST(RegularExpressionLimit, ARepetitionCountsWhatItRepeatsAsOftenAsItIsWrittenOut)
{
    for (const char* unit : {"a", ".", "[ab]", "\\w"})
    {
        EXPECT_TRUE(isValid(unit + interval(OPERATORS, OPERATORS))) << unit;
        EXPECT_TRUE(isValid(unit + interval(0, OPERATORS))) << unit;
        EXPECT_FALSE(isValid(unit + interval(0, OPERATORS + 1))) << unit;
        EXPECT_FALSE(isValid(unit + interval(OPERATORS + 1, OPERATORS + 1))) << unit;
        EXPECT_TRUE(isValid(unit + ("{" + std::to_string(OPERATORS - 1) + ",}"))) << unit;
        EXPECT_FALSE(isValid(unit + ("{" + std::to_string(OPERATORS) + ",}"))) << unit;
        EXPECT_FALSE(isValid(unit + ("{," + std::to_string(OPERATORS + 1) + "}"))) << unit;
    }
    // The group and its two brackets: three in each repetition.
    EXPECT_TRUE(isValid("([ab][cd])" + interval(OPERATORS / 3, OPERATORS / 3)));
    EXPECT_FALSE(isValid("([ab][cd])" + interval(OPERATORS / 3 + 1, OPERATORS / 3 + 1)));
}

TEST(RegularExpressionLimit, RepetitionsOfRepetitionsMultiply)
{
    EXPECT_TRUE(isValid("(a{1,9}){10}"));
    EXPECT_FALSE(isValid("(a{1,10}){10}"));
    EXPECT_TRUE(isValid("a{10}{10}"));
    EXPECT_FALSE(isValid("a{10}{11}"));
    EXPECT_FALSE(isValid("((((((((.{0}){2}){2}){2}){2}){2}){2}){2}){2}"));
}

TEST(RegularExpressionLimit, ARepetitionMultipliesTheLengthToo)
{
    const std::string text(static_cast<size_t>(LENGTH / 64 - 2), 'a');
    EXPECT_TRUE(isValid("(" + text + "){64}"));
    EXPECT_FALSE(isValid("(" + text + "bc){64}"));
}

// The C library writes a+ out as aa*.
TEST(RegularExpressionLimit, APlusDoublesWhatItRepeats)
{
    EXPECT_TRUE(isValid("(((((a+)+)+)+)+)"));
    EXPECT_FALSE(isValid("((((((a+)+)+)+)+)+)"));
}

TEST(RegularExpressionLimit, BackReferencesAreNotValid)
{
    EXPECT_FALSE(isValid("(a)\\1"));
    EXPECT_FALSE(isValid("(a)(b)(c)(d)(e)(f)(g)(h)(i)\\9"));
    EXPECT_FALSE(isValid("\\(a\\)\\1", 0));
    EXPECT_TRUE(isValid("(a)[\\1]")) << "in a bracket a backslash is a plain character";
    EXPECT_TRUE(isValid("(a)\\\\1")) << "an escaped backslash and a digit";
}

TEST(RegularExpressionLimit, TheBasicSyntaxHasItsOwnOperators)
{
    EXPECT_TRUE(isValid(repeated("(a|b)?+{5}", 100), 0)) << "all of them plain characters";
    EXPECT_TRUE(isValid("*a", 0)) << "a star in front of everything is a plain character";
    EXPECT_FALSE(isValid("\\(a\\{1,100\\}\\)\\{1,100\\}", 0));
    EXPECT_TRUE(isValid("a\\{" + std::to_string(OPERATORS) + "\\}b", 0));
    EXPECT_FALSE(isValid(repeated("\\(", 2000), 0));
    EXPECT_FALSE(isValid(repeated("a*", OPERATORS + 1), 0));
}

TEST(RegularExpressionLimit, TextThatEndsInTheMiddleIsNotValid)
{
    for (const char* text : {"[", "[a", "[[:", "[[:alpha", "[[:alpha:]", "a{", "a{1", "a{1,", "a{,", "\\", "(a",
                             "(a{1}|", "[[.", "[[=a", "a{1x}", "a{-1}", "a{2,1}", "a{99999999999999999999}"})
    {
        EXPECT_FALSE(isValid(text)) << text;
    }
}

TEST(RegularExpressionLimit, TheExpressionEndsAtItsFirstNul)
{
    EXPECT_TRUE(isValid(std::string("a\0", 2) + repeated("a{0,255}", 100)));
}

// A matcher that kept all its states would slow down with each subject and never give memory back.
TEST(RegularExpressionLimit, TheStatesOfTheMatcherAreThrownAwayBeforeTheyPileUp)
{
    const Orv::RegularExpression expression(".*a.{90}$", REG_EXTENDED);
    const void* const first = expression._compiled.buffer;
    std::mt19937 random(1);
    Clock::duration matching = Clock::duration::zero();
    while (expression._compiled.buffer == first && matching < std::chrono::seconds(2))
    {
        const std::string subject = randomText(random, 150);
        const Clock::time_point before = Clock::now();
        expression.match(subject, 0, nullptr, 0);
        matching += Clock::now() - before;
    }
    EXPECT_NE(first, expression._compiled.buffer);
    EXPECT_EQ(Clock::duration::zero(), expression._matching);
}

TEST(RegularExpressionLimit, SeveralThreadsGetTheRightAnswersWhileStatesAreThrownAway)
{
    const Orv::RegularExpression expression(".*a.{20}$", REG_EXTENDED);
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (unsigned int t = 0; t < 4; ++t)
    {
        threads.emplace_back(
            [&, t]
            {
                std::mt19937 random(t);
                for (int i = 0; i < 60; ++i)
                {
                    const std::string subject = randomText(random, 80);
                    regmatch_t place = {-1, -1};
                    const bool matched = expression.match(subject, 1, &place, 0) != 0;
                    const bool expected = subject[80 - 21] == 'a';
                    const bool whole = place.rm_so == 0 && place.rm_eo == 80;
                    wrong += matched == expected && whole == expected ? 0 : 1;
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(0, wrong);
}

}  // namespace
