// Interleavings at the end of the service and at its next start.
#include <future>
#include <thread>

#include "Interleaving.h"
#include "ManualClock.h"
#include "NotificationSubscription.h"
#include "NotificationThreadPoolManager.h"
#include "PoolCalls.h"
#include "ShellTest.h"
#include "SubscriptionTest.h"
#include "SyncPoint.h"
#include "WaitNotice.h"

using namespace OrvTest;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace
{

class NbiNotificationServiceCMRace : public ShellTest
{
protected:
    OrvNbiNotificationService::NotificationServiceRunnable& runnable() { return component().runnable; }

    // stop() on a thread of its own.
    std::thread stopInProgress()
    {
        return std::thread([this] { EXPECT_EQ(stop(), OrvOk); });
    }

    // Subscribes handle 1, and returns when the service's stop, in progress, waits with the registry locked for the
    // call of its handler.
    std::thread stopThatWaitsForTheHandler()
    {
        handlerId = registerHandler();
        EXPECT_EQ(subscribe(handlerId, 1), OrvOk);
        first.hold();
        EXPECT_EQ(push(1000, "A=1"), OrvOk);
        EXPECT_TRUE(first.waitUntilHeld());
        return startUntilItWaitsForTheHandler(framework, [this] { EXPECT_EQ(stop(), OrvOk); });
    }

    void restart()
    {
        ASSERT_EQ(start(), OrvOk);
        waitForServiceThread();
    }

    unsigned int handlerId = 0;
    RecordingHandler first{1};
    RecordingHandler second{2};
};

TEST_F(NbiNotificationServiceCMRace, ASubscriptionThatWaitedForAStopEntersTheEmptyTableAndIsServedByTheNextRun)
{
    startService();
    std::thread stopping = stopThatWaitsForTheHandler();
    std::thread subscriber =
        startUntilItWaits(runnable()._mutex, [this] { EXPECT_EQ(subscribe(handlerId, 2), OrvOk); });
    first.release();
    subscriber.join();
    stopping.join();
    EXPECT_EQ(runnable()._subscriptions.size(), 1u);
    EXPECT_EQ(second.count(), 0u);

    restart();
    ASSERT_EQ(push(2000, "B=1"), OrvOk);
    ASSERT_TRUE(second.waitForDn("B=1"));
    EXPECT_THAT(first.dns(), ElementsAre("A=1"));
    ASSERT_EQ(stop(), OrvOk);
    EXPECT_THAT(runnable()._subscriptions, IsEmpty());
}

TEST_F(NbiNotificationServiceCMRace, ARemovalThatWaitedForAStopFindsTheEmptyTable)
{
    startService();
    std::thread stopping = stopThatWaitsForTheHandler();
    std::thread remover =
        startUntilItWaits(runnable()._mutex, [this] { EXPECT_EQ(table().unsubscribe(1), OrvNotFound); });
    first.release();
    remover.join();
    stopping.join();
    EXPECT_TRUE(logged(lines(), 3, "Could not find handle 1 to remove"));
    EXPECT_THAT(handlesOf(handlerId), IsEmpty()) << "forgotten all the same";
}

// A newcomer whose stop timer's callback runs while the pool is wound down. With the token taken it wants no thread for
// a run; otherwise it would wait for the pool's mutex, which is locked for as long as the pool waits for it.
TEST_F(NbiNotificationServiceCMRace, AStopWaitsForTheTimerOfALateSubscriptionWithThePoolLocked)
{
    startService();
    const int64_t now = 1600000000000000;
    const ManualClock clock(now);
    FilterScript filter;
    std::promise<void> inCallback;
    std::promise<void> goOn;
    filter.deletes = [&](const OrvOamSpiNbiNotificationValue_1&, std::vector<OrvOamSpiNbiNotificationValue_1*>&)
    {
        inCallback.set_value();
        goOn.get_future().wait();
    };
    PoolCalls poolCalls;
    auto windDown = std::make_unique<SyncPoint>(framework, "stopAll", " >> ");
    std::thread stopping = stopInProgress();
    ASSERT_TRUE(windDown->waitUntilHeld());
    ASSERT_EQ(runnable().addSubscription(1, RecordingHandler::handlerRecord(), new ScriptedFilter(filter), 0, now + 1,
                                         false, 0),
              OrvOk);
    inCallback.get_future().wait();
    windDown.reset();

    Poco::ThreadPool& pool = OrvNbiNotificationService::NotificationThreadPoolManager::instance().getThreadPool();
    while (pool._mutex.tryLock())
    {
        pool._mutex.unlock();
        std::this_thread::yield();
    }
    EXPECT_THAT(poolCalls.calls(), ElementsAre("joinAll"));
    EXPECT_TRUE(component().notifyThread.isRunning());
    {
        const TokenHold token(*runnable()._subscriptions.at(1));
        goOn.set_value();
        stopping.join();
    }
    EXPECT_THAT(poolCalls.calls(), ElementsAre("joinAll", "stopAll")) << "no run was wanted";
    EXPECT_EQ(first.count(), 0u);
    EXPECT_EQ(runnable().removeSubscription(1), OrvOk);
}

// The service thread has left its loop and emptied the buffer, and POCO still calls it running.
TEST_F(NbiNotificationServiceCMRace, WhatArrivesWhileTheThreadEndsIsFreedAtTheNextStartAndASubscriptionIsKept)
{
    startService();
    handlerId = registerHandler();
    SyncPoint ending(framework, "~ClockChangeHandler", " >> ");
    std::thread stopping = stopInProgress();
    ASSERT_TRUE(ending.waitUntilHeld());

    EXPECT_EQ(push(1000, "Pushed=1"), OrvOk);
    CmEvent event(1000000, 7);
    event.operation("Event=1", objectCreated);
    framework.router().publish(event);
    EXPECT_EQ(subscribe(handlerId, 1), OrvOk);
    EXPECT_EQ(start(), OrvOk);
    EXPECT_TRUE(logged(lines(), 4, "The NbiNotificationServiceComponent is already started. Ignoring start request."));

    ending.release();
    stopping.join();
    EXPECT_EQ(push(1001, "Late=1"), OrvNotRunning);
    EXPECT_EQ(component().notifyThread._input.size(), 2u);
    EXPECT_EQ(runnable()._subscriptions.size(), 1u);

    restart();
    EXPECT_EQ(buffered(), 0u);
    ASSERT_EQ(push(2000, "New=1"), OrvOk);
    ASSERT_TRUE(first.waitForDn("New=1"));
    EXPECT_THAT(first.dns(), ElementsAre("New=1"));
    EXPECT_EQ(table().unsubscribe(1), OrvOk);
}

// The event is held before it changes anything until the service thread comes to wait for it, that is, behind the reset
// of the flag that refuses older records.
TEST_F(NbiNotificationServiceCMRace, AClockChangeInProgressIsWaitedForAndHoldsForTheNextRunToo)
{
    startService();
    {
        SyncPoint event(framework, "onClockChange_1", " >> ");
        framework.router().postClockChange(5000000);
        ASSERT_TRUE(event.waitUntilHeld());
        const WaitNotice notice(WaitNotice::eventWait, [&] { event.release(); });
        EXPECT_EQ(stop(), OrvOk);
        EXPECT_EQ(runnable().getNotificationBuffer().getBufferCreationTime(), 5000);
        framework.router().drain();
    }
    EXPECT_THAT(messages(lines()), IsEmpty());

    restart();
    ASSERT_EQ(push(4999, "Old=1"), OrvOk);
    ASSERT_EQ(push(5000, "New=1"), OrvOk);
    waitForServiceThread();
    EXPECT_EQ(buffered(), 1u);
    ASSERT_EQ(messages(lines()).size(), 1u);
    EXPECT_THAT(messages(lines())[0], testing::StartsWith("4 Discarded notification due to invalid timestamp: "));
}

TEST_F(NbiNotificationServiceCMRace, AHandlerPushesAndAsksForTheTimesWhileItsOwnRemovalWaits)
{
    startService();
    handlerId = registerHandler();
    ASSERT_EQ(subscribe(handlerId, 1), OrvOk);
    int succeeded = 0;
    first.answerWith(
        [&](const Received&)
        {
            long long time = 0;
            succeeded += push(2000, "B=1") == OrvOk;
            succeeded += table().getOldestBufferTimestamp(&time) == OrvOk && time == 1000;
            succeeded += table().getLastAgedNotificationTime(&time) == OrvOk;
            succeeded += table().getBufferCreationTime(&time) == OrvOk;
            return OrvOk;
        });
    first.hold();
    ASSERT_EQ(push(1000, "A=1"), OrvOk);
    ASSERT_TRUE(first.waitUntilHeld());
    std::thread remover =
        startUntilItWaitsForTheHandler(framework, [this] { EXPECT_EQ(table().unsubscribe(1), OrvOk); });
    first.release();
    remover.join();
    EXPECT_EQ(succeeded, 4);
    waitForServiceThread();
    EXPECT_EQ(buffered(), 2u);
    EXPECT_THAT(first.dns(), ElementsAre("A=1"));
}

}  // namespace
