// checkQueue and the delivery run: when one starts, that there is one at most, and what order comes of it.
#include <algorithm>
#include <map>
#include <thread>

#include "DeliveryToken.h"
#include "LogCheck.h"
#include "OrvThreadLock.h"
#include "SubscriptionTest.h"

using namespace OrvTest;

typedef SubscriptionTest NotificationSubscriptionRun;
typedef std::vector<int32_t> Types;
typedef std::vector<std::string> Dns;
typedef std::vector<std::string> Texts;
typedef OrvOamSpiNbiNotificationValue_1 Record;

TEST_F(NotificationSubscriptionRun, AnEmptyQueueStartsNone)
{
    subscribe();
    pool().joinAll();
    subscription->checkQueue();
    EXPECT_TRUE(tokenIsFree());
    EXPECT_EQ(pool().used(), 0);
}

TEST_F(NotificationSubscriptionRun, ABusyTokenStartsNone)
{
    subscribe();
    pool().joinAll();
    {
        const TokenHold token(*subscription);
        notify(NOW, "A=1");
        subscription->checkQueue();
        EXPECT_EQ(pool().used(), 0);
        EXPECT_EQ(queuedDns(), Dns({"A=1"}));
    }
}

TEST_F(NotificationSubscriptionRun, TheTokenIsTakenBeforeTheRunHasBegun)
{
    subscribe();
    {
        const RunGate gate(framework);
        notify(NOW, "A=1");
        EXPECT_FALSE(tokenIsFree());
        EXPECT_EQ(queuedDns(), Dns({"A=1"}));
    }
    deliverAll();
    EXPECT_EQ(handler.dns(), Dns({"A=1"}));
}

TEST_F(NotificationSubscriptionRun, TakesWhatArrivesWhileItIsGoing)
{
    subscribe();
    handler.hold();
    notify(NOW, "A=1");
    ASSERT_TRUE(handler.waitUntilHeld());
    notify(NOW, "B=1");
    notify(NOW, "C=1");
    handler.release();
    waitUntilIdle();
    EXPECT_EQ(handler.dns(), Dns({"A=1", "B=1", "C=1"}));
}

TEST_F(NotificationSubscriptionRun, GivesItsThreadBackWhenTheQueueIsEmpty)
{
    subscribe();
    notify(NOW, "A=1");
    deliverAll();
    pool().joinAll();
    EXPECT_EQ(pool().used(), 0);
    EXPECT_TRUE(tokenIsFree());
}

TEST_F(NotificationSubscriptionRun, ThatFindsTheOverflowGuardSetEndsAtOnce)
{
    subscribe();
    {
        const TokenHold token(*subscription);
        notify(NOW, "A=1");
        const Orv::OrvThreadLock<Poco::FastMutex> lock(subscription->_queueMutex);
        subscription->_overflow = true;
    }
    subscription->checkQueue();
    waitUntilIdle();
    EXPECT_EQ(handler.count(), 0u);
    EXPECT_EQ(queuedDns(), Dns({"A=1"}));
}

TEST_F(NotificationSubscriptionRun, ASlowHandlerHoldsUpNeitherNotifyNorAnotherSubscription)
{
    RecordingHandler other(HANDLE + 1);
    NotificationSubscription second(HANDLE + 1, RecordingHandler::handlerRecord(), nullptr, &buffer, 0, 0, false, 0,
                                    10);
    second._filters = new ScriptedFilter(filter);
    subscribe();
    handler.hold();
    notify(NOW, "A=1");
    ASSERT_TRUE(handler.waitUntilHeld());
    notify(NOW, "B=1");
    second.notify(*makeNotification(NOW, "C=1", objectCreated));
    EXPECT_TRUE(other.waitForDn("C=1"));
    EXPECT_EQ(handler.dns(), Dns({"A=1"}));
    handler.release();
    deliverAll();
    EXPECT_EQ(handler.dns(), Dns({"A=1", "B=1"}));
    second.stop();
}

TEST_F(NotificationSubscriptionRun, OfTwoLooksAtTheSameMomentOneStartsARunAndTheOtherReturns)
{
    subscribe();
    for (int round = 0; round < 200; ++round)
    {
        {
            const TokenHold token(*subscription);
            notify(NOW, "A=" + std::to_string(round));
        }
        std::atomic<int> ready{0};
        const auto look = [&]
        {
            ++ready;
            while (ready.load() != 2)
            {
            }
            subscription->checkQueue();
        };
        std::thread other(look);
        look();
        other.join();
        waitUntilIdle();
    }
    EXPECT_EQ(handler.count(), 200u);
    EXPECT_EQ(handler.mostAtOnce(), 1u);
}

TEST_F(NotificationSubscriptionRun, RecordsOfSeveralThreadsArriveOnceEachAndInTheOrderOfTheirThread)
{
    static constexpr int THREADS = 4;
    static constexpr int RECORDS = 500;
    subscribe(withLimit(THREADS * RECORDS + 1));
    std::vector<std::thread> threads;
    for (int thread = 0; thread < THREADS; ++thread)
    {
        threads.emplace_back(
            [this, thread]
            {
                for (int i = 0; i < RECORDS; ++i)
                {
                    notifyControl(discardedOld, thread * RECORDS + i);
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    deliverAll();

    ASSERT_EQ(handler.count(), static_cast<size_t>(THREADS * RECORDS));
    std::map<int64_t, int64_t> next;
    for (const Received& received : handler.received())
    {
        const int64_t thread = received.eventTime / RECORDS;
        EXPECT_EQ(received.eventTime % RECORDS, next[thread]);
        ++next[thread];
    }
    EXPECT_EQ(handler.mostAtOnce(), 1u);
}

TEST_F(NotificationSubscriptionRun, StopRacesWithArrivalsAndHeartbeatsWithoutLosingItsFooting)
{
    for (int round = 0; round < 30; ++round)
    {
        subscribe(withHeartbeat(115964117));  // cut to 8 ms
        std::thread arrivals(
            [this]
            {
                for (int i = 0; i < 50; ++i)
                {
                    notifyControl(discardedOld);
                }
            });
        ASSERT_TRUE(handler.waitFor(static_cast<size_t>(round) + 1));
        subscription->stop();
        arrivals.join();  // whoever notifies must not outlive the subscription
        subscription.reset();
        EXPECT_EQ(filter.destroyed, static_cast<unsigned int>(round) + 1);
    }
}
