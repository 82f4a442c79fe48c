#include "ClockChangeHandler.h"

#include <atomic>
#include <csignal>
#include <future>
#include <memory>
#include <thread>

#include "MutexFault.h"
#include "NotificationServiceRunnable.h"
#include "ShellTest.h"
#include "WaitNotice.h"

using namespace OrvTest;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

class ClockChangeHandler : public ShellTest
{
protected:
    long long creationTime() { return runnable.getNotificationBuffer().getBufferCreationTime(); }

    OrvNbiNotificationService::NotificationServiceRunnable runnable{100};
    std::unique_ptr<OrvNbiNotificationService::ClockChangeHandler> handler =
        std::make_unique<OrvNbiNotificationService::ClockChangeHandler>(&runnable);
};

TEST_F(ClockChangeHandler, SubscribesWithoutAFilterFromItsBirthToItsEnd)
{
    ASSERT_EQ(framework.router().subscriptions().size(), 1u);
    EXPECT_EQ(framework.router().subscriptions()[0].eventType, "ZelClockChangeEventType_1");
    EXPECT_EQ(framework.router().subscriptions()[0].filter[0], nullptr);
    handler.reset();
    EXPECT_THAT(framework.router().subscriptions(), IsEmpty());
    EXPECT_EQ(framework.router().consumers(), 0u);
}

TEST_F(ClockChangeHandler, CutsNanosecondsToWholeMicroseconds)
{
    framework.router().publishClockChange(1999);
    EXPECT_EQ(creationTime(), 1);
}

TEST_F(ClockChangeHandler, DividesAValueAboveTheSignedRangeAsUnsigned)
{
    framework.router().publishClockChange(0xffffffffffffffff);
    EXPECT_EQ(creationTime(), 18446744073709551);
}

TEST_F(ClockChangeHandler, StopsItsSubscriptionBeforeItsConsumerGoes)
{
    bool consumerAlive = false;
    framework.plan().whenCalled(
        "removeSubscription:ZelClockChangeEventType_1",
        [&] {
            consumerAlive = Orv::EventConsumer<OrvNbiNotificationService::ClockChangeHandler, 1>::_instance != nullptr;
        });
    handler.reset();
    EXPECT_TRUE(consumerAlive);
    EXPECT_EQ((Orv::EventConsumer<OrvNbiNotificationService::ClockChangeHandler, 1>::_instance), nullptr);
}

TEST_F(ClockChangeHandler, CanBeMadeAgainAfterItsEnd)
{
    handler.reset();
    handler = std::make_unique<OrvNbiNotificationService::ClockChangeHandler>(&runnable);
    framework.router().publishClockChange(5000);
    EXPECT_EQ(creationTime(), 5);
}

TEST_F(ClockChangeHandler, HasTheFrameLogAnExceptionOfTheService)
{
    const MutexFault fault(runnable._mutex, MutexFault::lockFails);
    framework.router().publishClockChange(5000);
    EXPECT_TRUE(logged(lines(), 4, "Exception thrown from event consumer :System exception"));
    EXPECT_EQ(messages(lines()).size(), 1u);
}

TEST_F(ClockChangeHandler, TracesTheWayOfAnEvent)
{
    framework.setLevel(8);
    framework.router().publishClockChange(5000);
    std::vector<std::string> texts;
    for (const LogLine& line : lines())
    {
        if (line.source == LogLine::trace)
        {
            texts.push_back(line.function + ":" + line.text);
        }
    }
    EXPECT_THAT(texts, ElementsAre("notifyCallback: >> ", "onClockChange_1: >> ", "systemClockChanged: >> ",
                                   "systemClockChanged: >> ", "systemClockChanged: << ", "systemClockChanged: << ",
                                   "onClockChange_1: << ", "notifyCallback: << "));
}

// A router does not wait for a callback in progress when it is told to remove the subscription.
TEST_F(ClockChangeHandler, WaitsForACallbackInProgressBeforeItIsGone)
{
    std::promise<void> inCallback;
    std::promise<void> goOn;
    std::atomic<bool> released{false};
    const auto letItGoOn = [&]
    {
        if (!released.exchange(true))
        {
            goOn.set_value();
        }
    };
    framework.setLevel(8);
    framework.log().whenLine(LogLine::trace, " >> ",
                             [&]
                             {
                                 if (std::this_thread::get_id() == framework.router().eventThread() &&
                                     framework.lines().back().function == "onClockChange_1")
                                 {
                                     inCallback.set_value();
                                     goOn.get_future().wait();
                                 }
                             });
    framework.router().postClockChange(5000);
    inCallback.get_future().wait();

    // It comes to wait, or it is through: either lets the callback go on.
    const WaitNotice notice(WaitNotice::eventWait, letItGoOn);
    long long creationTimeAtTheEnd = 0;
    std::thread destroying(
        [&]
        {
            handler.reset();
            creationTimeAtTheEnd = creationTime();
            letItGoOn();
        });
    destroying.join();
    framework.router().drain();
    EXPECT_EQ(creationTimeAtTheEnd, 5);
}

class ClockChangeHandlerDeathTest : public ClockChangeHandler
{
protected:
    ClockChangeHandlerDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(ClockChangeHandlerDeathTest, ASecondOneEndsTheProcess)
{
    EXPECT_DEATH(OrvNbiNotificationService::ClockChangeHandler second(&runnable),
                 "Assertion `_instance == __null' failed");
}

TEST_F(ClockChangeHandlerDeathTest, ARouterThatRefusesEndsTheProcess)
{
    handler.reset();
    framework.log().echoToStandardError(true);
    framework.plan().failAlways("addSubscription:ZelClockChangeEventType_1", -1);
    EXPECT_EXIT(OrvNbiNotificationService::ClockChangeHandler second(&runnable), testing::KilledBySignal(SIGABRT),
                "log 3 start: \"Could not add subscription\"");
}

}  // namespace
