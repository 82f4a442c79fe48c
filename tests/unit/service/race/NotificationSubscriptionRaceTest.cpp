// Interleavings inside one subscription: arrivals, looks at the queue, runs, timers and the end.
#include <atomic>
#include <cstring>
#include <functional>
#include <future>
#include <memory>
#include <thread>

#include "Interleaving.h"
#include "MutexFault.h"
#include "SubscriptionTest.h"
#include "SyncPoint.h"

using namespace OrvTest;

namespace
{

typedef std::vector<int32_t> Types;
typedef std::vector<std::string> Dns;
typedef OrvOamSpiNbiNotificationValue_1 Record;

const char HAS_TOKEN[] = "Threads to finished.";
const char NO_THREAD_LOGGED[] = "log 3 start: \"Rethrow NoThreadAvailableException: No thread available\"";

class NotificationSubscriptionRace : public SubscriptionTest
{
protected:
    void heartbeat() { subscription->onHeartbeatTimer(subscription->_heartbeatTimer); }
    void stopTimer() { subscription->onTimer(subscription->_timer); }
};

// A record that arrives after a run's last look at the queue and before it has given the token back.
class NotificationSubscriptionMissedRecord : public NotificationSubscriptionRace
{
protected:
    NotificationSubscriptionMissedRecord()
    {
        filter.match = [](const Record& record) { return std::strcmp(record.dn, "unwanted=1") != 0; };
        subscribe(until(NOW + HOUR));
        {
            Once arrival;
            const LockNotice notice(subscription->_processMutex,
                                    [&](LockNotice::Operation operation)
                                    {
                                        if (operation == LockNotice::unlocks && arrival.first())
                                        {
                                            notify(NOW, "missed=1");
                                        }
                                    });
            notify(NOW, "seen=1");
            waitUntilIdle();
        }
        handler.waitForDn("seen=1");
    }
};

TEST_F(NotificationSubscriptionMissedRecord, WaitsThoughTheTokenIsFree)
{
    EXPECT_TRUE(tokenIsFree());
    EXPECT_EQ(queuedDns(), Dns({"missed=1"}));
    EXPECT_EQ(handler.dns(), Dns({"seen=1"}));
}

TEST_F(NotificationSubscriptionMissedRecord, GoesAheadOfTheNextOne)
{
    notify(NOW, "next=1");
    ASSERT_TRUE(handler.waitForDn("next=1"));
    EXPECT_EQ(handler.dns(), Dns({"seen=1", "missed=1", "next=1"}));
}

TEST_F(NotificationSubscriptionMissedRecord, IsSetGoingByOneThatIsNotWanted)
{
    notify(NOW, "unwanted=1");
    ASSERT_TRUE(handler.waitForDn("missed=1"));
    EXPECT_EQ(handler.dns(), Dns({"seen=1", "missed=1"}));
}

TEST_F(NotificationSubscriptionMissedRecord, IsSetGoingByAHeartbeat)
{
    heartbeat();
    ASSERT_TRUE(handler.waitForType(heartbeatNotification));
    EXPECT_EQ(handler.dns(), Dns({"seen=1", "missed=1", "-"}));
}

TEST_F(NotificationSubscriptionMissedRecord, IsSetGoingByTheStopTime)
{
    stopTimer();
    ASSERT_TRUE(handler.waitForType(notificationComplete));
    EXPECT_EQ(handler.dns(), Dns({"seen=1", "missed=1", "-"}));
}

TEST_F(NotificationSubscriptionMissedRecord, IsNotSetGoingByOneThatExpiresOrIsDropped)
{
    notify(NOW + HOUR + 1, "expired=1");
    subscription->_stopped = true;
    notify(NOW, "dropped=1");
    EXPECT_TRUE(tokenIsFree());
    EXPECT_EQ(queuedDns(), Dns({"missed=1"}));
    EXPECT_EQ(handler.dns(), Dns({"seen=1"}));
}

TEST_F(NotificationSubscriptionMissedRecord, IsDroppedByStop)
{
    subscription->stop();
    EXPECT_EQ(queuedDns(), Dns());
    EXPECT_EQ(handler.dns(), Dns({"seen=1"}));
}

// A thread that has queued a record, has seen that records wait, and has not asked for the token yet.
class NotificationSubscriptionSlowLook : public NotificationSubscriptionRace
{
protected:
    // Without a run under way.
    void startSlowLook(const std::string& dn)
    {
        notice = std::make_unique<LockNotice>(subscription->_processMutex,
                                              [this](LockNotice::Operation operation)
                                              {
                                                  if (operation == LockNotice::triesToLock && look.first())
                                                  {
                                                      looked.set_value();
                                                      goOn.get_future().wait();
                                                  }
                                              });
        slow = std::thread([this, dn] { notify(NOW, dn); });
        looked.get_future().wait();
    }

    void finishSlowLook()
    {
        goOn.set_value();
        slow.join();
        waitUntilIdle();
        pool().joinAll();
        notice.reset();
    }

    unsigned int runs() const
    {
        unsigned int count = 0;
        for (const LogLine& line : framework.lines())
        {
            count += line.source == LogLine::trace && line.function == "processQueueImpl" && line.text == " >> ";
        }
        return count;
    }

    Once look;
    std::promise<void> looked;
    std::promise<void> goOn;
    std::unique_ptr<LockNotice> notice;
    std::thread slow;
};

TEST_F(NotificationSubscriptionSlowLook, ReturnsWhenAnotherOneHasTakenTheToken)
{
    subscribe();
    framework.setLevel(8);
    handler.hold();
    startSlowLook("A=1");
    notify(NOW, "B=1");
    ASSERT_TRUE(handler.waitUntilHeld());
    goOn.set_value();
    slow.join();
    EXPECT_EQ(pool().used(), 1);
    EXPECT_EQ(queuedDns(), Dns({"B=1"}));
    handler.release();
    waitUntilIdle();
    pool().joinAll();
    notice.reset();
    EXPECT_EQ(runs(), 1u);
    EXPECT_EQ(handler.dns(), Dns({"A=1", "B=1"}));
}

TEST_F(NotificationSubscriptionSlowLook, StartsARunThatFindsNothingWhenAnotherRunWasFaster)
{
    subscribe();
    framework.setLevel(8);
    startSlowLook("A=1");
    notify(NOW, "B=1");
    waitUntilIdle();
    EXPECT_EQ(handler.dns(), Dns({"A=1", "B=1"}));
    finishSlowLook();
    EXPECT_EQ(runs(), 2u);
    EXPECT_EQ(handler.dns(), Dns({"A=1", "B=1"}));
    EXPECT_TRUE(tokenIsFree());
}

TEST_F(NotificationSubscriptionSlowLook, StartsARunThatFindsNothingWhenStopWasFaster)
{
    subscribe();
    startSlowLook("A=1");
    subscription->stop();
    finishSlowLook();
    EXPECT_EQ(handler.count(), 0u);
    EXPECT_TRUE(tokenIsFree());
}

// stop() waits for no callback of a timer, so the run of a slow one can begin behind it. The run is held at its entry
// until the destructor comes to wait for it, or has not waited: then the address sanitizer tells what the run touches.
TEST_F(NotificationSubscriptionSlowLook, OfAHeartbeatThatStopOvertookHasItsRunWaitedForByTheDestructor)
{
    auto callback = std::make_unique<SyncPoint>(framework, "onHeartbeatTimer", "----------------HEARTBEAT");
    std::unique_ptr<SyncPoint> run;
    std::atomic<bool> waitedFor{false};
    subscribe(withHeartbeat(0));  // fires at once
    ASSERT_TRUE(callback->waitUntilHeld());
    notice = std::make_unique<LockNotice>(subscription->_processMutex,
                                          [&](LockNotice::Operation operation)
                                          {
                                              if (operation == LockNotice::triesToLock)
                                              {
                                                  looked.set_value();
                                                  goOn.get_future().wait();
                                              }
                                              else if (operation == LockNotice::locks)
                                              {
                                                  waitedFor = true;
                                                  run->release();
                                              }
                                          });
    callback.reset();
    looked.get_future().wait();
    subscription->stop();
    run = std::make_unique<SyncPoint>(framework, "processQueueImpl", " >> ");
    goOn.set_value();
    ASSERT_TRUE(run->waitUntilHeld());
    std::thread destroying(
        [&]
        {
            subscription.reset();
            run->release();
        });
    destroying.join();
    pool().joinAll();
    notice.reset();
    EXPECT_TRUE(waitedFor);
    EXPECT_EQ(filter.destroyed, 1u);
    EXPECT_EQ(handler.count(), 0u);
}

// The stop timer fires inside stop(), at each place where that makes a difference.
class NotificationSubscriptionStopTimerInStop : public NotificationSubscriptionRace
{
protected:
    NotificationSubscriptionStopTimerInStop()
    {
        subscribe(until(NOW + HOUR));
        framework.setLevel(8);
    }

    // stop() on a thread of its own; the action runs there when the timers are cancelled and the queue is not empty
    // yet.
    void stopAndBeforeThePurge(const std::function<void()>& action, const std::function<void()>& whenItWaits)
    {
        Once purge;
        const LockNotice notice(subscription->_queueMutex,
                                [&]
                                {
                                    if (purge.first())
                                    {
                                        action();
                                    }
                                });
        StopInProgress stopping(*subscription);
        EXPECT_TRUE(framework.log().waitFor(LogLine::trace, EMPTIED, 1, RecordingHandler::TIMEOUT_SECONDS));
        EXPECT_FALSE(stopping.returned());
        whenItWaits();
        stopping.join();
        typesAtTheEnd = handler.types();
        pool().joinAll();
    }

    // stop() on this thread; the stop timer fires there when it comes to this line.
    void stopAndFireAt(const char* text)
    {
        Once timer;
        framework.log().whenLine(LogLine::trace, text,
                                 [&]
                                 {
                                     if (timer.first())
                                     {
                                         stopTimer();
                                     }
                                 });
        subscription->stop();
        typesAtTheEnd = handler.types();
        framework.log().whenLine(LogLine::trace, "", nullptr);
    }

    Types typesAtTheEnd;
};

TEST_F(NotificationSubscriptionStopTimerInStop, BeforeTheQueueIsEmptiedIsDeliveredIfItsRunWasFaster)
{
    handler.hold();
    stopAndBeforeThePurge(
        [this]
        {
            stopTimer();
            EXPECT_TRUE(handler.waitUntilHeld());
        },
        [this] { handler.release(); });
    EXPECT_EQ(typesAtTheEnd, Types({notificationComplete}));
}

TEST_F(NotificationSubscriptionStopTimerInStop, BeforeTheQueueIsEmptiedIsDroppedIfItsRunWasSlower)
{
    SyncPoint run(framework, "processQueueImpl", " >> ");
    stopAndBeforeThePurge(
        [&]
        {
            stopTimer();
            EXPECT_TRUE(run.waitUntilHeld());
            EXPECT_EQ(queuedTypes(), Types({notificationComplete}));
        },
        [&] { run.release(); });
    EXPECT_EQ(typesAtTheEnd, Types());
    EXPECT_EQ(queuedTypes(), Types());
}

TEST_F(NotificationSubscriptionStopTimerInStop, AfterTheQueueIsEmptiedIsDeliveredBeforeStopReturns)
{
    stopAndFireAt(EMPTIED);
    EXPECT_EQ(typesAtTheEnd, Types({notificationComplete}));
    EXPECT_EQ(queuedTypes(), Types());
}

TEST_F(NotificationSubscriptionStopTimerInStop, WhileStopHoldsTheTokenStaysQueuedUntilTheDestructorFreesIt)
{
    stopAndFireAt(HAS_TOKEN);
    EXPECT_EQ(typesAtTheEnd, Types());
    EXPECT_TRUE(tokenIsFree());
    EXPECT_EQ(queuedTypes(), Types({notificationComplete}));
    subscription.reset();  // the leak sanitizer looks for the record
    EXPECT_EQ(handler.count(), 0u);
}

TEST_F(NotificationSubscriptionRace, ARunThatHasEndedHoldsItsThreadAMomentLonger)
{
    subscribe();
    SyncPoint leaving(framework, "processQueueImpl", " << ");
    notify(NOW, "A=1");
    ASSERT_TRUE(leaving.waitUntilHeld());
    EXPECT_TRUE(tokenIsFree());
    EXPECT_EQ(pool().used(), 1);
    leaving.release();
    pool().joinAll();
    EXPECT_EQ(pool().used(), 0);
}

typedef NotificationSubscriptionRace NotificationSubscriptionRaceDeathTest;

TEST_F(NotificationSubscriptionRaceDeathTest, ARecordThatFindsTheLastThreadStillHeldByAnEndedRunEndsTheProcess)
{
    EXPECT_EXIT(
        {
            framework.log().echoToStandardError(true);
            const NarrowPool one(1);
            subscribe();
            SyncPoint leaving(framework, "processQueueImpl", " << ");
            notify(NOW, "A=1");
            leaving.waitUntilHeld();
            notify(NOW, "B=1");
        },
        testing::KilledBySignal(SIGABRT), NO_THREAD_LOGGED);
}

}  // namespace
