#include "NotificationThreadStarter.h"

#include <Poco/ActiveMethod.h>
#include <Poco/ActiveResult.h>
#include <Poco/Event.h>
#include <Poco/Thread.h>

#include <stdexcept>

#include "DeliveryToken.h"
#include "LegacySubscriptionFilter.h"
#include "MutexFault.h"
#include "NotificationSubscription.h"
#include "OrvException.h"
#include "PoolCalls.h"
#include "PoolGate.h"
#include "RecordingHandler.h"
#include "StorageTest.h"

namespace
{

using OrvNbiNotificationService::giveToken;
using OrvNbiNotificationService::LegacySubscriptionFilter;
using OrvNbiNotificationService::NotificationSubscription;
using OrvNbiNotificationService::NotificationThreadPoolManager;
using OrvNbiNotificationService::NotificationThreadStarter;
using OrvNbiNotificationService::tryTakeToken;
using OrvTest::MutexFault;
using OrvTest::PoolCalls;
using OrvTest::PoolGate;
using OrvTest::RecordingHandler;

typedef std::vector<std::string> Texts;

const char* const NO_THREAD = "Rethrow NoThreadAvailableException: No thread available";

// Has one active method, whose body the test supplies.
class Owner
{
public:
    Owner() : method(this, &Owner::run) {}

    Poco::ActiveMethod<void, void, Owner, NotificationThreadStarter<Owner>> method;
    std::function<void()> body;

private:
    void run() { body(); }
};

class NotificationThreadStarterTest : public OrvTest::StorageTest
{
protected:
    NotificationThreadStarterTest() { manager.stopAll(); }
    ~NotificationThreadStarterTest() override { manager.stopAll(); }

    // To be kept until the starter has returned, as an active method keeps it: the run may end before.
    Poco::AutoPtr<Poco::ActiveRunnableBase> runnable()
    {
        return new Poco::ActiveRunnable<void, void, Owner>(&owner, &Owner::run, new Poco::ActiveResultHolder<void>());
    }

    NotificationThreadPoolManager& manager = NotificationThreadPoolManager::instance();
    Poco::ThreadPool& pool = manager.getThreadPool();
    Owner owner;
};

TEST_F(NotificationThreadStarterTest, RunsTheMethodOnAThreadOfTheNotificationPool)
{
    std::string name;
    owner.body = [&name] { name = Poco::Thread::current()->getName(); };
    Poco::ActiveResult<void> result = owner.method();
    result.wait();
    EXPECT_FALSE(result.failed());
    EXPECT_EQ(name.rfind("NotificationSeriveThreadPool", 0), 0u) << name;
}

TEST_F(NotificationThreadStarterTest, TracesHowManyThreadsWereLeftBefore)
{
    owner.body = [] {};
    PoolGate gate(pool, 4);
    traceEverything();
    owner.method().wait();
    EXPECT_EQ(OrvTest::described(framework.lines()),
              (Texts{"trace 9 start: \" >> \"", "traceV2 14 start: \" >> \"",
                     "trace 0 start: \"Assigning a thread to active method. Available before assignment: 506\"",
                     "traceV2 14 start: \"Assigning a thread to active method. Available before assignment: 506\"",
                     "trace 10 start: \" << \"", "traceV2 14 start: \" << \""}));
}

TEST_F(NotificationThreadStarterTest, AsksForTheThreadsThatAreLeftOnlyAtTraceLevel)
{
    owner.body = [] {};
    {
        PoolCalls calls;
        framework.setLevel(7);
        owner.method().wait();
        EXPECT_EQ(calls.calls(), Texts());
    }
    PoolCalls calls;
    framework.setLevel(8);
    owner.method().wait();
    EXPECT_EQ(calls.calls(), Texts{"available"});
}

TEST_F(NotificationThreadStarterTest, TheRunGivesBackTheReferenceThatTheStarterHasMadeForIt)
{
    const Poco::AutoPtr<Poco::ActiveRunnableBase> kept = runnable();
    Poco::Event entered;
    Poco::Event leave;
    owner.body = [&]
    {
        entered.set();
        leave.wait();
    };
    NotificationThreadStarter<Owner>::start(&owner, kept);
    entered.wait();
    EXPECT_EQ(kept->referenceCount(), 2);
    leave.set();
    pool.joinAll();
    EXPECT_EQ(kept->referenceCount(), 1);
}

TEST_F(NotificationThreadStarterTest, DoesNotLookAtTheOwner)
{
    bool ran = false;
    owner.body = [&ran] { ran = true; };
    const Poco::AutoPtr<Poco::ActiveRunnableBase> kept = runnable();
    NotificationThreadStarter<Owner>::start(nullptr, kept);
    pool.joinAll();
    EXPECT_TRUE(ran);
}

TEST_F(NotificationThreadStarterTest, AnExhaustedPoolIsReportedAndTheExceptionGoesOn)
{
    const Poco::AutoPtr<Poco::ActiveRunnableBase> kept = runnable();
    PoolGate gate(pool, 510);
    traceEverything();
    EXPECT_THROW(NotificationThreadStarter<Owner>::start(&owner, kept), Poco::NoThreadAvailableException);
    EXPECT_EQ(OrvTest::described(framework.lines()),
              (Texts{"trace 9 start: \" >> \"", "traceV2 14 start: \" >> \"",
                     "trace 0 start: \"Assigning a thread to active method. Available before assignment: 0\"",
                     "traceV2 14 start: \"Assigning a thread to active method. Available before assignment: 0\"",
                     std::string("log 3 start: \"") + NO_THREAD + "\"",
                     std::string("traceV2 3 start: \"") + NO_THREAD + "\""}));
    // No thread runs it, so no reference was made for one.
    EXPECT_EQ(kept->referenceCount(), 1);
}

TEST_F(NotificationThreadStarterTest, AnExhaustedPoolIsNotReportedBelowItsSeverity)
{
    PoolGate gate(pool, 510);
    framework.setLevel(2);
    framework.log().clear();
    EXPECT_THROW(owner.method(), Poco::NoThreadAvailableException);
    EXPECT_TRUE(framework.lines().empty());
}

TEST_F(NotificationThreadStarterTest, ANullRunnableIsAnExceptionThatIsNotReported)
{
    framework.log().clear();
    EXPECT_THROW(NotificationThreadStarter<Owner>::start(&owner, Poco::AutoPtr<Poco::ActiveRunnableBase>()),
                 Poco::NullPointerException);
    EXPECT_TRUE(framework.lines().empty());
}

TEST_F(NotificationThreadStarterTest, WhatTheMethodThrowsEndsInTheResult)
{
    const std::vector<std::pair<std::function<void()>, std::string>> failures = {
        {[] { throw Orv::OrvException("an %s exception", "Orv"); }, "an Orv exception"},
        {[] { throw std::runtime_error("a standard exception"); }, "a standard exception"},
        {[] { throw Poco::SystemException("a Poco exception"); }, "a Poco exception"},
        {[] { throw 42; }, "unknown exception"}};
    framework.log().clear();
    for (const auto& failure : failures)
    {
        owner.body = failure.first;
        Poco::ActiveResult<void> result = owner.method();
        result.wait();
        EXPECT_TRUE(result.failed());
        EXPECT_EQ(result.error(), failure.second);
    }
    EXPECT_TRUE(framework.lines().empty());
}

// A subscription with nothing to do: no replay, no timer, nothing queued.
class NotificationThreadStarterSubscriptionTest : public NotificationThreadStarterTest
{
protected:
    ~NotificationThreadStarterSubscriptionTest() override { subscription.stop(); }

    NotificationSubscription subscription{
        1, RecordingHandler::handlerRecord(), new LegacySubscriptionFilter(nullptr), nullptr, 0, 0, false, 0, 100};
    RecordingHandler handler{1};
};

TEST_F(NotificationThreadStarterSubscriptionTest, AnExhaustedPoolIsReportedTwiceByTheStarterAndByTheQueueCheck)
{
    PoolGate gate(pool, 510);
    bool isFilling = false;
    ASSERT_TRUE(subscription.enqueue(*OrvTest::at(10), isFilling));
    traceEverything();
    EXPECT_THROW(subscription.checkQueue(), Poco::NoThreadAvailableException);
    EXPECT_TRUE(
        OrvTest::traced(framework.lines(), 0, "Assigning a thread to active method. Available before assignment: 0"));
    EXPECT_EQ(OrvTest::messages(framework.lines()),
              (Texts{std::string("3 ") + NO_THREAD, std::string("3 ") + NO_THREAD}));
    EXPECT_TRUE(OrvTest::logged(framework.lines(), 3, NO_THREAD, 2));
    // The token stays taken, and nobody else would give it back.
    giveToken(subscription._processMutex);
}

TEST_F(NotificationThreadStarterSubscriptionTest, AnExhaustedPoolLeavesATimersStartWithoutAMessage)
{
    PoolGate gate(pool, 510);
    framework.log().clear();
    EXPECT_THROW(subscription.startHeartbeatTimer(3600), Poco::NoThreadAvailableException);
    EXPECT_THROW(subscription.startTimer(3600000000), Poco::NoThreadAvailableException);
    EXPECT_TRUE(framework.lines().empty());
}

TEST_F(NotificationThreadStarterSubscriptionTest, AnExceptionOutOfADeliveryRunEndsInTheResult)
{
    ASSERT_TRUE(tryTakeToken(subscription._processMutex));
    framework.log().clear();
    {
        const MutexFault failing(subscription._queueMutex, MutexFault::lockFails);
        Poco::ActiveResult<void> result = subscription.processQueue();
        result.wait();
        EXPECT_TRUE(result.failed());
        ASSERT_NE(result.exception(), nullptr);
        EXPECT_EQ(result.exception()->message(), "cannot lock mutex");
    }
    EXPECT_TRUE(framework.lines().empty());
    EXPECT_EQ(handler.count(), 0u);
    // The run ended before it could give the token back.
    giveToken(subscription._processMutex);
}

}  // namespace
