// The constructor: what is replayed, what comes ahead of it and behind it.
#include <climits>
#include <cstdint>

#include "SubscriptionTest.h"

using namespace OrvTest;

typedef SubscriptionTest NotificationSubscriptionStart;
typedef std::vector<int32_t> Types;
typedef std::vector<std::string> Dns;

TEST_F(NotificationSubscriptionStart, KeepsItsArgumentsAndStartsUnstopped)
{
    Request request;
    request.startTime = NOW + 1;
    request.stopTime = NOW + HOUR;
    request.heartbeatInterval = 17;
    request.queueLimit = 12;
    subscribe(request);

    EXPECT_EQ(subscription->_handle, HANDLE);
    EXPECT_EQ(subscription->_handler.notify, RecordingHandler::handlerRecord().notify);
    EXPECT_EQ(subscription->_buffer, &buffer);
    EXPECT_EQ(subscription->_startTime, NOW + 1);
    EXPECT_EQ(subscription->_stopTime, NOW + HOUR);
    EXPECT_FALSE(subscription->_heartbeatSupported);
    EXPECT_EQ(subscription->_heartbeatInterval, 17);
    EXPECT_EQ(subscription->_maxQueueSize, 12u);
    EXPECT_FALSE(subscription->_overflow);
    EXPECT_FALSE(subscription->_doReplay);
    EXPECT_FALSE(subscription->_stopped);
    EXPECT_FALSE(subscription->_deregistering);
}

TEST_F(NotificationSubscriptionStart, WithStartTimeZeroNothingIsReplayed)
{
    store(CREATED + SECOND, "A=1");
    subscribe();
    EXPECT_EQ(filter.matchCalls, 0u);

    notify(NOW, "live=1");
    deliverAll();
    EXPECT_EQ(handler.dns(), Dns({"live=1"}));
    EXPECT_EQ(handler.types(), Types({objectCreated}));
}

TEST_F(NotificationSubscriptionStart, AStartTimeEqualToNowIsTreatedLikeNone)
{
    store(NOW, "A=1");
    subscribe(replayFrom(NOW));
    EXPECT_EQ(filter.matchCalls, 0u);

    notify(NOW, "live=1");
    deliverAll();
    EXPECT_EQ(handler.dns(), Dns({"live=1"}));
}

TEST_F(NotificationSubscriptionStart, AStartTimeInTheFutureIsTreatedLikeNoneAndLiveRecordsDoNotWaitForIt)
{
    store(NOW, "A=1");
    subscribe(replayFrom(NOW + HOUR));
    EXPECT_EQ(filter.matchCalls, 0u);

    notify(NOW, "before the start=1");
    notify(NOW + HOUR, "at the start=1");
    deliverAll();
    EXPECT_EQ(handler.dns(), Dns({"before the start=1", "at the start=1"}));
}

TEST_F(NotificationSubscriptionStart, AStartTimeOneMicrosecondBeforeNowIsReplayed)
{
    store(NOW - 2, "too early=1");
    store(NOW - 1, "A=1");
    store(NOW, "B=1");
    subscribe(replayFrom(NOW - 1));
    deliverAll();
    EXPECT_EQ(handler.dns(), Dns({"A=1", "B=1", "-"}));
    EXPECT_EQ(handler.types(), Types({objectCreated, objectCreated, replayComplete}));
    EXPECT_FALSE(subscription->_doReplay) << "it is done";
}

TEST_F(NotificationSubscriptionStart, ANegativeStartTimeGivesAReplayGapAndTheFullReplay)
{
    store(-5, "negative=1");
    store(CREATED, "A=1");
    subscribe(replayFrom(-10));
    deliverAll();
    EXPECT_EQ(handler.types(), Types({replayGap, objectCreated, objectCreated, replayComplete}));
    EXPECT_EQ(handler.dns(), Dns({"-", "negative=1", "A=1", "-"}));
}

TEST_F(NotificationSubscriptionStart, TheEarliestStartTimeThereIsIsReplayedToo)
{
    store(CREATED, "A=1");
    subscribe(replayFrom(LLONG_MIN));
    deliverAll();
    EXPECT_EQ(handler.types(), Types({replayGap, objectCreated, replayComplete}));
}

TEST_F(NotificationSubscriptionStart, AStartBeforeTheLastAgedRecordGivesAGapThenWhatIsLeftThenReplayComplete)
{
    ageOut(CREATED + 10 * SECOND);
    subscribe(replayFrom(CREATED + 10 * SECOND - 1));
    deliverAll();
    // Ten records fill the buffer; the eleventh aged the first one out.
    EXPECT_EQ(handler.types(),
              Types({replayGap, objectCreated, objectCreated, objectCreated, objectCreated, objectCreated,
                     objectCreated, objectCreated, objectCreated, objectCreated, objectCreated, replayComplete}));
}

TEST_F(NotificationSubscriptionStart, AStartEqualToTheLastAgedTimeGivesNoGap)
{
    ageOut(CREATED + 10 * SECOND);
    subscribe(replayFrom(CREATED + 10 * SECOND));
    deliverAll();
    EXPECT_EQ(handler.types().front(), objectCreated);
    EXPECT_EQ(handler.types().back(), replayComplete);
    EXPECT_EQ(handler.count(), 11u);
}

TEST_F(NotificationSubscriptionStart, OnceARecordWasAgedOutTheCreationTimeNoLongerCounts)
{
    ageOut(CREATED - HOUR);
    subscribe(replayFrom(CREATED - HOUR));
    deliverAll();
    EXPECT_EQ(handler.types().front(), objectCreated);
}

TEST_F(NotificationSubscriptionStart, ABufferThatAgedNothingCoversFromItsCreationTimeOn)
{
    store(CREATED + SECOND, "A=1");
    subscribe(replayFrom(CREATED));
    deliverAll();
    EXPECT_EQ(handler.types(), Types({objectCreated, replayComplete}));
}

TEST_F(NotificationSubscriptionStart, AStartBeforeTheCreationOfTheBufferGivesAGap)
{
    store(CREATED + SECOND, "A=1");
    subscribe(replayFrom(CREATED - 1));
    deliverAll();
    EXPECT_EQ(handler.types(), Types({replayGap, objectCreated, replayComplete}));
}

TEST_F(NotificationSubscriptionStart, AfterAClockChangeTheNewTimeIsTheOldestCovered)
{
    ageOut(CREATED + 10 * SECOND);
    buffer.systemClockChanged(NOW - SECOND);
    buffer.clear();
    subscribe(replayFrom(NOW - SECOND - 1));
    deliverAll();
    EXPECT_EQ(handler.types(), Types({replayGap, replayComplete}));
}

TEST_F(NotificationSubscriptionStart, AReplayThatFindsNothingStillEndsWithReplayComplete)
{
    subscribe(replayFrom(CREATED));
    deliverAll();
    EXPECT_EQ(handler.types(), Types({replayComplete}));
}

TEST_F(NotificationSubscriptionStart, AReplayThatTheFilterRefusesWhollyStillEndsWithReplayComplete)
{
    filter.match = [](const auto&) { return false; };
    store(CREATED + SECOND, "A=1");
    subscribe(replayFrom(CREATED));
    deliverAll();
    EXPECT_EQ(handler.types(), Types({replayComplete}));
    EXPECT_EQ(filter.matchCalls, 1u);
}

TEST_F(NotificationSubscriptionStart, WithoutABufferAPositiveStartTimeGivesNeitherGapNorReplayComplete)
{
    Request request = replayFrom(1);
    request.withBuffer = false;
    subscribe(request);
    EXPECT_TRUE(tokenIsFree());
    EXPECT_EQ(queuedTypes(), Types());
    EXPECT_EQ(handler.count(), 0u);
    EXPECT_TRUE(subscription->_doReplay);
}

TEST_F(NotificationSubscriptionStart, WithoutABufferANegativeStartTimeGivesTheGapAlone)
{
    Request request = replayFrom(-1);
    request.withBuffer = false;
    subscribe(request);
    deliverAll();
    EXPECT_EQ(handler.types(), Types({replayGap}));
}

TEST_F(NotificationSubscriptionStart, ControlRecordsOfTheStartCarryTheCurrentTimeAndNothingElse)
{
    subscribe(replayFrom(CREATED - 1));
    deliverAll();
    ASSERT_EQ(handler.types(), Types({replayGap, replayComplete}));
    for (const Received& record : handler.received())
    {
        EXPECT_EQ(record.eventTime, NOW);
        EXPECT_TRUE(record.dnIsNull);
        EXPECT_EQ(record.txHandle, 0u);
        EXPECT_EQ(record.sequenceNumber, 0u);
        // Both were copied, so there is an array with the null entry alone.
        EXPECT_FALSE(record.attributesIsNull);
        EXPECT_TRUE(record.attributes.empty());
    }
}

TEST_F(NotificationSubscriptionStart, AReplayHasTheOrderOfTheBufferAndOwnCopies)
{
    const Notification original =
        makeNotification(CREATED + 3, "C=1", attributeChanged, {int32Attribute("first", 1), stringAttribute("x", "y")});
    original->txHandle = 5;
    original->sequenceNumber = 6;
    ASSERT_TRUE(buffer.pushNotification(*original));
    store(CREATED + 1, "A=1");
    store(CREATED + 2, "B older arrival=1");
    store(CREATED + 2, "B later arrival=1");
    subscribe(replayFrom(CREATED));
    deliverAll();

    EXPECT_EQ(handler.dns(), Dns({"A=1", "B later arrival=1", "B older arrival=1", "C=1", "-"}));
    const Received copy = handler.received()[3];
    EXPECT_NE(copy.record, buffer.getNotificationBySequenceNumber(6));
    EXPECT_EQ(copy.eventTime, CREATED + 3);
    EXPECT_EQ(copy.type, attributeChanged);
    EXPECT_EQ(copy.txHandle, 5u);
    EXPECT_EQ(copy.sequenceNumber, 6u);
    EXPECT_EQ(copy.attributes, std::vector<std::string>({"first", "x"}));
    EXPECT_EQ(buffer.getBufferSize(), 4u);
}

TEST_F(NotificationSubscriptionStart, AReplayAsksForNoDerivedRecords)
{
    filter.deletes = [](const auto&, auto& derived)
    { derived.push_back(derivedRecord(1, "derived=1", objectDeleted)); };
    filter.select = [](const auto&, auto*) { return true; };
    store(CREATED + SECOND, "A=1");
    subscribe(replayFrom(CREATED));
    deliverAll();
    EXPECT_EQ(handler.dns(), Dns({"A=1", "-"}));
    EXPECT_EQ(filter.matchCalls, 1u);
    EXPECT_EQ(filter.deletesCalls, 0u);
    EXPECT_EQ(filter.selectCalls, 0u);
}

TEST_F(NotificationSubscriptionStart, TheQueueLimitDoesNotBindAReplay)
{
    Request request = replayFrom(CREATED);
    request.queueLimit = 2;
    for (int i = 0; i < 5; ++i)
    {
        store(CREATED + i, "A=" + std::to_string(i));
    }
    subscribe(request);
    deliverAll();
    EXPECT_EQ(handler.dns(), Dns({"A=0", "A=1", "A=2", "A=3", "A=4", "-"}));
}

TEST_F(NotificationSubscriptionStart, NoLiveRecordGetsAheadOfTheReplay)
{
    store(CREATED + 2 * SECOND, "replayed=1");
    handler.hold();
    subscribe(replayFrom(CREATED - 1));
    notify(CREATED + SECOND, "live and older=1");
    handler.release();
    deliverAll();
    EXPECT_EQ(handler.types(), Types({replayGap, objectCreated, replayComplete, objectCreated}));
    EXPECT_EQ(handler.dns(), Dns({"-", "replayed=1", "-", "live and older=1"}));
}

TEST_F(NotificationSubscriptionStart, TheHandlerCanReceiveTheReplayGapBeforeTheConstructorHasReturned)
{
    const std::thread::id subscriber = std::this_thread::get_id();
    bool received = false;
    // The first exit trace of the subscribing thread is that of the start of the run for the gap.
    framework.setLevel(8);
    framework.log().whenLine(LogLine::trace, " << ",
                             [&]
                             {
                                 if (std::this_thread::get_id() == subscriber && !received)
                                 {
                                     received = handler.waitForType(replayGap);
                                 }
                             });
    subscribe(replayFrom(CREATED - 1));
    framework.log().whenLine(LogLine::trace, "", nullptr);
    EXPECT_TRUE(received);
    deliverAll();
    EXPECT_EQ(handler.types(), Types({replayGap, replayComplete}));
}

TEST_F(NotificationSubscriptionStart, AReplayEndsAtTheStopTimeAndIncludesIt)
{
    Request request = replayFrom(CREATED + 10);
    request.stopTime = CREATED + 20;
    store(CREATED + 9, "before=1");
    store(CREATED + 10, "at the start=1");
    store(CREATED + 20, "at the stop=1");
    store(CREATED + 21, "after=1");
    subscribe(request);
    deliverAll();
    EXPECT_EQ(handler.dns(), Dns({"at the start=1", "at the stop=1", "-", "-"}));
    EXPECT_EQ(handler.types(), Types({objectCreated, objectCreated, replayComplete, notificationComplete}));
}

TEST_F(NotificationSubscriptionStart, AStartTimeAfterTheStopTimeGivesAnEmptyReplay)
{
    Request request = replayFrom(CREATED + 20);
    request.stopTime = CREATED + 10;
    store(CREATED + 15, "A=1");
    subscribe(request);
    deliverAll();
    EXPECT_EQ(handler.types(), Types({replayComplete, notificationComplete}));
}

TEST_F(NotificationSubscriptionStart, WithANullFilterTheConstructorCompletes)
{
    Request request = until(NOW + HOUR);
    request.withFilter = false;
    subscribe(request);
    EXPECT_TRUE(tokenIsFree());
    EXPECT_EQ(queuedTypes(), Types());
}

TEST_F(NotificationSubscriptionStart, WithoutTimersAndRecordsNoPoolThreadIsUsed)
{
    pool().joinAll();
    subscribe();
    EXPECT_EQ(pool().used(), 0);
}

TEST_F(NotificationSubscriptionStart, AStopTimeAndAHeartbeatOccupyTwoPoolThreads)
{
    pool().joinAll();
    Request request = withHeartbeat(3600);
    request.stopTime = NOW + HOUR;
    subscribe(request);
    EXPECT_EQ(pool().used(), 2);
}

TEST_F(NotificationSubscriptionStart, TheMembersStandInTheirOrder)
{
    subscribe();
    const NotificationSubscription& s = *subscription;
    const std::vector<const void*> members = {
        &s.processQueue,       &s._queueMutex,    &s._processMutex, &s._handler,       &s._handle,
        &s._filters,           &s._queue,         &s._maxQueueSize, &s._overflow,      &s._heartbeatSupported,
        &s._heartbeatInterval, &s._buffer,        &s._startTime,    &s._stopTime,      &s._doReplay,
        &s._stopped,           &s._deregistering, &s._timer,        &s._heartbeatTimer};
    for (size_t i = 1; i < members.size(); ++i)
    {
        EXPECT_LT(members[i - 1], members[i]) << "member " << i;
    }
}
