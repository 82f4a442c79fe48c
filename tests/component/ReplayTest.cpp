// Replay, stop time and heartbeat of a subscription.
#include <algorithm>

#include "ComponentTest.h"

namespace OrvTest
{
namespace
{

class Replay : public ComponentTest
{
protected:
    typedef std::vector<int32_t> Types;
    typedef std::vector<std::string> Dns;

    // Stores records at base + 10, base + 20 ... named A=10, A=20 ...
    void store(int64_t base, int count)
    {
        for (int i = 1; i < count; ++i)
        {
            ASSERT_EQ(OrvOk, push(base + 10 * i, "A=" + std::to_string(10 * i)));
        }
        pushMarker(base + 10 * count, "A=" + std::to_string(10 * count));
    }

    // A time that is surely past and that the buffer covers.
    long long coveredTime()
    {
        const long long created = creationTime();
        while (now() <= created + 1000)
        {
        }
        return created;
    }

    static Wish from(long long startTime, long long stopTime = 0)
    {
        Wish wish;
        wish.startTime = startTime;
        wish.stopTime = stopTime;
        return wish;
    }
};

TEST_F(Replay, AStartTimeOf0MeansNoReplayAndNoControlRecord)
{
    startService();
    store(0, 3);
    Subscriber subscriber(table());
    ASSERT_EQ(OrvOk, push(1, "Live=1"));
    ASSERT_TRUE(subscriber->waitFor(1));
    EXPECT_EQ(Dns{"Live=1"}, subscriber->dns());
}

TEST_F(Replay, AStartTimeInTheFutureMeansNoReplayAndWaitsForNothing)
{
    startService();
    store(0, 3);
    Subscriber subscriber(table(), from(now() + HOUR));
    ASSERT_EQ(OrvOk, push(1, "Live=1"));
    ASSERT_TRUE(subscriber->waitFor(1));
    EXPECT_EQ(Dns{"Live=1"}, subscriber->dns());
}

TEST_F(Replay, AStartTimeThatTheBufferCoversGivesTheRecordsAndReplayComplete)
{
    startService();
    const long long base = coveredTime();
    store(base, 3);
    Subscriber subscriber(table(), from(base));
    ASSERT_TRUE(subscriber->waitForType(replayComplete));
    EXPECT_EQ((Dns{"A=10", "A=20", "A=30", "-"}), subscriber->dns());
    EXPECT_EQ((Types{1, 1, 2, 6}), subscriber->types());
}

TEST_F(Replay, AStartTimeBeforeTheCreationOfTheBufferGivesAGapFirst)
{
    startService();
    const long long base = coveredTime();
    store(base, 2);
    const long long before = now();
    Subscriber subscriber(table(), from(creationTime() - 1));
    ASSERT_TRUE(subscriber->waitForType(replayComplete));
    EXPECT_EQ((Types{5, 1, 2, 6}), subscriber->types());
    for (const size_t control : {0, 3})
    {
        const Received record = subscriber->received()[control];
        EXPECT_TRUE(record.dnIsNull);
        EXPECT_FALSE(record.attributesIsNull) << "a copy has an array";
        EXPECT_THAT(record.attributes, testing::IsEmpty());
        EXPECT_EQ(0u, record.txHandle);
        EXPECT_EQ(0u, record.sequenceNumber);
        EXPECT_LE(before, record.eventTime);
        EXPECT_GE(now(), record.eventTime);
    }
}

TEST_F(Replay, ANegativeStartTimeGivesAGapAndEverything)
{
    startService();
    store(0, 3);
    Subscriber subscriber(table(), from(-1));
    ASSERT_TRUE(subscriber->waitForType(replayComplete));
    EXPECT_EQ((Dns{"-", "A=10", "A=20", "A=30", "-"}), subscriber->dns());
    EXPECT_EQ(replayGap, subscriber->types().front());
}

TEST_F(Replay, AfterAgeingTheGapIsMeasuredFromTheLastAgedTime)
{
    startService("10");
    store(1000, 12);
    ASSERT_EQ(1020, lastAgedTime());
    Subscriber exact(table(), from(1020));
    Subscriber early(table(), from(1019));
    ASSERT_TRUE(exact->waitForType(replayComplete));
    ASSERT_TRUE(early->waitForType(replayComplete));
    EXPECT_EQ(objectCreated, exact->types().front());
    EXPECT_EQ(11u, exact->count());
    EXPECT_EQ(replayGap, early->types().front());
    EXPECT_EQ(12u, early->count());
}

TEST_F(Replay, AReplayThatFindsNothingEndsWithReplayComplete)
{
    startService();
    Subscriber subscriber(table(), from(coveredTime()));
    ASSERT_TRUE(subscriber->waitFor(1));
    EXPECT_EQ(Types{replayComplete}, subscriber->types());
}

TEST_F(Replay, BothEndsOfTheRangeAreInclusive)
{
    startService();
    store(0, 5);
    Subscriber subscriber(table(), from(20, 40));
    ASSERT_TRUE(subscriber->waitForType(notificationComplete));
    EXPECT_EQ((Dns{"-", "A=20", "A=30", "A=40", "-", "-"}), subscriber->dns());
    EXPECT_EQ((Types{5, 1, 1, 1, 6, 7}), subscriber->types());
}

TEST_F(Replay, AStartTimeAfterTheStopTimeGivesAnEmptyReplay)
{
    startService();
    store(0, 5);
    Subscriber subscriber(table(), from(40, 20));
    ASSERT_TRUE(subscriber->waitForType(notificationComplete));
    EXPECT_EQ((Types{5, 6, 7}), subscriber->types());
}

TEST_F(Replay, ANegativeStopTimeRejectsEveryRecordAndCompletesAtOnce)
{
    startService();
    store(0, 5);
    Subscriber subscriber(table(), from(1, -1));
    ASSERT_TRUE(subscriber->waitForType(notificationComplete));
    EXPECT_EQ((Types{5, 6, 7}), subscriber->types());
}

TEST_F(Replay, RecordsComeInTheOrderOfTheirTimesAndEqualTimesNewestFirst)
{
    startService();
    ASSERT_EQ(OrvOk, push(30, "A=1"));
    ASSERT_EQ(OrvOk, push(10, "A=2"));
    ASSERT_EQ(OrvOk, push(20, "A=3"));
    ASSERT_EQ(OrvOk, push(10, "A=4"));
    ASSERT_EQ(OrvOk, push(-5, "A=5"));
    pushMarker(10, "A=6");
    Subscriber subscriber(table(), from(-10));
    ASSERT_TRUE(subscriber->waitForType(replayComplete));
    EXPECT_EQ((Dns{"-", "A=5", "A=6", "A=4", "A=2", "A=3", "A=1", "-"}), subscriber->dns());
}

TEST_F(Replay, OnlyWhatTheFilterAcceptsIsReplayed)
{
    startService();
    store(0, 5);
    Wish wish = from(1);
    wish.filters = {{"objectCreated", "A=[13]0"}};
    Subscriber subscriber(table(), wish);
    ASSERT_TRUE(subscriber->waitForType(replayComplete));
    EXPECT_EQ((Dns{"-", "A=10", "A=30", "-"}), subscriber->dns());
}

TEST_F(Replay, LeavesTheBufferAsItIs)
{
    startService();
    store(0, 3);
    for (int round = 0; round < 2; ++round)
    {
        Subscriber subscriber(table(), from(1));
        ASSERT_TRUE(subscriber->waitForType(replayComplete));
        EXPECT_EQ((Types{5, 1, 1, 2, 6}), subscriber->types());
    }
}

TEST_F(Replay, LiveRecordsFollowReplayComplete)
{
    startService();
    store(0, 3);
    Subscriber subscriber(table(), from(1), true);
    ASSERT_EQ(OrvOk, push(5, "Live=1"));
    ASSERT_EQ(OrvOk, push(4, "Live=2"));
    subscriber->release();
    ASSERT_TRUE(subscriber->waitForDn("Live=2"));
    EXPECT_EQ((Dns{"-", "A=10", "A=20", "A=30", "-", "Live=1", "Live=2"}), subscriber->dns());
}

TEST_F(Replay, IsNotBoundByTheQueueLimit)
{
    startService("10");
    store(0, 10);
    Subscriber subscriber(table(), from(1), true);
    ASSERT_TRUE(subscriber->waitUntilHeld());
    subscriber->release();
    ASSERT_TRUE(subscriber->waitForType(replayComplete));
    EXPECT_EQ((Types{5, 1, 1, 1, 1, 1, 1, 1, 1, 1, 2, 6}), subscriber->types());
}

TEST_F(Replay, AsLargeAsTheLimitItIsPurgedByAPassedStopTime)
{
    startService("10");
    store(0, 10);
    Subscriber subscriber(table(), from(1, 1000), true);
    subscriber->release();
    ASSERT_TRUE(subscriber->waitForType(notificationComplete));
    const Types types = subscriber->types();
    ASSERT_GE(types.size(), 2u);
    EXPECT_EQ(overflowNotification, types[types.size() - 2]);
    EXPECT_THAT(types, testing::Not(testing::Contains(static_cast<int>(replayComplete))));
    EXPECT_LE(types.size(), 3u) << "the record in the handler's hands comes first";
}

TEST_F(Replay, TracesItsTimes)
{
    startService();
    store(0, 3);
    framework.setLevel(8);
    const long long created = creationTime();
    Subscriber subscriber(table(), from(5));
    ASSERT_TRUE(subscriber->waitForType(replayComplete));
    EXPECT_TRUE(traced(framework.lines(), 9, " >> doReplay 1 bufferSize: 3"));
    EXPECT_TRUE(traced(framework.lines(), 0,
                       "startTime (5) is earlier than aged-/creationTime(" + std::to_string(created) + ")"));
    EXPECT_TRUE(traced(framework.lines(), 0, "Pushing replayComplete notification"));
}

// Until a stop time: a busy machine may need more than the first of them to bring a record before it.
const long long DELAYS[] = {SECOND / 4, SECOND, 4 * SECOND, 16 * SECOND};

class StopTime : public Replay
{
};

TEST_F(StopTime, APassedOneWithoutReplayGivesNotificationCompleteAlone)
{
    startService();
    store(0, 3);
    Subscriber subscriber(table(), from(0, now() - 1));
    ASSERT_TRUE(subscriber->waitFor(1));
    EXPECT_EQ(Types{notificationComplete}, subscriber->types());
}

TEST_F(StopTime, AfterCompletionALiveRecordIsDroppedWithoutALookAtTheQueue)
{
    startService();
    const long long stopTime = now() - 1;
    Subscriber subscriber(table(), from(0, stopTime));
    ASSERT_TRUE(subscriber->waitFor(1));
    framework.setLevel(8);
    framework.log().clear();
    ASSERT_EQ(OrvOk, push(stopTime, "A=1"));
    pushMarker(stopTime - 1);
    const std::vector<std::string> texts = traces(framework.lines());
    const auto offered = std::find(texts.begin(), texts.end(), "Sending notification to subscriptionHandle: 1");
    ASSERT_NE(texts.end(), offered);
    const auto matched = std::find(offered, texts.end(), "Filter match occurred. Pushing in notification queue");
    EXPECT_NE(texts.end(), matched) << "the stop time itself has not passed for the record";
    EXPECT_THAT(texts, testing::Not(testing::Contains("in notify , Pushing notification A=1")));
    EXPECT_EQ(Types{notificationComplete}, subscriber->types());
}

TEST_F(StopTime, IsReachedWhileTheSubscriptionRuns)
{
    startService();
    for (const long long delay : DELAYS)
    {
        const long long stopTime = now() + delay;
        Subscriber subscriber(table(), from(0, stopTime));
        ASSERT_EQ(OrvOk, push(1, "A=1"));
        ASSERT_TRUE(subscriber->waitForType(notificationComplete));
        const Received complete = subscriber->received().back();
        EXPECT_TRUE(complete.dnIsNull);
        // The timer counts in milliseconds and may be two of them early.
        EXPECT_LE(stopTime - 3000, complete.eventTime);
        if (subscriber->types() == Types{objectCreated, notificationComplete})
        {
            return;
        }
    }
    FAIL() << "the record was never in time";
}

TEST_F(StopTime, WhatIsQueuedIsDeliveredBeforeNotificationComplete)
{
    startService();
    framework.setLevel(8);
    int completions = 0;
    for (const long long delay : DELAYS)
    {
        Subscriber subscriber(table(), from(0, now() + delay), true);
        ASSERT_EQ(OrvOk, push(1, "A=1"));
        ASSERT_EQ(OrvOk, push(2, "A=2"));
        ASSERT_TRUE(
            framework.log().waitFor(LogLine::trace, "in notify , Pushing notification (null)", ++completions, 60));
        subscriber->release();
        ASSERT_TRUE(subscriber->waitForType(notificationComplete));
        if (subscriber->dns() == Dns{"A=1", "A=2", "-"})
        {
            return;
        }
    }
    FAIL() << "the records were never in time";
}

TEST_F(StopTime, DropsARecordStampedLaterAndPassesOneStampedExactlySo)
{
    startService();
    const long long stopTime = now() + HOUR;
    Subscriber subscriber(table(), from(0, stopTime));
    ASSERT_EQ(OrvOk, push(stopTime + 1, "Late=1"));
    ASSERT_EQ(OrvOk, push(stopTime, "Exact=1"));
    ASSERT_TRUE(subscriber->waitForDn("Exact=1"));
    EXPECT_EQ(Dns{"Exact=1"}, subscriber->dns());
}

TEST_F(StopTime, PassesReplayGapAndNotificationCompleteThatAreStampedLater)
{
    startService();
    const long long stopTime = now() + HOUR;
    Subscriber subscriber(table(), from(0, stopTime));
    for (int32_t type = 1; type <= 9; ++type)
    {
        ASSERT_EQ(OrvOk, push(stopTime + 1, "A=1", type));
    }
    ASSERT_EQ(OrvOk, push(stopTime, "End=1"));
    ASSERT_TRUE(subscriber->waitForDn("End=1"));
    EXPECT_EQ((Types{replayGap, notificationComplete, objectCreated}), subscriber->types());
}

TEST_F(StopTime, ANegativeOneExpiresNoRecord)
{
    startService();
    framework.setLevel(8);
    Subscriber subscriber(table(), from(0, -1));
    ASSERT_TRUE(subscriber->waitForType(notificationComplete));
    framework.log().clear();
    pushMarker(5);
    EXPECT_THAT(traces(framework.lines()),
                testing::Not(testing::Contains("Received notification to expired subscription, ignoring")));
}

TEST_F(StopTime, ACompletedSubscriptionStaysUntilItIsRemoved)
{
    startService();
    Subscriber subscriber(table(), from(0, now() - 1));
    ASSERT_TRUE(subscriber->waitForType(notificationComplete));
    EXPECT_EQ(OrvBadArgument, subscribe(subscriber.handlerId(), subscriber.handle()));
    EXPECT_EQ(OrvOk, subscriber.unsubscribe());
}

TEST_F(StopTime, UnsubscribingBeforeItSendsNoNotificationComplete)
{
    startService();
    Subscriber subscriber(table(), from(0, now() + HOUR));
    ASSERT_EQ(OrvOk, push(1, "A=1"));
    ASSERT_TRUE(subscriber->waitFor(1));
    EXPECT_EQ(OrvOk, subscriber.unsubscribe());
    EXPECT_EQ(Types{objectCreated}, subscriber->types());
}

TEST_F(StopTime, IsCutTo32BitMilliseconds)
{
    startService();
    // 2^32 milliseconds and a fifth of a second from now: what is left of it is the fifth.
    const long long stopTime = now() + 4294967296ll * 1000 + SECOND / 5;
    Subscriber subscriber(table(), from(0, stopTime));
    EXPECT_TRUE(subscriber->waitForType(notificationComplete));
}

class Heartbeat : public Replay
{
protected:
    static Wish every(long long seconds)
    {
        Wish wish;
        wish.heartbeatSupported = true;
        wish.heartbeatInterval = seconds;
        return wish;
    }
};

TEST_F(Heartbeat, ComesFirstAfterAFullPeriodAndThenEveryPeriod)
{
    startService();
    const long long subscribed = now();
    Subscriber subscriber(table(), every(1));
    ASSERT_TRUE(subscriber->waitFor(2));
    EXPECT_EQ(heartbeatNotification, subscriber->types()[0]);
    EXPECT_EQ(heartbeatNotification, subscriber->types()[1]);
    const std::vector<Received> beats = subscriber->received();
    EXPECT_LE(subscribed + SECOND - 5000, beats[0].eventTime);
    EXPECT_LE(subscribed + 2 * SECOND - 5000, beats[1].eventTime);
    EXPECT_TRUE(beats[0].dnIsNull);
    EXPECT_THAT(beats[0].attributes, testing::IsEmpty());
}

TEST_F(Heartbeat, PassesAFilterThatRejectsEverything)
{
    startService();
    Wish wish = every(1);
    wish.filters = {{"objectCreated", "nothing is called so"}};
    framework.setLevel(8);
    Subscriber subscriber(table(), wish);
    EXPECT_TRUE(traced(framework.lines(), 0, "Heartbeat supported with value 1"));
    EXPECT_TRUE(subscriber->waitForType(heartbeatNotification));
    EXPECT_TRUE(traced(framework.lines(), 0, "----------------HEARTBEAT--------------"));
}

TEST_F(Heartbeat, APeriodOf0GivesOneAtOnce)
{
    startService();
    Subscriber subscriber(table(), every(0));
    ASSERT_TRUE(subscriber->waitForType(heartbeatNotification));
    // Any further one would come at once as well, long before this one's first.
    Subscriber clock(table(), every(1));
    ASSERT_TRUE(clock->waitForType(heartbeatNotification));
    EXPECT_EQ(Types{heartbeatNotification}, subscriber->types());
}

TEST_F(Heartbeat, APeriodIsIgnoredWhenHeartbeatsAreNotAskedFor)
{
    startService();
    Wish wish;
    wish.heartbeatInterval = -5;
    Subscriber subscriber(table(), wish);
    ASSERT_EQ(OrvOk, push(1, "A=1"));
    ASSERT_TRUE(subscriber->waitFor(1));
    EXPECT_EQ(Types{objectCreated}, subscriber->types());
}

TEST_F(Heartbeat, ThePeriodIsCutTo32BitMilliseconds)
{
    startService();
    // 4294968 seconds are 2^32 milliseconds and 704 more.
    const long long subscribed = now();
    Subscriber subscriber(table(), every(4294968));
    ASSERT_TRUE(subscriber->waitForType(heartbeatNotification));
    EXPECT_LE(subscribed + 700000, subscriber->received()[0].eventTime);
}

TEST_F(Heartbeat, StandsBehindWhatWaits)
{
    startService();
    framework.setLevel(8);
    Subscriber subscriber(table(), every(1), true);
    ASSERT_EQ(OrvOk, push(1, "A=1"));
    ASSERT_EQ(OrvOk, push(2, "A=2"));
    ASSERT_TRUE(framework.log().waitFor(LogLine::trace, "in notify , Pushing notification (null)", 1, 60));
    subscriber->release();
    ASSERT_TRUE(subscriber->waitForType(heartbeatNotification));
    EXPECT_EQ((Dns{"A=1", "A=2", "-"}), subscriber->dns());
}

TEST_F(Heartbeat, IsDroppedAfterCompletion)
{
    startService();
    framework.setLevel(8);
    Wish wish = every(1);
    wish.stopTime = now() - 1;
    Subscriber subscriber(table(), wish);
    ASSERT_TRUE(framework.log().waitFor(LogLine::trace, "----------------HEARTBEAT--------------", 1, 60));
    ASSERT_TRUE(
        framework.log().waitFor(LogLine::trace, "Received notification to expired subscription, ignoring", 1, 60));
    EXPECT_EQ(Types{notificationComplete}, subscriber->types());
}

}  // namespace
}  // namespace OrvTest
