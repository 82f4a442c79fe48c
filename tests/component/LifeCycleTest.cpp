// zelLCMinit, start, stop and zelLCMterminate, and the records that the component hands to the portal.
#include <signal.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "ComponentTest.h"
#include "Portal.h"

namespace OrvTest
{
namespace
{

class LifeCycle : public ComponentTest
{
protected:
    ZelReturnT init() { return component.initWithConfiguration(configurationWithBufferSize("100")); }

    static std::string idText(const ZelMgmtSpiInterface_1& id)
    {
        const auto text = [](const char* string) { return string == nullptr ? std::string("null") : string; };
        return text(id.componentName) + "/" + text(id.interfaceName) + "/" + text(id.interfaceVersion);
    }

    static std::vector<std::string> idTexts(ZelMgmtSpiInterface_1** array)
    {
        std::vector<std::string> texts;
        for (; *array != nullptr; ++array)
        {
            texts.push_back(idText(**array));
        }
        return texts;
    }
};

TEST_F(LifeCycle, InitAsksForPortal3ThenPortal1ThenRegisters)
{
    framework.plan().clearCalls();
    ASSERT_EQ(OrvOk, init());
    EXPECT_THAT(framework.plan().calls(), testing::ElementsAre("getPortal:3", "getPortal:1", "registerComponent"));
}

TEST_F(LifeCycle, InitWithoutPortal3FailsAfterAskingForBothPortals)
{
    framework.plan().failAlways("getPortal:3", OrvFailure);
    framework.plan().clearCalls();
    EXPECT_EQ(OrvFailure, init());
    EXPECT_THAT(framework.plan().calls(), testing::ElementsAre("getPortal:3", "getPortal:1"));
    EXPECT_THAT(framework.lines(), testing::IsEmpty());
}

TEST_F(LifeCycle, TerminateAfterInitWithoutPortal3MakesNoPortalCall)
{
    framework.plan().failAlways("getPortal:3", OrvFailure);
    ASSERT_EQ(OrvFailure, init());
    framework.plan().clearCalls();
    EXPECT_EQ(OrvOk, component.terminate());
    EXPECT_THAT(framework.plan().calls(), testing::IsEmpty());
}

TEST_F(LifeCycle, InitDoesNotTestPortal1)
{
    framework.plan().failAlways("getPortal:1", OrvFailure);
    EXPECT_EQ(OrvOk, init());
    EXPECT_NE(nullptr, framework.component());
}

TEST_F(LifeCycle, InitPassesTheRegistrationsFailureOnAndReadsNoConfiguration)
{
    framework.plan().fail("registerComponent", 1, 77);
    EXPECT_EQ(77, component.initWithPath("/no/such/configuration"));
    EXPECT_THAT(framework.lines(), testing::IsEmpty());
}

TEST_F(LifeCycle, InitWithoutAPathFailsAndLeavesTheComponentRegistered)
{
    EXPECT_EQ(OrvFailure, component.initWithPath(nullptr));
    EXPECT_TRUE(logged(framework.lines(), 3, "Configuration file NbiNotificationServiceCM not found"));
    EXPECT_NE(nullptr, framework.component());
}

TEST_F(LifeCycle, AComponentWhoseConfigurationFailedIsUnregisteredByTerminateOnly)
{
    ASSERT_EQ(OrvFailure, component.initWithPath("/no/such/configuration"));
    EXPECT_NE(nullptr, framework.component());
    EXPECT_EQ(0u, framework.plan().count("unregisterComponent"));
    EXPECT_EQ(OrvOk, component.terminate());
    EXPECT_EQ(1u, framework.plan().count("unregisterComponent"));
    EXPECT_EQ(nullptr, framework.component());
}

TEST_F(LifeCycle, TheRecordNamesTheComponentAndLeavesTheRestEmpty)
{
    ASSERT_EQ(OrvOk, init());
    const ZelMgmtSpiComponent& record = component.record();
    EXPECT_STREQ("NbiNotificationServiceCM", record.componentName);
    EXPECT_STREQ("ZelMgmtSpiComponent", record.interfaceName);
    EXPECT_STREQ("2", record.interfaceVersion);
    EXPECT_NE(nullptr, record.start);
    EXPECT_NE(nullptr, record.stop);
    EXPECT_EQ(0, record.flag);
    ASSERT_NE(nullptr, record.extraInterfaceArray);
    EXPECT_EQ(nullptr, record.extraInterfaceArray[0]);
}

TEST_F(LifeCycle, OffersTheServiceTableAlone)
{
    ASSERT_EQ(OrvOk, init());
    EXPECT_THAT(idTexts(component.record().interfaceArray),
                testing::ElementsAre("NbiNotificationServiceCM/OrvOamSpiNbiNotificationService/1"));
}

TEST_F(LifeCycle, RequiresSevenInterfacesInThisOrder)
{
    ASSERT_EQ(OrvOk, init());
    EXPECT_EQ(&Orv::Portal::COMP_ID, component.record().dependencyArray[0]) << "entered by its address";
    EXPECT_THAT(idTexts(component.record().dependencyArray),
                testing::ElementsAre("OrvCommonPortal/OrvMgmtSpiInterfacePortal/1", "null/ZelMwSpiTrace/null",
                                     "null/OrvMwSpiLog/1", "OrvOamSpiEventService/OrvOamSpiEventRouter/1",
                                     "OrvOamSpiModelRepositoryService/OrvOamSpiModelRepository/2",
                                     "OrvOamSpiExtCmRouterService/OrvOamSpiManagedObject/3",
                                     "ZelOamSpiModelRepositoryService/ZelOamSpiModelRepository/3"));
}

TEST_F(LifeCycle, DoesNotRequireTheFacadeWhenItIsOfferedUnderTheComponentsOwnName)
{
    const char* const name = Orv::Portal::COMP_ID.componentName;
    Orv::Portal::COMP_ID.componentName = "NbiNotificationServiceCM";
    const ZelReturnT result = init();
    Orv::Portal::COMP_ID.componentName = name;
    ASSERT_EQ(OrvOk, result);
    EXPECT_EQ("null/ZelMwSpiTrace/null", idText(*component.record().dependencyArray[0]));
}

TEST_F(LifeCycle, StartBringsUpTheCmConsumerBeforeTheClockConsumer)
{
    ASSERT_EQ(OrvOk, init());
    framework.plan().clearCalls();
    ASSERT_EQ(OrvOk, component.start());
    ASSERT_TRUE(framework.router().waitForSubscriptions(CLOCK_EVENT_TYPE, 1, 60));
    EXPECT_THAT(framework.plan().calls(),
                testing::ElementsAre("portal1.getInterface:OrvOamSpiNbiNotificationService",
                                     "portal1.getInterface:OrvOamSpiModelRepository",
                                     "portal1.getInterface:OrvOamSpiEventRouter", "registerConsumer",
                                     "addSubscription:ZelOamSpiCmEvent_Notification_1", "registerConsumer",
                                     "addSubscription:ZelClockChangeEventType_1"));
}

TEST_F(LifeCycle, StopTakesTheClockConsumerBackBeforeTheCmConsumer)
{
    startService();
    framework.plan().clearCalls();
    ASSERT_EQ(OrvOk, component.stop());
    EXPECT_THAT(framework.plan().calls(),
                testing::ElementsAre("removeSubscription:ZelClockChangeEventType_1", "unregisterConsumer",
                                     "removeSubscription:ZelOamSpiCmEvent_Notification_1", "unregisterConsumer"));
    EXPECT_EQ(0u, framework.router().consumers());
}

TEST_F(LifeCycle, ASecondStartIsIgnoredWithAWarning)
{
    startService();
    framework.plan().clearCalls();
    EXPECT_EQ(OrvOk, component.start());
    EXPECT_TRUE(logged(framework.lines(), 4,
                       "The NbiNotificationServiceComponent is already started. Ignoring start request."));
    EXPECT_THAT(framework.plan().calls(), testing::IsEmpty());
}

TEST_F(LifeCycle, StopBeforeStartIsIgnoredWithAWarning)
{
    ASSERT_EQ(OrvOk, init());
    framework.plan().clearCalls();
    EXPECT_EQ(OrvOk, component.stop());
    EXPECT_TRUE(
        logged(framework.lines(), 4, "The NbiNotificationServiceComponent is already stopped. Ignoring stop request."));
    EXPECT_THAT(framework.plan().calls(), testing::IsEmpty());
}

TEST_F(LifeCycle, ASecondStopIsIgnoredWithAWarning)
{
    startService();
    ASSERT_EQ(OrvOk, component.stop());
    framework.log().clear();
    EXPECT_EQ(OrvOk, component.stop());
    EXPECT_TRUE(
        logged(framework.lines(), 4, "The NbiNotificationServiceComponent is already stopped. Ignoring stop request."));
}

TEST_F(LifeCycle, StartFailsWhenTheServiceTableCannotBeLookedUp)
{
    ASSERT_EQ(OrvOk, init());
    framework.plan().fail("portal1.getInterface:OrvOamSpiNbiNotificationService", 1, OrvNotFound);
    EXPECT_EQ(OrvFailure, component.start(3));
    EXPECT_TRUE(logged(framework.lines(), 3, "Could not lookup Notification Service"));
    EXPECT_TRUE(logged(framework.lines(), 3, "Could not start EventConsumer with reason: 3"));
    EXPECT_EQ(OrvNotRunning, push(1, "A=1"));
    EXPECT_EQ(0u, framework.plan().count("registerConsumer"));
}

TEST_F(LifeCycle, StartFailsWhenTheModelRepositoryCannotBeLookedUp)
{
    ASSERT_EQ(OrvOk, init());
    framework.plan().fail("portal1.getInterface:OrvOamSpiModelRepository", 1, OrvNotFound);
    EXPECT_EQ(OrvFailure, component.start());
    EXPECT_EQ((std::vector<std::string>{"3 Could not lookup Model Repository service",
                                        "3 Could not start EventConsumer with reason: 1"}),
              messages(framework.lines()));
    EXPECT_EQ(OrvNotRunning, push(1, "A=1"));
}

TEST_F(LifeCycle, StartCanBeRepeatedAfterItFailed)
{
    ASSERT_EQ(OrvOk, init());
    framework.plan().fail("portal1.getInterface:OrvOamSpiModelRepository", 1, OrvNotFound);
    ASSERT_EQ(OrvFailure, component.start());
    EXPECT_EQ(OrvOk, component.start());
    EXPECT_EQ(OrvOk, push(1, "A=1"));
}

TEST_F(LifeCycle, StartAndStopTraceTheirReasons)
{
    ASSERT_EQ(OrvOk, init());
    framework.setLevel(8);
    ASSERT_EQ(OrvOk, component.start(4));
    EXPECT_TRUE(traced(framework.lines(), 9, " >> Reason: 4"));
    EXPECT_TRUE(traced(framework.lines(), 0, "Waiting for service to start"));
    framework.log().clear();
    ASSERT_EQ(OrvOk, component.stop(3));
    EXPECT_TRUE(traced(framework.lines(), 9, " >> Reason: 3"));
    EXPECT_TRUE(traced(framework.lines(), 0, "Waiting for NbiNotificationServiceRunnable thread to exit"));
    EXPECT_TRUE(traced(framework.lines(), 0, "NbiNotificationServiceRunnable thread exited"));
}

TEST_F(LifeCycle, TheReasonOfStartIsNotLookedAt)
{
    ASSERT_EQ(OrvOk, init());
    EXPECT_EQ(OrvOk, component.start(99));
    EXPECT_EQ(OrvOk, push(1, "A=1"));
}

class StopReason : public LifeCycle, public testing::WithParamInterface<std::pair<int, const char*>>
{
};

TEST_P(StopReason, EndsTheServiceThread)
{
    startService();
    framework.setLevel(8);
    EXPECT_EQ(OrvOk, component.stop(GetParam().first));
    EXPECT_TRUE(traced(framework.lines(), 0, GetParam().second));
    EXPECT_EQ(OrvNotRunning, push(1, "A=1"));
}

INSTANTIATE_TEST_SUITE_P(
    Each, StopReason,
    testing::Values(std::make_pair(2, "Deactivating NbiNotificationServiceComponent while it is active -- stopping."),
                    std::make_pair(3, "Failing over NbiNotificationServiceComponent while it is active -- stopping."),
                    std::make_pair(4,
                                   "Switching over NbiNotificationServiceComponent while it is active -- stopping.")));

TEST_F(LifeCycle, StopWithoutAnySubscriptionEverWindsDownThePool)
{
    startService();
    framework.setLevel(8);
    ASSERT_EQ(OrvOk, component.stop());
    EXPECT_TRUE(traced(framework.lines(), 0, "Waiting for all threads to finish"));
    EXPECT_TRUE(traced(framework.lines(), 0,
                       "All threads in the pool have finished executing, or,        \t\ttimed out (10 sec)."));
    EXPECT_THAT(messages(framework.lines()), testing::IsEmpty());
}

TEST_F(LifeCycle, ARestartedServiceHasAnEmptyBufferAndDeliversAgain)
{
    startService();
    pushMarker(10);
    ASSERT_EQ(10, oldestTime());
    ASSERT_EQ(OrvOk, component.stop());
    ASSERT_EQ(OrvOk, component.start());
    EXPECT_EQ(0, oldestTime());
    Subscriber subscriber(table());
    ASSERT_EQ(OrvOk, push(20, "A=2"));
    ASSERT_TRUE(subscriber->waitFor(1));
    EXPECT_EQ(std::vector<std::string>{"A=2"}, subscriber->dns());
    EXPECT_EQ(20, oldestTime());
}

TEST_F(LifeCycle, ARestartedServiceKeepsItsCreationTimeAndItsLastAgedTime)
{
    startService("10");
    const long long created = creationTime();
    for (int i = 1; i <= 11; ++i)
    {
        ASSERT_EQ(OrvOk, push(i, "A=1"));
    }
    pushMarker(12);
    ASSERT_EQ(2, lastAgedTime());
    ASSERT_EQ(OrvOk, component.stop());
    ASSERT_EQ(OrvOk, component.start());
    EXPECT_EQ(created, creationTime());
    EXPECT_EQ(2, lastAgedTime());
}

TEST_F(LifeCycle, ARestartedServiceListensForEventsAgain)
{
    startService();
    ASSERT_EQ(OrvOk, component.stop());
    ASSERT_EQ(OrvOk, component.start());
    ASSERT_TRUE(framework.router().waitForSubscriptions(CLOCK_EVENT_TYPE, 1, 60));
    EXPECT_EQ(1u, framework.router().subscriptionsOf(CM_EVENT_TYPE).size());
}

TEST_F(LifeCycle, TerminateWithoutStopLeavesTheServiceRunning)
{
    startService();
    EXPECT_EQ(OrvOk, component.terminate());
    EXPECT_EQ(nullptr, framework.component());
    Subscriber subscriber(table());
    EXPECT_EQ(OrvOk, push(1, "A=1"));
    EXPECT_TRUE(subscriber->waitFor(1));
    EXPECT_EQ(2u, framework.router().consumers());
}

TEST_F(LifeCycle, TerminateReturnsWhatTheUnregistrationReturned)
{
    ASSERT_EQ(OrvOk, init());
    framework.plan().fail("unregisterComponent", 1, 55);
    EXPECT_EQ(55, component.terminate());
}

TEST_F(LifeCycle, ASecondTerminateMakesNoPortalCall)
{
    ASSERT_EQ(OrvOk, init());
    ASSERT_EQ(OrvOk, component.terminate());
    EXPECT_EQ(OrvOk, component.terminate());
    EXPECT_EQ(1u, framework.plan().count("unregisterComponent"));
}

TEST_F(LifeCycle, ARefusedRemovalOfAConsumerIsTracedAndDoesNotFailTheStop)
{
    startService();
    framework.setLevel(8);
    framework.plan().failAlways("removeSubscription:ZelOamSpiCmEvent_Notification_1", OrvFailure);
    framework.plan().failAlways("unregisterConsumer", OrvFailure);
    EXPECT_EQ(OrvOk, component.stop());
    EXPECT_TRUE(traced(framework.lines(), 0,
                       "Could not unregister event subscription, eventType ZelOamSpiCmEvent_Notification_1"));
    EXPECT_TRUE(
        traced(framework.lines(), 0, "Could not unregister event consumer, eventType ZelOamSpiCmEvent_Notification_1"));
    EXPECT_TRUE(
        traced(framework.lines(), 0, "Could not unregister event consumer, eventType ZelClockChangeEventType_1"));
    EXPECT_THAT(messages(framework.lines()), testing::IsEmpty());
}

TEST_F(LifeCycle, NothingIsAcceptedWhileOnlyTheConsumerIsStarted)
{
    ASSERT_EQ(OrvOk, init());
    std::vector<OrvReturnT> results;
    const auto pushOne = [&] { results.push_back(push(1, "A=1")); };
    framework.plan().whenCalled("addSubscription:ZelOamSpiCmEvent_Notification_1", pushOne);
    framework.plan().whenCalled("removeSubscription:ZelOamSpiCmEvent_Notification_1", pushOne);
    ASSERT_EQ(OrvOk, component.start());
    ASSERT_EQ(OrvOk, component.stop());
    EXPECT_EQ((std::vector<OrvReturnT>{OrvNotRunning, OrvNotRunning}), results);
}

TEST_F(LifeCycle, ABatchGoesOnBehindAStopMessage)
{
    startService("10");
    framework.setLevel(8);
    for (int i = 1; i <= 8; ++i)
    {
        ASSERT_EQ(OrvOk, push(i, "A=1"));
    }
    pushMarker(9);
    Subscriber subscriber(table(), {{{"objectCreated", "B=1"}}}, true);
    ASSERT_EQ(OrvOk, push(10, "B=1"));
    ASSERT_TRUE(subscriber->waitUntilHeld());

    // The removal waits for the held handler with the registry locked, and the service thread for the registry.
    framework.log().clear();
    std::thread remover([&] { EXPECT_EQ(OrvOk, subscriber.unsubscribe()); });
    ASSERT_TRUE(framework.log().waitFor(LogLine::trace, "Waiting for notify thread to finish.", 1, 60));
    ASSERT_EQ(OrvOk, push(11, "B=1"));
    // It has been taken out of the pipe, so what comes now is the next batch.
    const auto isTaken = [](const LogLine& line) { return line.function == "notifyHandlers"; };
    for (std::vector<LogLine> lines; std::none_of(lines.begin(), lines.end(), isTaken); lines = framework.lines())
    {
        std::this_thread::yield();
    }
    std::thread stopper([&] { EXPECT_EQ(OrvOk, component.stop()); });
    ASSERT_TRUE(
        framework.log().waitFor(LogLine::trace, "Waiting for NbiNotificationServiceRunnable thread to exit", 1, 60));
    ASSERT_EQ(OrvOk, push(12, "B=1"));
    subscriber->release();
    remover.join();
    stopper.join();

    // The store of ten held 1 to 10. It aged 1 for the record before the stop message, 2 for the one behind it.
    ASSERT_EQ(OrvOk, component.start());
    EXPECT_EQ(2, lastAgedTime());
    EXPECT_EQ(0, oldestTime());
}

TEST_F(LifeCycle, ASignalDuringTheWaitIsLoggedAndLosesNoMessage)
{
    startService();
    struct sigaction interrupting = {};
    interrupting.sa_handler = [](int) {};
    struct sigaction before = {};
    ASSERT_EQ(0, sigaction(SIGUSR1, &interrupting, &before));

    const auto serviceThread = framework.router().subscriptionsOf(CLOCK_EVENT_TYPE).front().thread;
    // A signal that finds the thread outside its wait is lost; the next one is sent a second later.
    unsigned int sent = 0;
    bool seen = false;
    while (!seen && sent < 60)
    {
        ++sent;
        ASSERT_EQ(0, pthread_kill(serviceThread, SIGUSR1));
        seen = framework.log().waitFor(LogLine::traceV2, "Signal caught in select loop", 1, 1);
    }
    ASSERT_TRUE(seen);
    EXPECT_TRUE(logged(framework.lines(), 4, "Signal caught in select loop"));
    pushMarker(1);
    ASSERT_EQ(0, sigaction(SIGUSR1, &before, nullptr));
}

TEST_F(LifeCycle, AnIdleServiceThreadLogsAndTracesNothing)
{
    startService();
    pushMarker(1);
    const std::thread::id serviceThread = framework.router().subscriptionsOf(CLOCK_EVENT_TYPE).front().threadId;
    framework.setLevel(8);
    // The tail of the marker's handling, if the level caught it.
    EXPECT_FALSE(framework.log().waitFor(LogLine::trace, "Retrieving messages, 0", 1, 1));
    framework.log().clear();
    // Over one second: the wait of the service thread times out at least once.
    EXPECT_FALSE(framework.log().waitFor(LogLine::trace, "Retrieving messages, 0", 1, 2));
    for (const LogLine& line : framework.lines())
    {
        EXPECT_NE(serviceThread, line.thread) << describe(line);
    }
}

}  // namespace
}  // namespace OrvTest
