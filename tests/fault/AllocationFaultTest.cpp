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
    sweepBoth(subscribing(), Actor::caller, {{passed, dropped, aborted, terminated}, 0, 1}, {{aborted, terminated}});
}

TEST(AllocationFault, InReplay)
{
    sweepBoth(replaying(), Actor::caller, {{passed, dropped, aborted, terminated}, 0, 1}, {{aborted, terminated}});
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
    sweepBoth(pushing(), Actor::caller, {{dropped, refused}, 2}, {{refused}, 2});
}

TEST(AllocationFault, InRfcFilterSubscribe)
{
    sweepBoth(subscribingWithTrees(), Actor::caller, {{aborted, terminated}}, {{aborted, terminated}});
}

TEST(AllocationFault, InAnEventBatch)
{
    sweepBoth(publishing(false), Actor::caller, {{dropped}, 2}, {{dropped}, 2});
    sweepBoth(publishing(true), Actor::serviceThread, {{passed, dropped, threadEnded, terminated}, 20},
              {{threadEnded, terminated}, 20, 0, 0, {dropped}});
    sweepBoth(publishing(true), Actor::poolThread, {}, {});
}

TEST(AllocationFault, InAnOverflow)
{
    sweepBoth(overflowing(), Actor::serviceThread, {{dropped, threadEnded, terminated}, 2},
              {{threadEnded, terminated}, 2, 0, 0, {dropped}});
}

TEST(AllocationFault, InADerivedDelete)
{
    sweepBoth(derivingDeletes(), Actor::serviceThread, {{passed, dropped, threadEnded, terminated}, 2},
              {{threadEnded, terminated}, 2, 0, 0, {dropped}});
}

TEST(AllocationFault, InASelectionOfAttributes)
{
    sweepBoth(selectingAttributes(), Actor::serviceThread, {{passed, dropped, threadEnded, terminated}, 2},
              {{threadEnded, terminated}, 2, 0, 0, {dropped}});
}

TEST(AllocationFault, InAClockChange)
{
    sweepBoth(changingTheClock(), Actor::caller, {{dropped, terminated}}, {{dropped, terminated}});
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
