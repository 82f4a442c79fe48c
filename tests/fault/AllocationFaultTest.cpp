// Every allocation of the service fails once, and every one from some point on.
#include <gtest/gtest.h>

#include "Scenarios.h"

namespace OrvTest
{
namespace
{

void sweepBoth(const Scenario& scenario, Actor actor, const Expectation& once, const Expectation& fromThenOn)
{
    sweep(scenario, {Operation::allocate, actor, 0, false, 0, 0}, once);
    sweep(scenario, {Operation::allocate, actor, 0, true, 0, 0}, fromThenOn);
}

// Before the constructor of the subscription, in it, and behind it.
Expectation inASubscription(const Outcomes& insideRegcomp)
{
    Expectation ended = inTurn({{aborted, 0}, {terminated, 0}, {aborted, 0}});
    ended.inside = {"regcomp", insideRegcomp};
    return ended;
}

TEST(AllocationFault, InLoad)
{
    sweepBoth(loading(), Actor::caller, {{threw}}, {{threw}});
}

TEST(AllocationFault, InConfigure)
{
    sweepBoth(configuring(), Actor::caller, {{refused}, 2, 9}, {{refused}, 2, 9});
}

TEST(AllocationFault, InStart)
{
    sweepBoth(starting(), Actor::caller, {{refused}}, {{refused}});
    sweepBoth(starting(), Actor::serviceThread, {{threadEnded}}, {{threadEnded}});
}

TEST(AllocationFault, InRegisterHandler)
{
    sweepBoth(registering(), Actor::caller, {{refused}}, {{refused}});
}

TEST(AllocationFault, InUnregisterHandler)
{
    sweepBoth(unregistering(), Actor::caller, {}, {});
}

TEST(AllocationFault, InSubscribe)
{
    Expectation once = inASubscription({passed, dropped});
    once.lostForeignBlocks = 1;
    sweepBoth(subscribing(), Actor::caller, once, inASubscription({aborted}));
}

TEST(AllocationFault, InReplay)
{
    Expectation once = {{dropped, aborted, terminated}, 0, 1};
    once.inside = {"regcomp", {passed, dropped}};
    Expectation fromThenOn = {{aborted, terminated}};
    fromThenOn.inside = {"regcomp", {aborted}};
    // What is allocated last depends on how fast the delivery run is.
    sweepBoth(replaying(), Actor::caller, once, fromThenOn);
}

TEST(AllocationFault, InGetSubscriptionHandle)
{
    sweepBoth(takingAHandle(), Actor::caller, {}, {});
}

TEST(AllocationFault, InUnsubscribe)
{
    sweepBoth(unsubscribing(), Actor::caller, {}, {});
}

TEST(AllocationFault, InTheTimeQueries)
{
    sweepBoth(askingForTimes(), Actor::caller, {}, {});
}

TEST(AllocationFault, InPush)
{
    Expectation once = {{refused}, 2};
    once.inside = {"strdup", {dropped}};
    Expectation fromThenOn = {{refused}, 2};
    fromThenOn.inside = {"strdup", {refused}};
    sweepBoth(pushing(), Actor::caller, once, fromThenOn);
}

TEST(AllocationFault, InRfcFilterSubscribe)
{
    sweepBoth(subscribingWithTrees(), Actor::caller, inASubscription({}), inASubscription({}));
}

TEST(AllocationFault, InAnEventBatch)
{
    sweepBoth(publishing(false), Actor::caller, {{dropped}, 2}, {{dropped}, 2});
    // Passed: without the name of a thread, if the pool has none that is free.
    sweepBoth(publishing(true), Actor::serviceThread, {{dropped, threadEnded, terminated}, 20, 0, 0, {passed}},
              {{threadEnded, terminated}, 20, 0, 0, {dropped}});
    sweepBoth(publishing(true), Actor::poolThread, {}, {});
}

TEST(AllocationFault, InAnOverflow)
{
    // Without the name of a thread, if the pool has none that is free.
    sweepBoth(overflowing(), Actor::serviceThread, {{dropped, threadEnded, terminated}, 2, 0, 0, {passed}},
              {{threadEnded, terminated}, 2, 0, 0, {dropped}});
}

TEST(AllocationFault, InADerivedDelete)
{
    sweepBoth(derivingDeletes(), Actor::serviceThread, {{dropped, threadEnded, terminated}, 2, 0, 0, {passed}},
              {{threadEnded, terminated}, 2, 0, 0, {dropped}});
}

TEST(AllocationFault, InASelectionOfAttributes)
{
    sweepBoth(selectingAttributes(), Actor::serviceThread, {{dropped, threadEnded, terminated}, 2, 0, 0, {passed}},
              {{threadEnded, terminated}, 2, 0, 0, {dropped}});
}

TEST(AllocationFault, InAClockChange)
{
    // Without the name of a thread, if the pool has none that is free.
    sweepBoth(changingTheClock(), Actor::caller, {{dropped, terminated}, 0, 0, 0, {passed}}, {{dropped, terminated}});
}

TEST(AllocationFault, InStop)
{
    sweepBoth(stopping(), Actor::caller, {{refused}}, {{refused}});
    sweepBoth(stopping(), Actor::serviceThread, {{passed}, 0, 10, 1}, {{passed}, 0, 10, 1});
}

TEST(AllocationFault, InTheTimers)
{
    sweepBoth(beating(), Actor::poolThread, {{terminated}}, {{terminated}});
    sweepBoth(reachingTheStopTime(), Actor::poolThread, {{terminated}}, {{terminated}});
}

}  // namespace
}  // namespace OrvTest
