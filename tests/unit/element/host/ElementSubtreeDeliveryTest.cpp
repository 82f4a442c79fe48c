// What subtree filters bring when the loaded service judges the element's own events: live, in a replay, behind a
// deletion, and after the service has been started again.
#include "LiveElementTest.h"

namespace OrvElement
{
namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

typedef LiveElementTest ElementSubtreeDeliveryTest;

const int64_t HOUR = 3600000000;  // microseconds

const char* const CREATED_A = "created ManagedElement=ne1,box=1,item=a";
const char* const CHANGED_A = "changed ManagedElement=ne1,box=1,item=a {value}";
const char* const DELETED_A = "deleted ManagedElement=ne1,box=1,item=a";
const char* const DELETED_SETTINGS_OF_A = "deleted ManagedElement=ne1,box=1,item=a,settings=*";

const char* const CREATE_A = "<item><name>a</name><value>7</value></item>";
const char* const CHANGE_A = "<item><name>a</name><value>8</value></item>";
const char* const DELETE_A = "<item nc:operation='delete'><name>a</name></item>";

// The text with the event time, the transaction and the sequence number that the record has.
std::string numbered(const std::string& text, const LiveRecord& record)
{
    return text + " " + std::to_string(record.eventTime) + " " + std::to_string(record.txHandle) + " " +
           std::to_string(record.sequenceNumber);
}

Texts numbered(const std::vector<LiveRecord>& records)
{
    Texts texts;
    for (const LiveRecord& record : records)
    {
        texts.push_back(numbered(record.text, record));
    }
    return texts;
}

TEST_F(ElementSubtreeDeliveryTest, ReplaysPlainCopiesWhereLiveDeliveryDerives)
{
    subscribe("live", {"/box/item[name='a']/{value,settings}"});
    editBox(CREATE_A);
    editBox(CHANGE_A);
    editBox(DELETE_A);
    EXPECT_THAT(take("live"), ElementsAre(CREATED_A, CHANGED_A, DELETED_A, DELETED_SETTINGS_OF_A));

    subscribe("late", {"/box/item[name='a']/{value,settings}"}, now() - HOUR);
    EXPECT_THAT(take("late"), ElementsAre("replayGap", CREATED_A, CHANGED_A, DELETED_A, "replayComplete"));
}

TEST_F(ElementSubtreeDeliveryTest, ReducesARecordOfTheElementItselfLiveButNotInAReplay)
{
    const char* const reduced = "changed ManagedElement=ne1 {contact}";
    subscribe("live", {"/contact"});
    // There is a record for each changed attribute, with those that follow it in the event.
    edit("<site xmlns='urn:orv:top'>north</site><contact xmlns='urn:orv:top'>me</contact>");
    edit("<site xmlns='urn:orv:top'>south</site>");
    EXPECT_THAT(take("live"), ElementsAre(reduced, reduced));

    // Records of one time are replayed newest first.
    subscribe("late", {"/contact"}, now() - HOUR);
    EXPECT_THAT(take("late"),
                ElementsAre("replayGap", reduced, "changed ManagedElement=ne1 {site,contact}", "replayComplete"));
}

TEST_F(ElementSubtreeDeliveryTest, ClosesEachTransactionOfAConditionThatCanBeRead)
{
    subscribe("seven", {"/box/item[value='7']"});
    editBox(CREATE_A);
    EXPECT_THAT(take("seven"), ElementsAre(CREATED_A));
    editBox(CHANGE_A);
    EXPECT_THAT(take("seven"), IsEmpty());
    editBox("<item><name>a</name><value>7</value></item>");
    EXPECT_THAT(take("seven"), ElementsAre(CHANGED_A));
    editBox(DELETE_A);
    EXPECT_THAT(take("seven"), ElementsAre(DELETED_A));

    // The last record is judged without its condition: there is nothing left to read.
    const TransactionCounters counters = element.transactionCounters();
    EXPECT_EQ(counters.opened, 3u);
    EXPECT_EQ(counters.closed, 3u);
}

TEST_F(ElementSubtreeDeliveryTest, LeavesTheTransactionOfAFailedReadToBeReclaimed)
{
    editBox("<item><name>a</name><value>7</value><extra/></item>");
    flush();
    subscribe("extra", {"/box/item[value='7']/extra"});
    editBox(DELETE_A);
    // The extra container goes first, and is asked for a condition on an item that is no more.
    EXPECT_THAT(take("extra"), ElementsAre("deleted ManagedElement=ne1,box=1,item=a,extra=*"));
    failedReads = 1;
    EXPECT_EQ(opened(), 1u);
}

TEST_F(ElementSubtreeDeliveryTest, WhatIsDerivedHasTheNumbersOfItsDeletion)
{
    subscribe("derived", {"/box/item/{value,settings}"});
    editBox("<item><name>a</name></item><item><name>b</name></item>");
    take("all");
    take("derived");
    editBox(std::string(DELETE_A) + "<item nc:operation='delete'><name>b</name></item>");
    flush();
    const std::vector<LiveRecord> deletions = records("all");
    ASSERT_EQ(deletions.size(), 2u);
    EXPECT_NE(deletions[0].sequenceNumber, deletions[1].sequenceNumber);
    EXPECT_THAT(numbered(records("derived")),
                ElementsAre(numbered(DELETED_A, deletions[0]), numbered(DELETED_SETTINGS_OF_A, deletions[0]),
                            numbered("deleted ManagedElement=ne1,box=1,item=b", deletions[1]),
                            numbered("deleted ManagedElement=ne1,box=1,item=b,settings=*", deletions[1])));
}

TEST_F(ElementSubtreeDeliveryTest, EachControlRecordBehindADeletionComesOnceForEachOfItsDns)
{
    subscribe("derived", {"/box/item/{value,settings}"});
    push("ManagedElement=ne1,box=1,item=a", objectDeleted, 1);
    push("no object", heartbeatNotification, 2);
    push("no object", discardedOld, 3);
    flush();
    EXPECT_THAT(numbered(records("derived")),
                ElementsAre("deleted ManagedElement=ne1,box=1,item=a 1 1 1",
                            "deleted ManagedElement=ne1,box=1,item=a,settings=* 1 1 1",
                            "heartbeatNotification ManagedElement=ne1,box=1,item=a 2 2 2",
                            "heartbeatNotification ManagedElement=ne1,box=1,item=a,settings=* 2 2 2",
                            "discardedOld ManagedElement=ne1,box=1,item=a 3 3 3",
                            "discardedOld ManagedElement=ne1,box=1,item=a,settings=* 3 3 3"));
    EXPECT_THAT(take("all"), ElementsAre(DELETED_A, "heartbeatNotification no object", "discardedOld no object"));
}

TEST_F(ElementSubtreeDeliveryTest, AControlRecordIsItselfOnceAnythingElseHasBeenJudged)
{
    subscribe("derived", {"/box/item/{value,settings}"});
    push("ManagedElement=ne1,box=1,item=a", objectDeleted);
    push("another object", attributeChanged);
    push("no object", heartbeatNotification);
    EXPECT_THAT(take("derived"), ElementsAre(DELETED_A, DELETED_SETTINGS_OF_A, "heartbeatNotification no object"));
}

TEST_F(ElementSubtreeDeliveryTest, ServesAnotherSubtreeFilterAfterOneIsGone)
{
    subscribe("first", {"/box/item[value='7']"});
    editBox(CREATE_A);
    EXPECT_THAT(take("first"), ElementsAre(CREATED_A));
    EXPECT_EQ(opened(), 1u);
    subscribers->remove("first");
    subscribe("second", {"/box/item[name='a']/*"});
    editBox(CHANGE_A);
    editBox(DELETE_A);
    EXPECT_THAT(take("second"), ElementsAre(CHANGED_A, DELETED_A));
    EXPECT_EQ(opened(), 1u) << "the first filter's condition is asked no more";
    EXPECT_THAT(take("first"), IsEmpty());
}

TEST_F(ElementSubtreeDeliveryTest, ServesSubtreeFiltersAgainAfterAStopAndAStart)
{
    subscribe("old", {"/box/item[value='7']/{value,settings}"});
    editBox(CREATE_A);
    EXPECT_THAT(take("old"), ElementsAre(CREATED_A));
    EXPECT_EQ(opened(), 1u);

    element._component.stop();
    // The old trees go with their subscribers. The service refuses to unsubscribe by now, and must not need them.
    subscribers.reset();
    element._component.start();

    makeSubscribers();
    subscribe("new", {"/box/item[value='8']/{value,settings}"});
    editBox(CHANGE_A);
    EXPECT_THAT(take("new"), ElementsAre(CHANGED_A));
    EXPECT_EQ(opened(), 2u) << "no condition from before the stop is asked";
    editBox(DELETE_A);
    EXPECT_THAT(take("new"), ElementsAre(DELETED_A, DELETED_SETTINGS_OF_A));
    EXPECT_THAT(take("old"), IsEmpty());
}

}  // namespace
}  // namespace OrvElement
