// What the process must die of, and the one call that must never return.
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "ComponentTest.h"
#include "SubtreeBuilder.h"

namespace OrvTest
{
namespace
{

const int POOL_THREADS = 510;

class ServiceDeathTest : public ComponentTest
{
protected:
    ServiceDeathTest()
    {
        testing::GTEST_FLAG(death_test_style) = "threadsafe";
        framework.log().echoToStandardError(true);
    }

    // Ends the child in a way that no expectation accepts.
    static void giveUp(const char* why)
    {
        std::fprintf(stderr, "the test could not be made: %s\n", why);
        std::_Exit(99);
    }

    // Subscriptions whose stop-time timers hold every thread of the pool.
    void occupyThePool()
    {
        const unsigned int handlerId = registerHandler();
        Wish wish;
        wish.stopTime = now() + HOUR;
        for (int i = 0; i < POOL_THREADS; ++i)
        {
            if (subscribe(handlerId, newHandle(), wish) != OrvOk)
            {
                giveUp("no subscription");
            }
        }
    }

    void subscribeWithAnExhaustedPool(const Wish& wish)
    {
        occupyThePool();
        std::fprintf(stderr, "the pool is full\n");
        subscribe(registerHandler(), newHandle(), wish);
        giveUp("subscribe returned");
    }

    void notifyWithAnExhaustedPool()
    {
        const unsigned int handle = newHandle();
        if (subscribe(registerHandler(), handle) != OrvOk)
        {
            giveUp("no subscription");
        }
        occupyThePool();
        std::fprintf(stderr, "the pool is full\n");
        framework.setLevel(8);
        push(1, "A=1");
        framework.log().waitFor(LogLine::log, "never", 1, RecordingHandler::TIMEOUT_SECONDS);
        giveUp("the service lives");
    }

    // The service thread dies on its own time.
    void startAndWait()
    {
        component.start();
        framework.log().waitFor(LogLine::log, "never", 1, RecordingHandler::TIMEOUT_SECONDS);
        giveUp("the service lives");
    }

    // Exits with 0 if stop with this reason has not returned after the service was seen to ignore it and to serve on.
    void stopThatNeverReturns(int reason, LogLine::Source source, const char* ignored)
    {
        static std::atomic<bool> returned{false};
        framework.setLevel(8);
        std::thread(
            [this, reason]
            {
                component.stop(reason);
                returned = true;
            })
            .detach();
        if (!framework.log().waitFor(source, ignored, 1, RecordingHandler::TIMEOUT_SECONDS))
        {
            giveUp("the reason was not seen");
        }
        const unsigned int handle = newHandle();
        RecordingHandler handler(handle);
        if (subscribe(registerHandler(), handle) != OrvOk || push(1, "A=1") != OrvOk || !handler.waitFor(1))
        {
            giveUp("the service does not serve");
        }
        std::_Exit(returned ? 1 : 0);
    }

    ZelReturnT init() { return component.initWithConfiguration(configurationWithBufferSize("100")); }
};

TEST_F(ServiceDeathTest, ANullDnPushedIsAnAssertion)
{
    startService();
    const Notification notification(1, nullptr, objectCreated, {});
    EXPECT_EXIT(table().pushNotification(*notification), testing::KilledBySignal(SIGABRT),
                "OrvReturnT _pushNotification\\(OrvOamSpiNbiNotificationValue_1T&\\): Assertion `.*' failed");
}

TEST_F(ServiceDeathTest, ANullDnIsAnAssertionEvenWhileTheServiceIsDown)
{
    ASSERT_EQ(OrvOk, init());
    const Notification notification(1, nullptr, objectCreated, {});
    EXPECT_EXIT(table().pushNotification(*notification), testing::KilledBySignal(SIGABRT),
                "_pushNotification\\(OrvOamSpiNbiNotificationValue_1T&\\)");
}

TEST_F(ServiceDeathTest, SubscribeAbortsOnAnExceptionThatIsNotItsOwn)
{
    startService();
    // A name that is a null pointer makes the filter throw an exception of the standard library.
    OrvNameValuePair pair = {nullptr, ".*"};
    OrvNameValuePair* filters[] = {&pair, nullptr};
    EXPECT_EXIT(table().subscribe(registerHandler(), filters, newHandle(), 0, 0, false, 0),
                testing::KilledBySignal(SIGABRT), "log 3 .*unknown throw.*log 3 .*Caught unhandled exception");
}

TEST_F(ServiceDeathTest, RfcFilterSubscribeAbortsOnAnExceptionThatIsNotItsOwn)
{
    startService();
    Trees trees({node("A")});
    framework.log().whenLine(LogLine::trace, "Adding RFC Subscription", [] { throw 42; });
    framework.setLevel(8);
    EXPECT_EXIT(table().rfcFilterSubscribe(1, trees.get(), 1, 0, 0, false, 0), testing::KilledBySignal(SIGABRT),
                "log 3 rfcFilterSubscribe: \"Caught unhandled exception\"");
    framework.log().whenLine(LogLine::trace, "", nullptr);
}

TEST_F(ServiceDeathTest, APoolWithoutAThreadForTheStopTimerEndsTheProcessInSubscribe)
{
    startService();
    Wish wish;
    wish.stopTime = now() + HOUR;
    EXPECT_EXIT(subscribeWithAnExhaustedPool(wish), testing::KilledBySignal(SIGABRT),
                "the pool is full.*terminate called .*Poco::NoThreadAvailableException");
}

TEST_F(ServiceDeathTest, APoolWithoutAThreadForTheHeartbeatEndsTheProcessInSubscribe)
{
    startService();
    Wish wish;
    wish.heartbeatSupported = true;
    wish.heartbeatInterval = 3600;
    EXPECT_EXIT(subscribeWithAnExhaustedPool(wish), testing::KilledBySignal(SIGABRT),
                "the pool is full.*terminate called .*Poco::NoThreadAvailableException");
}

TEST_F(ServiceDeathTest, APoolWithoutAThreadForTheReplayEndsTheProcessInSubscribe)
{
    startService();
    Wish wish;
    wish.startTime = 1;
    EXPECT_EXIT(subscribeWithAnExhaustedPool(wish), testing::KilledBySignal(SIGABRT),
                "the pool is full.*Rethrow NoThreadAvailableException: No thread available.*"
                "Rethrow NoThreadAvailableException: No thread available");
}

TEST_F(ServiceDeathTest, APoolWithoutAThreadForALiveRecordIsReportedTwiceAndEndsTheProcess)
{
    startService();
    EXPECT_EXIT(notifyWithAnExhaustedPool(), testing::KilledBySignal(SIGABRT),
                "the pool is full.*Assigning a thread to active method. Available before assignment: 0.*"
                "log 3 .*Rethrow NoThreadAvailableException: No thread available.*"
                "log 3 .*Rethrow NoThreadAvailableException: No thread available");
}

TEST_F(ServiceDeathTest, AHeartbeatPeriodThatTurnsNegativeByTheCutEndsTheProcess)
{
    startService();
    Wish wish;
    wish.heartbeatSupported = true;
    wish.heartbeatInterval = 2147484;
    EXPECT_EXIT(subscribe(registerHandler(), newHandle(), wish), testing::KilledBySignal(SIGABRT),
                "terminate called .*Poco::AssertionViolationException");
}

TEST_F(ServiceDeathTest, ATimeToTheStopThatTurnsNegativeByTheCutEndsTheProcess)
{
    startService();
    Wish wish;
    wish.stopTime = now() + 25 * 24 * HOUR;
    EXPECT_EXIT(subscribe(registerHandler(), newHandle(), wish), testing::KilledBySignal(SIGABRT),
                "terminate called .*Poco::AssertionViolationException");
}

TEST_F(ServiceDeathTest, ARefusedRegistrationOfTheCmConsumerAborts)
{
    ASSERT_EQ(OrvOk, init());
    framework.plan().fail("registerConsumer", 1, OrvFailure);
    EXPECT_EXIT(component.start(), testing::KilledBySignal(SIGABRT), "log 3 .*\"Could not register consumer\"");
}

TEST_F(ServiceDeathTest, ARefusedCmSubscriptionAborts)
{
    ASSERT_EQ(OrvOk, init());
    framework.plan().fail("addSubscription:ZelOamSpiCmEvent_Notification_1", 1, OrvFailure);
    EXPECT_EXIT(component.start(), testing::KilledBySignal(SIGABRT), "log 3 .*\"Could not add subscription\"");
}

TEST_F(ServiceDeathTest, ARefusedRegistrationOfTheClockConsumerAborts)
{
    ASSERT_EQ(OrvOk, init());
    framework.plan().fail("registerConsumer", 2, OrvFailure);
    EXPECT_EXIT(startAndWait(), testing::KilledBySignal(SIGABRT), "log 3 .*\"Could not register consumer\"");
}

TEST_F(ServiceDeathTest, ARefusedClockSubscriptionAborts)
{
    ASSERT_EQ(OrvOk, init());
    framework.plan().fail("addSubscription:ZelClockChangeEventType_1", 1, OrvFailure);
    EXPECT_EXIT(startAndWait(), testing::KilledBySignal(SIGABRT), "log 3 .*\"Could not add subscription\"");
}

TEST_F(ServiceDeathTest, AFrameworkWithoutARouterIsNotSurvivedByStart)
{
    ASSERT_EQ(OrvOk, init());
    framework.withdraw("OrvOamSpiEventRouter");
    EXPECT_DEATH(component.start(), "log 4 .*\"Interface OrvOamSpiEventRouter not found\"");
}

TEST_F(ServiceDeathTest, AClockEventAfterTheHandlerIsGoneIsAnAssertion)
{
    startService();
    const auto notify = framework.router().subscriptionsOf(CLOCK_EVENT_TYPE)[0].consumer->notify;
    ASSERT_EQ(OrvOk, component.stop());
    uint64_t time = 1;
    EXPECT_EXIT(notify(1, CLOCK_EVENT_TYPE, nullptr, &time), testing::KilledBySignal(SIGABRT),
                "Assertion `_instance' failed");
}

TEST_F(ServiceDeathTest, StopWithReason1NeverReturnsAndTheServiceServesOn)
{
    startService();
    EXPECT_EXIT(stopThatNeverReturns(1, LogLine::trace,
                                     "Activating NbiNotificationServiceComponent while it is active -- ignoring."),
                testing::ExitedWithCode(0), "");
}

TEST_F(ServiceDeathTest, StopWithAnUnknownReasonIsReportedAndNeverReturns)
{
    startService();
    EXPECT_EXIT(stopThatNeverReturns(5, LogLine::log,
                                     "Unknown state is requested for NbiNotificationServiceComponent while it is "
                                     "active -- ignoring."),
                testing::ExitedWithCode(0), "log 3 .*Unknown state is requested");
}

}  // namespace
}  // namespace OrvTest
