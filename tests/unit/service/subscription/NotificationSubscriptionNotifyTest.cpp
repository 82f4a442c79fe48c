// notify: what is wanted, and what is queued for it.
#include <climits>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <thread>

#include "AllocationHook.h"
#include "LegacySubscriptionFilter.h"
#include "LogCheck.h"
#include "NotificationUtils.h"
#include "SubscriptionTest.h"

using namespace OrvTest;

typedef SubscriptionTest NotificationSubscriptionNotify;
typedef std::vector<int32_t> Types;
typedef std::vector<std::string> Dns;
typedef OrvOamSpiNbiNotificationValue_1 Record;

namespace
{
const char EXPIRED[] = "Received notification to expired subscription, ignoring";
const Types CONTROL_TYPES = {overflowNotification,  replayGap,   replayComplete, notificationComplete,
                             heartbeatNotification, discardedOld};
}  // namespace

TEST_F(NotificationSubscriptionNotify, AnEventTimeEqualToTheStopTimePassesAndOneMicrosecondLaterDoesNot)
{
    subscribe(until(NOW + HOUR));
    notify(NOW + HOUR, "at the stop=1");
    notify(NOW + HOUR + 1, "later=1");
    deliverAll();
    EXPECT_EQ(handler.dns(), Dns({"at the stop=1"}));
    EXPECT_EQ(filter.matchCalls, 1u);
}

TEST_F(NotificationSubscriptionNotify, WithAStopTimeOfZeroNothingExpires)
{
    subscribe();
    notify(LLONG_MAX, "A=1");
    deliverAll();
    EXPECT_EQ(handler.dns(), Dns({"A=1"}));
}

TEST_F(NotificationSubscriptionNotify, WithANegativeStopTimeNothingExpires)
{
    subscribe(until(-1));
    deliverAll();
    framework.setLevel(8);
    notify(LLONG_MAX, "A=1");
    // It is refused because the subscription has completed, not as expired.
    EXPECT_FALSE(traced(framework.lines(), 0, EXPIRED));
    EXPECT_TRUE(traced(framework.lines(), 0, "Received notification to valid subscription 1"));
    EXPECT_EQ(filter.matchCalls, 1u);
}

TEST_F(NotificationSubscriptionNotify, AfterTheStopTimeHeartbeatsAndLaterNoticesExpireButTypes5And7Pass)
{
    subscribe(until(NOW + HOUR));
    const TokenHold token(*subscription);
    clock.advance(HOUR + 1);
    subscription->onHeartbeatTimer(subscription->_heartbeatTimer);
    notifyControl(discardedOld, NOW + HOUR + 1);
    notifyControl(overflowNotification, NOW + HOUR + 1);
    notifyControl(replayComplete, NOW + HOUR + 1);
    EXPECT_EQ(queuedTypes(), Types());
    notifyControl(discardedOld, NOW + HOUR);
    notifyControl(replayGap, NOW + HOUR + 1);
    notifyControl(notificationComplete, NOW + HOUR + 1);
    EXPECT_EQ(queuedTypes(), Types({discardedOld, replayGap, notificationComplete}));
}

TEST_F(NotificationSubscriptionNotify, AnExpiredRecordCausesNoLookAtTheQueue)
{
    subscribe(until(NOW + HOUR));
    {
        const TokenHold token(*subscription);
        notify(NOW, "missed by a run=1");
    }
    notify(NOW + HOUR + 1, "expired=1");
    EXPECT_TRUE(tokenIsFree());
    EXPECT_EQ(queuedDns(), Dns({"missed by a run=1"}));
}

TEST_F(NotificationSubscriptionNotify, ALiveRecordThatArrivesAfterCompletionIsDroppedSilently)
{
    subscribe(until(NOW - SECOND));
    deliverAll();
    framework.setLevel(8);
    notify(NOW - SECOND, "at the stop=1");
    notify(NOW - HOUR, "before the stop=1");
    EXPECT_EQ(filter.matchCalls, 2u);
    EXPECT_EQ(checkQueueCalls(), 0u);
    EXPECT_EQ(tracesHere({"notify", "enqueue", "appendDerived"}),
              std::vector<std::string>(
                  {" >> notify, notification type is 1 : ", "Received notification to valid subscription 1",
                   "Calling match function", "Filter match occurred. Pushing in notification queue",
                   " >> notify, notification type is 1 : ", "Received notification to valid subscription 1",
                   "Calling match function", "Filter match occurred. Pushing in notification queue"}));
    EXPECT_EQ(handler.types(), Types({notificationComplete}));
}

TEST_F(NotificationSubscriptionNotify, ACompletedSubscriptionTakesASecondNotificationCompleteOnly)
{
    subscribe();
    const TokenHold token(*subscription);
    subscription->sendNotificationComplete();
    for (const int32_t type : CONTROL_TYPES)
    {
        notifyControl(type);
    }
    EXPECT_EQ(queuedTypes(), Types({notificationComplete, notificationComplete}));
}

TEST_F(NotificationSubscriptionNotify, ANullFilterDropsEveryRecordAndLooksAtNoQueue)
{
    Request request;
    request.withFilter = false;
    subscribe(request);
    framework.setLevel(8);
    notify(NOW, "A=1");
    for (const int32_t type : CONTROL_TYPES)
    {
        notifyControl(type);
    }
    EXPECT_EQ(checkQueueCalls(), 0u);
    EXPECT_EQ(queuedTypes(), Types());
    EXPECT_TRUE(tokenIsFree());
    EXPECT_TRUE(traced(framework.lines(), 0, "In notify(), _filters in empty "));
}

TEST_F(NotificationSubscriptionNotify, WithANullFilterThePassedStopTimeSendsNothing)
{
    Request request = until(NOW - 1);
    request.withFilter = false;
    subscribe(request);
    EXPECT_TRUE(subscription->_stopped);
    EXPECT_TRUE(tokenIsFree());
    EXPECT_EQ(queuedTypes(), Types());
}

TEST_F(NotificationSubscriptionNotify, ARefusedRecordCausesNoAllocation)
{
    filter.match = [](const Record&) { return false; };
    subscribe();
    const Notification refused = makeNotification(NOW, "A=1", attributeChanged, {stringAttribute("x", "y")});
    const AllocationCount count;
    subscription->notify(*refused);
    EXPECT_EQ(count.allocations(), 0);
    EXPECT_EQ(filter.matchCalls, 1u);
}

TEST_F(NotificationSubscriptionNotify, ARefusedRecordStillLooksAtTheQueue)
{
    subscribe();
    {
        const TokenHold token(*subscription);
        notify(NOW, "missed by a run=1");
    }
    filter.match = [](const Record&) { return false; };
    notify(NOW, "refused=1");
    waitUntilIdle();
    EXPECT_EQ(handler.dns(), Dns({"missed by a run=1"}));
}

TEST_F(NotificationSubscriptionNotify, ARecordMissedByAnEndingRunWaitsForTheNextLook)
{
    subscribe();
    {
        const TokenHold token(*subscription);  // as a run that has seen the queue empty still holds it
        notify(NOW, "missed=1");
    }
    EXPECT_TRUE(tokenIsFree());
    EXPECT_EQ(queuedDns(), Dns({"missed=1"}));
    EXPECT_EQ(handler.count(), 0u);

    subscription->onHeartbeatTimer(subscription->_heartbeatTimer);
    deliverAll();
    EXPECT_EQ(handler.dns(), Dns({"missed=1", "-"}));
}

TEST_F(NotificationSubscriptionNotify, ControlRecordsPassWithoutTheFilterBeingAsked)
{
    filter.match = [](const Record&) { return false; };
    subscribe();
    const TokenHold token(*subscription);
    for (const int32_t type : CONTROL_TYPES)
    {
        notifyControl(type);
    }
    EXPECT_EQ(queuedTypes(), CONTROL_TYPES);
    EXPECT_EQ(filter.matchCalls, 0u);
}

TEST_F(NotificationSubscriptionNotify, TypesOutsideTheControlRecordsAreForTheFilterToJudge)
{
    std::vector<int32_t> asked;
    filter.match = [&](const Record& record)
    {
        asked.push_back(record.notificationType);
        return true;
    };
    subscribe();
    const TokenHold token(*subscription);
    for (const int32_t type : {INT32_MIN, 0, 1, 2, 3, 10, INT32_MAX})
    {
        notify(NOW, "A=1", type);
    }
    EXPECT_EQ(asked, Types({INT32_MIN, 0, 1, 2, 3, 10, INT32_MAX}));
    EXPECT_EQ(queuedTypes(), asked);
}

TEST_F(NotificationSubscriptionNotify, MatchIsCalledWithTheQueueUnlocked)
{
    bool unlocked = false;
    filter.match = [&](const Record&)
    {
        unlocked = subscription->_queueMutex.tryLock();
        if (unlocked)
        {
            subscription->_queueMutex.unlock();
        }
        return true;
    };
    subscribe();
    notify(NOW, "A=1");
    EXPECT_TRUE(unlocked);
}

TEST_F(NotificationSubscriptionNotify, TheDerivedCallsAreMadeWithTheQueueLocked)
{
    bool freeDuringDeletes = true;
    bool freeDuringSelect = true;
    filter.deletes = [&](const Record&, std::vector<Record*>&)
    { freeDuringDeletes = subscription->_queueMutex.tryLock(); };
    filter.select = [&](const Record&, Record*)
    {
        freeDuringSelect = subscription->_queueMutex.tryLock();
        return false;
    };
    subscribe();
    notify(NOW, "A=1");
    EXPECT_FALSE(freeDuringDeletes);
    EXPECT_FALSE(freeDuringSelect);
}

TEST_F(NotificationSubscriptionNotify, WithoutDerivedRecordsACopyIsQueued)
{
    subscribe();
    const TokenHold token(*subscription);
    const Notification original = makeNotification(NOW - 3, "A=1", attributeChanged,
                                                   {stringAttribute("first", "v"), int32Attribute("second", 2)});
    original->txHandle = 5;
    original->sequenceNumber = 6;
    subscription->notify(*original);
    std::strcpy(original->dn, "B=2");

    ASSERT_EQ(queuedDns(), Dns({"A=1"}));
    const Record& copy = queueFront();
    EXPECT_EQ(copy.eventTime, NOW - 3);
    EXPECT_EQ(copy.txHandle, 5u);
    EXPECT_EQ(copy.sequenceNumber, 6u);
    EXPECT_EQ(copy.notificationType, attributeChanged);
    ASSERT_NE(copy.attributes, original->attributes);
    EXPECT_STREQ(copy.attributes[0]->name, "first");
    EXPECT_STREQ(copy.attributes[0]->values[0].str, "v");
    EXPECT_STREQ(copy.attributes[1]->name, "second");
    EXPECT_EQ(copy.attributes[2], nullptr);
}

TEST_F(NotificationSubscriptionNotify, AnAttributeSelectionReplacesTheRecord)
{
    filter.select = [](const Record& record, Record* selected)
    {
        EXPECT_EQ(selected->eventTime, 0);
        EXPECT_EQ(selected->dn, nullptr);
        EXPECT_EQ(selected->notificationType, 0);
        EXPECT_EQ(selected->attributes, nullptr);
        selected->eventTime = record.eventTime;
        selected->notificationType = record.notificationType;
        selected->dn = strdup("selected=1");
        return true;
    };
    subscribe();
    const TokenHold token(*subscription);
    notify(NOW, "A=1", attributeChanged);
    EXPECT_EQ(queuedDns(), Dns({"selected=1"}));
    EXPECT_EQ(queuedTypes(), Types({attributeChanged}));
}

TEST_F(NotificationSubscriptionNotify, DeleteRecordsReplaceTheRecordInTheirOrder)
{
    filter.deletes = [](const Record& record, std::vector<Record*>& derived)
    {
        EXPECT_TRUE(derived.empty());
        derived.push_back(derivedRecord(record.eventTime, "B=1", objectDeleted));
        derived.push_back(derivedRecord(record.eventTime, "A=1", objectDeleted));
    };
    subscribe();
    const TokenHold token(*subscription);
    notify(NOW, "root=1", objectDeleted);
    EXPECT_EQ(queuedDns(), Dns({"B=1", "A=1"}));
    EXPECT_EQ(filter.selectCalls, 1u);
}

TEST_F(NotificationSubscriptionNotify, WithBothTheAttributeSelectionFollowsTheDeleteRecords)
{
    filter.deletes = [](const Record&, std::vector<Record*>& derived)
    { derived.push_back(derivedRecord(NOW, "deleted=1", objectDeleted)); };
    filter.select = [](const Record&, Record* selected)
    {
        selected->dn = strdup("selected=1");
        return true;
    };
    subscribe();
    const TokenHold token(*subscription);
    notify(NOW, "A=1");
    EXPECT_EQ(queuedDns(), Dns({"deleted=1", "selected=1"}));
}

TEST_F(NotificationSubscriptionNotify, AnUnusedSelectionRecordIsFreedWithoutALookInside)
{
    static char notOnTheHeap[] = "static=1";
    filter.select = [](const Record&, Record* selected)
    {
        selected->dn = notOnTheHeap;
        return false;
    };
    subscribe();
    notify(NOW, "A=1");
    deliverAll();
    EXPECT_EQ(handler.dns(), Dns({"A=1"}));
}

TEST_F(NotificationSubscriptionNotify, TheDerivedCallsAreMadeForControlRecordsToo)
{
    filter.deletes = [](const Record& record, std::vector<Record*>& derived)
    { derived.push_back(derivedRecord(record.eventTime, "left over=1", record.notificationType)); };
    subscribe();
    const TokenHold token(*subscription);
    subscription->onHeartbeatTimer(subscription->_heartbeatTimer);
    EXPECT_EQ(queuedTypes(), Types({heartbeatNotification}));
    EXPECT_EQ(queuedTimes(), std::vector<int64_t>({NOW}));
    EXPECT_EQ(queuedDns(), Dns({"left over=1"}));
    EXPECT_EQ(filter.deletesCalls, 1u);
    EXPECT_EQ(filter.selectCalls, 1u);
}

TEST_F(NotificationSubscriptionNotify, TheArgumentStaysTheCallers)
{
    subscribe();
    const Notification original = makeNotification(NOW, "A=1", objectCreated);
    subscription->notify(*original);
    deliverAll();
    EXPECT_NE(handler.received().at(0).record, &*original);
    EXPECT_STREQ(original->dn, "A=1");
}

TEST_F(NotificationSubscriptionNotify, ANullDnReachesTheTraceAndIsAcceptedThere)
{
    subscribe();
    framework.setLevel(8);
    notifyControl(discardedOld);
    framework.setLevel(6);
    EXPECT_TRUE(traced(framework.lines(), 0, "in notify , Pushing notification (null)"));
    deliverAll();
    EXPECT_EQ(handler.types(), Types({discardedOld}));
}

TEST_F(NotificationSubscriptionNotify, AHeartbeatDoesNotWaitForTheMatchOfALegacyFilter)
{
    class Interrupted : public OrvNbiNotificationService::LegacySubscriptionFilter
    {
    public:
        Interrupted() : LegacySubscriptionFilter(nullptr) {}
        bool match(const Record&) override
        {
            std::thread(meanwhile).join();
            return true;
        }
        std::function<void()> meanwhile;
    };
    auto* const interrupted = new Interrupted();
    subscription = std::make_unique<NotificationSubscription>(HANDLE, RecordingHandler::handlerRecord(), interrupted,
                                                              &buffer, 0, 0, false, 0, 100);
    interrupted->meanwhile = [this] { subscription->onHeartbeatTimer(subscription->_heartbeatTimer); };
    notify(NOW, "A=1");
    deliverAll();
    EXPECT_EQ(handler.types(), Types({heartbeatNotification, objectCreated}));
}

TEST_F(NotificationSubscriptionNotify, WhatMayStartLaterStartsAtOnceWhenDerivedRecordsTakeThreeQuartersOfTheQueue)
{
    filter.deletes = [](const Record&, std::vector<Record*>& derived)
    {
        for (const char* dn : {"A=1,B=1", "A=1,B=2", "A=1,B=3"})
        {
            derived.push_back(derivedRecord(NOW, dn, objectDeleted));
        }
    };
    subscribe(withLimit(8));
    const TokenHold token(*subscription);
    const auto looksFor = [this](NotificationSubscription::Start start)
    {
        const unsigned int before = checkQueueCalls();
        framework.setLevel(8);
        subscription->notify(*makeNotification(NOW, "A=1", objectDeleted), start);
        framework.setLevel(6);
        return checkQueueCalls() - before;
    };
    EXPECT_EQ(0u, looksFor(NotificationSubscription::Start::Later)) << "3 of 8";
    EXPECT_EQ(1u, looksFor(NotificationSubscription::Start::Later)) << "6 of 8";
}

TEST_F(NotificationSubscriptionNotify, AMadeDiscardedOldRecordCarriesTheGivenTimeAndIsTheCallers)
{
    Record* record = NotificationSubscription::createDiscardedOldNotification(-3);
    EXPECT_EQ(record->eventTime, -3);
    EXPECT_EQ(record->notificationType, 9);
    EXPECT_EQ(record->dn, nullptr);
    EXPECT_EQ(record->txHandle, 0u);
    EXPECT_EQ(record->sequenceNumber, 0u);
    EXPECT_EQ(record->attributes, nullptr);
    delete record;
}

TEST_F(NotificationSubscriptionNotify, AMadeOverflowRecordCarriesTheCurrentTime)
{
    Record* record = NotificationSubscription::createOverflowNotification();
    EXPECT_EQ(record->eventTime, NOW);
    EXPECT_EQ(record->notificationType, 4);
    EXPECT_EQ(record->dn, nullptr);
    EXPECT_EQ(record->txHandle, 0u);
    EXPECT_EQ(record->sequenceNumber, 0u);
    EXPECT_EQ(record->attributes, nullptr);
    delete record;
}
