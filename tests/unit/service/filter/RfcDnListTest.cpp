// How a DN is taken apart and put together again.
#include <Poco/StringTokenizer.h>

#include <random>

#include "AllocationHook.h"
#include "RfcFilterTest.h"

namespace OrvTest
{

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

struct Components
{
    Texts classes;
    Texts keys;
};

// The first token at this place, empty if there is none.
std::string token(const std::string& text, const std::string& separator, size_t place)
{
    const Poco::StringTokenizer tokens(text, separator, 0);
    return place < tokens.count() ? tokens[place] : std::string();
}

// The DN by its definition: split at ",", each component at "=", and the first of these at ".".
Components tokenized(const std::string& dn)
{
    Components components;
    const Poco::StringTokenizer tokens(dn, ",", 0);
    for (const std::string& component : tokens)
    {
        components.classes.push_back(token(token(component, "=", 0), ".", 0));
        components.keys.push_back(token(component, "=", 1));
    }
    return components;
}

}  // namespace

class RfcDnListTest : public RfcFilterTest
{
protected:
    Components listOf(const std::string& dn)
    {
        OrvNbiNotificationService::RfcSubscriptionFilter filter(nullptr);
        filter.createListFromDN(dn.c_str());
        return {Texts(filter.classes.begin(), filter.classes.end()), Texts(filter.keys.begin(), filter.keys.end())};
    }

    testing::AssertionResult agrees(const std::string& dn)
    {
        const Components expected = tokenized(dn);
        const Components found = listOf(dn);
        if (found.classes == expected.classes && found.keys == expected.keys)
        {
            return testing::AssertionSuccess();
        }
        return testing::AssertionFailure()
               << "\"" << dn << "\": classes " << testing::PrintToString(found.classes) << " keys "
               << testing::PrintToString(found.keys) << " instead of " << testing::PrintToString(expected.classes)
               << " and " << testing::PrintToString(expected.keys);
    }
};

TEST_F(RfcDnListTest, EveryComponentGivesAClassAndAKey)
{
    const Components components = listOf("A=1,B=two,C=3:4;5");

    EXPECT_THAT(components.classes, ElementsAre("A", "B", "C"));
    EXPECT_THAT(components.keys, ElementsAre("1", "two", "3:4;5"));
}

TEST_F(RfcDnListTest, AClassEndsAtItsFirstDotAndAKeyAtTheSecondEqualsSign)
{
    const Components components = listOf("A.b.c=1.5,B=1=2,C.d=x=y=z");

    EXPECT_THAT(components.classes, ElementsAre("A", "B", "C"));
    EXPECT_THAT(components.keys, ElementsAre("1.5", "1", "x"));
}

TEST_F(RfcDnListTest, NothingIsTrimmedAndNothingEscapes)
{
    const Components components = listOf(" A = 1 ,B=\\,C=\"x,y\"");

    EXPECT_THAT(components.classes, ElementsAre(" A ", "B", "C", "y\""));
    EXPECT_THAT(components.keys, ElementsAre(" 1 ", "\\", "\"x", ""));
}

TEST_F(RfcDnListTest, AMissingTextIsEmpty)
{
    EXPECT_THAT(listOf("").classes, IsEmpty());
    EXPECT_THAT(listOf("").keys, IsEmpty());
    EXPECT_THAT(listOf(",").classes, ElementsAre("", ""));
    EXPECT_THAT(listOf(",").keys, ElementsAre("", ""));
    EXPECT_THAT(listOf("A").keys, ElementsAre(""));
    EXPECT_THAT(listOf("A=").keys, ElementsAre(""));
    EXPECT_THAT(listOf("=1").classes, ElementsAre(""));
    EXPECT_THAT(listOf("=1").keys, ElementsAre("1"));
    EXPECT_THAT(listOf("A=1,").classes, ElementsAre("A", ""));
    EXPECT_THAT(listOf(".x=1").classes, ElementsAre(""));
    EXPECT_THAT(listOf("A==1").keys, ElementsAre(""));
}

TEST_F(RfcDnListTest, AListIsAppendedTo)
{
    OrvNbiNotificationService::RfcSubscriptionFilter filter(nullptr);
    filter.createListFromDN("A=1");
    filter.createListFromDN("B=2,C=3");

    EXPECT_THAT(filter.classes, ElementsAre("A", "B", "C"));
    EXPECT_THAT(filter.keys, ElementsAre("1", "2", "3"));
}

// The records come with DNs of any depth, and with keys that are too long for a string to hold in place.
TEST_F(RfcDnListTest, ARefusedOfferAllocatesNothingOnceADnOfItsDepthHasBeenSeen)
{
    OrvNbiNotificationService::RfcSubscriptionFilter& filter = filterOf({node("A").child(node("B").key("2"))});
    const std::string dn = "A=a key that fills more than a string,B=another that fills more than a string";
    const Notification deep = makeNotification(TIME, dn + ",C=3,D=4", objectCreated);
    const Notification flat = makeNotification(TIME, "A=a key that fills more than a string", objectCreated);
    EXPECT_FALSE(filter.match(*deep));
    EXPECT_FALSE(filter.match(*flat));
    const AllocationCount count;
    const bool passed = filter.match(*deep);
    EXPECT_EQ(0, count.allocations());
    EXPECT_FALSE(passed);
}

TEST_F(RfcDnListTest, EveryShortTextIsTakenApartAsTheTokenizerWould)
{
    const std::string alphabet = "A.=,";
    Texts texts = {""};
    for (size_t first = 0, length = 0; length < 7; ++length)
    {
        for (const size_t end = texts.size(); first < end; ++first)
        {
            for (const char letter : alphabet)
            {
                texts.push_back(texts[first] + letter);
            }
        }
    }
    ASSERT_EQ(texts.size(), 21845u);
    for (const std::string& text : texts)
    {
        ASSERT_TRUE(agrees(text));
    }
}

TEST_F(RfcDnListTest, RandomTextsAreTakenApartAsTheTokenizerWould)
{
    const std::string alphabet = "AAAbB12 ..==,,\\\"%;\t\x7f\xc3-/+<>\x01";
    std::mt19937 random(20200913);
    std::uniform_int_distribution<size_t> letter(0, alphabet.size() - 1);
    std::uniform_int_distribution<size_t> length(0, 40);
    for (unsigned int i = 0; i < 20000; ++i)
    {
        std::string text;
        for (size_t left = length(random); left != 0; --left)
        {
            text += alphabet[letter(random)];
        }
        ASSERT_TRUE(agrees(text)) << "case " << i;
    }
}

TEST_F(RfcDnListTest, ADnIsPutTogetherUpToAndWithItsDepth)
{
    OrvNbiNotificationService::RfcSubscriptionFilter filter(nullptr);
    filter.createListFromDN("A.more=1=x,B=2,C");

    EXPECT_EQ(filter.constructDN(0), "A=1");
    EXPECT_EQ(filter.constructDN(1), "A=1,B=2");
    EXPECT_EQ(filter.constructDN(2), "A=1,B=2,C=");
}

TEST_F(RfcDnListTest, AnEmptyComponentKeepsItsPlaceInTheDn)
{
    OrvNbiNotificationService::RfcSubscriptionFilter filter(nullptr);
    filter.createListFromDN(",A=1,");

    EXPECT_EQ(filter.constructDN(0), "=");
    EXPECT_EQ(filter.constructDN(2), "=,A=1,=");
}

}  // namespace OrvTest
