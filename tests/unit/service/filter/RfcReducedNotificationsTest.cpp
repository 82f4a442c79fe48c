// The copy of a notification that holds the selected attributes alone.
#include <cstring>

#include "AllocationFault.h"
#include "MoUtils.h"
#include "NotificationUtils.h"
#include "OrvException.h"
#include "RfcFilterTest.h"

namespace OrvTest
{

using testing::ElementsAre;
using testing::IsEmpty;

class RfcReducedNotificationsTest : public RfcFilterTest
{
protected:
    static OwnedNotification zeroed() { return OwnedNotification(new OrvOamSpiNbiNotificationValue_1()); }

    // A record whose every byte is set, and whether it still is.
    static OrvOamSpiNbiNotificationValue_1 untouched()
    {
        OrvOamSpiNbiNotificationValue_1 record;
        std::memset(static_cast<void*>(&record), 0xA5, sizeof(record));
        return record;
    }
    static bool isUntouched(const OrvOamSpiNbiNotificationValue_1& record)
    {
        const OrvOamSpiNbiNotificationValue_1 expected = untouched();
        return std::memcmp(&record, &expected, sizeof(record)) == 0;
    }

    static Texts names(const OrvOamSpiNbiNotificationValue_1& record)
    {
        Texts texts;
        for (ZelMoNamedAttributeValueContainer_3** entry = record.attributes; *entry != nullptr; ++entry)
        {
            texts.emplace_back((*entry)->name);
        }
        return texts;
    }
};

TEST_F(RfcReducedNotificationsTest, TheCopyHoldsTheSelectedAttributesInTheOrderOfTheSelection)
{
    OrvNbiNotificationService::RfcSubscriptionFilter& filter = filterOf({node("A").select({"z", "y", "z", "w"})});
    ASSERT_TRUE(avc("A=1", {"w", "x", "y", "z"}));
    const OwnedNotification reduced = zeroed();

    EXPECT_TRUE(filter.getAttrSelectNotification(matched(), reduced.get()));

    EXPECT_THAT(names(*reduced), ElementsAre("z", "y", "w"));
    EXPECT_STREQ(reduced->attributes[0]->values->str, "value of z");
    EXPECT_STREQ(reduced->attributes[2]->values->str, "value of w");
}

TEST_F(RfcReducedNotificationsTest, OneAttributeOfANameIsEnough)
{
    OrvNbiNotificationService::RfcSubscriptionFilter& filter = filterOf({node("A").select({"x"})});
    ASSERT_TRUE(match("A=1", attributeChanged, {int32Attribute("x", 1), int32Attribute("x", 2)}));
    const OwnedNotification reduced = zeroed();

    EXPECT_TRUE(filter.getAttrSelectNotification(matched(), reduced.get()));

    EXPECT_THAT(names(*reduced), ElementsAre("x"));
    EXPECT_EQ(reduced->attributes[0]->values->i32, 1);
}

TEST_F(RfcReducedNotificationsTest, TheCopyIsDeepAndHasTheNotificationsFields)
{
    OrvNbiNotificationService::RfcSubscriptionFilter& filter = filterOf({node("A").select({"x"})});
    const OwnedNotification reduced = zeroed();
    {
        Notification given = makeNotification(TIME, "A.more=1", attributeChanged, {stringAttribute("x", "seven")});
        given->txHandle = 71;
        given->sequenceNumber = 72;
        ASSERT_TRUE(filter.match(*given));
        ASSERT_TRUE(filter.getAttrSelectNotification(*given, reduced.get()));
        EXPECT_NE(reduced->dn, given->dn);
        EXPECT_NE(reduced->attributes, given->attributes);
        EXPECT_NE(reduced->attributes[0], given->attributes[0]);
        EXPECT_NE(reduced->attributes[0]->values->str, given->attributes[0]->values->str);
    }

    EXPECT_EQ(reduced->eventTime, TIME);
    EXPECT_STREQ(reduced->dn, "A.more=1");
    EXPECT_EQ(reduced->txHandle, 71u);
    EXPECT_EQ(reduced->sequenceNumber, 72u);
    EXPECT_EQ(reduced->notificationType, attributeChanged);
    EXPECT_THAT(names(*reduced), ElementsAre("x"));
    EXPECT_STREQ(reduced->attributes[0]->values->str, "seven");
}

// As in a replay: nobody asks for what the first match has selected.
TEST_F(RfcReducedNotificationsTest, AMatchSelectsFromItsOwnNotificationAlone)
{
    OrvNbiNotificationService::RfcSubscriptionFilter& filter = filterOf({node("A").select({"x", "y"})});
    const Notification first = makeNotification(TIME, "A=1", attributeChanged, {int32Attribute("x", 1)});
    const Notification second =
        makeNotification(TIME, "A=1", attributeChanged, {int32Attribute("y", 2), int32Attribute("x", 3)});
    ASSERT_TRUE(filter.match(*first));
    ASSERT_TRUE(filter.match(*second));
    EXPECT_THAT(filter.selectedAttributes, ElementsAre(second->attributes[1], second->attributes[0]));
    const OwnedNotification reduced = zeroed();

    EXPECT_TRUE(filter.getAttrSelectNotification(*second, reduced.get()));

    EXPECT_THAT(names(*reduced), ElementsAre("x", "y"));
    EXPECT_EQ(reduced->attributes[0]->values->i32, 3);
}

TEST_F(RfcReducedNotificationsTest, ASelectionAnswersOnce)
{
    OrvNbiNotificationService::RfcSubscriptionFilter& filter = filterOf({node("A").select({"x"})});
    ASSERT_TRUE(avc("A=1", {"x"}));
    const OwnedNotification reduced = zeroed();
    ASSERT_TRUE(filter.getAttrSelectNotification(matched(), reduced.get()));
    EXPECT_THAT(selected(), IsEmpty());
    OrvOamSpiNbiNotificationValue_1 second = untouched();

    EXPECT_FALSE(filter.getAttrSelectNotification(matched(), &second));

    EXPECT_TRUE(isUntouched(second));
}

TEST_F(RfcReducedNotificationsTest, WithoutASelectionTheRecordIsLeftAlone)
{
    OrvNbiNotificationService::RfcSubscriptionFilter& filter = filterOf({node("A").child(node("B").select({"x"}))});
    OrvOamSpiNbiNotificationValue_1 record = untouched();
    ASSERT_TRUE(avc("A=1,B=2", {"x"}));

    EXPECT_FALSE(filter.getAttrSelectNotification(matched(), &record));

    EXPECT_TRUE(isUntouched(record));
}

// As after a replay, whose matches nobody follows up.
TEST_F(RfcReducedNotificationsTest, ASelectionOfAnotherNotificationIsDropped)
{
    OrvNbiNotificationService::RfcSubscriptionFilter& filter = filterOf({node("A").select({"x"})});
    OrvOamSpiNbiNotificationValue_1 record = untouched();
    const Notification other = makeNotification(TIME, "A=1", attributeChanged, {int32Attribute("x", 1)});
    std::unique_ptr<Notification> gone =
        std::make_unique<Notification>(makeNotification(TIME, "A=1", attributeChanged, {int32Attribute("x", 1)}));
    ASSERT_TRUE(filter.match(**gone));
    gone.reset();

    EXPECT_FALSE(filter.getAttrSelectNotification(*other, &record));

    EXPECT_TRUE(isUntouched(record));
    EXPECT_THAT(selected(), IsEmpty());
}

TEST_F(RfcReducedNotificationsTest, ADroppedSelectionDoesNotComeBack)
{
    OrvNbiNotificationService::RfcSubscriptionFilter& filter = filterOf({node("A").select({"x"})});
    OrvOamSpiNbiNotificationValue_1 record = untouched();
    ASSERT_TRUE(avc("A=1", {"x"}));
    const Notification heartbeat(TIME, nullptr, heartbeatNotification, {});

    EXPECT_FALSE(filter.getAttrSelectNotification(*heartbeat, &record));
    EXPECT_FALSE(filter.getAttrSelectNotification(matched(), &record));

    EXPECT_TRUE(isUntouched(record));
}

TEST_F(RfcReducedNotificationsTest, ARecordWithoutAttributesOwnsNoSelection)
{
    OrvNbiNotificationService::RfcSubscriptionFilter& filter = filterOf({node("A").select({"x"})});
    OrvOamSpiNbiNotificationValue_1 record = untouched();
    ASSERT_TRUE(avc("A=1", {"x"}));
    Notification heartbeat(TIME, nullptr, heartbeatNotification, {});
    heartbeat->attributes = nullptr;

    EXPECT_FALSE(filter.getAttrSelectNotification(*heartbeat, &record));

    EXPECT_TRUE(isUntouched(record));
    EXPECT_THAT(selected(), IsEmpty());
}

TEST_F(RfcReducedNotificationsTest, EveryEntryOfTheSelectionMustBeTheNotificationsOwn)
{
    OrvNbiNotificationService::RfcSubscriptionFilter& filter = filterOf({node("A").select({"x", "y"})});
    OrvOamSpiNbiNotificationValue_1 record = untouched();
    const Notification other = makeNotification(TIME, "A=1", attributeChanged, {int32Attribute("z", 1)});
    for (const bool atEnd : {true, false})
    {
        ASSERT_TRUE(avc("A=1", {"x", "y"}));
        std::list<ZelMoNamedAttributeValueContainer_3*>& selection = filter.selectedAttributes;
        selection.insert(atEnd ? selection.end() : selection.begin(), other->attributes[0]);

        EXPECT_FALSE(filter.getAttrSelectNotification(matched(), &record));

        EXPECT_TRUE(isUntouched(record));
        EXPECT_THAT(selected(), IsEmpty());
    }
}

TEST_F(RfcReducedNotificationsTest, TheCallIsTold)
{
    OrvNbiNotificationService::RfcSubscriptionFilter& filter = filterOf({node("A").select({"x"})});
    OrvOamSpiNbiNotificationValue_1 record = untouched();
    ASSERT_FALSE(avc("A=1"));
    newTraces();
    EXPECT_FALSE(filter.getAttrSelectNotification(matched(), &record));
    EXPECT_THAT(newTraces(), ElementsAre("getAttrSelectNotification"));

    ASSERT_TRUE(avc("A=1", {"x"}));
    newTraces();
    const OwnedNotification reduced = zeroed();
    EXPECT_TRUE(filter.getAttrSelectNotification(matched(), reduced.get()));
    EXPECT_THAT(newTraces(), ElementsAre("getAttrSelectNotification", "Attributes selections present"));

    ASSERT_TRUE(avc("A=1", {"x"}));
    newTraces();
    EXPECT_FALSE(filter.getAttrSelectNotification(*makeNotification(TIME, "A=1", attributeChanged), &record));
    EXPECT_THAT(newTraces(), ElementsAre("getAttrSelectNotification"));
}

// What has been copied by then belongs to the record, which can be freed like any other.
TEST_F(RfcReducedNotificationsTest, AnAttributeThatCannotBeCopiedLeavesARecordThatCanBeFreed)
{
    OrvNbiNotificationService::RfcSubscriptionFilter& filter = filterOf({node("A").select({"x", "y", "u", "z"})});
    ASSERT_TRUE(
        match("A=1", attributeChanged,
              {uncopyableAttribute("u"), int32Attribute("x", 1), stringAttribute("y", "two"), int32Attribute("z", 3)}));
    OwnedNotification reduced = zeroed();

    EXPECT_THROW(filter.getAttrSelectNotification(matched(), reduced.get()), Orv::OrvException);

    EXPECT_STREQ(reduced->dn, "A=1");
    EXPECT_THAT(names(*reduced), ElementsAre("x", "y"));
    for (size_t slot = 2; slot < 5; ++slot)
    {
        EXPECT_EQ(reduced->attributes[slot], nullptr);
    }
}

TEST_F(RfcReducedNotificationsTest, WithoutMemoryTheRecordCanBeFreed)
{
    OrvNbiNotificationService::RfcSubscriptionFilter& filter = filterOf({node("A").select({"x", "y"})});
    {
        ASSERT_TRUE(avc("A=1", {"x", "y"}));
        const OwnedNotification reduced = zeroed();
        const StrdupFault fault;
        EXPECT_THROW(filter.getAttrSelectNotification(matched(), reduced.get()), std::bad_alloc);
        EXPECT_EQ(reduced->attributes, nullptr);
    }
    for (unsigned int nth = 1, failures = 1; failures != 0; ++nth)
    {
        ASSERT_TRUE(avc("A=1", {"x", "y"}));
        const OwnedNotification reduced = zeroed();
        failures = 0;
        try
        {
            const AllocationFault fault(nth);
            EXPECT_TRUE(filter.getAttrSelectNotification(matched(), reduced.get()));
            EXPECT_FALSE(fault.met());
        }
        catch (const std::bad_alloc&)
        {
            ++failures;
            continue;
        }
        EXPECT_GT(nth, 1u);
        EXPECT_THAT(names(*reduced), ElementsAre("x", "y"));
    }
}

}  // namespace OrvTest
