// One subscriber misbehaves in every way that a handler can, beside a healthy one.
#include <Poco/Exception.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "OrvException.h"
#include "World.h"

namespace OrvTest
{
namespace
{

typedef std::vector<std::string> Names;

const Names ALL = {"A=1", "A=2", "A=3"};

struct Misbehaviour
{
    std::string name;
    // What the subscriber does with a record.
    std::function<OrvReturnT(World&, const std::string& what)> handle;
    // Ends what the handler goes on with. Called when the healthy subscriber has everything. Null for nothing.
    std::function<void(World&)> end;
    Names received;  // by the misbehaving subscriber
};

void pushAll(World& world)
{
    for (const std::string& dn : ALL)
    {
        world.deliver(makeNotification(1000, dn, objectCreated));
    }
}

// The healthy subscriber gets every record while the other misbehaves, and the service lives on and leaves nothing.
void expectHarmless(const Misbehaviour& misbehaviour)
{
    const RunReport report = runInChild(
        [&](Facts& facts)
        {
            FaultLayer::watch();
            World world;
            world.serve([](World& early) { early.subscriber = early.addSubscriber({{"objectCreated", "A=.*"}}); });
            world.answerWith(
                [&](unsigned int handle, const std::string& what)
                {
                    return handle == world.subscriber && what[0] == 'A' ? misbehaviour.handle(world, what)
                                                                        : static_cast<OrvReturnT>(OrvOk);
                });
            pushAll(world);
            if (misbehaviour.end)
            {
                misbehaviour.end(world);
            }
            else
            {
                world.waitFor(world.subscriber, misbehaviour.received.size());
            }
            facts.effect = world.received(world.subscriber) == misbehaviour.received;
            world.examine(facts);
            world.leave(facts);
        });
    const Facts& facts = report.facts;
    EXPECT_EQ(report.ending, Ending::finished) << misbehaviour.name << ": " << facts.trouble << report.errors;
    EXPECT_TRUE(facts.effect && facts.served && facts.entriesWork && facts.stopped) << misbehaviour.name;
    EXPECT_EQ(facts.held + facts.blocks + facts.foreignBlocks + facts.unjoined, 0u) << misbehaviour.name;
}

TEST(SubscriberFault, AnExceptionCostsItsRecordAndNothingElse)
{
    const std::vector<std::pair<std::string, std::function<void()>>> throwers = {
        {"Orv::OrvException", [] { throw Orv::OrvException("of a handler"); }},
        {"std::runtime_error", [] { throw std::runtime_error("of a handler"); }},
        {"std::bad_alloc", [] { throw std::bad_alloc(); }},
        {"Poco::Exception", [] { throw Poco::NotFoundException("of a handler"); }},
        {"int", [] { throw 42; }},
        {"null", [] { throw nullptr; }}};
    for (const auto& thrower : throwers)
    {
        const auto handle = [&thrower](World&, const std::string&) -> OrvReturnT
        {
            thrower.second();
            return OrvOk;
        };
        expectHarmless({thrower.first, handle, nullptr, ALL});
    }
}

TEST(SubscriberFault, EveryCodeIsTaken)
{
    for (const OrvReturnT code : {OrvOk, OrvNotRunning, OrvFailure, OrvBadArgument, OrvNoThread})
    {
        expectHarmless({std::to_string(code), [code](World&, const std::string&) { return code; }, nullptr, ALL});
    }
    for (const OrvReturnT code : {3, 12345, -3, -2147483647})
    {
        expectHarmless({std::to_string(code), [code](World&, const std::string&) { return code; }, nullptr, ALL});
    }
}

TEST(SubscriberFault, OneThatIsNotFoundGetsNothingMore)
{
    const auto notFound = [](World&, const std::string&) { return static_cast<OrvReturnT>(OrvNotFound); };
    expectHarmless({"OrvNotFound", notFound, nullptr, {"A=1"}});
}

TEST(SubscriberFault, OneThatRetriesForEverHoldsUpItselfAlone)
{
    std::atomic<bool> enough{false};
    std::atomic<unsigned int> tries{0};
    const auto retry = [&](World&, const std::string&)
    {
        ++tries;
        return static_cast<OrvReturnT>(enough ? OrvOk : OrvRetry);
    };
    const auto end = [&](World& world)
    {
        world.waitUntil([&] { return tries > 2; });
        enough = true;
        world.waitFor(world.subscriber, "A=3");
        // The record that was refused came first, again and again.
        Names received = world.received(world.subscriber);
        if (received != Names{"A=2", "A=3"} && received.size() < 5)
        {
            throw std::runtime_error("it was not offered again");
        }
    };
    const RunReport report = runInChild(
        [&](Facts& facts)
        {
            FaultLayer::watch();
            World world;
            world.serve([](World& early) { early.subscriber = early.addSubscriber({{"objectCreated", "A=.*"}}); });
            world.answerWith([&](unsigned int handle, const std::string& what)
                             { return handle == world.subscriber ? retry(world, what) : OrvReturnT(OrvOk); });
            pushAll(world);
            end(world);
            world.examine(facts);
            world.leave(facts);
        });
    EXPECT_EQ(report.ending, Ending::finished) << report.facts.trouble << report.errors;
    EXPECT_TRUE(report.facts.served && report.facts.entriesWork && report.facts.stopped);
    EXPECT_EQ(report.facts.held + report.facts.blocks + report.facts.foreignBlocks + report.facts.unjoined, 0u);
}

TEST(SubscriberFault, OneThatDoesNotReturnUntilToldHoldsUpItselfAlone)
{
    const auto hold = [](World& world, const std::string& what)
    {
        if (what == "A=1")
        {
            world.waitUntil([&world] { return world.isTold(); });
        }
        return static_cast<OrvReturnT>(OrvOk);
    };
    const auto end = [](World& world)
    {
        world.tell();
        world.waitFor(world.subscriber, "A=3");
    };
    expectHarmless({"held", hold, end, ALL});
}

TEST(SubscriberFault, OneMayCallThePermittedEntries)
{
    const auto call = [](World& world, const std::string&)
    {
        long long time = 0;
        const bool allowed = world.push(makeNotification(2000, "B=1", objectCreated)) == OrvOk &&
                             world.query(world.table().getOldestBufferTimestamp, time) == OrvOk &&
                             world.query(world.table().getLastAgedNotificationTime, time) == OrvOk &&
                             world.query(world.table().getBufferCreationTime, time) == OrvOk;
        return static_cast<OrvReturnT>(allowed ? OrvOk : OrvNotFound);
    };
    expectHarmless({"calls", call, nullptr, ALL});
}

TEST(SubscriberFault, OneCanBeRemovedByAnotherThreadWhileItIsCalled)
{
    const auto hold = [](World& world, const std::string&)
    {
        world.waitUntil([&world] { return world.isTold(); });
        return static_cast<OrvReturnT>(OrvOk);
    };
    const auto end = [](World& world)
    {
        world.framework.setLevel(8);
        OrvReturnT result = OrvFailure;
        std::thread remover([&] { result = world.unsubscribe(world.subscriber); });
        const bool waits = world.framework.log().waitFor(LogLine::trace, "Waiting for notify thread to finish.", 1, 20);
        world.tell();
        remover.join();
        world.framework.setLevel(6);
        if (!waits || result != OrvOk)
        {
            throw std::runtime_error("the removal did not wait");
        }
    };
    expectHarmless({"removed", hold, end, {"A=1"}});
}

}  // namespace
}  // namespace OrvTest
