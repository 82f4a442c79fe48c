// Every lock, try and unlock of a mutex fails once, and every one from some point on: by their number, and by the
// mutex. The numbers are those of the service's own calls.
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <utility>
#include <vector>

#include "Scenarios.h"

namespace OrvTest
{
namespace
{

void sweepBoth(const Scenario& scenario, Operation operation, Actor actor, const Expectation& expected)
{
    const int error = operation == Operation::unlock ? EPERM : EINVAL;
    sweep(scenario, {operation, actor, 0, false, error, 0}, expected);
    sweep(scenario, {operation, actor, 0, true, error, 0}, expected);
}

void sweepCaller(const Scenario& scenario, const Expectation& locks, const Expectation& unlocks)
{
    sweepBoth(scenario, Operation::lock, Actor::caller, locks);
    sweepBoth(scenario, Operation::unlock, Actor::caller, unlocks);
}

TEST(LockFault, InTheLifeCycle)
{
    sweepCaller(loadingWithSupport(), inTurn({{refused, 1}}), inTurn({{refused, 1}}));
    sweepCaller(configuring(), inTurn({{refused, 1}}), inTurn({{refused, 1}}));
    sweepCaller(starting(), inTurn({{refused, 1}}), inTurn({{refused, 1}}));
}

TEST(LockFault, InTheEntriesOfTheTable)
{
    sweepCaller(registering(), inTurn({{refused, 1}}), inTurn({{refused, 1}}));
    sweepCaller(askingForTimes(), inTurn({{refused, 2}}), inTurn({{refused, 2}}));
    sweepCaller(takingAHandle(), inTurn({{threw, 1}}), inTurn({{threw, 1}}));
    sweepCaller(pushing(), inTurn({{refused, 1}}), inTurn({{refused, 1}}));
}

// Locks are those of the handlers, the registry, and in stop the queue and the token; in the destructor the token and
// the queue; then what is on its way back. Unlocks are the same, the first two last.
TEST(LockFault, InRemovals)
{
    for (const Scenario& scenario : {unregistering(), unsubscribing()})
    {
        sweepCaller(scenario, inTurn({{refused, 4}, {terminated, 2}, {refused, 1}}),
                    inTurn({{refused, 2}, {terminated, 2}, {refused, 3}}));
    }
}

// Locks are those of the handlers and of the registry, then the constructor's.
TEST(LockFault, InSubscriptions)
{
    for (const Scenario& scenario : {subscribing(), subscribingWithTrees()})
    {
        sweepCaller(scenario, inTurn({{aborted, 2}, {terminated, 2}}), inTurn({{terminated, 2}, {aborted, 2}}));
    }
    // With trees there is that of the filter besides.
    sweepCaller(replaying(), inTurn({{aborted, 2}, {terminated, 6}}), inTurn({{terminated, 6}, {aborted, 2}}));
    sweepCaller(replayingWithTrees(), inTurn({{aborted, 2}, {terminated, 7}}), inTurn({{terminated, 7}, {aborted, 2}}));
    for (const Scenario& scenario : {replaying(), replayingWithTrees()})
    {
        // Whether the second is tried depends on how fast the run of the first is.
        sweepBoth(scenario, Operation::tryLock, Actor::caller, inTurn({{terminated, 0}}));
    }
}

TEST(LockFault, InAnEventBatchOnTheEventThread)
{
    sweepCaller(publishing(false), inTurn({{dropped, 5}}), inTurn({{passed, 5}}));
}

// How many batches the service thread makes of the four records is its own affair.
TEST(LockFault, InAnEventBatchOnTheServiceThread)
{
    for (const Operation operation : {Operation::lock, Operation::unlock})
    {
        sweepBoth(publishing(true), operation, Actor::serviceThread,
                  {{threadEnded, terminated}, 20, 0, 0, {passed, dropped}});
    }
    sweepBoth(publishing(true), Operation::tryLock, Actor::serviceThread, inTurn({{terminated, 0}}));
}

// Locks are those of the input, the registry and the buffer, then twice of the queue for each of two subscriptions, and
// of the filter before them where it has trees.
TEST(LockFault, InTheServiceOfARecord)
{
    const std::pair<Scenario, unsigned int> scenarios[] = {
        {overflowing(), 4}, {derivingDeletes(), 5}, {selectingAttributes(), 5}};
    for (const auto& [scenario, inNotify] : scenarios)
    {
        Expectation unlocks = inTurn({{threadEnded, 2}, {terminated, inNotify}, {threadEnded, 1}});
        unlocks.lostBlocks = 6;  // the record that has been taken from the input
        sweepBoth(scenario, Operation::lock, Actor::serviceThread, inTurn({{threadEnded, 3}, {terminated, inNotify}}));
        sweepBoth(scenario, Operation::tryLock, Actor::serviceThread, inTurn({{terminated, 2}}));
        sweepBoth(scenario, Operation::unlock, Actor::serviceThread, unlocks);
    }
}

// A timer's notify locks the filter, which has trees, first and alone.
TEST(LockFault, InTheTimers)
{
    for (const Scenario& scenario : {beating(), reachingTheStopTime()})
    {
        sweep(scenario, {Operation::lock, Actor::poolThread, 0, true, EINVAL, 1}, inTurn({{terminated, 1}}));
        sweepBoth(scenario, Operation::tryLock, Actor::poolThread, inTurn({{terminated, 1}}));
        // Its first unlock is that of the queue, the next that of the filter.
        sweep(scenario, {Operation::unlock, Actor::poolThread, 0, true, EPERM, 2}, inTurn({{terminated, 1}}));
    }
}

// A run that cannot hand its records over, or finds somebody there, frees them.
TEST(LockFault, InGivingRecordsBackMakesNoDifference)
{
    for (const int error : {EINVAL, EBUSY})
    {
        sweep(givingBack(), {Operation::tryLock, Actor::poolThread, 0, false, error, 0}, {{passed}});
        sweep(givingBack(), {Operation::tryLock, Actor::poolThread, 0, true, error, 0}, {{passed}});
    }
}

// With the number of records that its subscription then gets of the two: the one being handled, and a later one. Its
// token stays taken, so it can never be removed, and the component not be stopped.
void expectDelivered(Operation operation, unsigned int nth, const std::vector<std::string>& wanted)
{
    const RunReport report = runInChild(
        [&](Facts& facts)
        {
            FaultLayer::watch();
            World& world = *new World;  // it could not come to an end
            world.init();
            world.start();
            world.subscriber = world.addSubscriber({{"objectCreated", "B=.*"}});
            FaultLayer::arm({operation, Actor::poolThread, nth, false, EINVAL, 0});
            world.push(makeNotification(1000, "B=1", objectCreated));
            world.waitUntil([] { return FaultLayer::hasMutexFailed(); });
            FaultLayer::disarm();
            const unsigned int other = world.addSubscriber();
            world.push(makeNotification(1001, "B=2", objectCreated));
            facts.served = world.waitFor(other, "B=2");
            world.waitForRest();
            if (wanted.size() == 2)
            {
                world.waitFor(world.subscriber, "B=2");
            }
            facts.effect = world.received(world.subscriber) == wanted;
        });
    const std::string what = (operation == Operation::lock ? "lock " : "unlock ") + std::to_string(nth);
    EXPECT_EQ(report.ending, Ending::finished) << what << ": " << report.facts.trouble << report.errors;
    EXPECT_TRUE(report.facts.served) << what;
    EXPECT_TRUE(report.facts.effect) << what;
}

TEST(LockFault, InADeliveryRunEndsTheDeliveryToItsSubscriptionAlone)
{
    // The run looks for a record, and for another behind it.
    expectDelivered(Operation::lock, 1, {});
    expectDelivered(Operation::lock, 2, {"B=1"});
    expectDelivered(Operation::unlock, 1, {});
    expectDelivered(Operation::unlock, 2, {"B=1"});
    // It gives the token back.
    expectDelivered(Operation::unlock, 3, {"B=1", "B=2"});
}

TEST(LockFault, InAClockChange)
{
    // Those of the buffer and the registry come before its discarding; the last unlock comes behind the notice.
    sweepCaller(changingTheClock(), inTurn({{dropped, 3}, {terminated, 2}}),
                inTurn({{dropped, 2}, {terminated, 2}, {passed, 1}}));
    sweepBoth(changingTheClock(), Operation::tryLock, Actor::caller, inTurn({{terminated, 1}}));
}

TEST(LockFault, InStop)
{
    sweepBoth(stopping(), Operation::lock, Actor::caller, inTurn({{refused, 2}}));
    // The first unlock is behind the message that ends the thread: it ends, though the stop is refused.
    Scenario stop = stopping();
    stop.act = [](World& world)
    {
        const int answer = world.stop();
        world.waitUntil([] { return FaultLayer::serviceThreads() == 0; });
        world.stop();
        return answer;
    };
    sweepBoth(stop, Operation::unlock, Actor::caller, inTurn({{refused, 0}}));
}

// Locks are those of the input and the registry; of each subscription those of the queue and the token, in stop and the
// other way round in the destructor; then the buffer's.
TEST(LockFault, InStopOnTheServiceThread)
{
    Expectation unlocks = inTurn({{passed, 3}, {terminated, 2}, {passed, 2}, {terminated, 2}, {passed, 2}});
    unlocks.lostBlocks = 1;  // the message
    sweepBoth(stopping(), Operation::lock, Actor::serviceThread,
              inTurn({{passed, 4}, {terminated, 2}, {passed, 2}, {terminated, 2}, {passed, 1}}));
    sweepBoth(stopping(), Operation::unlock, Actor::serviceThread, unlocks);
}

// Each mutex in the order in which the scenario meets it, by its address: every operation on it fails from some point
// on.
void sweepMutexes(const Scenario& scenario, Operation operation, Actor actor, const std::vector<Turns>& expected)
{
    unsigned int mutex = 0;
    for (const Turns& turns : expected)
    {
        ++mutex;
        sweep(scenario, {operation, actor, 0, true, operation == Operation::unlock ? EPERM : EINVAL, mutex},
              inTurn(turns));
    }
    sweep(scenario, {operation, actor, 0, true, EINVAL, mutex + 1}, {});
}

TEST(MutexFault, OfEachMutexOfARemoval)
{
    const Turns once = {{refused, 1}};
    const Turns alsoInTheDestructor = {{refused, 1}, {terminated, 1}};
    // The handlers', the registry lock, the queue's, the delivery token, that of what is on its way back.
    sweepMutexes(unsubscribing(), Operation::lock, Actor::caller,
                 {once, once, alsoInTheDestructor, alsoInTheDestructor, once});
    // The queue's, the delivery token, that of what is on its way back, the registry lock, the handlers'.
    sweepMutexes(unsubscribing(), Operation::unlock, Actor::caller,
                 {alsoInTheDestructor, alsoInTheDestructor, once, once, once});
}

// The seventh is met when the way back is opened: behind those of the input, the registry and the buffer, and those of
// the queues of two subscriptions and of the filter of one. It is met again when the way is emptied, and twice when it
// is closed.
TEST(MutexFault, OfTheWayBackOnTheServiceThread)
{
    Expectation ended = inTurn({{threadEnded, 0}});
    ended.lostBlocks = 20;  // the rest of the batch
    for (const Operation operation : {Operation::lock, Operation::unlock})
    {
        const int error = operation == Operation::unlock ? EPERM : EINVAL;
        sweep(givingBack(), {operation, Actor::serviceThread, 0, true, error, 7}, ended);
    }
}

TEST(MutexFault, OfEachMutexOfAReplay)
{
    // The handlers', the registry lock, the buffer's, the filter's, the queue's.
    sweepMutexes(replayingWithTrees(), Operation::lock, Actor::caller,
                 {{{aborted, 1}}, {{aborted, 1}}, {{terminated, 2}}, {{terminated, 1}}, {{terminated, 4}}});
    // The buffer's, the queue's, the filter's, the registry lock, the handlers'.
    sweepMutexes(replayingWithTrees(), Operation::unlock, Actor::caller,
                 {{{terminated, 2}}, {{terminated, 4}}, {{terminated, 1}}, {{aborted, 1}}, {{aborted, 1}}});
}

}  // namespace
}  // namespace OrvTest
