// How the component is initialised, started and stopped.
#include <Poco/Exception.h>

#include <future>

#include "AllocationFault.h"
#include "NbiNotificationServiceStateChange.h"
#include "ServiceHooks.h"
#include "ShellTest.h"

using namespace OrvNbiNotificationService;
using namespace OrvTest;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

const char CM_SUBSCRIBE[] = "addSubscription:ZelOamSpiCmEvent_Notification_1";
const char CM_UNSUBSCRIBE[] = "removeSubscription:ZelOamSpiCmEvent_Notification_1";

class NbiNotificationServiceCMLifeCycle : public ShellTest
{
};

TEST_F(NbiNotificationServiceCMLifeCycle, FailsToInitialiseWithoutAConfigurationPath)
{
    EXPECT_EQ(zelLCMinit(framework.accessor(), nullptr), OrvFailure);
    EXPECT_TRUE(logged(lines(), 3, "Configuration file NbiNotificationServiceCM not found"));
    EXPECT_EQ(messages(lines()).size(), 1u);
    EXPECT_NE(framework.component(), nullptr) << "the registration stands";
    EXPECT_EQ(consumer()._portal, nullptr);
}

TEST_F(NbiNotificationServiceCMLifeCycle, FailsToInitialiseWhenTheConsumerRefusesThePortal)
{
    ServiceHooks hooks;
    hooks.consumerInit = [] { return OrvReturnT(5); };
    EXPECT_EQ(init(), OrvFailure);
    EXPECT_THAT(messages(lines()), IsEmpty());
}

TEST_F(NbiNotificationServiceCMLifeCycle, LogsAnExceptionDuringInitialisationAndFails)
{
    ServiceHooks hooks;
    hooks.consumerInit = []() -> OrvReturnT { throw 42; };
    EXPECT_EQ(init(), OrvFailure);
    EXPECT_TRUE(logged(lines(), 3, "Caught unhandled exception"));
    EXPECT_NE(framework.component(), nullptr) << "what was done stays done";
}

TEST_F(NbiNotificationServiceCMLifeCycle, StartsTheConsumerBeforeTheServiceThread)
{
    ASSERT_EQ(init(), OrvOk);
    bool threadRanBefore = true;
    framework.plan().whenCalled(CM_SUBSCRIBE, [&] { threadRanBefore = component().notifyThread.isRunning(); });
    EXPECT_EQ(start(), OrvOk);
    EXPECT_FALSE(threadRanBefore);
    EXPECT_TRUE(component().notifyThread.isRunning());
    EXPECT_TRUE(framework.router().waitForSubscriptions(CLOCK_EVENT_TYPE, 1, RecordingHandler::TIMEOUT_SECONDS));
    EXPECT_THAT(messages(lines()), IsEmpty());
}

TEST_F(NbiNotificationServiceCMLifeCycle, TracesTheStepsOfAStart)
{
    ASSERT_EQ(init(), OrvOk);
    framework.setLevel(8);
    framework.log().clear();
    ASSERT_EQ(start(ZelStateChangeActivate), OrvOk);
    // The service's start, the consumer's, the frame's for CM events and the frame's own.
    EXPECT_THAT(tracesOf(lines()),
                ElementsAre("start: >> Reason: 1", "start: >> ", "start: >> ", "start: >> ", "start: << ", "start: << ",
                            "start: << ", "start:Waiting for service to start", "start: << "));
    EXPECT_TRUE(traced(lines(), 9, " >> Reason: 1"));
    EXPECT_TRUE(traced(lines(), 0, "Waiting for service to start"));
    EXPECT_TRUE(traced(lines(), 10, " << "));
}

TEST_F(NbiNotificationServiceCMLifeCycle, IgnoresASecondStartWithAWarning)
{
    startService();
    framework.log().clear();
    EXPECT_EQ(start(), OrvOk);
    EXPECT_TRUE(logged(lines(), 4, "The NbiNotificationServiceComponent is already started. Ignoring start request."));
    EXPECT_EQ(messages(lines()).size(), 1u);
    EXPECT_EQ(framework.plan().count(CM_SUBSCRIBE), 1u) << "the consumer started once";
    EXPECT_EQ(framework.plan().count("portal1.getInterface:OrvOamSpiNbiNotificationService"), 1u);
}

TEST_F(NbiNotificationServiceCMLifeCycle, NamesTheReasonAndNotTheResultWhenTheConsumerDoesNotStart)
{
    ASSERT_EQ(init(), OrvOk);
    framework.plan().failAlways("portal1.getInterface:OrvOamSpiNbiNotificationService", -77);
    EXPECT_EQ(start(ZelStateChangeFailover), OrvFailure);
    EXPECT_THAT(messages(lines()), ElementsAre("3 Could not lookup Notification Service",
                                               "3 Could not start EventConsumer with reason: 3"));
    EXPECT_TRUE(logged(lines(), 3, "Could not start EventConsumer with reason: 3"));
    EXPECT_FALSE(component().notifyThread.isRunning());
}

TEST_F(NbiNotificationServiceCMLifeCycle, GivesUpAfterSixtyTwoLooksAndSixtyOneSleepsOfTenMilliseconds)
{
    ASSERT_EQ(init(), OrvOk);
    std::vector<long> sleeps;
    ServiceHooks hooks;
    hooks.threadStart = [] {};
    hooks.sleep = [&](long milliseconds) { sleeps.push_back(milliseconds); };
    framework.log().clear();
    EXPECT_EQ(start(), OrvNotRunning);
    EXPECT_EQ(sleeps.size(), 61u);
    EXPECT_THAT(sleeps, Each(10));
    EXPECT_THAT(messages(lines()), IsEmpty());
    EXPECT_TRUE(consumer()._started) << "the consumer stays started";
    EXPECT_EQ(framework.router().subscriptionsOf(CM_EVENT_TYPE).size(), 1u);
}

TEST_F(NbiNotificationServiceCMLifeCycle, SeesAThreadThatRunsAtTheSixtySecondLook)
{
    ASSERT_EQ(init(), OrvOk);
    unsigned int sleeps = 0;
    ServiceHooks hooks;
    hooks.threadStart = [] {};
    hooks.sleep = [&](long)
    {
        if (++sleeps == 61)
        {
            component().notifyThread.Poco::Thread::start(component().runnable);
        }
    };
    EXPECT_EQ(start(), OrvOk);
    EXPECT_EQ(sleeps, 61u);
}

TEST_F(NbiNotificationServiceCMLifeCycle, DoesNotSleepForAThreadThatRunsAtOnce)
{
    ASSERT_EQ(init(), OrvOk);
    unsigned int sleeps = 0;
    ServiceHooks hooks;
    hooks.sleep = [&](long) { ++sleeps; };
    EXPECT_EQ(start(), OrvOk);
    EXPECT_EQ(sleeps, 0u);
}

TEST_F(NbiNotificationServiceCMLifeCycle, LogsAnExceptionOfAStartAndLeavesTheConsumerStarted)
{
    ASSERT_EQ(init(), OrvOk);
    ServiceHooks hooks;
    hooks.threadStart = [] { throw Poco::SystemException("cannot start thread"); };
    EXPECT_EQ(start(), OrvFailure);
    EXPECT_TRUE(logged(lines(), 3, "Caught unhandled exception"));
    EXPECT_EQ(messages(lines()).size(), 1u);
    EXPECT_TRUE(consumer()._started) << "what was done stays done";
}

TEST_F(NbiNotificationServiceCMLifeCycle, IgnoresAStopBeforeAnyStartWithAWarning)
{
    ASSERT_EQ(init(), OrvOk);
    EXPECT_EQ(stop(), OrvOk);
    EXPECT_TRUE(logged(lines(), 4, "The NbiNotificationServiceComponent is already stopped. Ignoring stop request."));
    EXPECT_EQ(messages(lines()).size(), 1u) << "the consumer, stopped too, was not asked";
}

TEST_F(NbiNotificationServiceCMLifeCycle, DoesNotStopAConsumerWhoseThreadNeverRan)
{
    ASSERT_EQ(init(), OrvOk);
    ASSERT_EQ(consumer().start(ZelStateChangeActivate), OrvOk);
    EXPECT_EQ(stop(), OrvOk);
    EXPECT_TRUE(consumer()._started);
}

TEST_F(NbiNotificationServiceCMLifeCycle, TracesTheStepsOfAStopAndStopsTheConsumerAfterTheThread)
{
    startService();
    bool threadRan = true;
    framework.plan().whenCalled(CM_UNSUBSCRIBE, [&] { threadRan = component().notifyThread.isRunning(); });
    framework.setLevel(8);
    framework.log().clear();
    EXPECT_EQ(stop(ZelStateChangeDeactivate), OrvOk);
    EXPECT_FALSE(threadRan);
    EXPECT_THAT(tracesOf(lines()),
                ElementsAre("stop: >> Reason: 2", "stop:Waiting for NbiNotificationServiceRunnable thread to exit",
                            "stop:NbiNotificationServiceRunnable thread exited", "stop: >> ", "stop: >> ", "stop: << ",
                            "stop: << ", "stop: << "));
    EXPECT_TRUE(traced(lines(), 9, " >> Reason: 2"));
    EXPECT_TRUE(traced(lines(), 0, "Waiting for NbiNotificationServiceRunnable thread to exit"));
    EXPECT_TRUE(traced(lines(), 0, "NbiNotificationServiceRunnable thread exited"));
    EXPECT_THAT(messages(lines()), IsEmpty());
    EXPECT_THAT(framework.router().subscriptions(), IsEmpty());
}

TEST_F(NbiNotificationServiceCMLifeCycle, StopsForTheReasonsTwoThreeAndFour)
{
    ASSERT_EQ(init(), OrvOk);
    for (const int reason : {2, 3, 4})
    {
        ASSERT_EQ(start(), OrvOk);
        EXPECT_EQ(framework.component()->stop(static_cast<ZelStateChangeReason>(reason)), OrvOk) << reason;
        EXPECT_FALSE(component().notifyThread.isRunning()) << reason;
        EXPECT_FALSE(consumer()._started) << reason;
    }
}

class NbiNotificationServiceCMIdleStop : public ShellTest, public testing::WithParamInterface<int>
{
};

TEST_P(NbiNotificationServiceCMIdleStop, DoesNotEndTheThreadAndJoinsForEver)
{
    startService();
    RecordingHandler handler(1);
    ASSERT_EQ(subscribe(registerHandler(), 1), OrvOk);
    framework.setLevel(8);
    std::future<ZelReturnT> stopped = std::async(std::launch::async, [&] { return stop(GetParam()); });
    ASSERT_TRUE(framework.log().waitFor(LogLine::trace, "Waiting for NbiNotificationServiceRunnable thread to exit", 1,
                                        RecordingHandler::TIMEOUT_SECONDS));
    waitForServiceThread();

    EXPECT_EQ(push(1000, "Still=Served"), OrvOk);
    EXPECT_TRUE(handler.waitForDn("Still=Served"));
    EXPECT_EQ(stopped.wait_for(std::chrono::seconds(0)), std::future_status::timeout) << "the join goes on";

    component().notifyThread.pushToInput(new NbiNotificationServiceStateChange(ZelStateChangeDeactivate));
    EXPECT_EQ(stopped.get(), OrvOk);
}

INSTANTIATE_TEST_SUITE_P(Reasons, NbiNotificationServiceCMIdleStop, testing::Values(1, 0, 5, -1));

TEST_F(NbiNotificationServiceCMLifeCycle, WarnsOfAConsumerThatDoesNotStopAndAnswersItsResult)
{
    startService();
    framework.log().clear();
    ServiceHooks hooks;
    OrvStateChangeReason reason = ZelStateChangeActivate;
    hooks.consumerStop = [&](OrvStateChangeReason given)
    {
        reason = given;
        return OrvReturnT(-9);
    };
    EXPECT_EQ(stop(ZelStateChangeSwitchover), -9);
    EXPECT_EQ(reason, ZelStateChangeSwitchover);
    EXPECT_TRUE(logged(lines(), 4, "Could not stop EventConsumer. retval: -9"));
    EXPECT_EQ(messages(lines()).size(), 1u);
    EXPECT_FALSE(component().notifyThread.isRunning()) << "the thread is gone";
    EXPECT_TRUE(consumer()._started);
}

TEST_F(NbiNotificationServiceCMLifeCycle, LogsAnExceptionOfAStop)
{
    startService();
    {
        AllocationFault fault(sizeof(NbiNotificationServiceStateChange), [] { throw std::bad_alloc(); });
        EXPECT_EQ(stop(), OrvFailure);
        EXPECT_TRUE(fault.met());
    }
    EXPECT_TRUE(logged(lines(), 3, "Caught unhandled exception"));
    EXPECT_TRUE(component().notifyThread.isRunning());
    EXPECT_TRUE(consumer()._started);
}

TEST_F(NbiNotificationServiceCMLifeCycle, NeitherPostsNorJoinsWhenTheThreadHasNoIdentityYet)
{
    ASSERT_EQ(init(), OrvOk);
    ASSERT_EQ(consumer().start(ZelStateChangeActivate), OrvOk);
    // What a thread looks like between the two halves of its start.
    component().notifyThread._pData->pRunnableTarget = new NotificationServiceRunnable(100);
    EXPECT_EQ(stop(), OrvOk);
    EXPECT_THAT(component().notifyThread.popFromInput(), IsEmpty());
    EXPECT_FALSE(consumer()._started);
    component().notifyThread._pData->pRunnableTarget = nullptr;
}

TEST_F(NbiNotificationServiceCMLifeCycle, StartsAgainAfterAStopWithItsHandlersAndCounters)
{
    startService();
    const unsigned int handlerId = registerHandler();
    ASSERT_EQ(subscribe(handlerId, 1), OrvOk);
    unsigned int handle = 0;
    ASSERT_EQ(table().getSubscriptionHandle(&handle), OrvOk);
    ASSERT_EQ(push(1000, "Early=1"), OrvOk);
    ASSERT_EQ(stop(), OrvOk);

    ASSERT_EQ(start(), OrvOk);
    EXPECT_EQ(buffered(), 0u);
    EXPECT_EQ(registerHandler(), handlerId + 1);
    EXPECT_THAT(handlesOf(handlerId), ElementsAre(1u));
    RecordingHandler handler(2);
    ASSERT_EQ(subscribe(handlerId, 2), OrvOk);
    ASSERT_EQ(push(2000, "Late=1"), OrvOk);
    EXPECT_TRUE(handler.waitForDn("Late=1"));
    EXPECT_THAT(handler.dns(), ElementsAre("Late=1"));
}

TEST_F(NbiNotificationServiceCMLifeCycle, DropsAnEventThatComesBeforeTheThreadRuns)
{
    ASSERT_EQ(init(), OrvOk);
    ASSERT_EQ(consumer().start(ZelStateChangeActivate), OrvOk);
    CmEvent event(1000000, 7);
    event.operation("Early=1", objectCreated);
    framework.router().publish(event);
    EXPECT_EQ(consumer()._sequenceNumber, 2u) << "translated and pushed";
    EXPECT_THAT(component().notifyThread.popFromInput(), IsEmpty());
    EXPECT_THAT(messages(lines()), IsEmpty());
}

TEST_F(NbiNotificationServiceCMLifeCycle, DropsAnEventThatComesAfterTheThreadWasJoined)
{
    startService();
    CmEvent event(1000000, 7);
    event.operation("Late=1", objectCreated);
    ZelReturnT answer = OrvOk;
    ServiceHooks hooks;
    hooks.consumerStop = [&](OrvStateChangeReason)
    {
        framework.router().publish(event);
        answer = push(1000, "Later=1");
        return OrvReturnT(OrvOk);
    };
    EXPECT_EQ(stop(), OrvOk);
    EXPECT_EQ(answer, OrvNotRunning);
    EXPECT_EQ(consumer()._sequenceNumber, 2u) << "translated and pushed";
    EXPECT_THAT(component().notifyThread.popFromInput(), IsEmpty());
    EXPECT_THAT(messages(lines()), IsEmpty());
}

}  // namespace
