// Legacy filters, as a subscriber meets them.
#include "ComponentTest.h"

namespace OrvTest
{
namespace
{

typedef std::vector<std::pair<std::string, std::string>> Pairs;

class Filter : public ComponentTest
{
protected:
    // A control record that passes every filter.
    static constexpr int32_t PASSING = discardedOld;

    // True if a subscriber with these filters receives the record.
    bool passes(const Pairs& filters, int32_t type, const std::string& dn,
                const std::vector<Attribute>& attributes = {})
    {
        Subscriber subscriber(table(), {filters});
        EXPECT_EQ(OrvOk, push(1, dn, type, attributes));
        EXPECT_EQ(OrvOk, push(1, "End=1", PASSING));
        EXPECT_TRUE(subscriber->waitForType(PASSING));
        return subscriber->count() == 2;
    }
};

TEST_F(Filter, NamesSelectTheKindOfChange)
{
    startService();
    const std::vector<std::string> names = {"objectCreated", "objectDeleted", "attributeChanged"};
    for (size_t i = 0; i < names.size(); ++i)
    {
        for (int32_t type = 1; type <= 3; ++type)
        {
            EXPECT_EQ(type == static_cast<int32_t>(i) + 1, passes({{names[i], "A=1"}}, type, "A=1"))
                << names[i] << " type " << type;
        }
    }
}

TEST_F(Filter, NamesAreCaseSensitive)
{
    startService();
    EXPECT_EQ(OrvBadArgument, subscribe(registerHandler(), newHandle(), {{{"ObjectCreated", ".*"}}}));
    EXPECT_EQ(OrvBadArgument, subscribe(registerHandler(), newHandle(), {{{"", ".*"}}}));
}

TEST_F(Filter, AnExpressionMustReachTheEndOfTheDnButNeedNotBeginAtItsStart)
{
    startService();
    EXPECT_TRUE(passes({{"objectCreated", "b+"}}, objectCreated, "abb"));
    EXPECT_FALSE(passes({{"objectCreated", "a"}}, objectCreated, "aba")) << "the leftmost match ends at 1";
    EXPECT_FALSE(passes({{"objectCreated", "A=1"}}, objectCreated, "A=1,B=2"));
    EXPECT_TRUE(passes({{"objectCreated", "B=2"}}, objectCreated, "A=1,B=2"));
}

TEST_F(Filter, ExpressionsAreExtendedOnes)
{
    startService();
    EXPECT_TRUE(passes({{"objectCreated", "(A|B)=[0-9]{2}"}}, objectCreated, "B=12"));
    EXPECT_FALSE(passes({{"objectCreated", "(A|B)=[0-9]{2}"}}, objectCreated, "C=12"));
}

TEST_F(Filter, AnAttributeChangeIsMatchedByTheDnOrByTheDnWithTheFirstAttribute)
{
    startService();
    const std::vector<Attribute> attributes = {int32Attribute("x", 1), int32Attribute("z", 2)};
    EXPECT_TRUE(passes({{"attributeChanged", "A=1,x"}}, attributeChanged, "A=1", attributes));
    EXPECT_TRUE(passes({{"attributeChanged", "A=1"}}, attributeChanged, "A=1", attributes));
    EXPECT_FALSE(passes({{"attributeChanged", "A=1,y"}}, attributeChanged, "A=1", attributes));
    EXPECT_FALSE(passes({{"attributeChanged", "A=1,z"}}, attributeChanged, "A=1", attributes));
}

TEST_F(Filter, ADnWithACommaIsTriedForEveryKindOfChange)
{
    startService();
    EXPECT_TRUE(passes({{"objectCreated", "A=1,"}}, objectCreated, "A=1", {int32Attribute("x", 1)}));
    EXPECT_TRUE(passes({{"objectDeleted", "A=1,"}}, objectDeleted, "A=1"));
    EXPECT_FALSE(passes({{"objectCreated", "A=1,x"}}, objectCreated, "A=1", {int32Attribute("x", 1)}))
        << "the attribute counts for changes alone";
    EXPECT_TRUE(passes({{"attributeChanged", "A=1,"}}, attributeChanged, "A=1")) << "a change without attributes";
}

TEST_F(Filter, SeveralFiltersCombineAsAnOr)
{
    startService();
    const Pairs filters = {{"objectCreated", "A=1"}, {"objectCreated", "B=1"}, {"objectDeleted", "C=1"}};
    EXPECT_TRUE(passes(filters, objectCreated, "A=1"));
    EXPECT_TRUE(passes(filters, objectCreated, "B=1"));
    EXPECT_TRUE(passes(filters, objectDeleted, "C=1"));
    EXPECT_FALSE(passes(filters, objectCreated, "C=1"));
}

TEST_F(Filter, ControlRecordsPassAFilterThatRejectsEverything)
{
    startService();
    Subscriber subscriber(table(), {{{"objectCreated", "nothing is called so"}}});
    for (int32_t type = 1; type <= 9; ++type)
    {
        ASSERT_EQ(OrvOk, push(1, "A=1", type));
    }
    ASSERT_TRUE(subscriber->waitForType(discardedOld));
    EXPECT_EQ((std::vector<int32_t>{4, 5, 6, 7, 8, 9}), subscriber->types());
}

TEST_F(Filter, ATypeOutsideTheKnownOnesMatchesNoFilter)
{
    startService();
    for (const int32_t type : {0, -1, 10, 65537})
    {
        EXPECT_FALSE(
            passes({{"objectCreated", ".*"}, {"objectDeleted", ".*"}, {"attributeChanged", ".*"}}, type, "A=1"))
            << type;
        EXPECT_TRUE(passes({}, type, "A=1")) << type;
    }
}

TEST_F(Filter, ADnOfMoreThan65535CharactersNeverPasses)
{
    startService();
    EXPECT_TRUE(passes({{"objectCreated", ".*"}}, objectCreated, std::string(65535, 'a')));
    EXPECT_FALSE(passes({{"objectCreated", ".*"}}, objectCreated, std::string(65536, 'a')));
    EXPECT_FALSE(passes({{"objectCreated", ".*"}}, objectCreated, std::string(70000, 'a')));
}

TEST_F(Filter, AnExpressionThatDoesNotCompileIsReportedTwiceAndMatchesNothing)
{
    startService();
    EXPECT_FALSE(passes({{"objectCreated", "(A=1"}}, objectCreated, "(A=1"));
    EXPECT_EQ((std::vector<std::string>{"3 Non valid filter expression :(A=1", "3 Non valid filter expression"}),
              messages(framework.lines()));
    EXPECT_TRUE(logged(framework.lines(), 3, "Non valid filter expression :(A=1"));
    EXPECT_TRUE(logged(framework.lines(), 3, "Non valid filter expression"));
}

TEST_F(Filter, AnExpressionThatDoesNotCompileLeavesTheOthersAtWork)
{
    startService();
    EXPECT_TRUE(passes({{"objectCreated", "(A=1"}, {"objectCreated", "A=1"}}, objectCreated, "A=1"));
}

TEST_F(Filter, AnExpressionBeyondTheLimitsIsReportedLikeOneThatDoesNotCompile)
{
    startService();
    const std::vector<std::string> expressions = {"(((A=1{1,100}){1,100}){1,100})",
                                                  "A=1{0,32767}",
                                                  ".*A=.{200}",
                                                  "(A)=1|\\1",
                                                  "(A=1|(A*)*)*",
                                                  std::string(17000, 'A'),
                                                  std::string(100000, '('),
                                                  "A=1" + std::string(2000, '?')};
    std::vector<std::string> reports;
    for (const std::string& expression : expressions)
    {
        EXPECT_FALSE(passes({{"objectCreated", expression}}, objectCreated, "A=1")) << expression.substr(0, 40);
        reports.push_back("3 Non valid filter expression :" + expression);
        reports.push_back("3 Non valid filter expression");
    }
    EXPECT_TRUE(reports == messages(framework.lines())) << "some are too long to print";
}

TEST_F(Filter, AnExpressionOfManyStatesIsServedWhileTheyComeAndGo)
{
    startService("1000");
    Subscriber subscriber(table(), {{{"objectCreated", ".*[A=].{30}$"}}});
    size_t expected = 0;
    unsigned int bits = 1;
    for (int i = 0; i < 200; ++i)
    {
        std::string dn;
        while (dn.size() < 80)
        {
            bits = bits * 1103515245 + 12345;
            dn += (bits >> 16) % 2 == 0 ? 'A' : 'B';
        }
        // The DN by itself, or with a comma behind it.
        expected += dn[80 - 31] == 'A' || dn[80 - 30] == 'A' ? 1 : 0;
        ASSERT_EQ(OrvOk, push(1, dn, objectCreated));
    }
    ASSERT_EQ(OrvOk, push(1, "End=1", PASSING));
    ASSERT_TRUE(subscriber->waitForType(PASSING));
    EXPECT_EQ(expected + 1, subscriber->count());
}

TEST_F(Filter, IsReadDuringSubscribeOnly)
{
    startService();
    const unsigned int handlerId = registerHandler();
    RecordingHandler handler(newHandle());
    {
        std::string name = "objectCreated";
        std::string value = "A=1";
        OrvNameValuePair pair = {name.c_str(), value.c_str()};
        OrvNameValuePair* pairs[] = {&pair, nullptr};
        ASSERT_EQ(OrvOk, table().subscribe(handlerId, pairs, handler.handle(), 0, 0, false, 0));
        value = "B=1";
        pair.name = nullptr;
    }
    ASSERT_EQ(OrvOk, push(1, "B=1"));
    ASSERT_EQ(OrvOk, push(1, "A=1"));
    ASSERT_TRUE(handler.waitFor(1));
    EXPECT_EQ("A=1", handler.received()[0].dn);
    EXPECT_EQ(OrvOk, table().unsubscribe(handler.handle()));
}

TEST_F(Filter, TracesItsSteps)
{
    startService();
    framework.setLevel(8);
    EXPECT_TRUE(passes({{"objectCreated", "A=1"}}, objectCreated, "A=1"));
    EXPECT_TRUE(traced(framework.lines(), 0, "Matching Legacy Filter with notification received"));
    EXPECT_TRUE(traced(framework.lines(), 9, " >> Match DN: A=1"));
    EXPECT_TRUE(traced(framework.lines(), 0, "RegExp Matched"));
    EXPECT_TRUE(traced(framework.lines(), 0, "Matched with: A=1"));
}

}  // namespace
}  // namespace OrvTest
