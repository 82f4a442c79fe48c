// The stop time and the heartbeat. The callbacks are called directly; a few tests show that real timers call them.
#include <climits>
#include <cstdint>

#include "SubscriptionTest.h"

using namespace OrvTest;

typedef SubscriptionTest NotificationSubscriptionStopTime;
typedef SubscriptionTest NotificationSubscriptionHeartbeat;
typedef std::vector<int32_t> Types;
typedef std::vector<std::string> Dns;

namespace
{

const long LARGEST_INTERVAL = 2147483647;                   // milliseconds
const int64_t TWO_TO_THE_32 = 4294967296;                   // milliseconds
const long long SECONDS_CUT_TO_8_MILLISECONDS = 115964117;  // times 1000: 27 * 2^32 + 8

}  // namespace

static_assert(static_cast<uint32_t>(static_cast<uint64_t>(SECONDS_CUT_TO_8_MILLISECONDS) * 1000) == 8, "");

TEST_F(NotificationSubscriptionStopTime, AStopTimeOfZeroStartsNoTimerAndCompletesNever)
{
    pool().joinAll();
    subscribe();
    EXPECT_EQ(pool().used(), 0);
    EXPECT_EQ(subscription->_timer.getStartInterval(), 0);
    EXPECT_FALSE(subscription->_stopped);

    clock.set(LLONG_MAX);
    notify(LLONG_MAX, "A=1");
    deliverAll();
    EXPECT_EQ(handler.dns(), Dns({"A=1"}));
    EXPECT_FALSE(subscription->_stopped);
}

TEST_F(NotificationSubscriptionStopTime, ATimerClosesTheSubscriptionWhenTheStopTimeComes)
{
    subscribe(until(NOW + 5 * MILLISECOND));
    ASSERT_TRUE(handler.waitForType(notificationComplete));
    deliverAll();
    EXPECT_EQ(handler.types(), Types({notificationComplete}));
    EXPECT_EQ(handler.received()[0].eventTime, NOW);
    EXPECT_TRUE(subscription->_stopped);
    // One shot: the timer gives its thread back.
    pool().joinAll();
    EXPECT_EQ(handler.count(), 1u);
}

TEST_F(NotificationSubscriptionStopTime, TheDelayIsCutToWholeMilliseconds)
{
    subscribe(until(NOW + HOUR + 1999));
    EXPECT_EQ(subscription->_timer.getStartInterval(), 3600001);
    EXPECT_EQ(subscription->_timer.getPeriodicInterval(), 0);
}

TEST_F(NotificationSubscriptionStopTime, ADelayBelowOneMillisecondFiresAtOnce)
{
    subscribe(until(NOW + 999));
    EXPECT_EQ(subscription->_timer.getStartInterval(), 0);
    EXPECT_TRUE(handler.waitForType(notificationComplete));
}

TEST_F(NotificationSubscriptionStopTime, TheLongestDelayThatFitsIsKept)
{
    subscribe(until(NOW + LARGEST_INTERVAL * MILLISECOND));
    EXPECT_EQ(subscription->_timer.getStartInterval(), LARGEST_INTERVAL);
}

TEST_F(NotificationSubscriptionStopTime, ALongerDelayIsCutToItsLow32Bits)
{
    subscribe(until(NOW + (TWO_TO_THE_32 + 5) * MILLISECOND));
    EXPECT_EQ(subscription->_timer.getStartInterval(), 5);
    // So the subscription completes 49.7 days early.
    EXPECT_TRUE(handler.waitForType(notificationComplete));
}

TEST_F(NotificationSubscriptionStopTime, AStopTimeEqualToNowHasPassed)
{
    subscribe(until(NOW));
    EXPECT_TRUE(subscription->_stopped);
    deliverAll();
    EXPECT_EQ(handler.types(), Types({notificationComplete}));
}

TEST_F(NotificationSubscriptionStopTime, APassedStopTimeCompletesInsideTheConstructor)
{
    pool().joinAll();
    handler.hold();
    subscribe(until(NOW - 1));
    EXPECT_TRUE(subscription->_stopped);
    ASSERT_TRUE(handler.waitUntilHeld());
    EXPECT_EQ(handler.types(), Types({notificationComplete}));
    EXPECT_EQ(handler.received()[0].eventTime, NOW);
    EXPECT_TRUE(handler.received()[0].dnIsNull);
    EXPECT_EQ(pool().used(), 1);  // the run, and no timer
}

TEST_F(NotificationSubscriptionStopTime, APassedStopTimeWithAReplayGivesGapCopiesReplayCompleteAndNotificationComplete)
{
    Request request = replayFrom(CREATED - 1);
    request.stopTime = NOW - 1;
    request.heartbeatSupported = true;
    request.heartbeatInterval = 3600;
    store(NOW - 1, "at the stop=1");
    store(NOW, "after the stop=1");
    subscribe(request);
    // The heartbeat timer is started all the same.
    EXPECT_EQ(subscription->_heartbeatTimer.getPeriodicInterval(), 3600000);
    deliverAll();
    EXPECT_EQ(handler.types(), Types({replayGap, objectCreated, replayComplete, notificationComplete}));
    EXPECT_EQ(handler.dns(), Dns({"-", "at the stop=1", "-", "-"}));
    EXPECT_GE(pool().used(), 1);
}

TEST_F(NotificationSubscriptionStopTime, ANegativeStopTimeCompletesAtOnceAndReplaysNothing)
{
    Request request = replayFrom(-10);
    request.stopTime = -1;
    store(0, "A=1");
    store(NOW - 1, "B=1");
    subscribe(request);
    EXPECT_TRUE(subscription->_stopped);
    deliverAll();
    EXPECT_EQ(handler.types(), Types({replayGap, replayComplete, notificationComplete}));
}

TEST_F(NotificationSubscriptionStopTime, TheEarliestStopTimeThereIsCompletesAtOnce)
{
    subscribe(until(LLONG_MIN));
    deliverAll();
    EXPECT_EQ(handler.types(), Types({notificationComplete}));
}

TEST_F(NotificationSubscriptionStopTime, WhatIsQueuedWhenTheStopTimeComesIsDeliveredFirst)
{
    subscribe(until(NOW + HOUR));
    handler.hold();
    notify(NOW, "in the handler=1");
    ASSERT_TRUE(handler.waitUntilHeld());
    notify(NOW, "waiting=1");
    notify(NOW, "waiting=2");
    subscription->onTimer(subscription->_timer);
    notify(NOW, "too late=1");
    handler.release();
    deliverAll();
    EXPECT_EQ(handler.dns(), Dns({"in the handler=1", "waiting=1", "waiting=2", "-"}));
    EXPECT_EQ(handler.types().back(), notificationComplete);
}

TEST_F(NotificationSubscriptionStopTime, TheHeartbeatTimerIsLeftAloneByTheCompletion)
{
    Request request = withHeartbeat(3600);
    request.stopTime = NOW + HOUR;
    subscribe(request);
    subscription->onTimer(subscription->_timer);
    EXPECT_EQ(subscription->_heartbeatTimer.getPeriodicInterval(), 3600000);
    // It fires on, and its records are dropped.
    subscription->onHeartbeatTimer(subscription->_heartbeatTimer);
    deliverAll();
    EXPECT_EQ(handler.types(), Types({notificationComplete}));
}

TEST_F(NotificationSubscriptionStopTime, AClockChangeDoesNotRearmTheTimer)
{
    subscribe(until(NOW + HOUR));
    clock.advance(2 * HOUR);
    buffer.systemClockChanged(NOW + 2 * HOUR);
    notifyControl(discardedOld, NOW + 2 * HOUR);
    EXPECT_EQ(subscription->_timer.getStartInterval(), 3600000);
    EXPECT_FALSE(subscription->_stopped);
    EXPECT_TRUE(tokenIsFree());
    EXPECT_EQ(handler.count(), 0u);
}

TEST_F(NotificationSubscriptionHeartbeat, BothIntervalsAreThePeriodSoTheFirstComesAfterOnePeriod)
{
    subscribe(withHeartbeat(3600));
    EXPECT_EQ(subscription->_heartbeatTimer.getStartInterval(), 3600000);
    EXPECT_EQ(subscription->_heartbeatTimer.getPeriodicInterval(), 3600000);
    EXPECT_EQ(subscription->_timer.getStartInterval(), 0);
    EXPECT_EQ(handler.count(), 0u);
}

TEST_F(NotificationSubscriptionHeartbeat, ARealTimerSendsOneAfterAnother)
{
    subscribe(withHeartbeat(SECONDS_CUT_TO_8_MILLISECONDS));
    ASSERT_TRUE(handler.waitForType(heartbeatNotification, 3));
    const Received heartbeat = handler.received()[0];
    EXPECT_EQ(heartbeat.type, heartbeatNotification);
    EXPECT_EQ(heartbeat.eventTime, NOW);
    EXPECT_TRUE(heartbeat.dnIsNull);
    EXPECT_TRUE(heartbeat.attributes.empty());
}

TEST_F(NotificationSubscriptionHeartbeat, ThePeriodIsCutToItsLow32Bits)
{
    subscribe(withHeartbeat(SECONDS_CUT_TO_8_MILLISECONDS));
    EXPECT_EQ(subscription->_heartbeatTimer.getPeriodicInterval(), 8);
    EXPECT_EQ(subscription->_heartbeatTimer.getStartInterval(), 8);
}

TEST_F(NotificationSubscriptionHeartbeat, TheUpperHalfOfTheValueIsNotLookedAt)
{
    subscribe(withHeartbeat((1LL << 62) + (1LL << 32) + 3600));
    EXPECT_EQ(subscription->_heartbeatTimer.getPeriodicInterval(), 3600000);
}

TEST_F(NotificationSubscriptionHeartbeat, TheLongestPeriodThatFitsIsKept)
{
    subscribe(withHeartbeat(2147483));
    EXPECT_EQ(subscription->_heartbeatTimer.getPeriodicInterval(), 2147483000);
}

TEST_F(NotificationSubscriptionHeartbeat, AValueOfZeroSendsOneAtOnceAndEndsTheTimer)
{
    subscribe(withHeartbeat(0));
    EXPECT_EQ(subscription->_heartbeatTimer.getStartInterval(), 0);
    EXPECT_EQ(subscription->_heartbeatTimer.getPeriodicInterval(), 0);
    ASSERT_TRUE(handler.waitForType(heartbeatNotification));
    pool().joinAll();  // would not return while the timer runs
    EXPECT_EQ(handler.types(), Types({heartbeatNotification}));
}

TEST_F(NotificationSubscriptionHeartbeat, WithoutSupportTheValueIsIgnored)
{
    pool().joinAll();
    for (const long long value : {LLONG_MIN, -1LL, 0LL, 1LL, LLONG_MAX})
    {
        Request request;
        request.heartbeatInterval = value;
        subscribe(request);
        EXPECT_EQ(subscription->_heartbeatTimer.getPeriodicInterval(), 0);
        EXPECT_EQ(pool().used(), 0);
        subscription->stop();
    }
    EXPECT_EQ(handler.count(), 0u);
}

TEST_F(NotificationSubscriptionHeartbeat, GoesBehindAllThatWaits)
{
    subscribe();
    {
        const TokenHold token(*subscription);
        notify(NOW, "A=1");
        subscription->onHeartbeatTimer(subscription->_heartbeatTimer);
        notify(NOW, "B=1");
        EXPECT_EQ(queuedTypes(), Types({objectCreated, heartbeatNotification, objectCreated}));
    }
    EXPECT_EQ(filter.matchCalls, 2u);
}

TEST_F(NotificationSubscriptionHeartbeat, IsNotSuppressedByOtherTraffic)
{
    subscribe();
    notify(NOW, "A=1");
    deliverAll();
    subscription->onHeartbeatTimer(subscription->_heartbeatTimer);
    deliverAll();
    EXPECT_EQ(handler.types(), Types({objectCreated, heartbeatNotification}));
}

TEST_F(NotificationSubscriptionHeartbeat, CarriesTheTimeOfItsMaking)
{
    subscribe();
    clock.advance(5 * SECOND);
    subscription->onHeartbeatTimer(subscription->_heartbeatTimer);
    deliverAll();
    EXPECT_EQ(handler.received().at(0).eventTime, NOW + 5 * SECOND);
}
