// stop() and the destructor.
#include <condition_variable>
#include <mutex>

#include "LogCheck.h"
#include "PauseHook.h"
#include "SubscriptionTest.h"

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

TEST_F(NotificationSubscriptionStop, DoesNotWaitForARunningTimerCallbackButTheDestructorDoesAfterTheFilterIsGone)
{
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::string> events;
    bool inCallback = false;
    bool goOn = false;
    framework.setLevel(8);
    framework.log().whenLine(LogLine::trace, "----------------HEARTBEAT--------------",
                             [&]
                             {
                                 std::unique_lock<std::mutex> lock(mutex);
                                 inCallback = true;
                                 changed.notify_all();
                                 changed.wait(lock, [&] { return goOn; });
                                 events.push_back("callback goes on");
                             });
    subscribe(withHeartbeat(0));
    {
        std::unique_lock<std::mutex> lock(mutex);
        changed.wait(lock, [&] { return inCallback; });
    }
    subscription->stop();  // returns although the callback is running

    std::thread destroying(
        [&]
        {
            subscription.reset();
            const std::lock_guard<std::mutex> lock(mutex);
            events.push_back("destroyed");
        });
    while (filter.destroyed.load() == 0)
    {
        std::this_thread::yield();
    }
    {
        const std::lock_guard<std::mutex> lock(mutex);
        EXPECT_EQ(events, std::vector<std::string>());
        goOn = true;
        changed.notify_all();
    }
    destroying.join();
    EXPECT_EQ(events, std::vector<std::string>({"callback goes on", "destroyed"}));
    EXPECT_EQ(handler.count(), 0u);
}
