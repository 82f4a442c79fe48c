// What the handler is given, and what its answers and exceptions lead to.
#include <Poco/Exception.h>

#include <cerrno>
#include <chrono>
#include <stdexcept>

#include "LogCheck.h"
#include "OrvException.h"
#include "PauseHook.h"
#include "SubscriptionTest.h"

using namespace OrvTest;

typedef SubscriptionTest NotificationSubscriptionAnswer;
typedef std::vector<int32_t> Types;
typedef std::vector<std::string> Dns;
typedef std::vector<std::string> Texts;
typedef OrvOamSpiNbiNotificationValue_1 Record;

TEST_F(NotificationSubscriptionAnswer, OkGoesOnToTheNextRecordAndLogsNothing)
{
    subscribe();
    notify(NOW, "A=1");
    notify(NOW, "B=1");
    deliverAll();
    EXPECT_EQ(handler.dns(), Dns({"A=1", "B=1"}));
    EXPECT_EQ(messages(framework.lines()), Texts());
}

TEST_F(NotificationSubscriptionAnswer, TheHandlerIsCalledWithTheHandleOnAThreadOfTheNotificationPool)
{
    subscribe();
    notify(NOW, "A=1");
    deliverAll();
    const Received received = handler.received().at(0);
    EXPECT_EQ(received.handle, HANDLE);
    EXPECT_EQ(received.threadName.rfind("NotificationSeriveThreadPool", 0), 0u) << received.threadName;
}

TEST_F(NotificationSubscriptionAnswer, TheHandlerIsCalledWithNoLockHeldButTheToken)
{
    bool queueFree = false;
    bool tokenFree = true;
    subscribe();
    handler.answerWith(
        [&](const Received&)
        {
            queueFree = subscription->_queueMutex.tryLock();
            if (queueFree)
            {
                subscription->_queueMutex.unlock();
            }
            tokenFree = tokenIsFree();
            return OrvOk;
        });
    notify(NOW, "A=1");
    deliverAll();
    EXPECT_TRUE(queueFree);
    EXPECT_FALSE(tokenFree);
}

TEST_F(NotificationSubscriptionAnswer, RetryOffersTheSameRecordAgainFirst)
{
    PauseHook quick;
    subscribe();
    handler.answer({OrvRetry, OrvRetry});
    {
        const TokenHold token(*subscription);
        notify(NOW, "A=1");
        notify(NOW, "B=1");
    }
    deliverAll();
    EXPECT_EQ(handler.dns(), Dns({"A=1", "A=1", "A=1", "B=1"}));
    EXPECT_EQ(handler.received()[0].record, handler.received()[2].record);
    EXPECT_EQ(messages(framework.lines()), Texts());
}

TEST_F(NotificationSubscriptionAnswer, EachRetryPausesForTheSameHundredthOfASecond)
{
    PauseHook quick;
    subscribe();
    handler.answer(std::vector<OrvReturnT>(20, OrvRetry));
    notify(NOW, "A=1");
    deliverAll();
    EXPECT_EQ(handler.count(), 21u);
    EXPECT_EQ(quick.requests().size(), 20u);
    for (const timespec& request : quick.requests())
    {
        EXPECT_EQ(request.tv_sec, 0);
        EXPECT_EQ(request.tv_nsec, 10000000);
    }
}

TEST_F(NotificationSubscriptionAnswer, RetryForEverMakesOneCallEachHundredthOfASecondAtMost)
{
    std::vector<std::chrono::steady_clock::time_point> times;
    for (int i = 0; i < 6; ++i)
    {
        handler.answerWith(
            [&](const Received&)
            {
                times.push_back(std::chrono::steady_clock::now());
                return OrvRetry;
            });
    }
    subscribe();
    notify(NOW, "A=1");
    ASSERT_TRUE(handler.waitFor(7));
    waitUntilIdle();
    ASSERT_EQ(times.size(), 6u);
    for (size_t i = 1; i < times.size(); ++i)
    {
        EXPECT_GE(times[i] - times[i - 1], std::chrono::milliseconds(10));
    }
}

TEST_F(NotificationSubscriptionAnswer, APauseThatASignalEndsIsNotMadeUpFor)
{
    PauseHook interrupted(
        []
        {
            errno = EINTR;
            return -1;
        });
    subscribe();
    handler.answer({OrvRetry});
    notify(NOW, "A=1");
    deliverAll();
    EXPECT_EQ(interrupted.requests().size(), 1u);
    EXPECT_EQ(handler.dns(), Dns({"A=1", "A=1"}));
}

TEST_F(NotificationSubscriptionAnswer, WhileARunBacksOffTheRecordStandsAtTheFrontAndTheTokenIsHeld)
{
    bool tokenFree = true;
    subscribe();
    PauseHook look(
        [&]
        {
            EXPECT_EQ(queuedDns(), Dns({"A=1", "B=1"}));
            tokenFree = tokenIsFree();
            return 0;
        });
    handler.answer({OrvRetry});
    {
        const TokenHold token(*subscription);
        notify(NOW, "A=1");
        notify(NOW, "B=1");
    }
    deliverAll();
    EXPECT_FALSE(tokenFree);
}

TEST_F(NotificationSubscriptionAnswer, RetryTracesItsPauseWithTheAddressOfTheSubscription)
{
    PauseHook quick;
    subscribe();
    handler.answer({OrvRetry});
    framework.setLevel(8);
    notify(NOW, "A=1");
    deliverAll();
    pool().joinAll();
    char before[100];
    char after[100];
    snprintf(before, sizeof(before), "Sleep 0.01s then check the queue again! %p",
             static_cast<void*>(subscription.get()));
    snprintf(after, sizeof(after), "Awake! %p", static_cast<void*>(subscription.get()));
    EXPECT_EQ(tracesElsewhere({"processQueueImpl", "actOnAnswer"}), Texts({" >> ", before, after, " << "}));
}

TEST_F(NotificationSubscriptionAnswer, ARunThatFindsItselfDeregisteringAfterThePauseEnds)
{
    subscribe();
    PauseHook deregistering(
        [this]
        {
            subscription->_deregistering = true;
            return 0;
        });
    handler.answer({OrvRetry});
    notify(NOW, "A=1");
    waitUntilIdle();
    EXPECT_EQ(handler.dns(), Dns({"A=1"}));
    EXPECT_EQ(queuedDns(), Dns({"A=1"}));
}

TEST_F(NotificationSubscriptionAnswer, NotFoundDropsTheRecordInHandAndDeliversNothingBehindIt)
{
    subscribe(withLimit(3));
    handler.answer({OrvNotFound});
    {
        const TokenHold token(*subscription);
        notify(NOW, "A=1");
        notify(NOW, "B=1");
        framework.setLevel(8);
    }
    notify(NOW, "C=1");
    waitUntilIdle();
    pool().joinAll();
    EXPECT_TRUE(subscription->_deregistering);
    EXPECT_EQ(handler.dns(), Dns({"A=1"}));
    EXPECT_EQ(queuedDns(), Dns({"B=1", "C=1"}));
    EXPECT_TRUE(logged(framework.lines(), 3, "Unexpected error code received -2"));
    EXPECT_EQ(messages(framework.lines()), Texts({"3 Unexpected error code received -2"}));
    EXPECT_EQ(tracesElsewhere({"processQueueImpl", "actOnAnswer"}),
              Texts({" >> ", "Subscriber is deregistering, stop sending notifications.", " << "}));
}

TEST_F(NotificationSubscriptionAnswer, AfterNotFoundTheQueueFillsAndPurgesAndEachRunEndsAtOnce)
{
    subscribe(withLimit(2));
    handler.answer({OrvNotFound});
    notify(NOW, "A=1");
    waitUntilIdle();
    pool().joinAll();
    framework.setLevel(8);

    notify(NOW, "B=1");
    waitUntilIdle();
    pool().joinAll();
    EXPECT_EQ(tracesElsewhere({"processQueueImpl", "actOnAnswer"}), Texts({" >> no subscriber", " << "}));
    EXPECT_EQ(queuedDns(), Dns({"B=1"}));

    notify(NOW, "C=1");
    waitUntilIdle();
    EXPECT_EQ(queuedDns(), Dns({"B=1", "C=1"}));
    notify(NOW, "D=1");
    waitUntilIdle();
    EXPECT_EQ(queuedTypes(), Types({overflowNotification, objectCreated}));
    EXPECT_EQ(queuedDns(), Dns({"-", "D=1"}));
    EXPECT_EQ(handler.dns(), Dns({"A=1"}));

    subscription->stop();
    EXPECT_EQ(queuedDns(), Dns());
}

TEST_F(NotificationSubscriptionAnswer, ACompletedSubscriptionCanDeregisterToo)
{
    handler.answerAlways(OrvNotFound);
    subscribe(until(NOW - 1));
    waitUntilIdle();
    EXPECT_TRUE(subscription->_stopped);
    EXPECT_TRUE(subscription->_deregistering);
    EXPECT_EQ(handler.types(), Types({notificationComplete}));
}

TEST_F(NotificationSubscriptionAnswer, AnyOtherAnswerLosesTheRecordAndDeliveryGoesOn)
{
    subscribe();
    handler.answer({2, -1, 42, -8});
    {
        const TokenHold token(*subscription);
        for (const char* dn : {"A=1", "B=1", "C=1", "D=1", "E=1"})
        {
            notify(NOW, dn);
        }
    }
    deliverAll();
    EXPECT_EQ(handler.dns(), Dns({"A=1", "B=1", "C=1", "D=1", "E=1"}));
    EXPECT_EQ(messages(framework.lines()),
              Texts({"3 Unexpected error code received 2", "3 Unexpected error code received -1",
                     "3 Unexpected error code received 42", "3 Unexpected error code received -8"}));
    EXPECT_TRUE(logged(framework.lines(), 3, "Unexpected error code received 2"));
    EXPECT_FALSE(subscription->_deregistering);
}

TEST_F(NotificationSubscriptionAnswer, AHandlerThatThrowsLosesTheRecordWithTwoErrorLines)
{
    subscribe();
    handler.answerWith([](const Received&) -> OrvReturnT { throw Orv::OrvException("no way %d", 5); });
    handler.answerWith([](const Received&) -> OrvReturnT { throw std::runtime_error("bad luck"); });
    handler.answerWith([](const Received&) -> OrvReturnT { throw Poco::TimeoutException("not this text"); });
    handler.answerWith([](const Received&) -> OrvReturnT { throw 42; });
    {
        const TokenHold token(*subscription);
        for (const char* dn : {"A=1", "B=1", "C=1", "D=1", "E=1"})
        {
            notify(NOW, dn);
        }
    }
    deliverAll();
    EXPECT_EQ(handler.dns(), Dns({"A=1", "B=1", "C=1", "D=1", "E=1"}));
    const std::string code = "3 Unexpected error code received -1";
    EXPECT_EQ(messages(framework.lines()),
              Texts({"3 Exception in _handler->notify no way 5.", code, "3 Exception in _handler->notify:bad luck",
                     code, "3 Exception in _handler->notify:Timeout", code, "3 Caught unhandled exception", code}));
    EXPECT_TRUE(logged(framework.lines(), 3, "Exception in _handler->notify no way 5."));
    EXPECT_TRUE(logged(framework.lines(), 3, "Exception in _handler->notify:bad luck"));
    EXPECT_TRUE(logged(framework.lines(), 3, "Caught unhandled exception"));
    EXPECT_TRUE(logged(framework.lines(), 3, "Unexpected error code received -1", 4));
    EXPECT_FALSE(subscription->_deregistering);
}

TEST_F(NotificationSubscriptionAnswer, BelowLevel3NoErrorIsLogged)
{
    subscribe();
    framework.setLevel(2);
    handler.answerWith([](const Received&) -> OrvReturnT { throw Orv::OrvException("no way"); });
    handler.answerWith([](const Received&) -> OrvReturnT { throw std::runtime_error("bad luck"); });
    handler.answerWith([](const Received&) -> OrvReturnT { throw 42; });
    handler.answer({OrvNotFound});
    {
        const TokenHold token(*subscription);
        for (const char* dn : {"A=1", "B=1", "C=1", "D=1"})
        {
            notify(NOW, dn);
        }
    }
    subscription->checkQueue();
    waitUntilIdle();
    EXPECT_EQ(handler.dns(), Dns({"A=1", "B=1", "C=1", "D=1"}));
    EXPECT_EQ(describe(framework.lines()), describe(std::vector<LogLine>()));
}

namespace
{

std::atomic<int> nullRecords{0};
std::atomic<int> otherRecords{0};

OrvReturnT countNulls(unsigned int, Record* notification)
{
    ++(notification == nullptr ? nullRecords : otherRecords);
    return OrvOk;
}

}  // namespace

TEST_F(NotificationSubscriptionAnswer, ACopyThatCouldNotBeMadeIsHandedOverAsNullAndDeliveryGoesOn)
{
    nullRecords = 0;
    otherRecords = 0;
    subscribe();
    subscription->_handler.notify = countNulls;
    {
        const TokenHold token(*subscription);
        subscription->notify(*makeNotification(NOW, "A=1", attributeChanged, {uncopyableAttribute("x")}));
        notify(NOW, "B=1");
        EXPECT_EQ(subscription->queueSize(), 2u);
    }
    subscription->checkQueue();
    waitUntilIdle();
    EXPECT_EQ(nullRecords, 1);
    EXPECT_EQ(otherRecords, 1);
    EXPECT_EQ(subscription->queueSize(), 0u);
}
