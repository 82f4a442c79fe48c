// Every function of the framework that the service calls refuses, answers nonsense and answers late, call by call.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "FrameworkSweep.h"
#include "Scenarios.h"

namespace OrvTest
{
namespace
{

const char LOOKUP_OF_LOG[] = "portal1.getInterface:OrvMwSpiLog";
const char LOOKUP_OF_TRACE[] = "portal1.getInterface:ZelMwSpiTrace";
const char LOOKUP_OF_SERVICE[] = "portal1.getInterface:OrvOamSpiNbiNotificationService";
const char LOOKUP_OF_MODEL[] = "portal1.getInterface:OrvOamSpiModelRepository";
const char LOOKUP_OF_ROUTER[] = "portal1.getInterface:OrvOamSpiEventRouter";
const char LOOKUP_OF_OBJECTS[] = "portal3.getInterface:ZelOamSpiManagedObject";
const char LOOKUP_OF_TRANSACTIONS[] = "portal3.getInterface:ZelOamSpiTransactionMaster";
const char LOOKUP_OF_KEYS[] = "portal3.getInterface:ZelOamSpiModelRepository";
const char LISTEN_TO_CM[] = "addSubscription:ZelOamSpiCmEvent_Notification_1";
const char LISTEN_TO_CLOCK[] = "addSubscription:ZelClockChangeEventType_1";
const char LEAVE_CM[] = "removeSubscription:ZelOamSpiCmEvent_Notification_1";
const char LEAVE_CLOCK[] = "removeSubscription:ZelClockChangeEventType_1";

// A lookup has no strange answer: a pointer that leads nowhere looks like a good one.
void sweepLookup(const Scenario& scenario, const std::string& call, const Expectation& expected)
{
    sweepRefusals(scenario, call, expected);
    sweepAnswer(scenario, call, saysNothing, expected);
    sweepAnswer(scenario, call, saysNull, expected);
}

TEST(FrameworkFault, InTheLoading)
{
    const Scenario load = loadingWithSupport();
    sweepRefusals(load, "getPortal:3", {{refused}});
    // Without its portal the support library finds no router, and a start without a router is not guarded.
    sweepRefusals(load, "getPortal:1", {{notSurvived}});
    sweepLookup(load, LOOKUP_OF_LOG, {{passed}});
    sweepLookup(load, LOOKUP_OF_TRACE, {{passed}});
    sweepAnswer(load, "log.getLevel", saysStrange, {{passed}});
    sweepAnswer(load, "log.getLevel", OrvFailure, {{passed}});
    sweepRefusals(load, "registerComponent", {{refused}});
}

TEST(FrameworkFault, InTheStart)
{
    sweepLookup(starting(), LOOKUP_OF_SERVICE, {{refused}});
    sweepLookup(starting(), LOOKUP_OF_MODEL, {{refused}});
    sweepLookup(starting(), LOOKUP_OF_ROUTER, {{notSurvived}});
    sweepRefusals(starting(), LISTEN_TO_CM, {{aborted}});
    sweepRefusals(starting(), LISTEN_TO_CLOCK, {{aborted}});
    sweepRefusals(starting(), "registerConsumer", {{aborted}});
    // The router knows no consumer with such a handle, and refuses the subscription.
    for (const int nonsense : {saysNothing, saysNull, saysStrange})
    {
        sweepAnswer(starting(), "registerConsumer", nonsense, {{aborted}});
    }
}

TEST(FrameworkFault, InTheStop)
{
    sweepRefusals(stopping(), LEAVE_CM, {{passed}});
    sweepRefusals(stopping(), LEAVE_CLOCK, {{passed}});
    Expectation left = {{passed}};
    left.leftConsumers = 2;
    sweepRefusals(stopping(), "unregisterConsumer", left);
    sweepRefusals(terminating(), "unregisterComponent", {{refused}});
}

TEST(FrameworkFault, InAnEventBatch)
{
    sweepLookup(publishing(false), LOOKUP_OF_MODEL, {{dropped}});
    for (const char* const call :
         {"getMocFromDn", "getFirstAttribute", "getNextAttribute", "getAttributeName", "getAttributeNotifiable"})
    {
        sweepRefusals(publishing(false), call, {{dropped}});
        sweepAnswer(publishing(false), call, OrvNotFound, {{dropped}});
    }
    for (const char* const call : {"getMocFromDn", "getFirstAttribute", "getNextAttribute"})
    {
        for (const int nonsense : {saysNothing, saysNull, saysStrange})
        {
            sweepAnswer(publishing(false), call, nonsense, {{dropped}});
        }
    }
    sweepAnswer(publishing(false), "getAttributeName", saysNothing, {{dropped}});
    sweepAnswer(publishing(false), "getAttributeName", saysNull, {{dropped}});
    // A strange name in the place of one that is not sought is passed over like it.
    sweepAnswer(publishing(false), "getAttributeName", saysStrange, {{dropped}, 0, 0, 0, {passed}});
    sweepAnswer(publishing(false), "getAttributeNotifiable", saysNothing, {{dropped}});
    sweepAnswer(publishing(false), "getAttributeNotifiable", saysNull, {{dropped}});
    sweepAnswer(publishing(false), "getAttributeNotifiable", saysStrange, {{passed}});
    // The class is named in traces alone.
    sweepRefusals(traced(publishing(false)), "getMocName", {{dropped}});
    for (const int nonsense : {saysNothing, saysNull})
    {
        sweepAnswer(traced(publishing(false)), "getMocName", nonsense, {{dropped}});
    }
    sweepAnswer(traced(publishing(false)), "getMocName", saysStrange, {{passed}});
}

TEST(FrameworkFault, InADerivedDelete)
{
    sweepLookup(derivingDeletes(), LOOKUP_OF_KEYS, {{dropped}});
    for (const char* const call :
         {"repository3.getMocFromDn", "repository3.getFirstAttribute", "repository3.getAttributeFlag",
          "repository3.getNextAttribute", "repository3.getGeneralProperties", "repository3.getPropertyText"})
    {
        sweepRefusals(derivingDeletes(), call, {{dropped}});
    }
    for (const char* const call :
         {"repository3.getMocFromDn", "repository3.getFirstAttribute", "repository3.getNextAttribute",
          "repository3.getGeneralProperties", "repository3.getPropertyText"})
    {
        sweepAnswer(derivingDeletes(), call, saysNothing, {{dropped}});
        sweepAnswer(derivingDeletes(), call, saysNull, {{dropped}});
    }
    // The first attribute is not the key anyway.
    sweepAnswer(derivingDeletes(), "repository3.getAttributeFlag", saysNothing, {{dropped}, 0, 0, 0, {passed}});
    sweepAnswer(derivingDeletes(), "repository3.getAttributeFlag", saysNull, {{dropped}, 0, 0, 0, {passed}});
    for (const char* const call : {"repository3.getMocFromDn", "repository3.getFirstAttribute",
                                   "repository3.getNextAttribute", "repository3.getGeneralProperties"})
    {
        sweepAnswer(derivingDeletes(), call, saysStrange, {{dropped}});
    }
    // What the key is called does not show in a DN.
    sweepAnswer(derivingDeletes(), "repository3.getAttributeFlag", saysStrange, {{passed}});
    sweepAnswer(derivingDeletes(), "repository3.getPropertyText", saysStrange, {{passed}});
}

TEST(FrameworkFault, InAReadOfAnAttribute)
{
    for (const Scenario& scenario : {selectingAttributes(), replayingWithTrees()})
    {
        // The second lookup is that of the closing, which makes no difference to the record.
        sweepLookup(scenario, LOOKUP_OF_OBJECTS, {{dropped}, 0, 0, 0, {passed}});
        sweepLookup(scenario, LOOKUP_OF_TRANSACTIONS, {{dropped}, 0, 0, 0, {passed}});
        for (const char* const call : {"openTransaction", "getMoAttribute"})
        {
            sweepRefusals(scenario, call, {{dropped}});
            for (const int nonsense : {saysNothing, saysNull, saysStrange})
            {
                sweepAnswer(scenario, call, nonsense, {{dropped}});
            }
        }
        sweepRefusals(scenario, "closeTransaction", {{passed}});
    }
}

TEST(FrameworkFault, ThatComesLateMakesNoDifference)
{
    for (const char* const call :
         {"getPortal:3", "getPortal:1", LOOKUP_OF_LOG, LOOKUP_OF_TRACE, "log.getLevel", "registerComponent"})
    {
        sweepLateness(loadingWithSupport(), call);
    }
    for (const char* const call :
         {LOOKUP_OF_SERVICE, LOOKUP_OF_MODEL, LOOKUP_OF_ROUTER, LISTEN_TO_CM, LISTEN_TO_CLOCK, "registerConsumer"})
    {
        sweepLateness(starting(), call);
    }
    for (const char* const call : {LEAVE_CM, LEAVE_CLOCK, "unregisterConsumer"})
    {
        sweepLateness(stopping(), call);
    }
    sweepLateness(terminating(), "unregisterComponent");
    for (const char* const call : {LOOKUP_OF_MODEL, "getMocFromDn", "getFirstAttribute", "getNextAttribute",
                                   "getAttributeName", "getAttributeNotifiable"})
    {
        sweepLateness(publishing(false), call);
    }
    sweepLateness(traced(publishing(false)), "getMocName");
    for (const char* const call :
         {LOOKUP_OF_KEYS, "repository3.getMocFromDn", "repository3.getFirstAttribute", "repository3.getAttributeFlag",
          "repository3.getNextAttribute", "repository3.getGeneralProperties", "repository3.getPropertyText"})
    {
        sweepLateness(derivingDeletes(), call);
    }
    for (const char* const call :
         {LOOKUP_OF_OBJECTS, LOOKUP_OF_TRANSACTIONS, "openTransaction", "getMoAttribute", "closeTransaction"})
    {
        sweepLateness(selectingAttributes(), call);
        sweepLateness(replayingWithTrees(), call);
    }
}

// From inside a call of the framework, and from its event thread meanwhile.
TEST(FrameworkFault, ThatCallsBackMakesNoDifference)
{
    for (const char* const call :
         {LOOKUP_OF_SERVICE, LOOKUP_OF_MODEL, LOOKUP_OF_ROUTER, LISTEN_TO_CM, LISTEN_TO_CLOCK, "registerConsumer"})
    {
        sweepCallbacks(starting(), call);
    }
    for (const char* const call : {LEAVE_CM, LEAVE_CLOCK, "unregisterConsumer"})
    {
        sweepCallbacks(stopping(), call);
    }
    sweepCallbacks(terminating(), "unregisterComponent");
    sweepCallbacks(traced(starting()), "trace.vtrace");
    // A trace does not wait for the event, and a clock change that the router delivers too late ends the process.
    sweepCallbacks(traced(stopping()), "trace.vtrace", false);
    sweepCallbacks(changingTheClock(), "log.vlog");
}

// The consumer of CM events lives as long as the library; that of clock changes does not, and ends the process.
TEST(FrameworkFault, ThatCallsTheCmConsumerAfterTheStopIsNotListenedTo)
{
    const RunReport report = runInChild(
        [&](Facts& facts)
        {
            FaultLayer::watch();
            World world;
            world.serve();
            FakeEventRouter& router = world.framework.router();
            ZelOamSpiEventConsumer* const consumer = router.subscriptionsOf(CM_EVENT_TYPE).at(0).consumer;
            world.stop();
            CmEvent event(2000000, 7);
            event.operation("E=1", objectCreated);
            facts.answer =
                router.call(consumer, 1, CM_EVENT_TYPE, const_cast<ZelOamSpiCmEvent_Notification_1*>(&event.get()));
            world.examine(facts);
            const std::vector<std::string> stored = world.stored();
            facts.effect = std::count(stored.begin(), stored.end(), "E=1") != 0;
            world.leave(facts);
        });
    EXPECT_EQ(report.ending, Ending::finished) << report.facts.trouble << report.errors;
    EXPECT_EQ(report.facts.answer, OrvOk);
    EXPECT_FALSE(report.facts.effect);
    EXPECT_TRUE(report.facts.served && report.facts.entriesWork && report.facts.stopped);
    EXPECT_EQ(report.facts.held + report.facts.blocks + report.facts.foreignBlocks + report.facts.unjoined, 0u);
}

// Whoever is logging then holds what it holds: a log must wait for nobody but a producer.
TEST(FrameworkFault, OfALogThatComesLateMakesNoDifference)
{
    sweepLateness(changingTheClock(), "log.vlog");
    sweepLateness(traced(pushing()), "trace.vtrace");
    sweepLateness(traced(stopping()), "trace.vtrace");
    sweepLateness(traced(replayingWithTrees()), "trace.vtrace");
}

}  // namespace
}  // namespace OrvTest
