// Every call of a kind that the service makes of the system fails once, and every one from some point on.
#include <gtest/gtest.h>
#include <regex.h>

#include <cerrno>

#include "Scenarios.h"

namespace OrvTest
{
namespace
{

void sweepCalls(const Scenario& scenario, Operation operation, Actor actor, int error, const Expectation& once,
                const Expectation& fromThenOn)
{
    sweep(scenario, {operation, actor, 0, false, error, 0}, once);
    sweep(scenario, {operation, actor, 0, true, error, 0}, fromThenOn);
}

TEST(SystemCallFault, OfTheConfiguration)
{
    // The XML library opens and reads the random numbers' device last, and does without it.
    const Expectation expected = inTurn({{refused, 0}, {passed, 0}});
    sweepCalls(configuring(), Operation::open, Actor::caller, EACCES, expected, expected);
    sweepCalls(configuring(), Operation::read, Actor::caller, EIO, expected, expected);
}

TEST(SystemCallFault, InTheWaitOfTheServiceThread)
{
    // Between the two records the thread waits again.
    const Scenario wait = {"wait", [](World& world) { world.serve(); },
                           [](World& world)
                           {
                               world.deliver(makeNotification(1000, "A=1", objectCreated));
                               world.deliver(makeNotification(1001, "A=2", objectCreated));
                               return 0;
                           },
                           nullptr};
    for (const int error : {EBADF, EINTR})
    {
        sweep(wait, {Operation::wait, Actor::serviceThread, 0, false, error, 0}, {{passed}});
    }
}

// The record is offered again sooner.
TEST(SystemCallFault, InThePauseBeforeARetry)
{
    for (const int error : {EINTR, EINVAL})
    {
        sweepCalls(retrying(), Operation::pause, Actor::poolThread, error, {{passed}}, {{passed}});
    }
}

TEST(SystemCallFault, OfTheWakeUp)
{
    sweepCalls(pushing(), Operation::write, Actor::caller, EIO, inTurn({{refused, 1}}), inTurn({{refused, 1}}));
    sweepCalls(stopping(), Operation::write, Actor::caller, EIO, inTurn({{refused, 1}}), inTurn({{refused, 1}}));
}

TEST(SystemCallFault, OfTheExpressions)
{
    // The first is that of a filter which is copied, the second that of the copy.
    sweep(subscribing(), {Operation::compile, Actor::caller, 0, false, REG_ESPACE, 0},
          inTurn({{passed, 1}, {dropped, 1}}));
    sweep(subscribing(), {Operation::compile, Actor::caller, 0, true, REG_ESPACE, 0}, inTurn({{dropped, 2}}));
}

TEST(SystemCallFault, InTheMakingOfThreads)
{
    sweepCalls(starting(), Operation::createThread, Actor::caller, EAGAIN, inTurn({{refused, 1}}),
               inTurn({{refused, 1}}));
    sweepCalls(beating(), Operation::createThread, Actor::caller, EAGAIN, {{terminated}}, {{terminated}});
}

}  // namespace
}  // namespace OrvTest
