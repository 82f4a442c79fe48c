// The queue limit: a full queue is thrown away whole.
#include <cstdint>

#include "PauseHook.h"
#include "SubscriptionTest.h"

using namespace OrvTest;

typedef SubscriptionTest NotificationSubscriptionOverflow;
typedef std::vector<int32_t> Types;
typedef std::vector<std::string> Dns;
typedef OrvOamSpiNbiNotificationValue_1 Record;

TEST_F(NotificationSubscriptionOverflow, BelowTheLimitNothingIsPurged)
{
    subscribe(withLimit(3));
    const TokenHold token(*subscription);
    notify(NOW, "A=1");
    notify(NOW, "A=2");
    notify(NOW, "A=3");
    EXPECT_EQ(queuedDns(), Dns({"A=1", "A=2", "A=3"}));
}

TEST_F(NotificationSubscriptionOverflow, AtTheLimitTheNextArrivalLeavesExactlyTheOverflowRecordAndItsCopy)
{
    subscribe(withLimit(3));
    const TokenHold token(*subscription);
    notify(NOW, "A=1");
    notify(NOW, "A=2");
    notify(NOW, "A=3");
    clock.advance(7);
    notify(NOW + 1, "A=4");
    EXPECT_EQ(queuedTypes(), Types({overflowNotification, objectCreated}));
    EXPECT_EQ(queuedDns(), Dns({"-", "A=4"}));
    // The overflow record has the time of the purge.
    EXPECT_EQ(queuedTimes(), std::vector<int64_t>({NOW + 7, NOW + 1}));
    EXPECT_EQ(queueFront().attributes, nullptr);
    EXPECT_FALSE(subscription->_overflow);
}

TEST_F(NotificationSubscriptionOverflow, TheLimitIsThatOfTheSubscriptionAndNotOfTheBuffer)
{
    subscribe(withLimit(100));
    const TokenHold token(*subscription);
    for (int i = 0; i < 100; ++i)
    {
        notify(NOW, "A=" + std::to_string(i));
    }
    EXPECT_EQ(queuedTypes(), Types(100, objectCreated));
    notify(NOW, "A=100");
    EXPECT_EQ(queuedTypes(), Types({overflowNotification, objectCreated}));
}

TEST_F(NotificationSubscriptionOverflow, AnUnwantedArrivalPurgesNothing)
{
    subscribe(withLimit(2));
    const TokenHold token(*subscription);
    notify(NOW, "A=1");
    notify(NOW, "A=2");
    filter.match = [](const Record&) { return false; };
    notify(NOW, "A=3");
    EXPECT_EQ(queuedDns(), Dns({"A=1", "A=2"}));
}

TEST_F(NotificationSubscriptionOverflow, ASecondPurgeRemovesTheOverflowRecordOfTheFirst)
{
    subscribe(withLimit(2));
    const TokenHold token(*subscription);
    notify(NOW, "A=1");
    notify(NOW, "A=2");
    notify(NOW, "A=3");
    EXPECT_EQ(queuedTypes(), Types({overflowNotification, objectCreated}));
    clock.advance(9);
    notify(NOW, "A=4");
    EXPECT_EQ(queuedTypes(), Types({overflowNotification, objectCreated}));
    EXPECT_EQ(queuedTimes().front(), NOW + 9);
    EXPECT_EQ(queuedDns(), Dns({"-", "A=4"}));
}

TEST_F(NotificationSubscriptionOverflow, DerivedRecordsExceedTheLimitAndTheNextArrivalPurgesThem)
{
    filter.deletes = [](const Record& record, std::vector<Record*>& derived)
    {
        if (record.notificationType == objectDeleted)
        {
            for (int i = 0; i < 4; ++i)
            {
                derived.push_back(derivedRecord(NOW, "D=1", objectDeleted));
            }
        }
    };
    subscribe(withLimit(2));
    const TokenHold token(*subscription);
    notify(NOW, "root=1", objectDeleted);
    EXPECT_EQ(queuedTypes(), Types(4, objectDeleted));
    notify(NOW, "A=1");
    EXPECT_EQ(queuedTypes(), Types({overflowNotification, objectCreated}));
}

TEST_F(NotificationSubscriptionOverflow, TheDerivedRecordsOfTheArrivalFollowTheOverflowRecord)
{
    filter.deletes = [](const Record& record, std::vector<Record*>& derived)
    {
        if (record.notificationType == objectDeleted)
        {
            derived.push_back(derivedRecord(NOW, "D=1", objectDeleted));
            derived.push_back(derivedRecord(NOW, "D=2", objectDeleted));
        }
    };
    subscribe(withLimit(1));
    const TokenHold token(*subscription);
    notify(NOW, "A=1");
    notify(NOW, "root=1", objectDeleted);
    EXPECT_EQ(queuedTypes(), Types({overflowNotification, objectDeleted, objectDeleted}));
    EXPECT_EQ(queuedDns(), Dns({"-", "D=1", "D=2"}));
}

TEST_F(NotificationSubscriptionOverflow, TheRecordInTheHandlerIsNotPurged)
{
    subscribe(withLimit(2));
    handler.hold();
    notify(NOW, "in the handler=1");
    ASSERT_TRUE(handler.waitUntilHeld());
    notify(NOW, "purged=1");
    notify(NOW, "purged=2");
    notify(NOW, "arrival=1");
    handler.release();
    deliverAll();
    EXPECT_EQ(handler.dns(), Dns({"in the handler=1", "-", "arrival=1"}));
    EXPECT_EQ(handler.types(), Types({objectCreated, overflowNotification, objectCreated}));
}

TEST_F(NotificationSubscriptionOverflow, ARefusedRecordAtTheFrontIsPurgedAndTheHandlerSeesTheOverflowRecordNext)
{
    subscribe(withLimit(2));
    const std::thread::id here = std::this_thread::get_id();
    {
        PauseHook arrivals(
            [&]
            {
                // The run is backing off, and the refused record stands at the front.
                EXPECT_NE(std::this_thread::get_id(), here);
                EXPECT_EQ(queuedDns(), Dns({"refused=1"}));
                notify(NOW, "behind=1");
                EXPECT_EQ(queuedDns(), Dns({"refused=1", "behind=1"}));
                notify(NOW, "arrival=1");
                return 0;
            });
        handler.answer({OrvRetry});
        notify(NOW, "refused=1");
        deliverAll();
        EXPECT_EQ(arrivals.requests().size(), 1u);
    }
    EXPECT_EQ(handler.dns(), Dns({"refused=1", "-", "arrival=1"}));
    EXPECT_EQ(handler.types(), Types({objectCreated, overflowNotification, objectCreated}));
}

TEST_F(NotificationSubscriptionOverflow, ARecordPutBackCanRaiseTheQueueAboveTheLimit)
{
    PauseHook quick;
    subscribe(withLimit(2));
    handler.hold();
    handler.answer({OrvRetry});
    notify(NOW, "refused=1");
    ASSERT_TRUE(handler.waitUntilHeld());
    notify(NOW, "waiting=1");
    notify(NOW, "waiting=2");
    handler.release();
    deliverAll();
    EXPECT_EQ(handler.dns(), Dns({"refused=1", "refused=1", "waiting=1", "waiting=2"}));
}

TEST_F(NotificationSubscriptionOverflow, AHeartbeatAtAFullQueuePurgesIt)
{
    subscribe(withLimit(2));
    const TokenHold token(*subscription);
    notify(NOW, "A=1");
    notify(NOW, "A=2");
    subscription->onHeartbeatTimer(subscription->_heartbeatTimer);
    EXPECT_EQ(queuedTypes(), Types({overflowNotification, heartbeatNotification}));
}

TEST_F(NotificationSubscriptionOverflow, TheNotificationCompleteRecordCanBeTheArrivalThatThrowsTheBacklogAway)
{
    subscribe(withLimit(2));
    const TokenHold token(*subscription);
    notify(NOW, "A=1");
    notify(NOW, "A=2");
    subscription->onTimer(subscription->_timer);
    EXPECT_EQ(queuedTypes(), Types({overflowNotification, notificationComplete}));
}

TEST_F(NotificationSubscriptionOverflow, AReplayAsLargeAsTheLimitIsPurgedByAStopTimeThatHasPassed)
{
    Request request = replayFrom(CREATED);
    request.stopTime = NOW - 1;
    request.queueLimit = 2;
    store(CREATED + 1, "A=1");
    {
        const RunGate gate(framework);  // no run takes anything out before the completion comes
        subscribe(request);
    }
    deliverAll();
    EXPECT_EQ(handler.types(), Types({overflowNotification, notificationComplete}));
}

TEST_F(NotificationSubscriptionOverflow, APurgeCanRemoveReplayCopiesAndTheReplayCompleteRecord)
{
    Request request = replayFrom(CREATED);
    request.queueLimit = 3;
    store(CREATED + 1, "replayed=1");
    store(CREATED + 2, "replayed=2");
    store(CREATED + 3, "replayed=3");
    handler.hold();
    subscribe(request);
    ASSERT_TRUE(handler.waitUntilHeld());
    notify(NOW, "live=1");
    handler.release();
    deliverAll();
    EXPECT_EQ(handler.types(), Types({objectCreated, overflowNotification, objectCreated}));
    EXPECT_EQ(handler.dns(), Dns({"replayed=1", "-", "live=1"}));
}
