// stop() and the destructor.
#include <atomic>
#include <condition_variable>
#include <future>
#include <mutex>
#include <thread>

#include "LogCheck.h"
#include "MutexFault.h"
#include "PauseHook.h"
#include "SubscriptionTest.h"
#include "WaitNotice.h"

using namespace OrvTest;

typedef SubscriptionTest NotificationSubscriptionStop;
typedef std::vector<int32_t> Types;
typedef std::vector<std::string> Dns;

namespace
{
const char WAITING[] = "Waiting for notify thread to finish.";
const char FINISHED[] = "Threads to finished.";
}  // namespace

TEST_F(NotificationSubscriptionStop, WithNeitherTimerNorRunReturnsWithoutBlocking)
{
    subscribe();
    subscription->stop();
    EXPECT_TRUE(subscription->_stopped);
    EXPECT_TRUE(tokenIsFree());
}

TEST_F(NotificationSubscriptionStop, BeforeTheStopTimeSendsNoNotificationCompleteAndDropsWhatIsQueued)
{
    subscribe(until(NOW + HOUR));
    {
        const TokenHold token(*subscription);
        notify(NOW, "A=1");
        notify(NOW, "B=1");
        EXPECT_EQ(queuedDns(), Dns({"A=1", "B=1"}));
    }
    subscription->stop();
    EXPECT_EQ(queuedDns(), Dns());
    pool().joinAll();  // the timer is cancelled: otherwise this would take an hour
    EXPECT_EQ(handler.count(), 0u);
}

TEST_F(NotificationSubscriptionStop, CancelsBothTimers)
{
    Request request = withHeartbeat(3600);
    request.stopTime = NOW + HOUR;
    subscribe(request);
    subscription->stop();
    EXPECT_EQ(subscription->_heartbeatTimer.getPeriodicInterval(), 0);
    pool().joinAll();
    EXPECT_EQ(pool().used(), 0);
    EXPECT_EQ(handler.count(), 0u);
}

TEST_F(NotificationSubscriptionStop, AfterCompletionBehavesAsUsual)
{
    subscribe(until(NOW + MILLISECOND));
    ASSERT_TRUE(handler.waitForType(notificationComplete));
    subscription->stop();
    EXPECT_TRUE(tokenIsFree());
    EXPECT_EQ(handler.types(), Types({notificationComplete}));
}

TEST_F(NotificationSubscriptionStop, TwiceIsAllowed)
{
    subscribe(withHeartbeat(3600));
    subscription->stop();
    subscription->stop();
    EXPECT_TRUE(tokenIsFree());
}

TEST_F(NotificationSubscriptionStop, MarksCancelsAndEmptiesBeforeItWaitsForTheRun)
{
    Request request = withHeartbeat(3600);
    request.stopTime = NOW + HOUR;
    subscribe(request);
    handler.hold();
    notify(NOW, "in the handler=1");
    ASSERT_TRUE(handler.waitUntilHeld());
    notify(NOW, "waiting=1");
    framework.setLevel(8);

    StopInProgress stopping(*subscription);
    ASSERT_TRUE(framework.log().waitFor(LogLine::trace, WAITING, 1, RecordingHandler::TIMEOUT_SECONDS));
    EXPECT_TRUE(subscription->_stopped);
    EXPECT_EQ(subscription->_heartbeatTimer.getPeriodicInterval(), 0);
    EXPECT_EQ(queuedDns(), Dns());
    EXPECT_FALSE(stopping.returned());
    EXPECT_FALSE(traced(framework.lines(), 0, FINISHED));

    handler.release();
    stopping.join();
    EXPECT_TRUE(traced(framework.lines(), 0, FINISHED));
    EXPECT_TRUE(tokenIsFree());
    EXPECT_EQ(handler.dns(), Dns({"in the handler=1"}));
}

TEST_F(NotificationSubscriptionStop, ARecordRefusedWhileItWaitsIsOfferedOnAndDeliveredBeforeItReturns)
{
    PauseHook quick;
    subscribe();
    handler.answerAlways(OrvRetry);
    handler.hold();
    notify(NOW, "refused=1");
    ASSERT_TRUE(handler.waitUntilHeld());
    notify(NOW, "dropped=1");
    framework.setLevel(8);
    StopInProgress stopping(*subscription);
    ASSERT_TRUE(framework.log().waitFor(LogLine::trace, WAITING, 1, RecordingHandler::TIMEOUT_SECONDS));
    framework.setLevel(6);

    // The queue is empty now. The record comes back into it and is offered for as long as it is refused.
    handler.release();
    ASSERT_TRUE(handler.waitFor(5));
    EXPECT_FALSE(stopping.returned());

    handler.answerAlways(OrvOk);
    stopping.join();
    for (const std::string& dn : handler.dns())
    {
        EXPECT_EQ(dn, "refused=1");
    }
    EXPECT_EQ(queuedDns(), Dns());
}

TEST_F(NotificationSubscriptionStop, LeavesDeregisteringAlone)
{
    subscribe();
    subscription->stop();
    EXPECT_FALSE(subscription->_deregistering);
}

TEST_F(NotificationSubscriptionStop, AfterItRecordsAreDroppedButNotificationComplete)
{
    subscribe();
    subscription->stop();
    {
        const TokenHold token(*subscription);
        notify(NOW, "A=1");
        notifyControl(heartbeatNotification);
        EXPECT_EQ(queuedTypes(), Types());
        // A callback of the stop timer that was already running when stop began still gets here.
        subscription->onTimer(subscription->_timer);
        EXPECT_EQ(queuedTypes(), Types({notificationComplete}));
    }
    deliverAll();
    EXPECT_EQ(handler.types(), Types({notificationComplete}));
}

TEST_F(NotificationSubscriptionStop, MakesTheDestructorSafeWhileTheLastRunIsStillLeaving)
{
    // The run gives the token back and then writes its exit trace: held there, it must not touch the object any more.
    std::mutex mutex;
    std::condition_variable changed;
    bool leaving = false;
    bool destroyed = false;
    const std::thread::id here = std::this_thread::get_id();
    subscribe();
    framework.log().whenLine(LogLine::trace, " << ",
                             [&]
                             {
                                 if (std::this_thread::get_id() != here)
                                 {
                                     std::unique_lock<std::mutex> lock(mutex);
                                     leaving = true;
                                     changed.notify_all();
                                     changed.wait(lock, [&] { return destroyed; });
                                 }
                             });
    framework.setLevel(8);
    notify(NOW, "A=1");
    {
        std::unique_lock<std::mutex> lock(mutex);
        changed.wait(lock, [&] { return leaving; });
    }
    subscription->stop();
    subscription.reset();
    {
        const std::lock_guard<std::mutex> lock(mutex);
        destroyed = true;
        changed.notify_all();
    }
    pool().joinAll();
    EXPECT_EQ(handler.dns(), Dns({"A=1"}));
}

TEST_F(NotificationSubscriptionStop, TheDestructorReleasesTheFilter)
{
    subscribe();
    subscription->stop();
    EXPECT_EQ(filter.destroyed, 0u);
    subscription.reset();
    EXPECT_EQ(filter.destroyed, 1u);
}

TEST_F(NotificationSubscriptionStop, TheDestructorTakesANullFilter)
{
    Request request;
    request.withFilter = false;
    subscribe(request);
    subscription->stop();
    subscription.reset();
    EXPECT_EQ(filter.destroyed, 0u);
}

// The stop timer's callback, held on its own thread before it asks the filter, while the subscription is destroyed on
// another one.
class NotificationSubscriptionEnd : public NotificationSubscriptionStop
{
protected:
    NotificationSubscriptionEnd()
    {
        framework.setLevel(8);
        framework.log().whenLine(LogLine::trace, "Filter match occurred",
                                 [this]
                                 {
                                     inCallback.set_value();
                                     goOn.get_future().wait();
                                     destroyedBeforeTheCallback = filter.destroyed.load() != 0;
                                 });
        clock.set(NOW);
        subscribe(until(NOW + 1));
        inCallback.get_future().wait();
    }

    void letTheCallbackGoOn()
    {
        if (!released.exchange(true))
        {
            goOn.set_value();
        }
    }

    std::promise<void> inCallback;
    std::promise<void> goOn;
    std::atomic<bool> released{false};
    std::atomic<bool> destroyedBeforeTheCallback{false};
};

TEST_F(NotificationSubscriptionEnd, TheDestructorWaitsForATimersCallbackBeforeTheFilterGoes)
{
    subscription->stop();  // returns although the callback is running
    const WaitNotice notice(WaitNotice::timerStop, [this] { letTheCallbackGoOn(); });
    std::thread destroying([this] { subscription.reset(); });
    while (!released && filter.destroyed == 0)
    {
        std::this_thread::yield();
    }
    letTheCallbackGoOn();
    destroying.join();
    EXPECT_FALSE(destroyedBeforeTheCallback.load());
    EXPECT_EQ(filter.destroyed, 1u);
    EXPECT_EQ(filter.deletesCalls, 1u);
}

TEST_F(NotificationSubscriptionEnd, TheDestructorWaitsForTheRunThatALateCallbackHasStarted)
{
    handler.hold();
    subscription->stop();
    const LockNotice notice(subscription->_processMutex, [this] { handler.release(); });
    size_t deliveredAtTheEnd = 0;
    std::thread destroying(
        [&]
        {
            subscription.reset();
            deliveredAtTheEnd = handler.count();
            handler.release();
        });
    letTheCallbackGoOn();
    destroying.join();
    pool().joinAll();  // the address sanitizer looks what a run touches that was not waited for
    EXPECT_EQ(deliveredAtTheEnd, 1u);
    EXPECT_EQ(handler.types(), Types({notificationComplete}));
}

TEST_F(NotificationSubscriptionStop, TheDestructorReleasesTheRecordOfALateCallbackThatFoundTheTokenTaken)
{
    subscribe();
    subscription->stop();
    {
        const TokenHold token(*subscription);
        subscription->onTimer(subscription->_timer);
        ASSERT_EQ(queuedTypes(), Types({notificationComplete}));
    }
    subscription.reset();  // the leak sanitizer looks for the record
    EXPECT_EQ(handler.count(), 0u);
}
