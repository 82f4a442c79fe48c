// What stands in for a deleted subtree: the DNs that a match records, and the records made of them.
#include <new>

#include "AllocationFault.h"
#include "DnCalls.h"
#include "NotificationUtils.h"
#include "RfcFilterTest.h"

namespace OrvTest
{

using testing::ElementsAre;
using testing::IsEmpty;

class RfcDerivedNotificationsTest : public RfcFilterTest
{
protected:
    // The classes B, C, D and K are known; the name of a class's key is its own with "Id".
    RfcDerivedNotificationsTest()
    {
        for (const char* name : {"B", "C", "D", "K"})
        {
            objects.addKeyClass(name, {{"other", false}, {std::string(name) + "Id", true}});
        }
    }

    // The DNs recorded when the object A=1 is deleted under a tree.
    Texts derivedOf(const Node& tree)
    {
        filterOf({tree});
        EXPECT_TRUE(removed("A=1"));
        return deleteDns();
    }
};

// The records that the caller owns, as the subscription has them.
struct Derived : std::vector<OrvOamSpiNbiNotificationValue_1*>
{
    ~Derived() { release(); }
    void release()
    {
        for (OrvOamSpiNbiNotificationValue_1*& record : *this)
        {
            NotificationUtils::deleteNotification(record);
        }
        clear();
    }
    Texts dns() const
    {
        Texts texts;
        for (const OrvOamSpiNbiNotificationValue_1* record : *this)
        {
            texts.emplace_back(record->dn);
        }
        return texts;
    }
};

TEST_F(RfcDerivedNotificationsTest, ALeafStandsForTheDeletedObjectItself)
{
    EXPECT_THAT(derivedOf(node("A").key("1")), ElementsAre("A=1"));
    EXPECT_THAT(objects.calls(), IsEmpty());
}

TEST_F(RfcDerivedNotificationsTest, TheRootIsNamedAsTheNotificationNamesIt)
{
    filterOf({node("A")});

    EXPECT_TRUE(removed("A.more=1=2"));

    EXPECT_THAT(deleteDns(), ElementsAre("A.more=1=2"));
}

TEST_F(RfcDerivedNotificationsTest, AChildWithAKeyIsNamedWithoutTheModel)
{
    EXPECT_THAT(derivedOf(node("A").child(node("B").key("5"))), ElementsAre("A=1,B=5"));
    EXPECT_THAT(objects.calls(), IsEmpty());
}

TEST_F(RfcDerivedNotificationsTest, AChildWithoutAKeyHasTheKeyStarAndItsKeyNameFromTheModel)
{
    DnCalls given;

    EXPECT_THAT(derivedOf(node("A").child(node("B"))), ElementsAre("A=1,B=*"));

    EXPECT_THAT(given.calls, ElementsAre("A=1 B BId *"));
    EXPECT_EQ(objects.calls().front(), "getMocFromDn(A=1,B=*, 0)");
    EXPECT_EQ(transactions(), Transactions(0, 0));
}

TEST_F(RfcDerivedNotificationsTest, StarsAddUpAlongTheChildren)
{
    EXPECT_THAT(derivedOf(node("A").child(node("B")).child(node("C")).child(node("D"))),
                ElementsAre("A=1,B=*", "A=1,C=**", "A=1,D=***"));
}

TEST_F(RfcDerivedNotificationsTest, StarsAddUpAlongTheClasses)
{
    EXPECT_THAT(derivedOf(node("A").classes({"B", "K", "B"})), ElementsAre("A=1,B=*", "A=1,K=**", "A=1,B=***"));
}

// Explicit keys add to both strings; a name from the model replaces the names before it.
TEST_F(RfcDerivedNotificationsTest, NamesAndValuesOfKeysAddUpOverChildrenAndClasses)
{
    DnCalls given;

    EXPECT_THAT(derivedOf(node("A")
                              .child(node("B").key("5", "b"))
                              .child(node("C").key("6", "c"))
                              .child(node("D"))
                              .child(node("B").key("7", "e"))
                              .classes({"K", "C"})),
                ElementsAre("A=1,B=5", "A=1,C=56", "A=1,D=56*", "A=1,B=56*7", "A=1,K=56*7*", "A=1,C=56*7**"));

    EXPECT_THAT(given.calls, ElementsAre("A=1 B b 5", "A=1 C bc 56", "A=1 D DId 56*", "A=1 B DIde 56*7",
                                         "A=1 K KId 56*7*", "A=1 C CId 56*7**"));
}

TEST_F(RfcDerivedNotificationsTest, EveryLevelStartsWithCleanStrings)
{
    DnCalls given;

    EXPECT_THAT(derivedOf(node("A")
                              .child(node("B").key("5", "b").child(node("C").key("6", "c")).classes({"K"}))
                              .child(node("D").key("7", "d").child(node("C")))),
                ElementsAre("A=1,B=5,C=6", "A=1,B=5,K=6*", "A=1,D=57,C=*"));

    EXPECT_THAT(given.calls,
                ElementsAre("A=1 B b 5", "A=1,B=5 C c 6", "A=1,B=5 K KId 6*", "A=1 D bd 57", "A=1,D=57 C CId *"));
}

TEST_F(RfcDerivedNotificationsTest, EveryRootStartsWithCleanStrings)
{
    filterOf({node("A").child(node("B").child(node("C"))).child(node("B").classes({"K"}))});

    EXPECT_TRUE(removed("A=1,B=2"));

    EXPECT_THAT(deleteDns(), ElementsAre("A=1,B=2,C=*", "A=1,B=2,K=*"));
}

TEST_F(RfcDerivedNotificationsTest, AnInnerNodeIsRecordedOnlyWithAnAttributeSelection)
{
    EXPECT_THAT(derivedOf(node("A").child(node("B").key("5").child(node("C").key("6")))), ElementsAre("A=1,B=5,C=6"));
    EXPECT_THAT(derivedOf(node("A").select({"x"}).child(node("B").key("5").select({"x"}).child(node("C").key("6")))),
                ElementsAre("A=1", "A=1,B=5", "A=1,B=5,C=6"));
    EXPECT_THAT(derivedOf(node("A").select({"x"}).classes({"K"})), ElementsAre("A=1", "A=1,K=*"));
    EXPECT_THAT(derivedOf(node("A").select({"x"})), ElementsAre("A=1"));
    EXPECT_THAT(derivedOf(node("A").select().child(node("B").key("5"))), ElementsAre("A=1", "A=1,B=5"));
}

TEST_F(RfcDerivedNotificationsTest, ClassesComeAfterChildren)
{
    EXPECT_THAT(derivedOf(node("A").classes({"K"}).child(node("B").child(node("C")))),
                ElementsAre("A=1,B=*,C=*", "A=1,K=**"));
}

TEST_F(RfcDerivedNotificationsTest, AnEmptyArrayIsNoLeafAndRecordsNothing)
{
    EXPECT_THAT(derivedOf(node("A").child()), IsEmpty());
    EXPECT_THAT(derivedOf(node("A").classes()), IsEmpty());
    EXPECT_THAT(derivedOf(node("A").child().classes()), IsEmpty());
    EXPECT_THAT(derivedOf(node("A").child().classes({"K"})), ElementsAre("A=1,K=*"));
    EXPECT_THAT(derivedOf(node("A").child(node("B").key("5")).classes()), ElementsAre("A=1,B=5"));
}

TEST_F(RfcDerivedNotificationsTest, ConditionsOfTheDeletedSubtreeAreNotAsked)
{
    EXPECT_THAT(derivedOf(node("A")
                              .match(int32Attribute("x", 1))
                              .child(node("B").key("5").match(int32Attribute("x", 1)).structure("s", {}))),
                ElementsAre("A=1,B=5"));
    EXPECT_EQ(transactions(), Transactions(0, 0));
}

TEST_F(RfcDerivedNotificationsTest, AnUnknownClassEndsItsLevel)
{
    DnCalls given;

    EXPECT_THAT(
        derivedOf(node("A").child(node("B").key("5")).child(node("Unknown")).child(node("C").key("6")).classes({"K"})),
        ElementsAre("A=1,B=5"));

    EXPECT_THAT(given.calls, ElementsAre("A=1 B id 5"));
}

TEST_F(RfcDerivedNotificationsTest, AnUnknownFirstChildLeavesNothing)
{
    EXPECT_THAT(derivedOf(node("A").child(node("Unknown")).child(node("B"))), IsEmpty());
}

TEST_F(RfcDerivedNotificationsTest, WhatWasRecordedBeforeAFailureStays)
{
    EXPECT_THAT(derivedOf(node("A").select({"x"}).child(node("Unknown"))), ElementsAre("A=1"));
    EXPECT_THAT(derivedOf(node("A").classes({"K", "Unknown", "B"})), ElementsAre("A=1,K=*"));
}

TEST_F(RfcDerivedNotificationsTest, TheLevelAboveAFailureGoesOn)
{
    EXPECT_THAT(derivedOf(node("A")
                              .child(node("B").child(node("Unknown")).child(node("C")))
                              .child(node("C"))
                              .child(node("D").classes({"Unknown", "K"}))
                              .classes({"K"})),
                ElementsAre("A=1,C=**", "A=1,K=****"));
}

// A failure leaves the strings as they were, but the level ends with it, so nobody sees them.
TEST_F(RfcDerivedNotificationsTest, EveryStepOfTheModelMayFail)
{
    for (const char* call : {"getMocFromDn", "getFirstAttribute", "getAttributeFlag", "getNextAttribute",
                             "getGeneralProperties", "getPropertyText"})
    {
        const std::string name = std::string("repository3.") + call;
        framework.plan().failAlways(name, OrvRetry);
        EXPECT_THAT(derivedOf(node("A").child(node("B").key("5")).child(node("C"))), ElementsAre("A=1,B=5")) << call;
        EXPECT_THAT(derivedOf(node("A").classes({"K"})), IsEmpty()) << call;
        framework.plan().succeed(name);
    }
    EXPECT_THAT(derivedOf(node("A").child(node("B").key("5")).child(node("C"))), ElementsAre("A=1,B=5", "A=1,C=5*"));
}

TEST_F(RfcDerivedNotificationsTest, ANullNodeRecordsNothing)
{
    OrvNbiNotificationService::RfcSubscriptionFilter& filter = filterOf({node("A")});
    newTraces();

    filter.buildNotifications(nullptr, "A=1");

    EXPECT_THAT(deleteDns(), IsEmpty());
    EXPECT_THAT(newTraces(), ElementsAre(" buildNotifications "));
}

TEST_F(RfcDerivedNotificationsTest, NullTextsCountAsEmpty)
{
    EXPECT_THAT(derivedOf(node("A").child(node(nullptr).key("5"))), ElementsAre("A=1,=5"));
    EXPECT_THAT(derivedOf(node("A").child(node(nullptr))), IsEmpty());

    Node child = node("B").key("5");
    child->keyAttribute->name = nullptr;
    child->keyAttribute->values = nullptr;
    DnCalls given;
    EXPECT_THAT(derivedOf(node("A").child(child)), ElementsAre("A=1,B="));
    EXPECT_THAT(given.calls, ElementsAre("A=1 B  "));
}

TEST_F(RfcDerivedNotificationsTest, RecordedDnsAddToWhatIsThere)
{
    OrvNbiNotificationService::RfcSubscriptionFilter& filter = filterOf({node("A")});
    filter.deleteDns.push_back("X=1");
    const Node tree = node("A");

    filter.buildNotifications(tree.get(), "A=1");

    EXPECT_THAT(deleteDns(), ElementsAre("X=1", "A=1"));
}

TEST_F(RfcDerivedNotificationsTest, ADerivedDnIsTakenApartLikeAnyOther)
{
    OrvNbiNotificationService::RfcSubscriptionFilter& filter =
        filterOf({node("A").child(node("B").key("5").classes({"K"}))});
    ASSERT_TRUE(removed("A=1"));
    ASSERT_THAT(deleteDns(), ElementsAre("A=1,B=5,K=*"));
    const std::string dn = deleteDns().front();
    filter.classes.clear();
    filter.keys.clear();

    filter.createListFromDN(dn.c_str());

    EXPECT_EQ(filter.constructDN(2), dn);
}

TEST_F(RfcDerivedNotificationsTest, EveryStepIsTold)
{
    filterOf({node("A").child(node("B").key("5").child(node("C"))).classes({"K", "Unknown"})});
    removed("A=1");
    newTraces();

    OrvNbiNotificationService::RfcSubscriptionFilter& filter =
        filterOf({node("A").child(node("B").key("5").child(node("C"))).classes({"K", "Unknown"})});
    filter.buildNotifications(filter.filters.front(), "A=1");
    EXPECT_EQ(newTraces(), Texts({" buildNotifications ", " buildNotifications , containment B", "DN A=1,B=5 ",
                                  " buildNotifications ", " buildNotifications , containment C",
                                  "Non standard key attribute name is CId", " Key obtained is CId ", "DN A=1,B=5,C=* ",
                                  " buildNotifications ", "Non standard key attribute name is KId", "DN A=1,K=5* ",
                                  "Could not obtain key attribute name for the MO  "}));

    OrvNbiNotificationService::RfcSubscriptionFilter& failing = filterOf({node("A").child(node("Unknown"))});
    newTraces();
    failing.buildNotifications(failing.filters.front(), "A=1");
    EXPECT_EQ(newTraces(), Texts({" buildNotifications ", " buildNotifications , containment Unknown",
                                  " Could not obtain key attribute name for the MO  "}));
}

TEST_F(RfcDerivedNotificationsTest, EachRecordHasTheNotificationsFieldsAndADnOfItsOwn)
{
    OrvNbiNotificationService::RfcSubscriptionFilter& filter =
        filterOf({node("A").child(node("B").key("5")).child(node("C").key("6"))});
    Notification given = makeNotification(TIME, "A=1", objectDeleted, {int32Attribute("x", 1)});
    given->txHandle = 71;
    given->sequenceNumber = 72;
    ASSERT_TRUE(filter.match(*given));
    Derived derived;

    filter.getSubtreeDeleteNotifications(*given, derived);

    EXPECT_THAT(derived.dns(), ElementsAre("A=1,B=5", "A=1,C=56"));
    for (const OrvOamSpiNbiNotificationValue_1* record : derived)
    {
        EXPECT_EQ(record->eventTime, TIME);
        EXPECT_EQ(record->txHandle, 71u);
        EXPECT_EQ(record->sequenceNumber, 72u);
        EXPECT_EQ(record->notificationType, objectDeleted);
        EXPECT_EQ(record->attributes, nullptr);
    }
    EXPECT_NE(derived[0]->dn, deleteDns()[0].c_str());
}

TEST_F(RfcDerivedNotificationsTest, TheDeletedObjectComesWithoutItsAttributes)
{
    OrvNbiNotificationService::RfcSubscriptionFilter& filter = filterOf({node("A").key("1")});
    ASSERT_TRUE(match("A=1", objectDeleted, {int32Attribute("x", 1)}));
    Derived derived;

    filter.getSubtreeDeleteNotifications(matched(), derived);

    EXPECT_THAT(derived.dns(), ElementsAre("A=1"));
    EXPECT_EQ(derived[0]->attributes, nullptr);
}

TEST_F(RfcDerivedNotificationsTest, TheVectorIsEmptiedAndItsRecordsLeftAlone)
{
    OrvNbiNotificationService::RfcSubscriptionFilter& filter = filterOf({node("A")});
    Notification earlier = makeNotification(TIME, "E=1", objectCreated);
    std::vector<OrvOamSpiNbiNotificationValue_1*> records(3, &*earlier);
    ASSERT_TRUE(avc("A=1"));

    filter.getSubtreeDeleteNotifications(matched(), records);

    EXPECT_THAT(records, IsEmpty());
    EXPECT_STREQ(earlier->dn, "E=1");
}

TEST_F(RfcDerivedNotificationsTest, EveryCallMakesNewRecords)
{
    OrvNbiNotificationService::RfcSubscriptionFilter& filter = filterOf({node("A").classes({"B", "K"})});
    ASSERT_TRUE(removed("A=1"));
    Derived first;
    Derived second;

    filter.getSubtreeDeleteNotifications(matched(), first);
    filter.getSubtreeDeleteNotifications(matched(), second);

    EXPECT_THAT(first.dns(), ElementsAre("A=1,B=*", "A=1,K=**"));
    EXPECT_THAT(second.dns(), ElementsAre("A=1,B=*", "A=1,K=**"));
    EXPECT_NE(first[0], second[0]);
    EXPECT_NE(first[0]->dn, second[0]->dn);
    first.release();
    EXPECT_STREQ(second[1]->dn, "A=1,K=**");
}

TEST_F(RfcDerivedNotificationsTest, AControlRecordAfterADeleteComesBackWithTheDeletesDns)
{
    OrvNbiNotificationService::RfcSubscriptionFilter& filter = filterOf({node("A").classes({"B", "K"})});
    ASSERT_TRUE(removed("A=1"));
    const Notification heartbeat(TIME + 7, nullptr, heartbeatNotification, {});
    Derived derived;

    filter.getSubtreeDeleteNotifications(*heartbeat, derived);

    EXPECT_THAT(derived.dns(), ElementsAre("A=1,B=*", "A=1,K=**"));
    for (const OrvOamSpiNbiNotificationValue_1* record : derived)
    {
        EXPECT_EQ(record->eventTime, TIME + 7);
        EXPECT_EQ(record->notificationType, heartbeatNotification);
    }
}

TEST_F(RfcDerivedNotificationsTest, TheCallIsTold)
{
    OrvNbiNotificationService::RfcSubscriptionFilter& filter = filterOf({node("A")});
    ASSERT_TRUE(avc("A=1"));
    newTraces();
    Derived derived;

    filter.getSubtreeDeleteNotifications(matched(), derived);

    EXPECT_THAT(newTraces(), ElementsAre("getNotifications"));
}

TEST_F(RfcDerivedNotificationsTest, WithoutMemoryNothingIsLost)
{
    OrvNbiNotificationService::RfcSubscriptionFilter& filter = filterOf({node("A").classes({"B", "K", "C"})});
    ASSERT_TRUE(removed("A=1"));
    {
        Derived derived;
        const StrdupFault fault;
        EXPECT_THROW(filter.getSubtreeDeleteNotifications(matched(), derived), std::bad_alloc);
        EXPECT_THAT(derived, IsEmpty());
    }
    for (unsigned int nth = 1, failures = 1; failures != 0; ++nth)
    {
        Derived derived;
        failures = 0;
        try
        {
            const AllocationFault fault(nth);
            filter.getSubtreeDeleteNotifications(matched(), derived);
            EXPECT_FALSE(fault.met());
        }
        catch (const std::bad_alloc&)
        {
            EXPECT_LT(derived.size(), 3u);
            ++failures;
            continue;
        }
        EXPECT_GT(nth, 3u);
        EXPECT_EQ(derived.size(), 3u);
    }
}

}  // namespace OrvTest
