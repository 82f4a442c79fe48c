// The northbound interface behind its table.
#include "NbiNotificationServiceCM.h"

#include <Poco/Exception.h>

#include <future>
#include <new>
#include <set>
#include <thread>

#include "AllocationFault.h"
#include "ExpectedLeak.h"
#include "LegacySubscriptionFilter.h"
#include "MutexFault.h"
#include "NbiNotification.h"
#include "NotificationSubscription.h"
#include "ShellTest.h"

using namespace OrvTest;
using OrvNbiNotificationService::NbiNotification;
using OrvNbiNotificationService::NotificationSubscription;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

const char UNHANDLED[] = "Caught unhandled exception";
const char HANDLE_GONE[] = "Could not find and unregister a  subscriber when unregister a handler";

const std::vector<std::pair<std::string, std::string>> UNKNOWN_NAME = {{"objectRenamed", ".*"}};

class NbiNotificationServiceCM : public ShellTest
{
protected:
    unsigned int newHandle()
    {
        unsigned int handle = 0;
        EXPECT_EQ(table().getSubscriptionHandle(&handle), OrvOk);
        return handle;
    }
    size_t subscriptions() { return component().runnable._subscriptions.size(); }
};

TEST_F(NbiNotificationServiceCM, NumbersHandlersAndSubscriptionsFromOneIndependently)
{
    startService();
    EXPECT_EQ(registerHandler(), 1u);
    EXPECT_EQ(registerHandler(), 2u);
    EXPECT_EQ(newHandle(), 1u);
    EXPECT_EQ(newHandle(), 2u);
    EXPECT_EQ(registerHandler(), 3u);
}

TEST_F(NbiNotificationServiceCM, NeverGivesTheSameHandleTwiceNotEvenAcrossAStop)
{
    startService();
    std::set<unsigned int> handles;
    handles.insert(newHandle());
    handles.insert(newHandle());
    ASSERT_EQ(stop(), OrvOk);
    handles.insert(newHandle());
    ASSERT_EQ(start(), OrvOk);
    handles.insert(newHandle());
    EXPECT_EQ(handles.size(), 4u);
}

TEST_F(NbiNotificationServiceCM, LetsItsCountersWrapWithoutATest)
{
    startService();
    component().nextHandlerId = 0xffffffff;
    component().nextSubscriptionHandle = 0xffffffff;
    EXPECT_EQ(registerHandler(), 0xffffffffu);
    EXPECT_EQ(registerHandler(), 0u);
    EXPECT_EQ(newHandle(), 0xffffffffu);
    EXPECT_EQ(newHandle(), 0u);
}

TEST_F(NbiNotificationServiceCM, FailsToRegisterAHandlerUnderAnIdentifierThatIsTaken)
{
    startService();
    ASSERT_EQ(registerHandler(), 1u);
    component().nextHandlerId = 1;
    OrvOamSpiNbiNotificationHandler_1 record = RecordingHandler::handlerRecord();
    unsigned int handlerId = 0;
    EXPECT_EQ(table().registerHandler(&record, &handlerId), OrvFailure);
    EXPECT_TRUE(logged(lines(), 3, UNHANDLED));
    EXPECT_EQ(messages(lines()).size(), 1u);
    EXPECT_EQ(handlerId, 1u) << "the number is given before the insertion";
    EXPECT_EQ(component().nextHandlerId, 2u);
    EXPECT_EQ(component().handlers.size(), 1u);
}

TEST_F(NbiNotificationServiceCM, CopiesTheHandlersRecord)
{
    startService();
    OrvOamSpiNbiNotificationHandler_1 record = RecordingHandler::handlerRecord(1);
    unsigned int handlerId = 0;
    ASSERT_EQ(table().registerHandler(&record, &handlerId), OrvOk);
    record.notify = nullptr;
    RecordingHandler handler(1);
    ASSERT_EQ(subscribe(handlerId, 1), OrvOk);
    ASSERT_EQ(push(1000, "A=1"), OrvOk);
    ASSERT_TRUE(handler.waitFor(1));
    EXPECT_EQ(handler.received()[0].function, 1u);
}

TEST_F(NbiNotificationServiceCM, RefusesASubscriptionForAnUnknownHandler)
{
    startService();
    EXPECT_EQ(subscribe(17, 1), OrvBadArgument);
    EXPECT_TRUE(logged(lines(), 3, "Handler (17) not found."));
    EXPECT_EQ(messages(lines()).size(), 1u);
    EXPECT_EQ(subscriptions(), 0u);
}

TEST_F(NbiNotificationServiceCM, PrintsALargeHandlerIdentifierAsASignedNumber)
{
    startService();
    EXPECT_EQ(subscribe(0xffffffff, 1), OrvBadArgument);
    EXPECT_TRUE(logged(lines(), 3, "Handler (-1) not found."));
}

TEST_F(NbiNotificationServiceCM, KeepsAHandleTwiceThatWasSubscribedTwice)
{
    startService();
    const unsigned int handlerId = registerHandler();
    RecordingHandler handler(5);
    EXPECT_EQ(subscribe(handlerId, 5), OrvOk);
    EXPECT_EQ(subscribe(handlerId, 5), OrvBadArgument);
    EXPECT_TRUE(logged(lines(), 3, "Failed to store Subscription in the map"));
    EXPECT_THAT(handlesOf(handlerId), ElementsAre(5u, 5u));
    EXPECT_EQ(subscriptions(), 1u);
}

TEST_F(NbiNotificationServiceCM, TakesAHandleThatItNeverGave)
{
    startService();
    EXPECT_EQ(subscribe(registerHandler(), 4711), OrvOk);
    EXPECT_EQ(newHandle(), 1u);
}

TEST_F(NbiNotificationServiceCM, RefusesAnUnknownFilterNameAndDoesNotKeepTheHandle)
{
    startService();
    const unsigned int handlerId = registerHandler();
    const LegacyFilter filter(UNKNOWN_NAME);
    EXPECT_EQ(table().subscribe(handlerId, filter.get(), 1, 0, 0, false, 0), OrvBadArgument);
    const std::string cause = "Could not interpret filter name objectRenamed";
    EXPECT_TRUE(logged(lines(), 3, "Failed to add subscription. " + cause));
    EXPECT_THAT(messages(lines()), ElementsAre("3 Throwing: " + cause, "3 Throwing: " + cause, "3 Throwing: " + cause,
                                               "3 Failed to add subscription. " + cause));
    EXPECT_THAT(handlesOf(handlerId), IsEmpty());
    EXPECT_EQ(subscriptions(), 0u);
}

TEST_F(NbiNotificationServiceCM, GivesItsLockBackAfterARefusedSubscription)
{
    startService();
    const LegacyFilter filter(UNKNOWN_NAME);
    EXPECT_EQ(table().subscribe(registerHandler(), filter.get(), 1, 0, 0, false, 0), OrvBadArgument);
    EXPECT_EQ(subscribe(99, 1), OrvBadArgument);
    EXPECT_EQ(newHandle(), 1u);
}

TEST_F(NbiNotificationServiceCM, KeepsTheHandleOfASubscriptionThatFoundNoThread)
{
    startService();
    const unsigned int handlerId = registerHandler();
    {
        AllocationFault fault(sizeof(NotificationSubscription),
                              [] { throw Poco::NoThreadAvailableException("exhausted"); });
        EXPECT_EQ(subscribe(handlerId, 1), OrvNoThread);
    }
    EXPECT_THAT(handlesOf(handlerId), ElementsAre(1u));
}

TEST_F(NbiNotificationServiceCM, DeliversToItsSubscribersOnAPoolThread)
{
    startService();
    const unsigned int handlerId = registerHandler();
    RecordingHandler first(1);
    RecordingHandler second(2);
    ASSERT_EQ(subscribe(handlerId, 1), OrvOk);
    ASSERT_EQ(subscribe(handlerId, 2), OrvOk);
    ASSERT_EQ(push(1000, "A=1"), OrvOk);
    ASSERT_TRUE(first.waitFor(1));
    ASSERT_TRUE(second.waitFor(1));
    EXPECT_EQ(first.received()[0].threadName.rfind("NotificationSeriveThreadPool", 0), 0u);
    EXPECT_EQ(first.received()[0].handle, 1u);
    EXPECT_EQ(second.received()[0].handle, 2u);
}

TEST_F(NbiNotificationServiceCM, ForgetsTheFirstOccurrenceOfAnUnsubscribedHandleAndKeepsTheOrderOfTheOthers)
{
    startService();
    const unsigned int first = registerHandler();
    const unsigned int second = registerHandler();
    for (const unsigned int handle : {7u, 5u, 6u})
    {
        ASSERT_EQ(subscribe(first, handle), OrvOk);
    }
    ASSERT_EQ(subscribe(first, 5), OrvBadArgument);
    ASSERT_EQ(subscribe(second, 5), OrvBadArgument);
    EXPECT_EQ(table().unsubscribe(5), OrvOk);
    EXPECT_THAT(handlesOf(first), ElementsAre(7u, 6u, 5u));
    EXPECT_THAT(handlesOf(second), ElementsAre(5u)) << "the walk ends at the first hit";
}

TEST_F(NbiNotificationServiceCM, FindsTheHandleOfALaterHandler)
{
    startService();
    const unsigned int first = registerHandler();
    const unsigned int second = registerHandler();
    ASSERT_EQ(subscribe(first, 1), OrvOk);
    ASSERT_EQ(subscribe(second, 2), OrvOk);
    EXPECT_EQ(table().unsubscribe(2), OrvOk);
    EXPECT_THAT(handlesOf(first), ElementsAre(1u));
    EXPECT_THAT(handlesOf(second), IsEmpty());
}

TEST_F(NbiNotificationServiceCM, RemovesASubscriptionThatNoHandlerHolds)
{
    startService();
    EXPECT_EQ(component().runnable.addSubscription(
                  8, RecordingHandler::handlerRecord(),
                  new OrvNbiNotificationService::LegacySubscriptionFilter(LegacyFilter().get()), 0, 0, false, 0),
              OrvOk);
    EXPECT_EQ(table().unsubscribe(8), OrvOk);
    EXPECT_EQ(subscriptions(), 0u);
}

TEST_F(NbiNotificationServiceCM, AnswersNotFoundForAHandleThatNobodyKnows)
{
    startService();
    EXPECT_EQ(table().unsubscribe(8), OrvNotFound);
    EXPECT_TRUE(logged(lines(), 3, "Could not find handle 8 to remove"));
    EXPECT_EQ(messages(lines()).size(), 1u);
}

TEST_F(NbiNotificationServiceCM, HasNoCallUnderWayWhenUnsubscribeReturns)
{
    startService();
    RecordingHandler handler(1);
    ASSERT_EQ(subscribe(registerHandler(), 1), OrvOk);
    handler.hold();
    ASSERT_EQ(push(1000, "A=1"), OrvOk);
    ASSERT_TRUE(handler.waitUntilHeld());
    framework.setLevel(8);
    std::future<OrvReturnT> unsubscribed = std::async(std::launch::async, [&] { return table().unsubscribe(1); });
    ASSERT_TRUE(framework.log().waitFor(LogLine::trace, "Waiting for notify thread to finish.", 1,
                                        RecordingHandler::TIMEOUT_SECONDS));
    EXPECT_EQ(unsubscribed.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    EXPECT_FALSE(component().handlerMutex.tryLock()) << "held across the removal";
    handler.release();
    EXPECT_EQ(unsubscribed.get(), OrvOk);
    ASSERT_EQ(push(2000, "B=1"), OrvOk);
    waitForServiceThread();
    EXPECT_THAT(handler.dns(), ElementsAre("A=1"));
}

TEST_F(NbiNotificationServiceCM, UnregistersAHandlerWithoutSubscriptions)
{
    startService();
    EXPECT_EQ(table().unregisterHandler(registerHandler()), OrvOk);
    EXPECT_THAT(messages(lines()), IsEmpty());
}

TEST_F(NbiNotificationServiceCM, AnswersNotFoundForAnUnknownHandlerWithoutAWord)
{
    startService();
    EXPECT_EQ(table().unregisterHandler(17), OrvNotFound);
    EXPECT_THAT(messages(lines()), IsEmpty());
}

TEST_F(NbiNotificationServiceCM, KeepsContainerAndHandlesOfAnUnregisteredHandler)
{
    startService();
    const unsigned int handlerId = registerHandler();
    ASSERT_EQ(subscribe(handlerId, 1), OrvOk);
    ASSERT_EQ(subscribe(handlerId, 2), OrvOk);
    EXPECT_EQ(table().unregisterHandler(handlerId), OrvOk);
    EXPECT_EQ(subscriptions(), 0u);
    EXPECT_THAT(messages(lines()), IsEmpty());
    EXPECT_THAT(handlesOf(handlerId), ElementsAre(1u, 2u));

    EXPECT_EQ(table().unregisterHandler(handlerId), OrvOk) << "still registered";
    EXPECT_THAT(messages(lines()), ElementsAre("3 Could not find handle 1 to remove", std::string("3 ") + HANDLE_GONE,
                                               "3 Could not find handle 2 to remove", std::string("3 ") + HANDLE_GONE));
    EXPECT_TRUE(logged(lines(), 3, HANDLE_GONE, 2));

    EXPECT_EQ(subscribe(handlerId, 3), OrvOk) << "still found";
}

TEST_F(NbiNotificationServiceCM, GoesOnWithTheOtherHandlesWhenOneIsGone)
{
    startService();
    const unsigned int handlerId = registerHandler();
    ASSERT_EQ(subscribe(handlerId, 1), OrvOk);
    ASSERT_EQ(subscribe(handlerId, 2), OrvOk);
    ASSERT_EQ(component().runnable.removeSubscription(1), OrvOk);
    EXPECT_EQ(table().unregisterHandler(handlerId), OrvOk);
    EXPECT_TRUE(logged(lines(), 3, HANDLE_GONE, 1));
    EXPECT_EQ(subscriptions(), 0u);
}

TEST_F(NbiNotificationServiceCM, TracesTheHandlerBeforeItLooksWhetherTheServiceRuns)
{
    ASSERT_EQ(init(), OrvOk);
    framework.setLevel(8);
    framework.log().clear();
    EXPECT_EQ(table().unregisterHandler(17), OrvNotRunning);
    EXPECT_THAT(tracesOf(lines()), ElementsAre("unregisterHandler: >> Unregistering Handler: 17"));
    EXPECT_TRUE(traced(lines(), 9, " >> Unregistering Handler: 17"));
}

TEST_F(NbiNotificationServiceCM, LeavesHandlersAndHandlesAsTheyAreWhenItStops)
{
    startService();
    const unsigned int handlerId = registerHandler();
    ASSERT_EQ(subscribe(handlerId, 1), OrvOk);
    ASSERT_EQ(stop(), OrvOk);
    EXPECT_EQ(subscriptions(), 0u);
    EXPECT_THAT(handlesOf(handlerId), ElementsAre(1u));
    ASSERT_EQ(start(), OrvOk);
    EXPECT_EQ(table().unregisterHandler(handlerId), OrvOk);
    EXPECT_TRUE(logged(lines(), 3, HANDLE_GONE, 1));
}

TEST_F(NbiNotificationServiceCM, KeepsASubscriptionWhoseStopTimeIsReachedUntilItIsRemoved)
{
    startService();
    RecordingHandler handler(1);
    ASSERT_EQ(subscribe(registerHandler(), 1, 0, 1000), OrvOk) << "a stop time long past";
    ASSERT_TRUE(handler.waitForType(notificationComplete));
    EXPECT_EQ(subscriptions(), 1u);
    EXPECT_EQ(table().unsubscribe(1), OrvOk);
}

TEST_F(NbiNotificationServiceCM, CopiesAPushedRecordAndDoesNotWaitForItsDelivery)
{
    startService();
    RecordingHandler handler(1);
    ASSERT_EQ(subscribe(registerHandler(), 1), OrvOk);
    handler.hold();
    {
        const Notification notification =
            makeNotification(1000, "A=1", attributeChanged, {stringAttribute("name", "value")});
        ASSERT_EQ(table().pushNotification(*notification), OrvOk);
    }
    ASSERT_TRUE(handler.waitUntilHeld());
    EXPECT_EQ(push(2000, "B=1"), OrvOk) << "while the first is being delivered";
    waitForServiceThread();
    handler.release();
    ASSERT_TRUE(handler.waitFor(2));
    EXPECT_THAT(handler.dns(), ElementsAre("A=1", "B=1"));
    EXPECT_THAT(handler.received()[0].attributes, ElementsAre("name"));
}

TEST_F(NbiNotificationServiceCM, NeglectsARecordThatCannotBeCopiedWithAWarning)
{
    startService();
    const Notification notification = makeNotification(1000, "A=1", attributeChanged, {uncopyableAttribute("bad")});
    {
        const ExpectedLeak message;
        EXPECT_EQ(table().pushNotification(*notification), OrvFailure);
    }
    EXPECT_TRUE(
        logged(lines(), 4, "Neglecting notification due to the unsupported attribute type of the notification"));
    EXPECT_EQ(messages(lines()).size(), 1u);
    waitForServiceThread();
    EXPECT_EQ(buffered(), 0u);
}

TEST_F(NbiNotificationServiceCM, CopiesNothingWhileTheServiceThreadIsDown)
{
    ASSERT_EQ(init(), OrvOk);
    AllocationFault fault(sizeof(NbiNotification), [] {});
    EXPECT_EQ(push(1000, "A=1"), OrvNotRunning);
    EXPECT_FALSE(fault.met());
    EXPECT_THAT(component().notifyThread.popFromInput(), IsEmpty());
}

TEST_F(NbiNotificationServiceCM, FailsToPushWhenAnExceptionComes)
{
    startService();
    AllocationFault fault(sizeof(NbiNotification), [] { throw std::bad_alloc(); });
    EXPECT_EQ(push(1000, "A=1"), OrvFailure);
    EXPECT_TRUE(fault.met());
    EXPECT_TRUE(logged(lines(), 3, UNHANDLED));
}

TEST_F(NbiNotificationServiceCM, PushesControlRecordsOfAProducerLikeAnyOther)
{
    startService();
    RecordingHandler handler(1);
    handler.hold();  // so that one run delivers all: one that ends could miss a record
    ASSERT_EQ(subscribe(registerHandler(), 1), OrvOk);
    for (int32_t type = overflowNotification; type <= discardedOld; ++type)
    {
        ASSERT_EQ(push(1000 + type, "A=1", type), OrvOk);
    }
    waitForServiceThread();
    handler.release();
    ASSERT_TRUE(handler.waitFor(6));
    EXPECT_THAT(handler.types(), ElementsAre(4, 5, 6, 7, 8, 9));
    EXPECT_EQ(buffered(), 6u);
}

TEST_F(NbiNotificationServiceCM, AnswersTheOldestTimeOfTheBufferOrZeroWhenItIsEmpty)
{
    startService();
    long long timestamp = 99;
    EXPECT_EQ(table().getOldestBufferTimestamp(&timestamp), OrvOk);
    EXPECT_EQ(timestamp, 0);
    ASSERT_EQ(push(2000, "B=1"), OrvOk);
    ASSERT_EQ(push(1000, "A=1"), OrvOk);
    waitForServiceThread();
    EXPECT_EQ(table().getOldestBufferTimestamp(&timestamp), OrvOk);
    EXPECT_EQ(timestamp, 1000);
}

TEST_F(NbiNotificationServiceCM, AnswersTheTimeOfTheRecordThatAgedOutLast)
{
    startService("10");
    long long timestamp = 99;
    EXPECT_EQ(table().getLastAgedNotificationTime(&timestamp), OrvOk);
    EXPECT_EQ(timestamp, 0);
    for (int64_t time = 1001; time <= 1012; ++time)
    {
        ASSERT_EQ(push(time, "A=1"), OrvOk);
    }
    waitForServiceThread();
    EXPECT_EQ(table().getLastAgedNotificationTime(&timestamp), OrvOk);
    EXPECT_EQ(timestamp, 1002);
}

TEST_F(NbiNotificationServiceCM, AnswersTheCreationTimeOfTheBufferWithoutItsLock)
{
    startService();
    OrvNbiNotificationService::NotificationBuffer& buffer = component().runnable.getNotificationBuffer();
    const MutexFault fault(buffer._mutex, MutexFault::lockFails);
    long long timestamp = 0;
    EXPECT_EQ(table().getBufferCreationTime(&timestamp), OrvOk);
    EXPECT_EQ(timestamp, buffer.getBufferCreationTime());
    EXPECT_GT(timestamp, 0);
}

TEST_F(NbiNotificationServiceCM, FailsForAnExceptionInTheTimeQueriesThatLock)
{
    startService();
    const MutexFault fault(component().runnable.getNotificationBuffer()._mutex, MutexFault::lockFails);
    long long timestamp = 99;
    EXPECT_EQ(table().getOldestBufferTimestamp(&timestamp), OrvFailure);
    EXPECT_TRUE(logged(lines(), 3, UNHANDLED, 1));
    EXPECT_EQ(table().getLastAgedNotificationTime(&timestamp), OrvFailure);
    EXPECT_TRUE(logged(lines(), 3, UNHANDLED, 2));
    EXPECT_EQ(timestamp, 99);
}

TEST_F(NbiNotificationServiceCM, CallsTheHandlerOfSeveralSubscriptionsAtTheSameTime)
{
    startService();
    const unsigned int handlerId = registerHandler();
    RecordingHandler first(1);
    RecordingHandler second(2);
    ASSERT_EQ(subscribe(handlerId, 1), OrvOk);
    ASSERT_EQ(subscribe(handlerId, 2), OrvOk);
    first.hold();
    second.hold();
    ASSERT_EQ(push(1000, "A=1"), OrvOk);
    EXPECT_TRUE(first.waitUntilHeld());
    EXPECT_TRUE(second.waitUntilHeld());
    first.release();
    second.release();
}

}  // namespace
