#include "NotificationThreadPoolManager.h"

#include <Poco/Event.h>
#include <Poco/Exception.h>
#include <Poco/Runnable.h>
#include <Poco/Thread.h>
#include <dirent.h>

#include <atomic>
#include <cstdlib>
#include <stdexcept>
#include <thread>
#include <type_traits>

#include "LegacySubscriptionFilter.h"
#include "NotificationServiceRunnable.h"
#include "NotificationSubscription.h"
#include "PoolCalls.h"
#include "PoolGate.h"
#include "RecordingHandler.h"
#include "StorageTest.h"

namespace
{

using OrvNbiNotificationService::LegacySubscriptionFilter;
using OrvNbiNotificationService::NotificationServiceRunnable;
using OrvNbiNotificationService::NotificationSubscription;
using OrvNbiNotificationService::NotificationThreadPoolManager;
using OrvTest::PoolCalls;
using OrvTest::RecordingHandler;

typedef std::vector<std::string> Texts;

const char* const ENTERED = " >> ";
const char* const WAITING = "Waiting for all threads to finish";
const char* const ENDED =
    "All threads in the pool have finished executing, or,"
    "\x20\x20\x20\x20\x20\x20\x20\x20\x09\x09"
    "timed out (10 sec).";
const char* const LEFT = " << ";

// The pool of a process is made once, so what the making brings is seen in a process of its own.
class NotificationThreadPoolManagerDeathTest : public OrvTest::StorageTest
{
protected:
    NotificationThreadPoolManagerDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    static int threadsOfThisProcess()
    {
        int count = 0;
        DIR* const tasks = opendir("/proc/self/task");
        while (const dirent* const entry = readdir(tasks))
        {
            count += entry->d_name[0] != '.' ? 1 : 0;
        }
        closedir(tasks);
        return count;
    }

    [[noreturn]] static void endChild() { std::_Exit(HasFailure() ? 1 : 0); }
};

class NotificationThreadPoolManagerTest : public OrvTest::StorageTest
{
protected:
    NotificationThreadPoolManager& manager = NotificationThreadPoolManager::instance();
    Poco::ThreadPool& pool = manager.getThreadPool();
};

TEST_F(NotificationThreadPoolManagerTest, IsOneObjectWithOnePool)
{
    EXPECT_EQ(&manager, &NotificationThreadPoolManager::instance());
    EXPECT_EQ(&pool, &manager.getThreadPool());
    static_assert(std::is_base_of<Orv::Singleton<NotificationThreadPoolManager>, NotificationThreadPoolManager>::value,
                  "a singleton");
    static_assert(std::has_virtual_destructor<NotificationThreadPoolManager>::value, "the destructor is virtual");
}

TEST_F(NotificationThreadPoolManagerTest, ThePoolHasItsNameAndItsFourNumbers)
{
    EXPECT_EQ(pool.name(), "NotificationSeriveThreadPool");
    EXPECT_EQ(pool._minCapacity, 2);
    EXPECT_EQ(pool.capacity(), 510);
    EXPECT_EQ(pool._idleTime, 60);
    EXPECT_EQ(pool.getStackSize(), 0);
}

void expectAFreshPool()
{
    Poco::ThreadPool& pool = NotificationThreadPoolManager::instance().getThreadPool();
    EXPECT_EQ(pool.name(), "NotificationSeriveThreadPool");
    EXPECT_EQ(pool.capacity(), 510);
    EXPECT_EQ(pool.allocated(), 2);
}

TEST_F(NotificationThreadPoolManagerDeathTest, TheFirstUseMakesTwoThreadsOfWhichNoneIsTaken)
{
    EXPECT_EXIT(
        {
            const int before = threadsOfThisProcess();
            expectAFreshPool();
            EXPECT_EQ(threadsOfThisProcess(), before + 2);
            EXPECT_EQ(NotificationThreadPoolManager::instance().getThreadPool().available(), 510);
            endChild();
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(NotificationThreadPoolManagerDeathTest, ASubscriptionWithNothingToDeliverAndNoTimerMakesNoPool)
{
    EXPECT_EXIT(
        {
            RecordingHandler handler(1);
            const int before = threadsOfThisProcess();
            NotificationSubscription subscription(1, RecordingHandler::handlerRecord(),
                                                  new LegacySubscriptionFilter(nullptr), nullptr, 0, 0, false, 0, 100);
            subscription.stop();
            EXPECT_EQ(threadsOfThisProcess(), before);
            endChild();
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(NotificationThreadPoolManagerDeathTest, TheFirstDeliveryRunMakesThePool)
{
    EXPECT_EXIT(
        {
            RecordingHandler handler(1);
            NotificationSubscription subscription(1, RecordingHandler::handlerRecord(),
                                                  new LegacySubscriptionFilter(nullptr), nullptr, 0, 0, false, 0, 100);
            const int before = threadsOfThisProcess();
            subscription.notify(*OrvTest::at(10));
            EXPECT_TRUE(handler.waitFor(1));
            EXPECT_EQ(threadsOfThisProcess(), before + 2);
            expectAFreshPool();
            EXPECT_EQ(handler.received()[0].threadName.rfind("NotificationSeriveThreadPool", 0), 0u)
                << handler.received()[0].threadName;
            subscription.stop();
            endChild();
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(NotificationThreadPoolManagerDeathTest, TheFirstTimerMakesThePool)
{
    EXPECT_EXIT(
        {
            const int before = threadsOfThisProcess();
            NotificationSubscription subscription(1, RecordingHandler::handlerRecord(),
                                                  new LegacySubscriptionFilter(nullptr), nullptr, 0, 0, true, 3600,
                                                  100);
            EXPECT_EQ(threadsOfThisProcess(), before + 2);
            expectAFreshPool();
            EXPECT_EQ(NotificationThreadPoolManager::instance().getThreadPool().available(), 509);
            subscription.stop();
            endChild();
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(NotificationThreadPoolManagerDeathTest, StoppingAServiceThatNeverHadASubscriptionMakesThePoolAndWaitsForNothing)
{
    EXPECT_EXIT(
        {
            NotificationServiceRunnable runnable(100);
            PoolCalls pool;
            const int before = threadsOfThisProcess();
            framework.setLevel(8);
            framework.log().clear();
            runnable.stop();
            EXPECT_EQ(OrvTest::traces(framework.lines()), (Texts{ENTERED, ENTERED, WAITING, ENDED, LEFT, LEFT}));
            EXPECT_EQ(pool.calls(), (Texts{"joinAll", "stopAll"}));
            EXPECT_EQ(NotificationThreadPoolManager::instance().getThreadPool().allocated(), 0);
            EXPECT_EQ(threadsOfThisProcess(), before);
            endChild();
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(NotificationThreadPoolManagerTest, StoppingJoinsAndThenStopsThePoolBetweenItsTraces)
{
    traceEverything();
    PoolCalls calls;
    manager.stopAll();
    EXPECT_EQ(calls.calls(), (Texts{"joinAll", "stopAll"}));
    Texts expected;
    for (const char* text : {ENTERED, WAITING, ENDED, LEFT})
    {
        const int kind = text == ENTERED ? 9 : text == LEFT ? 10 : 0;
        expected.push_back("trace " + std::to_string(kind) + " stopAll: \"" + text + "\"");
        expected.push_back(std::string("traceV2 14 stopAll: \"") + text + "\"");
    }
    EXPECT_EQ(OrvTest::described(framework.lines()), expected);
}

TEST_F(NotificationThreadPoolManagerTest, AStoppedPoolIsEmptyAndStartsThreadsAgain)
{
    for (int round = 0; round < 2; ++round)
    {
        OrvTest::PoolGate gate(pool, 3);
        EXPECT_GE(pool.allocated(), 3);
        gate.release();
        manager.stopAll();
        EXPECT_EQ(pool.allocated(), 0);
        EXPECT_EQ(pool.available(), 510);
    }
}

TEST_F(NotificationThreadPoolManagerTest, StoppingWaitsForWhatThePoolsThreadsRun)
{
    // Ends only when somebody waits for it.
    struct Run : Poco::Runnable
    {
        void run() override
        {
            joined.wait();
            finished = true;
        }
        Poco::Event joined;
        std::atomic<bool> finished{false};
    };
    Run run;
    pool.start(run);
    PoolCalls calls;
    calls.instead("joinAll",
                  [&]
                  {
                      run.joined.set();
                      pool.joinAll();
                  });
    manager.stopAll();
    EXPECT_TRUE(run.finished);
}

class NotificationThreadPoolManagerFailureTest : public NotificationThreadPoolManagerTest
{
protected:
    void expectFailure(const std::string& operation, const std::function<void()>& failure, const std::string& text)
    {
        traceEverything();
        {
            PoolCalls calls;
            calls.instead(operation, failure);
            EXPECT_NO_THROW(manager.stopAll());
            EXPECT_EQ(calls.calls(), operation == "joinAll" ? Texts{"joinAll"} : (Texts{"joinAll", "stopAll"}));
        }
        EXPECT_EQ(OrvTest::messages(framework.lines()), Texts{"3 " + text});
        EXPECT_TRUE(OrvTest::logged(framework.lines(), 3, text));
        Texts texts;
        for (const OrvTest::LogLine& line : framework.lines())
        {
            texts.push_back(line.text);
        }
        EXPECT_EQ(texts, (Texts{ENTERED, ENTERED, WAITING, WAITING, text, text, ENDED, ENDED, LEFT, LEFT}));
        manager.stopAll();
    }
};

TEST_F(NotificationThreadPoolManagerFailureTest, APocoExceptionIsReportedUnderTheNameOfItsBase)
{
    const auto failure = [] { throw Poco::NoThreadAvailableException("a message"); };
    expectFailure("joinAll", failure, "Poco Exception: Exception");
    expectFailure("stopAll", failure, "Poco Exception: Exception");
}

TEST_F(NotificationThreadPoolManagerFailureTest, AStandardExceptionIsReportedWithItsText)
{
    const auto failure = [] { throw std::runtime_error("some text"); };
    expectFailure("joinAll", failure, "Std Exception: some text");
    expectFailure("stopAll", failure, "Std Exception: some text");
}

TEST_F(NotificationThreadPoolManagerFailureTest, AnythingElseIsReportedAsUnknown)
{
    const auto failure = [] { throw 42; };
    expectFailure("joinAll", failure, "Unknown Exception");
    expectFailure("stopAll", failure, "Unknown Exception");
}

TEST_F(NotificationThreadPoolManagerFailureTest, NoFailureIsWrittenBelowItsSeverity)
{
    framework.setLevel(2);
    framework.log().clear();
    const std::vector<std::function<void()>> failures = {[] { throw Poco::NoThreadAvailableException(); },
                                                         [] { throw std::runtime_error("some text"); },
                                                         [] { throw 42; }};
    for (const auto& failure : failures)
    {
        PoolCalls calls;
        calls.instead("joinAll", failure);
        EXPECT_NO_THROW(manager.stopAll());
    }
    EXPECT_TRUE(framework.lines().empty());
}

}  // namespace
