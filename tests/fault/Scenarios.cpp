#include "Scenarios.h"

#include <Poco/Timestamp.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <vector>

namespace OrvTest
{

namespace
{

typedef std::vector<std::string> Names;

Notification record(const std::string& dn, int32_t type = objectCreated, int64_t time = 1000)
{
    return makeNotification(time, dn, type, {int32Attribute("x", 1), stringAttribute("y", "text")});
}

LegacyFilter wantsB()
{
    const std::vector<std::pair<std::string, std::string>> filters = {{"objectCreated", "B=.*"}};
    return LegacyFilter(filters);
}

const auto serve = [](World& world) { world.serve(); };
const auto serveWithHandler = [](World& world)
{
    world.serve();
    world.registerHandler(world.handlerId);
    world.newHandle(world.subscriber);
};
const auto serveWithHandlerAndTrees = [](World& world)
{
    world.trees = Trees({node("A")});
    serveWithHandler(world);
};
const auto serveWithSubscriber = [](World& world)
{
    serveWithHandler(world);
    world.subscribe(world.handlerId, world.subscriber, wantsB());
};

// Whether the subscription under test lives and gets what it wants.
bool subscriberIsServed(World& world)
{
    world.push(record("B=99"));
    world.drain(world.subscriber);
    return world.hasReceived(world.subscriber, "B=99");
}

bool holds(const Names& names, const Names& wanted)
{
    return std::all_of(
        wanted.begin(), wanted.end(),
        [&](const std::string& name)
        { return std::count(names.begin(), names.end(), name) == std::count(wanted.begin(), wanted.end(), name); });
}

// Whether the records have come to the healthy subscriber and into the replay buffer.
bool isStoredAndWitnessed(World& world, const Names& wanted)
{
    return holds(world.received(world.witness()), wanted) && holds(world.stored(), wanted);
}

bool witnessHas(World& world, const std::string& what)
{
    return world.hasReceived(world.witness(), what);
}

}  // namespace

Scenario loading()
{
    Scenario load = {"load", nullptr, [](World& world) { return world.init(); }, nullptr};
    load.until = "registerComponent";
    return load;
}

Scenario loadingWithSupport()
{
    Scenario load = {"load with support library", nullptr, [](World& world) { return world.init(); }, nullptr};
    load.fromLoading = true;
    return load;
}

Scenario configuring()
{
    Scenario configure = {"configure", nullptr, [](World& world) { return world.init(); }, nullptr};
    configure.from = "registerComponent";
    return configure;
}

Scenario starting()
{
    Scenario start = {"start", [](World& world) { world.init(); }, [](World& world) { return world.start(); }, nullptr};
    return start;
}

Scenario registering()
{
    Scenario scenario = {"registerHandler", serve, [](World& world) { return world.registerHandler(world.handlerId); },
                         nullptr};
    return scenario;
}

Scenario unregistering()
{
    Scenario scenario = {"unregisterHandler", serveWithSubscriber,
                         [](World& world) { return world.unregisterHandler(world.handlerId); },
                         [](World& world) { return world.unsubscribe(world.subscriber) == OrvNotFound; }};
    return scenario;
}

Scenario subscribing()
{
    Scenario scenario = {"subscribe", serveWithHandler,
                         [](World& world) { return world.subscribe(world.handlerId, world.subscriber, wantsB()); },
                         subscriberIsServed};
    return scenario;
}

Scenario replaying()
{
    Scenario scenario = {"replay",
                         [](World& world)
                         {
                             serveWithHandler(world);
                             world.deliver(record("A=1"));
                             world.deliver(record("B=1", objectCreated, 1001));
                             world.deliver(record("B=2", objectCreated, 1002));
                         },
                         [](World& world) { return world.subscribe(world.handlerId, world.subscriber, wantsB(), 1); },
                         [](World& world)
                         {
                             world.waitFor(world.subscriber, "type 6");
                             return world.received(world.subscriber) == Names{"type 5", "B=1", "B=2", "type 6"};
                         }};
    return scenario;
}

Scenario takingAHandle()
{
    Scenario scenario = {"getSubscriptionHandle", serve, [](World& world) { return world.newHandle(world.subscriber); },
                         nullptr};
    return scenario;
}

Scenario unsubscribing()
{
    Scenario scenario = {"unsubscribe", serveWithSubscriber,
                         [](World& world) { return world.unsubscribe(world.subscriber); },
                         [](World& world) { return world.unsubscribe(world.subscriber) == OrvNotFound; }};
    return scenario;
}

Scenario askingForTimes()
{
    Scenario scenario = {"time queries",
                         [](World& world)
                         {
                             world.serve();
                             world.deliver(record("A=1"));
                         },
                         [](World& world)
                         {
                             long long time = 0;
                             return world.query(world.table().getOldestBufferTimestamp, time) |
                                    world.query(world.table().getLastAgedNotificationTime, time) |
                                    world.query(world.table().getBufferCreationTime, time);
                         },
                         nullptr};
    return scenario;
}

Scenario pushing()
{
    Scenario push = {"push", serve, [](World& world) { return world.push(record("A=1")); },
                     [](World& world) { return isStoredAndWitnessed(world, {"A=1"}); }};
    return push;
}

Scenario subscribingWithTrees()
{
    Scenario scenario = {"rfcFilterSubscribe",
                         [](World& world)
                         {
                             serveWithHandler(world);
                             world.trees = Trees({node("B")});
                         },
                         [](World& world)
                         { return world.subscribeSubtree(world.handlerId, world.subscriber, world.trees); },
                         subscriberIsServed};
    return scenario;
}

Scenario publishing(bool andWaiting)
{
    const auto publish = [](World& world)
    {
        CmEvent event(1000000, 7);
        event.operation("E=1", objectCreated, {int32Attribute("x", 1)})
            .operation("E=2", attributeChanged, {int32Attribute("x", 1), stringAttribute("y", "text")})
            .operation("E=3", objectDeleted);
        world.framework.router().publish(event);
        return 0;
    };
    Scenario batch = {
        "event batch",
        [](World& world)
        {
            world.framework.model().addClass("E", {{"x", true}, {"y", true}});
            world.serve([](World& early) { early.subscriber = early.addSubscriber({{"objectDeleted", "E=.*"}}); });
        },
        publish,
        [](World& world)
        {
            const bool complete = isStoredAndWitnessed(world, {"E=1", "E=2", "E=2", "E=3"});
            world.drain(world.subscriber);
            return complete && world.received(world.subscriber) == Names{"E=3", "type 9"};
        }};
    if (andWaiting)
    {
        batch.act = [publish](World& world)
        {
            publish(world);
            world.waitFor(world.witness(), 4);
            world.waitForRest();
            return 0;
        };
    }
    return batch;
}

Scenario overflowing()
{
    Scenario overflow = {
        "overflow",
        // No run is about to end when a record comes: it might miss it, and a nudge would take its place in the queue.
        [](World& world)
        {
            world.serve(
                [](World& early)
                {
                    early.subscriber = early.addSubscriber({{"objectDeleted", "B=.*"}});
                    early.holdAt(early.subscriber, "B=0");
                });
            world.deliver(record("B=0", objectDeleted, 1000));
            world.waitFor(world.subscriber, "B=0");
            world.waitForRuns(1);
            for (int i = 1; i <= static_cast<int>(BUFFER_SIZE); ++i)
            {
                world.deliver(record("B=" + std::to_string(i), objectDeleted, 1000 + i));
                world.waitForRuns(1);
            }
        },
        [](World& world)
        {
            const int answer = world.push(record("B=11", objectDeleted, 1011));
            world.waitFor(world.witness(), 12);
            world.waitForRest();
            return answer;
        },
        [](World& world)
        {
            const bool complete = isStoredAndWitnessed(world, {"B=11"});
            world.release();
            world.drain(world.subscriber);
            return complete && world.received(world.subscriber) == Names{"B=0", "type 4", "B=11", "type 9"};
        }};
    return overflow;
}

Scenario derivingDeletes()
{
    Scenario derive = {
        "derived delete",
        [](World& world)
        {
            world.framework.objects().addKeyClass("B", {{"label", false}, {"bId", true}});
            world.serve(
                [](World& early)
                {
                    early.subscriber = early.addSubtreeSubscriber(
                        {node("A").child(node("B").key("5")).child(node("C").key("7")).classes({"B"})});
                });
        },
        [](World& world)
        {
            const int answer = world.push(record("A=1", objectDeleted));
            world.waitFor(world.witness(), 1);
            world.waitForRest();
            return answer;
        },
        [](World& world)
        {
            const bool complete = isStoredAndWitnessed(world, {"A=1"});
            world.drain(world.subscriber);
            return complete && world.received(world.subscriber) == Names{"A=1,B=5", "A=1,C=57", "A=1,B=57*", "type 9"};
        }};
    return derive;
}

Scenario selectingAttributes()
{
    Scenario select = {"selection",
                       [](World& world)
                       {
                           world.framework.objects().setInt32("A=1", "state", 1);
                           world.serve(
                               [](World& early) {
                                   early.subscriber = early.addSubtreeSubscriber(
                                       {node("A").match(int32Attribute("state", 1)).select({"x"})});
                               });
                       },
                       [](World& world)
                       {
                           const int answer = world.push(record("A=1", attributeChanged));
                           world.waitFor(world.witness(), 1);
                           world.waitForRest();
                           return answer;
                       },
                       [](World& world)
                       {
                           const bool complete = isStoredAndWitnessed(world, {"A=1"});
                           world.drain(world.subscriber);
                           return complete && world.received(world.subscriber) == Names{"A=1", "type 9"};
                       }};
    return select;
}

Scenario replayingWithTrees()
{
    Scenario scenario = {"replay with trees",
                         [](World& world)
                         {
                             world.framework.objects().setInt32("A=1", "state", 1);
                             world.trees = Trees({node("A").match(int32Attribute("state", 1)).select({"x"})});
                             serveWithHandler(world);
                             world.deliver(record("A=1"));
                         },
                         [](World& world)
                         { return world.subscribeSubtree(world.handlerId, world.subscriber, world.trees, 1); },
                         [](World& world)
                         {
                             world.waitFor(world.subscriber, "type 6");
                             return world.received(world.subscriber) == Names{"type 5", "A=1", "type 6"};
                         }};
    return scenario;
}

Scenario changingTheClock()
{
    Scenario change = {"clock change",
                       [](World& world)
                       {
                           world.serve();
                           world.deliver(record("A=1"));
                           world.waitForRuns();
                       },
                       [](World& world)
                       {
                           world.framework.router().publishClockChange(1000);
                           return 0;
                       },
                       [](World& world) { return witnessHas(world, "type 9"); }};
    return change;
}

Scenario stopping()
{
    Scenario stop = {"stop", serveWithSubscriber, [](World& world) { return world.stop(); }, nullptr};
    return stop;
}

Scenario terminating()
{
    Scenario terminate = {"terminate",
                          [](World& world)
                          {
                              world.serve();
                              world.stop();
                          },
                          [](World& world) { return world.terminate(); }, nullptr};
    return terminate;
}

Scenario beating()
{
    Scenario heartbeat = {"heartbeat", serveWithHandlerAndTrees,
                          [](World& world)
                          {
                              const int answer =
                                  world.subscribeSubtree(world.handlerId, world.subscriber, world.trees, 0, 0, true, 0);
                              world.waitFor(world.subscriber, "type 8");
                              return answer;
                          },
                          nullptr};
    return heartbeat;
}

Scenario reachingTheStopTime()
{
    Scenario stopTime = {"stop time", serveWithHandlerAndTrees,
                         [](World& world)
                         {
                             // However long it takes until the timer is started, the stop time has not passed.
                             const long long now = Poco::Timestamp().epochMicroseconds();
                             FaultLayer::holdClock(now);
                             const int answer =
                                 world.subscribeSubtree(world.handlerId, world.subscriber, world.trees, 0, now + 2000);
                             FaultLayer::releaseClock();
                             world.waitFor(world.subscriber, "type 7");
                             return answer;
                         },
                         nullptr};
    return stopTime;
}

Scenario retrying()
{
    Scenario retry = {"retry",
                      [](World& world)
                      {
                          serveWithSubscriber(world);
                          const std::shared_ptr<std::atomic<int>> refusals = std::make_shared<std::atomic<int>>(3);
                          world.answerWith(
                              [&world, refusals](unsigned int handle, const std::string& what)
                              {
                                  const bool refuse = handle == world.subscriber && what == "B=1" && (*refusals)-- > 0;
                                  return static_cast<OrvReturnT>(refuse ? OrvRetry : OrvOk);
                              });
                      },
                      [](World& world)
                      {
                          const int answer = world.push(record("B=1"));
                          world.waitFor(world.subscriber, 4);
                          return answer;
                      },
                      [](World& world) {
                          return world.received(world.subscriber) == Names{"B=1", "B=1", "B=1", "B=1"};
                      }};
    return retry;
}

// The service thread waits inside its matches of the two A=1: at the first for the others, which are then one batch,
// and at the second for the delivery run, held with the first A=1 until then, to be done with that and to go on.
Scenario givingBack()
{
    const auto prepare = [](World& world)
    {
        world.framework.objects().setInt32("A=1", "state", 1);
        world.serve(
            [](World& early) {
                early.subscriber =
                    early.addSubtreeSubscriber({node("A").match(int32Attribute("state", 1)).select({"x"})});
            });
        world.holdAt(world.witness(), "A=1");
    };
    const auto act = [](World& world)
    {
        const std::shared_ptr<std::atomic<int>> matches = std::make_shared<std::atomic<int>>(0);
        const auto wait = [&world, matches]
        {
            const int number = ++*matches;
            world.wake();
            if (number == 1)
            {
                world.waitUntil([&] { return world.isTold(); });
            }
            if (number == 2)
            {
                world.release();
                world.waitFor(world.witness(), 2);
            }
        };
        world.framework.plan().whenCalled("getMoAttribute", wait);
        world.push(record("A=1"));
        world.waitUntil([&] { return *matches != 0 || FaultLayer::serviceThreads() == 0; });
        for (const char* const dn : {"C=1", "C=2", "A=1"})
        {
            world.push(record(dn));
        }
        world.tell();
        world.waitFor(world.witness(), 4);
        world.waitForRest();
        world.release();
        return 0;
    };
    const auto effect = [](World& world)
    {
        const bool complete = isStoredAndWitnessed(world, {"A=1", "C=1", "C=2", "A=1"});
        world.drain(world.subscriber);
        return complete && world.received(world.subscriber) == Names{"A=1", "A=1", "type 9"};
    };
    Scenario scenario = {"giving back", prepare, act, effect};
    return scenario;
}

Scenario traced(Scenario scenario)
{
    const std::function<void(World&)> prepare = scenario.prepare;
    scenario.name += ", traced";
    scenario.prepare = [prepare](World& world)
    {
        prepare(world);
        world.framework.setLevel(8);
    };
    return scenario;
}

}  // namespace OrvTest
