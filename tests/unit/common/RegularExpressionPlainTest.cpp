// Expressions that are answered without the C library's matcher: the answer has to be the matcher's own.
#include <gtest/gtest.h>

#include <array>
#include <clocale>
#include <random>
#include <string>
#include <vector>

#include "PlainExpression.h"
#include "RegularExpression.h"

namespace
{

using Orv::RegularExpression;

const size_t PLACES = 3;
typedef std::array<regmatch_t, PLACES> Places;

// The process's locale, while it lives.
class Locale
{
public:
    explicit Locale(const char* name) : _before(std::setlocale(LC_ALL, nullptr))
    {
        _set = std::setlocale(LC_ALL, name) != nullptr;
    }
    ~Locale() { std::setlocale(LC_ALL, _before.c_str()); }

    bool isSet() const { return _set; }

    Locale(const Locale&) = delete;
    Locale& operator=(const Locale&) = delete;

private:
    const std::string _before;
    bool _set;
};

// The C library's own answer.
class Plain
{
public:
    Plain(const std::string& expression, int flags) : _compiles(regcomp(&_compiled, expression.c_str(), flags) == 0) {}
    ~Plain()
    {
        if (_compiles)
        {
            regfree(&_compiled);
        }
    }

    bool compiles() const { return _compiles; }
    bool match(const std::string& subject, size_t places, regmatch_t* matches, int flags) const
    {
        return regexec(&_compiled, subject.c_str(), places, matches, flags) == 0;
    }

    Plain(const Plain&) = delete;
    Plain& operator=(const Plain&) = delete;

private:
    regex_t _compiled;
    const bool _compiles;
};

Places untouched()
{
    Places places;
    places.fill({-7, -7});
    return places;
}

bool equal(const Places& left, const Places& right)
{
    for (size_t i = 0; i < PLACES; ++i)
    {
        if (left[i].rm_so != right[i].rm_so || left[i].rm_eo != right[i].rm_eo)
        {
            return false;
        }
    }
    return true;
}

// Draws expressions near to those that are recognised, and subjects near to those that they match.
class Draw
{
public:
    explicit Draw(unsigned int seed) : _random(seed) {}

    size_t upTo(size_t most) { return std::uniform_int_distribution<size_t>(0, most)(_random); }
    bool once(size_t inSoMany) { return upTo(inSoMany - 1) == 0; }
    template <typename List>
    const typename List::value_type& oneOf(const List& list)
    {
        return list[upTo(list.size() - 1)];
    }

    std::string expression()
    {
        std::string text = branch();
        while (once(4))
        {
            text += "|" + branch();
        }
        if (once(4))
        {
            text.insert(upTo(text.size()), 1, oneOf(std::string(".*$^|()[]{}+?\\a1\n\xc3\xa9\x7f")));
        }
        if (once(12))
        {
            text.erase(upTo(text.size()), 1);
        }
        return text;
    }

    std::string subject()
    {
        std::string text = word(3);
        while (once(2))
        {
            text += _words.empty() || once(3) ? word(3) : oneOf(_words);
        }
        while (once(5))
        {
            static const std::vector<std::string> odd = {"\n",   "\xc3\xa9", "\xc3", "\xff",    std::string(1, '\0'),
                                                         ".*$^", "\x7f",     "\x80", "12345678"};
            text.insert(upTo(text.size()), oneOf(odd));
        }
        return text;
    }

    void forgetWords() { _words.clear(); }

private:
    std::string word(size_t most)
    {
        std::string text;
        for (size_t left = upTo(most); left != 0; --left)
        {
            text += oneOf(std::string("aab,=1."));
        }
        return text;
    }

    // As it stands in an expression; subjects are made of what it means.
    std::string literal()
    {
        const std::string text = word(4);
        _words.push_back(text);
        std::string escaped;
        for (const char c : text)
        {
            escaped += c == '.' && !once(4) ? "\\." : std::string(1, c);
        }
        return escaped;
    }

    std::string branch()
    {
        static const std::vector<std::string> tails = {"", "", "$", ".*", ".*$", ".*$", "[ab]*", ".", "a?", "(,.*)?$"};
        std::string text = once(2) ? "^" : "";
        text += literal();
        if (once(4))
        {
            text += "(" + literal();
            while (once(2))
            {
                text += "|" + literal();
            }
            text += ")" + std::string(once(4) ? "*" : "") + literal();
        }
        return text + oneOf(tails);
    }

    std::mt19937 _random;
    std::vector<std::string> _words;
};

// Random expressions and subjects, answered as the matcher would, with each of the ways often enough.
void answersAsTheMatcherWouldIn(const char* localeName)
{
    const Locale locale(localeName);
    ASSERT_TRUE(locale.isSet());
    const std::vector<int> compileFlags = {REG_EXTENDED,
                                           REG_EXTENDED,
                                           REG_EXTENDED,
                                           REG_EXTENDED,
                                           REG_EXTENDED,
                                           0,
                                           REG_NOSUB | REG_EXTENDED,
                                           REG_ICASE | REG_EXTENDED,
                                           REG_NEWLINE | REG_EXTENDED};
    const std::vector<int> execFlags = {0, 0, 0, 0, REG_NOTBOL, REG_NOTEOL};
    Draw draw(20261121);
    unsigned int matched = 0;
    unsigned int refused = 0;
    unsigned int asked = 0;
    for (int i = 0; i < 20000; ++i)
    {
        draw.forgetWords();
        const std::string text = draw.expression();
        const int flags = draw.oneOf(compileFlags);
        const RegularExpression expression(text, flags);
        const Plain plain(text, flags);
        ASSERT_TRUE(!expression.isExpressionValid() || plain.compiles()) << text;
        for (int n = 0; expression.isExpressionValid() && n < 6; ++n)
        {
            const std::string subject = draw.subject();
            const int how = draw.oneOf(execFlags);
            const size_t places = draw.upTo(PLACES);
            Places expected = untouched();
            Places found = untouched();
            const auto before = expression._matching;
            const bool answer = plain.match(subject, places, expected.data(), how);
            ASSERT_EQ(expression.match(subject, static_cast<unsigned int>(places), found.data(), how) != 0, answer)
                << "case " << i << ": " << text << " on " << testing::PrintToString(subject) << ", flags " << flags
                << " and " << how;
            ASSERT_TRUE(equal(expected, found))
                << "case " << i << ": " << text << " on " << testing::PrintToString(subject) << ": " << found[0].rm_so
                << " to " << found[0].rm_eo << " instead of " << expected[0].rm_so << " to " << expected[0].rm_eo;
            const bool quick = expression._matching == before;
            matched += quick && answer ? 1 : 0;
            refused += quick && !answer ? 1 : 0;
            asked += quick ? 0 : 1;
        }
    }
    EXPECT_GT(matched, 2000u);
    EXPECT_GT(refused, 10000u);
    EXPECT_GT(asked, 10000u);
}

TEST(RegularExpressionPlain, RandomExpressionsAreAnsweredAsTheMatcherWould)
{
    answersAsTheMatcherWouldIn("C");
}

TEST(RegularExpressionPlain, RandomExpressionsAreAnsweredAsTheMatcherWouldInUtf8)
{
    answersAsTheMatcherWouldIn("C.UTF-8");
}

// Whether the matcher has been at work.
bool isMatched(const std::string& expression, const std::string& subject, int compileFlags = REG_EXTENDED,
               int execFlags = 0)
{
    const RegularExpression made(expression, compileFlags);
    made.match(subject, 0, nullptr, execFlags);
    return made._matching.count() != 0;
}

TEST(RegularExpressionPlain, LiteralsWithPlainTailsNeedNoMatcher)
{
    for (const char* text : {"",
                             "^",
                             "$",
                             "^$",
                             ".*",
                             ".*$",
                             "^.*$",
                             "A=1",
                             "^A=1$",
                             "A=1$",
                             "A=1.*",
                             "^A=1.*",
                             "A=1.*$",
                             "A\\.1\\$.*",
                             "A=1.*|^B=2|C$",
                             "C$|A",
                             "A=(1|2|),B.*",
                             "^A=(1)$",
                             "|A",
                             "A=1,B=~!@#%&-_:;\"'<>/` z"})
    {
        for (const char* subject : {"", "A=1,B=2", "B=2", "A.1$", "A=2,B=7", "C"})
        {
            EXPECT_FALSE(isMatched(text, subject)) << text << " on " << subject;
        }
    }
}

TEST(RegularExpressionPlain, BlanksAndTildesArePartOfALiteral)
{
    EXPECT_FALSE(isMatched("A= 1[0-9]", "A=2"));
    EXPECT_FALSE(isMatched("A=~1[0-9]", "A=2"));
}

TEST(RegularExpressionPlain, ASubjectWithoutTheLeadingLiteralNeedsNoMatcher)
{
    for (const char* text : {"A=1[0-9]*$", "^A=1(,.*)?$", "A=1(,B|,C)+", "^A=1,.*,B=2$", "A=12*", "A=1.", "A=1\\b.*",
                             "^A=1(,[^,]*|[|])*", "A=1(,B)(,C)", "A=1((2))", "A=1(2|[3])"})
    {
        EXPECT_FALSE(isMatched(text, "B=1,A=2")) << text;
        EXPECT_TRUE(isMatched(text, "A=1,B=2")) << text;
    }
}

TEST(RegularExpressionPlain, WhatIsRepeatedIsNoPartOfALiteral)
{
    for (const char* text : {"A=12*$", "A=12?$", "A=12{0,3}$", "A=1(2)*$", "A=1(2|3)?$", "A=1\\.*$", "A=1(2){0}$"})
    {
        EXPECT_NE(RegularExpression(text, REG_EXTENDED).match("A=1", 0, nullptr, 0), 0) << text;
        EXPECT_FALSE(isMatched(text, "A=2")) << text;
    }
}

TEST(RegularExpressionPlain, WhatIsRepeatedBehindALiteralMayBeMissing)
{
    for (const char* text : {"A=1.*?,B=2", "A=1.?,B=2", "A=1(^)?,B=2", "A=1($)?,B=2"})
    {
        EXPECT_NE(RegularExpression(text, REG_EXTENDED).match("A=1,B=2", 0, nullptr, 0), 0) << text;
    }
}

TEST(RegularExpressionPlain, ControlCharactersAreNoPartOfALiteral)
{
    for (const char* text : {"A=\x1f.*", "A=\x7f.*", "A=\n.*", "A=\xc3\xa9.*"})
    {
        EXPECT_TRUE(isMatched(text, "A=1")) << text;
    }
}

TEST(RegularExpressionPlain, OtherAlternativesNeedTheMatcher)
{
    for (const char* text : {"A=1|B=[0-9]", "A=[0-9]|B=1", "[A]=1|B", "A=1(,C=.)?|B=1", "A|B+"})
    {
        EXPECT_TRUE(isMatched(text, "C=1")) << text;
    }
}

TEST(RegularExpressionPlain, SixteenAlternativesNeedNoMatcherAndSeventeenDo)
{
    std::string list = "A=1";
    for (int i = 2; i <= 16; ++i)
    {
        list += "|A=" + std::to_string(i);
    }
    EXPECT_FALSE(isMatched(list, "B=1"));
    EXPECT_FALSE(isMatched("A=(" + list + ")", "B=1"));
    EXPECT_TRUE(isMatched(list + "|A=17", "B=1"));
    EXPECT_TRUE(isMatched("^(" + list + "|A=17).*", "B=1"));
    EXPECT_TRUE(isMatched("(" + list + ")|A=17", "B=1"));
}

// In some locales the second byte of a character looks like a backslash, and | behind it like a character.
TEST(RegularExpressionPlain, AnExpressionBeyondAsciiNeedsTheMatcher)
{
    regmatch_t place;
    EXPECT_EQ(Orv::PlainExpression::Answer::Unknown, Orv::PlainExpression("A=\xA5\\|B=1", false).match("B=1", place));
    EXPECT_EQ(Orv::PlainExpression::Answer::Refused, Orv::PlainExpression("A=[ab]", false).match("B=1", place));
}

TEST(RegularExpressionPlain, OtherFlagsNeedTheMatcher)
{
    EXPECT_TRUE(isMatched("A=1.*", "B=1", 0));
    EXPECT_TRUE(isMatched("A=1.*", "B=1", REG_EXTENDED | REG_ICASE));
    EXPECT_TRUE(isMatched("A=1.*", "B=1", REG_EXTENDED | REG_NEWLINE));
    EXPECT_TRUE(isMatched("A=1.*", "B=1", REG_EXTENDED | REG_NOSUB));
    EXPECT_TRUE(isMatched("A=1.*", "B=1", REG_EXTENDED, REG_NOTBOL));
    EXPECT_TRUE(isMatched("A=1.*", "B=1", REG_EXTENDED, REG_NOTEOL));
}

TEST(RegularExpressionPlain, AMatchBeyondAsciiNeedsTheMatcher)
{
    EXPECT_TRUE(isMatched(".*", "\xc3"));
    EXPECT_TRUE(isMatched(".*", "A=12345\xc3"));
    EXPECT_TRUE(isMatched("A=1.*", "A=1,\xc3\xa9=123456789"));
    EXPECT_FALSE(isMatched("A=1.*", "A=2,\xc3\xa9=123456789")) << "a literal of ASCII alone is not in it";
}

TEST(RegularExpressionPlain, MoreThanOnePlaceNeedsTheMatcher)
{
    const RegularExpression expression("A=(1|2)", REG_EXTENDED);
    Places places = untouched();
    EXPECT_NE(expression.match("A=2", 1, places.data(), 0), 0);
    EXPECT_EQ(expression._matching.count(), 0);
    EXPECT_EQ(places[1].rm_so, -7);
    EXPECT_NE(expression.match("A=2", 2, places.data(), 0), 0);
    EXPECT_NE(expression._matching.count(), 0);
    EXPECT_EQ(places[1].rm_so, 2);
    EXPECT_EQ(places[1].rm_eo, 3);
}

TEST(RegularExpressionPlain, TheLeftmostOfSeveralMatchesCountsAndOfThoseTheLongest)
{
    const RegularExpression expression("c|a|ab|b.*|bc", REG_EXTENDED);
    regmatch_t place = {-7, -7};
    EXPECT_NE(expression.match("xxabc", 1, &place, 0), 0);
    EXPECT_EQ(place.rm_so, 2);
    EXPECT_EQ(place.rm_eo, 4);
    EXPECT_EQ(expression._matching.count(), 0);
}

}  // namespace
