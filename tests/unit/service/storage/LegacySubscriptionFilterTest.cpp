#include "LegacySubscriptionFilter.h"

#include <type_traits>

#include "AllocationHook.h"
#include "OrvException.h"
#include "StorageTest.h"

namespace
{

using OrvNbiNotificationService::LegacySubscriptionFilter;
using OrvNbiNotificationService::SubscriptionFilter;
using OrvTest::int32Attribute;
using OrvTest::LegacyFilter;
using OrvTest::makeNotification;
using OrvTest::Notification;
using OrvTest::stringAttribute;

typedef std::vector<std::pair<std::string, std::string>> Pairs;

class LegacySubscriptionFilterTest : public OrvTest::StorageTest
{
protected:
    static bool passes(const std::string& name, const std::string& expression, const Notification& notification)
    {
        const LegacyFilter pairs(Pairs{{name, expression}});
        return LegacySubscriptionFilter(pairs.get()).match(*notification);
    }

    static Notification created(const std::string& dn) { return makeNotification(1, dn, objectCreated); }

    static bool expressionReachesTheEnd(const std::string& expression, std::string subject)
    {
        const LegacyFilter pairs(Pairs{{"objectCreated", expression}});
        return LegacySubscriptionFilter::Filter(pairs.get()[0]).re_match(subject);
    }
};

TEST_F(LegacySubscriptionFilterTest, IsASubscriptionFilter)
{
    static_assert(std::is_abstract<SubscriptionFilter>::value, "all of its operations are pure");
    static_assert(std::has_virtual_destructor<SubscriptionFilter>::value, "the destructor is virtual");
    static_assert(!std::is_polymorphic<LegacySubscriptionFilter::Filter>::value, "a pair has no virtual operation");
    static_assert(sizeof(LegacySubscriptionFilter::Filter::FilterType) == 4, "a type is compared in 32 bits");
    SubscriptionFilter* const filter = new LegacySubscriptionFilter(nullptr);
    EXPECT_TRUE(filter->match(*created("A=1")));
    delete filter;
}

TEST_F(LegacySubscriptionFilterTest, AnArrayWithoutEntriesPassesEveryType)
{
    const LegacyFilter none;
    LegacySubscriptionFilter empty(none.get());
    LegacySubscriptionFilter null(nullptr);
    for (int32_t type = -1; type <= 20; ++type)
    {
        EXPECT_TRUE(empty.match(*makeNotification(1, "A=1", type))) << type;
        EXPECT_TRUE(null.match(*Notification(1, nullptr, type, {}))) << type;
    }
}

TEST_F(LegacySubscriptionFilterTest, AnExpressionPassesForTheTypeThatItsNameSaysAndFailsForTheOthers)
{
    const std::vector<std::pair<std::string, int32_t>> names = {
        {"objectCreated", 1}, {"objectDeleted", 2}, {"attributeChanged", 3}};
    for (const auto& name : names)
    {
        for (int32_t type = 1; type <= 3; ++type)
        {
            EXPECT_EQ(passes(name.first, "A=1", makeNotification(1, "A=1", type)), type == name.second)
                << name.first << " " << type;
        }
    }
}

TEST_F(LegacySubscriptionFilterTest, FilterNamesAreKnownExactly)
{
    typedef LegacySubscriptionFilter::Filter Filter;
    EXPECT_EQ(Filter::filterNameToFilterType("objectCreated"), 1);
    EXPECT_EQ(Filter::filterNameToFilterType("objectDeleted"), 2);
    EXPECT_EQ(Filter::filterNameToFilterType("attributeChanged"), 3);
    for (const char* name : {"", "objectcreated", "ObjectCreated", "objectCreated ", " objectCreated", "objectCreate",
                             "overflow", "attributeChangedX"})
    {
        try
        {
            Filter::filterNameToFilterType(name);
            ADD_FAILURE() << name << " is known";
        }
        catch (const Orv::OrvException& e)
        {
            EXPECT_EQ(std::string(e.what()), std::string("Could not interpret filter name ") + name);
        }
    }
}

TEST_F(LegacySubscriptionFilterTest, AMatchThatBeginsLaterPassesIfItReachesTheEnd)
{
    EXPECT_TRUE(expressionReachesTheEnd("b+", "abb"));
    EXPECT_TRUE(passes("objectCreated", "b+", created("abb")));
}

TEST_F(LegacySubscriptionFilterTest, TheLeftmostMatchAloneIsTried)
{
    EXPECT_FALSE(expressionReachesTheEnd("a", "aba"));
    EXPECT_FALSE(passes("objectCreated", "a", created("aba")));
}

TEST_F(LegacySubscriptionFilterTest, AMatchThatEndsBeforeTheEndFails)
{
    EXPECT_FALSE(expressionReachesTheEnd("A=1", "A=1,B=2"));
    EXPECT_TRUE(expressionReachesTheEnd("A=1.*", "A=1,B=2"));
    EXPECT_TRUE(expressionReachesTheEnd("A=1(,B=[0-9]+)?", "A=1,B=2"));
}

TEST_F(LegacySubscriptionFilterTest, TheSyntaxIsTheExtendedOne)
{
    EXPECT_TRUE(expressionReachesTheEnd("(x|y)+", "xyxy"));
    EXPECT_TRUE(expressionReachesTheEnd("a{3}", "aaa"));
    EXPECT_FALSE(expressionReachesTheEnd("a=1", "A=1"));
}

TEST_F(LegacySubscriptionFilterTest, AnEmptySubjectPassesAnExpressionThatMatchesNothing)
{
    EXPECT_TRUE(expressionReachesTheEnd(".*", ""));
    EXPECT_FALSE(expressionReachesTheEnd(".+", ""));
}

TEST_F(LegacySubscriptionFilterTest, ASubjectOfMoreThan65535CharactersNeverPasses)
{
    EXPECT_TRUE(expressionReachesTheEnd(".*", std::string(65535, 'a')));
    EXPECT_FALSE(expressionReachesTheEnd(".*", std::string(65536, 'a')));
    EXPECT_FALSE(expressionReachesTheEnd(".*", std::string(65537, 'a')));
    EXPECT_TRUE(passes("objectCreated", ".*", created(std::string(65535, 'a'))));
    EXPECT_FALSE(passes("objectCreated", ".*", created(std::string(65536, 'a'))));
}

// With another expression, a match of this length takes ten seconds and more.
TEST_F(LegacySubscriptionFilterTest, ASubjectThatIsTooLongToPassIsNotMatched)
{
    const LegacyFilter pairs(Pairs{{"objectCreated", "a*"}});
    LegacySubscriptionFilter::Filter filter(pairs.get()[0]);
    std::string tooLong(65536, 'a');
    EXPECT_FALSE(filter.re_match(tooLong));
    EXPECT_EQ(0, filter._regularExpression._matching.count());
    std::string notTooLong = "a";
    EXPECT_TRUE(filter.re_match(notTooLong));
    EXPECT_LT(0, filter._regularExpression._matching.count());
}

// The end of a longer match comes back to a small number, but the subject's length does not.
TEST_F(LegacySubscriptionFilterTest, AMatchWhoseCutEndIsZeroDoesNotPassForAnEmptyOne)
{
    EXPECT_FALSE(expressionReachesTheEnd("a+", std::string(65536, 'a') + "b"));
}

TEST_F(LegacySubscriptionFilterTest, AnAttributeChangeIsMatchedByDnAndByDnWithTheAttribute)
{
    const Notification change = makeNotification(1, "A=1", attributeChanged, {int32Attribute("x", 1)});
    EXPECT_TRUE(passes("attributeChanged", "A=1", change));
    EXPECT_TRUE(passes("attributeChanged", "A=1,x", change));
    EXPECT_FALSE(passes("attributeChanged", "A=1,y", change));
    EXPECT_FALSE(passes("attributeChanged", "A=1,", change));
    EXPECT_FALSE(passes("objectCreated", "A=1,x", change));
}

TEST_F(LegacySubscriptionFilterTest, OnlyTheFirstAttributeOfAChangeCounts)
{
    const Notification change =
        makeNotification(1, "A=1", attributeChanged, {int32Attribute("x", 1), stringAttribute("y", "z")});
    EXPECT_TRUE(passes("attributeChanged", "A=1,x", change));
    EXPECT_FALSE(passes("attributeChanged", "A=1,y", change));
    EXPECT_FALSE(passes("attributeChanged", "A=1,x,y", change));
}

TEST_F(LegacySubscriptionFilterTest, AnAttributeChangeWithoutAttributesIsMatchedByDnWithTheComma)
{
    const Notification change = makeNotification(1, "A=1", attributeChanged);
    EXPECT_TRUE(passes("attributeChanged", "A=1,", change));
    change->attributes = nullptr;
    EXPECT_TRUE(passes("attributeChanged", "A=1,", change));
}

TEST_F(LegacySubscriptionFilterTest, ADnOfAnyLengthIsMatchedWithTheAttribute)
{
    const LegacyFilter pairs(Pairs{{"attributeChanged", "^a+,xyz?$"}});
    LegacySubscriptionFilter filter(pairs.get());
    for (size_t length = 480; length < 540; ++length)
    {
        const std::string dn(length, 'a');
        EXPECT_TRUE(filter.match(*makeNotification(1, dn, attributeChanged, {int32Attribute("xyz", 1)}))) << length;
        EXPECT_TRUE(filter.match(*makeNotification(1, dn, attributeChanged, {int32Attribute("xy", 1)}))) << length;
        EXPECT_FALSE(filter.match(*makeNotification(1, dn, attributeChanged, {int32Attribute("x", 1)}))) << length;
    }
}

TEST_F(LegacySubscriptionFilterTest, ARefusedOfferAllocatesNothing)
{
    const LegacyFilter pairs(Pairs{{"attributeChanged", "^ManagedElement=2,.*"}, {"attributeChanged", "[2-9]"}});
    LegacySubscriptionFilter filter(pairs.get());
    const Notification change =
        makeNotification(1, "ManagedElement=1,Equipment=1,Subrack=1,Slot=11,PlugInUnit=11", attributeChanged,
                         {stringAttribute("operationalStateOfThePlugInUnit", "")});
    const AllocationCount count;
    const bool passed = filter.match(*change);
    EXPECT_EQ(0, count.allocations());
    EXPECT_FALSE(passed);
}

TEST_F(LegacySubscriptionFilterTest, ACreatedOrDeletedObjectIsMatchedByDnWithTheCommaToo)
{
    EXPECT_TRUE(passes("objectCreated", "A=1,", created("A=1")));
    EXPECT_TRUE(passes("objectDeleted", "A=1,", makeNotification(1, "A=1", objectDeleted)));
}

TEST_F(LegacySubscriptionFilterTest, TheAttributesOfACreatedObjectDoNotCount)
{
    const Notification notification = makeNotification(1, "A=1", objectCreated, {int32Attribute("x", 1)});
    EXPECT_FALSE(passes("objectCreated", "A=1,x", notification));
    EXPECT_TRUE(passes("objectCreated", "A=1,", notification));
}

TEST_F(LegacySubscriptionFilterTest, ANullDnIsTheEmptyString)
{
    const Notification notification(1, nullptr, objectCreated, {});
    EXPECT_TRUE(passes("objectCreated", "^$", notification));
    EXPECT_TRUE(passes("objectCreated", "^,$", notification));
    EXPECT_FALSE(passes("objectCreated", "A=1", notification));
    const Notification change(1, nullptr, attributeChanged, {int32Attribute("x", 1)});
    EXPECT_TRUE(passes("attributeChanged", "^,x$", change));
}

TEST_F(LegacySubscriptionFilterTest, ControlRecordsOfTheTypes4And5And6And9PassAFilterThatRejectsEverythingElse)
{
    const LegacyFilter pairs(Pairs{{"objectCreated", "no such dn"}});
    LegacySubscriptionFilter filter(pairs.get());
    for (int32_t type = -1; type <= 12; ++type)
    {
        const bool passed = filter.match(*Notification(1, nullptr, type, {}));
        EXPECT_EQ(passed, type == 4 || type == 5 || type == 6 || type == 9) << type;
    }
}

TEST_F(LegacySubscriptionFilterTest, TheTypes7And8FailAFilterWithEntriesAndPassAnEmptyOne)
{
    const LegacyFilter pairs(Pairs{{"objectCreated", ".*"}, {"objectDeleted", ".*"}, {"attributeChanged", ".*"}});
    LegacySubscriptionFilter filter(pairs.get());
    LegacySubscriptionFilter empty(nullptr);
    for (const int32_t type : {notificationComplete, heartbeatNotification})
    {
        EXPECT_FALSE(filter.match(*Notification(1, nullptr, type, {}))) << type;
        EXPECT_TRUE(empty.match(*Notification(1, nullptr, type, {}))) << type;
    }
}

TEST_F(LegacySubscriptionFilterTest, OneMatchingPairOfSeveralIsEnough)
{
    const LegacyFilter pairs(Pairs{{"objectDeleted", "A=1"}, {"objectCreated", "B=2"}, {"objectCreated", "A=1"}});
    LegacySubscriptionFilter filter(pairs.get());
    EXPECT_TRUE(filter.match(*created("A=1")));
    EXPECT_TRUE(filter.match(*created("B=2")));
    EXPECT_FALSE(filter.match(*created("C=3")));
    EXPECT_FALSE(filter.match(*makeNotification(1, "B=2", objectDeleted)));
}

TEST_F(LegacySubscriptionFilterTest, KeepsItsPairsInTheGivenOrderAndNothingOfTheArray)
{
    auto pairs = std::make_unique<LegacyFilter>(Pairs{{"objectDeleted", "first"}, {"objectCreated", "second"}});
    LegacySubscriptionFilter filter(pairs->get());
    pairs.reset();
    ASSERT_EQ(filter._filters.size(), 2u);
    EXPECT_EQ(filter._filters.front()._expression, "first");
    EXPECT_EQ(filter._filters.front()._filterType, objectDeleted);
    EXPECT_EQ(filter._filters.back()._expression, "second");
    EXPECT_TRUE(filter.match(*created("second")));
}

TEST_F(LegacySubscriptionFilterTest, ACopiedPairHasAnExpressionOfItsOwn)
{
    const LegacyFilter pairs(Pairs{{"objectDeleted", "A=[0-9]"}});
    auto original = std::make_unique<LegacySubscriptionFilter::Filter>(pairs.get()[0]);
    LegacySubscriptionFilter::Filter copy(*original);
    original.reset();
    EXPECT_TRUE(copy.match(*makeNotification(1, "A=7", objectDeleted)));
    EXPECT_FALSE(copy.match(*created("A=7")));
}

TEST_F(LegacySubscriptionFilterTest, AnInvalidExpressionStaysInTheListAndMatchesNothing)
{
    const LegacyFilter pairs(Pairs{{"objectCreated", "("}, {"objectCreated", "A=1"}});
    LegacySubscriptionFilter filter(pairs.get());
    EXPECT_EQ(filter._filters.size(), 2u);
    EXPECT_TRUE(filter.match(*created("A=1")));
    EXPECT_FALSE(filter.match(*created("(")));
    EXPECT_FALSE(filter.match(*created("")));
}

TEST_F(LegacySubscriptionFilterTest, DerivesNothing)
{
    LegacySubscriptionFilter filter(nullptr);
    const Notification notification = makeNotification(1, "A=1", objectDeleted);
    const Notification other = makeNotification(2, "B=2", objectCreated);
    std::vector<OrvOamSpiNbiNotificationValue_1*> notifications = {&*other, nullptr};
    filter.getSubtreeDeleteNotifications(*notification, notifications);
    EXPECT_TRUE(notifications.empty());
    EXPECT_STREQ(other->dn, "B=2");

    OrvOamSpiNbiNotificationValue_1 selected = OrvOamSpiNbiNotificationValue_1();
    selected.eventTime = 77;
    EXPECT_FALSE(filter.getAttrSelectNotification(*notification, &selected));
    EXPECT_EQ(selected.eventTime, 77);
    EXPECT_EQ(selected.dn, nullptr);
    EXPECT_EQ(selected.attributes, nullptr);
    EXPECT_EQ(selected.notificationType, 0);
    EXPECT_FALSE(filter.getAttrSelectNotification(*notification, nullptr));
}

}  // namespace
