#include "SubscriptionSpec.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ElementError.h"

namespace OrvElement
{
namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

const int64_t NOW = 1700000000000000;  // 2023-11-14T22:13:20Z

std::string refusal(const std::string& text)
{
    try
    {
        SubscriptionSpec::parse(text, NOW);
        return "accepted";
    }
    catch (const ElementError& e)
    {
        return e.what();
    }
}

TEST(SubscriptionSpec, TakesANameAlone)
{
    const SubscriptionSpec spec = SubscriptionSpec::parse("name=live", NOW);
    EXPECT_EQ(spec.name, "live");
    EXPECT_THAT(spec.filters, IsEmpty());
    EXPECT_EQ(spec.startTime, 0);
    EXPECT_EQ(spec.stopTime, 0);
    EXPECT_EQ(spec.heartbeat, 0);
}

TEST(SubscriptionSpec, TakesAllParts)
{
    const SubscriptionSpec spec = SubscriptionSpec::parse(
        "name=a-B_1.c;start=-60s;stop=2023-11-14T22:13:30Z;heartbeat=5;filter=objectCreated:eth[01]", NOW);
    EXPECT_EQ(spec.name, "a-B_1.c");
    EXPECT_EQ(spec.startTime, NOW - 60000000);
    EXPECT_EQ(spec.stopTime, NOW + 10000000);
    EXPECT_EQ(spec.heartbeat, 5);
    EXPECT_THAT(spec.filters, ElementsAre(Pair("objectCreated", "eth[01]")));
}

TEST(SubscriptionSpec, KeepsSeveralFiltersInTheirOrder)
{
    const SubscriptionSpec spec =
        SubscriptionSpec::parse("name=n;filter=objectDeleted:.*;filter=attributeChanged:interface=eth0,enabled", NOW);
    EXPECT_THAT(spec.filters,
                ElementsAre(Pair("objectDeleted", ".*"), Pair("attributeChanged", "interface=eth0,enabled")));
}

TEST(SubscriptionSpec, MakesThreeFiltersOfTheKindAny)
{
    const SubscriptionSpec spec = SubscriptionSpec::parse("name=n;filter=any:a:b", NOW);
    EXPECT_THAT(spec.filters, ElementsAre(Pair("objectCreated", "a:b"), Pair("objectDeleted", "a:b"),
                                          Pair("attributeChanged", "a:b")));
}

TEST(SubscriptionSpec, TakesAnEscapedSemicolonIntoAValue)
{
    const SubscriptionSpec spec = SubscriptionSpec::parse("name=n;filter=objectCreated:key=a\\;b\\.c", NOW);
    EXPECT_THAT(spec.filters, ElementsAre(Pair("objectCreated", "key=a;b\\.c")));
}

TEST(SubscriptionSpec, KeepsTheTextsOfSubtreeFilters)
{
    const SubscriptionSpec spec = SubscriptionSpec::parse(
        "name=n;subtree=/a[b='x\\;y=z']/{c,d};start=-60s;subtree=<a>&lt\\;</a>;subtree=@file.xml", NOW);
    EXPECT_THAT(spec.subtrees, ElementsAre("/a[b='x;y=z']/{c,d}", "<a>&lt;</a>", "@file.xml"));
    EXPECT_THAT(spec.filters, IsEmpty());
    EXPECT_EQ(spec.startTime, NOW - 60000000);
}

TEST(SubscriptionSpec, RefusesAnEmptySubtree)
{
    EXPECT_THAT(refusal("name=n;subtree="), HasSubstr("\"subtree=\" is unknown, empty or given twice"));
}

TEST(SubscriptionSpec, RefusesFiltersOfBothForms)
{
    const std::string reason = "it has filters of both forms, \"filter\" and \"subtree\"";
    EXPECT_THAT(refusal("name=n;subtree=/a;filter=any:.*"), HasSubstr(reason));
    EXPECT_THAT(refusal("name=n;filter=any:.*;subtree=/a"), HasSubstr(reason));
}

TEST(SubscriptionSpec, RefusesASpecWithoutAName)
{
    EXPECT_THAT(refusal("heartbeat=1"), HasSubstr("it has no name"));
}

TEST(SubscriptionSpec, RefusesANameThatIsNoPlainWord)
{
    EXPECT_THAT(refusal("name="), HasSubstr("name \"\""));
    EXPECT_THAT(refusal("name=two words"), HasSubstr("name \"two words\""));
    EXPECT_THAT(refusal("name=line\nbreak"), HasSubstr("is not made of"));
}

TEST(SubscriptionSpec, RefusesUnknownEmptyAndRepeatedParts)
{
    EXPECT_THAT(refusal("name=n;colour=red"), HasSubstr("\"colour=red\" is unknown, empty or given twice"));
    EXPECT_THAT(refusal("name=n;"), HasSubstr("\"\" is unknown"));
    EXPECT_THAT(refusal("name=n;name=m"), HasSubstr("\"name=m\""));
    EXPECT_THAT(refusal("name=n;start=-1s;start=-2s"), HasSubstr("\"start=-2s\""));
    EXPECT_THAT(refusal("name=n;stop=+1s;stop=+2s"), HasSubstr("\"stop=+2s\""));
    EXPECT_THAT(refusal("name=n;heartbeat=1;heartbeat=2"), HasSubstr("\"heartbeat=2\""));
}

TEST(SubscriptionSpec, RefusesAFilterOfAnUnknownKindOrForm)
{
    EXPECT_THAT(refusal("name=n;filter=objectMoved:.*"), HasSubstr("\"objectMoved\" is no kind of filter"));
    EXPECT_THAT(refusal("name=n;filter=.*"), HasSubstr("KIND:EXPRESSION"));
}

TEST(SubscriptionSpec, RefusesAnExpressionThatDoesNotCompile)
{
    EXPECT_THAT(refusal("name=n;filter=any:eth("), HasSubstr("\"eth(\" is no regular expression"));
}

TEST(SubscriptionSpec, RefusesAHeartbeatThatTheServiceCannotCount)
{
    for (const char* value : {"0", "-1", "1.5", "", "abc", "2147484", "99999999999999999999"})
    {
        EXPECT_THAT(refusal(std::string("name=n;heartbeat=") + value), HasSubstr("is not a number of seconds"))
            << value;
    }
    EXPECT_EQ(SubscriptionSpec::parse("name=n;heartbeat=2147483", NOW).heartbeat, 2147483);
}

TEST(SubscriptionSpec, RefusesAStopTimeThatTheServiceCannotCount)
{
    EXPECT_THAT(refusal("name=n;stop=+2147483s"), HasSubstr("seconds ahead"));
    EXPECT_EQ(SubscriptionSpec::parse("name=n;stop=+2147482s", NOW).stopTime, NOW + 2147482000000);
    EXPECT_EQ(SubscriptionSpec::parse("name=n;stop=-1h", NOW).stopTime, NOW - 3600000000) << "the past is allowed";
}

TEST(SubscriptionSpec, QuotesTheWholeTextInARefusal)
{
    EXPECT_THAT(refusal("name=n;start=soon"), HasSubstr("subscription \"name=n;start=soon\": \"soon\" is no time"));
}

}  // namespace
}  // namespace OrvElement
