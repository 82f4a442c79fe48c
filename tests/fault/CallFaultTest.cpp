// Every call of a kind fails once, and every one from some point on: locks, by their number and by their mutex, and
// what else the service asks of the system.
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

TEST(LockFault, InTheEntriesOfTheTable)
{
    for (const Scenario& scenario : {registering(), askingForTimes()})
    {
        sweepCalls(scenario, Operation::lock, Actor::caller, EINVAL, {{refused}}, {{refused}});
        sweepCalls(scenario, Operation::unlock, Actor::caller, EPERM, {{refused}}, {{refused}});
    }
}

// A subscription that cannot be stopped stays; one that cannot be destroyed ends the process.
TEST(LockFault, InRemovals)
{
    for (const Scenario& scenario : {unregistering(), unsubscribing()})
    {
        sweepCalls(scenario, Operation::lock, Actor::caller, EINVAL, {{refused, terminated}}, {{refused, terminated}});
        sweepCalls(scenario, Operation::unlock, Actor::caller, EPERM, {{refused, terminated}}, {{refused, terminated}});
    }
}

TEST(LockFault, InGetSubscriptionHandle)
{
    sweepCalls(takingAHandle(), Operation::lock, Actor::caller, EINVAL, {{threw}}, {{threw}});
    sweepCalls(takingAHandle(), Operation::unlock, Actor::caller, EPERM, {{threw}}, {{threw}});
}

TEST(LockFault, InPush)
{
    sweepCalls(pushing(), Operation::lock, Actor::caller, EINVAL, {{refused}}, {{refused}});
    sweepCalls(pushing(), Operation::unlock, Actor::caller, EPERM, {{refused}}, {{refused}});
}

TEST(LockFault, InSubscriptions)
{
    for (const Scenario& scenario : {subscribing(), subscribingWithTrees(), replaying()})
    {
        sweepCalls(scenario, Operation::lock, Actor::caller, EINVAL, {{aborted, terminated}}, {{aborted, terminated}});
        sweepCalls(scenario, Operation::unlock, Actor::caller, EPERM, {{aborted, terminated}}, {{aborted, terminated}});
    }
}

TEST(LockFault, InAnEventBatch)
{
    sweepCalls(publishing(false), Operation::lock, Actor::caller, EINVAL, {{dropped}}, {{dropped}});
    sweepCalls(publishing(false), Operation::unlock, Actor::caller, EPERM, {{passed}}, {{passed}});
    sweepCalls(publishing(true), Operation::lock, Actor::serviceThread, EINVAL, {{threadEnded, terminated}, 20},
               {{threadEnded, terminated}, 20});
}

TEST(LockFault, InStop)
{
    sweepCalls(stopping(), Operation::lock, Actor::caller, EINVAL, {{refused}}, {{refused}});
    sweepCalls(stopping(), Operation::lock, Actor::serviceThread, EINVAL, {{passed, terminated}},
               {{passed, terminated}});
}

TEST(SystemCallFault, OfTheConfiguration)
{
    // The XML library opens and reads the random numbers' device, too, and does without it.
    sweepCalls(configuring(), Operation::open, Actor::caller, EACCES, {{passed, refused}}, {{passed, refused}});
    sweepCalls(configuring(), Operation::read, Actor::caller, EIO, {{passed, refused}}, {{passed, refused}});
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
    sweepCalls(pushing(), Operation::write, Actor::caller, EIO, {{refused}}, {{refused}});
    sweepCalls(stopping(), Operation::write, Actor::caller, EIO, {{refused}}, {{refused}});
}

TEST(SystemCallFault, OfTheExpressions)
{
    sweep(subscribing(), {Operation::compile, Actor::caller, 0, false, REG_ESPACE, 0}, {{passed, dropped}});
    sweep(subscribing(), {Operation::compile, Actor::caller, 0, true, REG_ESPACE, 0}, {{dropped}});
}

TEST(SystemCallFault, InTheMakingOfThreads)
{
    sweepCalls(starting(), Operation::createThread, Actor::caller, EAGAIN, {{refused}}, {{refused}});
    sweepCalls(beating(), Operation::createThread, Actor::caller, EAGAIN, {{terminated}}, {{terminated}});
}

// Each mutex in turn, by its address: every operation on it fails.
void sweepMutexes(const Scenario& scenario, Operation operation, Actor actor, int error, unsigned int mutexes,
                  const Expectation& expected)
{
    for (unsigned int mutex = 1; mutex <= mutexes; ++mutex)
    {
        sweep(scenario, {operation, actor, 0, true, error, mutex}, expected);
    }
}

TEST(MutexFault, OfEachMutexOfARemoval)
{
    // handlerMutex, the registry lock, the queue's, the delivery token.
    sweepMutexes(unsubscribing(), Operation::lock, Actor::caller, EINVAL, 2, {{refused}});
    sweepMutexes(unsubscribing(), Operation::unlock, Actor::caller, EPERM, 4, {{refused}, 0, 0, 0, {terminated}});
}

TEST(MutexFault, OfEachMutexOfAReplay)
{
    // handlerMutex, the registry lock, the buffer's, the queue's.
    sweepMutexes(replaying(), Operation::lock, Actor::caller, EINVAL, 4, {{}, 0, 0, 0, {aborted, terminated}});
}

}  // namespace
}  // namespace OrvTest
