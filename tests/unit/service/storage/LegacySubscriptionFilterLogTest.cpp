// What the legacy filter writes, and in which order.
#include <memory>

#include "LegacySubscriptionFilter.h"
#include "OrvException.h"
#include "StorageTest.h"

namespace
{

using OrvNbiNotificationService::LegacySubscriptionFilter;
using OrvTest::int32Attribute;
using OrvTest::LegacyFilter;
using OrvTest::logged;
using OrvTest::makeNotification;
using OrvTest::messages;
using OrvTest::Notification;

typedef std::vector<std::string> Texts;
typedef std::vector<std::pair<std::string, std::string>> Pairs;

class LegacySubscriptionFilterLogTest : public OrvTest::StorageTest
{
protected:
    LegacySubscriptionFilterLogTest() { framework.log().clear(); }

    // The traces of one match against one pair.
    Texts tracesOfMatch(const std::string& name, const std::string& expression, const Notification& notification)
    {
        const LegacyFilter pairs(Pairs{{name, expression}});
        LegacySubscriptionFilter filter(pairs.get());
        traceEverything();
        filter.match(*notification);
        OrvTest::described(framework.lines());
        return OrvTest::traces(framework.lines());
    }
};

TEST_F(LegacySubscriptionFilterLogTest, AnInvalidExpressionIsReportedTwiceOnceInEachWording)
{
    const LegacyFilter pairs(Pairs{{"objectCreated", "a(b"}});
    const LegacySubscriptionFilter filter(pairs.get());
    EXPECT_EQ(messages(framework.lines()),
              (Texts{"3 Non valid filter expression :a(b", "3 Non valid filter expression"}));
    EXPECT_TRUE(logged(framework.lines(), 3, "Non valid filter expression :a(b"));
    EXPECT_TRUE(logged(framework.lines(), 3, "Non valid filter expression"));
}

TEST_F(LegacySubscriptionFilterLogTest, AValidExpressionIsNotReported)
{
    const LegacyFilter pairs(Pairs{{"objectCreated", "a(b)"}});
    const LegacySubscriptionFilter filter(pairs.get());
    EXPECT_TRUE(framework.lines().empty());
}

TEST_F(LegacySubscriptionFilterLogTest, AnUnknownNameIsReportedThreeTimesAndLeavesTheConstructor)
{
    const LegacyFilter pairs(Pairs{{"objectCreated", "A=1"}, {"objectMoved", "A=1"}, {"alsoUnknown", "A=1"}});
    const std::string text = "Could not interpret filter name objectMoved";
    try
    {
        const LegacySubscriptionFilter filter(pairs.get());
        ADD_FAILURE() << "nothing was thrown";
    }
    catch (const Orv::OrvException& e)
    {
        EXPECT_EQ(e.what(), text);
    }
    const std::string line = "Throwing: " + text;
    EXPECT_EQ(OrvTest::described(framework.lines()),
              (Texts{"log 3 Filter: \"" + line + "\"", "traceV2 3 Filter: \"" + line + "\"",
                     "log 3 createFilters: \"" + line + "\"", "traceV2 3 createFilters: \"" + line + "\"",
                     "log 3 LegacySubscriptionFilter: \"" + line + "\"",
                     "traceV2 3 LegacySubscriptionFilter: \"" + line + "\""}));
}

TEST_F(LegacySubscriptionFilterLogTest, AnInvalidExpressionUnderAnUnknownNameIsReportedBeforeTheName)
{
    const LegacyFilter pairs(Pairs{{"objectMoved", "("}});
    EXPECT_THROW(LegacySubscriptionFilter{pairs.get()}, Orv::OrvException);
    const std::string line = "3 Throwing: Could not interpret filter name objectMoved";
    EXPECT_EQ(messages(framework.lines()), (Texts{"3 Non valid filter expression :(", line, line, line}));
}

TEST_F(LegacySubscriptionFilterLogTest, AnyOtherExceptionIsReportedByThePairAlone)
{
    OrvNameValuePair withoutValue = {"objectCreated", nullptr};
    OrvNameValuePair withoutName = {nullptr, "A=1"};
    for (OrvNameValuePair* const pair : {&withoutValue, &withoutName})
    {
        OrvNameValuePair* pairs[] = {pair, nullptr};
        framework.log().clear();
        EXPECT_THROW(LegacySubscriptionFilter{pairs}, std::exception);
        EXPECT_EQ(messages(framework.lines()), Texts{"3 unknown throw"});
        EXPECT_TRUE(logged(framework.lines(), 3, "unknown throw"));
    }
}

TEST_F(LegacySubscriptionFilterLogTest, TracesAMatchOfTheDn)
{
    EXPECT_EQ(tracesOfMatch("objectCreated", "A=1", makeNotification(1, "A=1", objectCreated)),
              (Texts{"Matching Legacy Filter with notification received", " >> ", " >> Match DN: A=1", "RegExp Matched",
                     " << ", "Matched with: A=1", " << "}));
    EXPECT_TRUE(OrvTest::traced(framework.lines(), 0, "Matching Legacy Filter with notification received"));
    EXPECT_TRUE(OrvTest::traced(framework.lines(), 9, " >> Match DN: A=1"));
    EXPECT_TRUE(OrvTest::traced(framework.lines(), 0, "RegExp Matched"));
    EXPECT_TRUE(OrvTest::traced(framework.lines(), 0, "Matched with: A=1"));
}

TEST_F(LegacySubscriptionFilterLogTest, TracesAMatchOfTheDnWithTheAttribute)
{
    const Notification change = makeNotification(1, "A=1", attributeChanged, {int32Attribute("x", 1)});
    EXPECT_EQ(tracesOfMatch("attributeChanged", "A=1,x", change),
              (Texts{"Matching Legacy Filter with notification received", " >> ", " >> Match DN: A=1", " << ",
                     " >> Match DN: A=1,x", "RegExp Matched", " << ", "Matched with: A=1,x", " << "}));
}

TEST_F(LegacySubscriptionFilterLogTest, TracesBothFormsThatDidNotMatch)
{
    EXPECT_EQ(tracesOfMatch("objectCreated", "B", makeNotification(1, "A=1", objectCreated)),
              (Texts{"Matching Legacy Filter with notification received", " >> ", " >> Match DN: A=1", " << ",
                     " >> Match DN: A=1,", " << ", " << "}));
}

TEST_F(LegacySubscriptionFilterLogTest, AnotherTypeIsNotTriedAgainstTheExpression)
{
    EXPECT_EQ(tracesOfMatch("objectDeleted", "A=1", makeNotification(1, "A=1", objectCreated)),
              (Texts{"Matching Legacy Filter with notification received", " >> ", " << "}));
}

TEST_F(LegacySubscriptionFilterLogTest, AControlRecordPassesWithOneTrace)
{
    EXPECT_EQ(tracesOfMatch("objectDeleted", "A=1", Notification(1, nullptr, discardedOld, {})),
              Texts{"Matching Legacy Filter with notification received"});
}

TEST_F(LegacySubscriptionFilterLogTest, AnEmptyFilterPassesWithOneTrace)
{
    LegacySubscriptionFilter filter(nullptr);
    traceEverything();
    EXPECT_TRUE(filter.match(*makeNotification(1, "A=1", objectCreated)));
    EXPECT_EQ(OrvTest::traces(framework.lines()), Texts{"Matching Legacy Filter with notification received"});
}

TEST_F(LegacySubscriptionFilterLogTest, AMatchWritesNothingBelowTheTraceLevel)
{
    const LegacyFilter pairs(Pairs{{"objectCreated", "A=1"}});
    LegacySubscriptionFilter filter(pairs.get());
    framework.setLevel(7);
    framework.log().clear();
    EXPECT_TRUE(filter.match(*makeNotification(1, "A=1", objectCreated)));
    EXPECT_TRUE(framework.lines().empty());
}

TEST_F(LegacySubscriptionFilterLogTest, NoErrorIsWrittenBelowItsSeverity)
{
    const LegacyFilter invalid(Pairs{{"objectCreated", "("}});
    const LegacyFilter unknown(Pairs{{"objectMoved", "A=1"}});
    OrvNameValuePair withoutValue = {"objectCreated", nullptr};
    OrvNameValuePair* incomplete[] = {&withoutValue, nullptr};
    framework.setLevel(2);
    framework.log().clear();
    EXPECT_NO_THROW(LegacySubscriptionFilter{invalid.get()});
    EXPECT_THROW(LegacySubscriptionFilter{unknown.get()}, Orv::OrvException);
    EXPECT_THROW(LegacySubscriptionFilter{incomplete}, std::exception);
    EXPECT_TRUE(framework.lines().empty());
}

TEST_F(LegacySubscriptionFilterLogTest, TracesEntryAndExitOfItsConstruction)
{
    const LegacyFilter pairs(Pairs{{"objectCreated", "A=1"}});
    traceEverything();
    const LegacySubscriptionFilter filter(pairs.get());
    Texts functions;
    for (const OrvTest::LogLine& line : framework.lines())
    {
        if (line.source == OrvTest::LogLine::trace)
        {
            functions.push_back(line.function + line.text);
        }
    }
    EXPECT_EQ(functions, (Texts{"LegacySubscriptionFilter >> ", "createFilters >> ", "Filter >> ", "Filter << ",
                                "createFilters << ", "LegacySubscriptionFilter << "}));
}

}  // namespace
