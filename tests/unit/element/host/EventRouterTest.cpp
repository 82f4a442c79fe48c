#include "EventRouter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

#include "ChangeEvent.h"
#include "ElementError.h"

namespace OrvElement
{
namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

const char* const CM_EVENT = "ZelOamSpiCmEvent_Notification_1";
const char* const CLOCK_CHANGE = "ZelClockChangeEventType_1";
const char* const DN_EXPRESSION = "ZelOamSpiCmEvent_FilterTypeRegExp_1";

// Turns a hang into a failure.
const std::chrono::seconds TIMEOUT(60);

// What one callback brought.
struct Call
{
    ZelOamSpiEventConsumerHandleT handle;
    std::string eventType;
    std::vector<std::string> filter;  // "name=value"
    std::string firstDn;              // of a CM event
    uint64_t time;                    // of a clock change
    std::thread::id thread;
};

// The consumer's function carries no context: one recorder at a time.
class Recorder
{
public:
    Recorder() { _current = this; }
    ~Recorder() { _current = nullptr; }

    ZelOamSpiEventConsumer consumer = {&Recorder::notify};
    std::function<void()> inside;  // called in each callback, before it is recorded
    ZelReturnT answer = OrvOk;

    std::vector<Call> calls()
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        return _calls;
    }

    std::vector<std::string> firstDns()
    {
        std::vector<std::string> dns;
        for (const Call& call : calls())
        {
            dns.push_back(call.firstDn);
        }
        return dns;
    }

private:
    static ZelReturnT notify(ZelOamSpiEventConsumerHandleT handle, const char* eventType, ZelNameValuePairT** filter,
                             void* value)
    {
        return _current->take(handle, eventType, filter, value);
    }

    ZelReturnT take(ZelOamSpiEventConsumerHandleT handle, const char* eventType, ZelNameValuePairT** filter,
                    void* value)
    {
        if (inside)
        {
            inside();
        }
        Call call = {handle, eventType, {}, "", 0, std::this_thread::get_id()};
        for (; *filter != nullptr; ++filter)
        {
            call.filter.push_back(std::string((*filter)->name) + "=" + (*filter)->value);
        }
        if (call.eventType == CM_EVENT)
        {
            call.firstDn = static_cast<ZelOamSpiCmEvent_Notification_1*>(value)->txOperations[0]->dn;
        }
        else
        {
            call.time = *static_cast<uint64_t*>(value);
        }
        const std::lock_guard<std::mutex> lock(_mutex);
        _calls.push_back(call);
        return answer;
    }

    static Recorder* _current;
    std::mutex _mutex;
    std::vector<Call> _calls;
};

Recorder* Recorder::_current = nullptr;

// Something that happened, for another thread to wait for.
class Fact
{
public:
    void happen()
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        _happened = true;
        _changed.notify_all();
    }
    bool wait()
    {
        std::unique_lock<std::mutex> lock(_mutex);
        return _changed.wait_for(lock, TIMEOUT, [this] { return _happened; });
    }

private:
    std::mutex _mutex;
    std::condition_variable _changed;
    bool _happened = false;
};

// A filter in the form that the router takes.
class Filter
{
public:
    Filter() : _pointers{nullptr} {}
    explicit Filter(const char* expression, const char* name = DN_EXPRESSION)
        : _expression(expression), _name(name), _pair{_name.c_str(), _expression.c_str()}, _pointers{&_pair, nullptr}
    {
    }
    ZelNameValuePairT** get() { return _pointers.data(); }
    void overwrite()
    {
        _expression.assign(_expression.size(), '#');
        _name.assign(_name.size(), '#');
        _pointers.assign(1, nullptr);
    }

    Filter(const Filter&) = delete;
    Filter& operator=(const Filter&) = delete;

private:
    std::string _expression;
    std::string _name;
    ZelNameValuePairT _pair = {nullptr, nullptr};
    std::vector<ZelNameValuePairT*> _pointers;
};

std::unique_ptr<ChangeEvent> eventFor(const std::vector<std::string>& dns)
{
    auto event = std::make_unique<ChangeEvent>(1, 1000);
    for (const std::string& dn : dns)
    {
        event->add(ChangeKind::Created, dn, {});
    }
    return event;
}

class EventRouterTest : public testing::Test
{
protected:
    ZelOamSpiEventConsumerHandleT registered()
    {
        ZelOamSpiEventConsumerHandleT handle = 0;
        EXPECT_EQ(table.registerConsumer(&recorder.consumer, &handle), OrvOk);
        return handle;
    }

    OrvOamSpiEventRouter_1& table = EventRouter::table();
    Recorder recorder;  // outlives the router's thread
    EventRouter router;
};

TEST_F(EventRouterTest, HasTheIdentityThatComponentsLookUp)
{
    EXPECT_STREQ(table.id.componentName, "OrvOamSpiEventService");
    EXPECT_STREQ(table.id.interfaceName, "OrvOamSpiEventRouter");
    EXPECT_STREQ(table.id.interfaceVersion, "1");
    table.reserved1();
}

TEST_F(EventRouterTest, GivesEachConsumerAHandleOfItsOwn)
{
    ZelOamSpiEventConsumer other = recorder.consumer;
    ZelOamSpiEventConsumerHandleT first = 0;
    ZelOamSpiEventConsumerHandleT second = 0;
    EXPECT_EQ(table.registerConsumer(&recorder.consumer, &first), OrvOk);
    EXPECT_EQ(table.registerConsumer(&other, &second), OrvOk);
    EXPECT_NE(first, second);
}

TEST_F(EventRouterTest, DeliversOnAThreadOfItsOwn)
{
    Filter all;
    const auto handle = registered();
    ASSERT_EQ(table.addSubscription(handle, CM_EVENT, all.get()), OrvOk);
    router.publish(eventFor({"ManagedElement=1"}));
    router.drain();
    const std::vector<Call> calls = recorder.calls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].handle, handle);
    EXPECT_EQ(calls[0].eventType, CM_EVENT);
    EXPECT_NE(calls[0].thread, std::this_thread::get_id());
}

TEST_F(EventRouterTest, DeliversEventsInTheOrderOfTheirPublishing)
{
    Filter all;
    ASSERT_EQ(table.addSubscription(registered(), CM_EVENT, all.get()), OrvOk);
    std::vector<std::string> expected;
    for (int i = 0; i < 100; ++i)
    {
        expected.push_back("ManagedElement=1,a=" + std::to_string(i));
        router.publish(eventFor({expected.back()}));
    }
    router.drain();
    EXPECT_EQ(recorder.firstDns(), expected);
}

TEST_F(EventRouterTest, DeliversAnEventToItsOwnTypeOnly)
{
    Filter all;
    const auto handle = registered();
    ASSERT_EQ(table.addSubscription(handle, CLOCK_CHANGE, all.get()), OrvOk);
    router.publish(eventFor({"ManagedElement=1"}));
    router.publishClockChange(1234567890123456789u);
    router.drain();
    const std::vector<Call> calls = recorder.calls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].eventType, CLOCK_CHANGE);
    EXPECT_EQ(calls[0].time, 1234567890123456789u);
}

TEST_F(EventRouterTest, FiltersACmEventByTheDnsOfItsOperations)
{
    Filter filter("interface=eth[01]$");
    ASSERT_EQ(table.addSubscription(registered(), CM_EVENT, filter.get()), OrvOk);
    router.publish(eventFor({"ManagedElement=1,interface=eth0"}));
    router.publish(eventFor({"ManagedElement=1,interface=eth2"}));
    router.publish(eventFor({"ManagedElement=1,system=1", "ManagedElement=1,interface=eth1"}));
    router.publish(eventFor({"ManagedElement=1,interface=eth1,ipv4=1"}));
    router.drain();
    EXPECT_THAT(recorder.firstDns(), ElementsAre("ManagedElement=1,interface=eth0", "ManagedElement=1,system=1"));
}

TEST_F(EventRouterTest, AdmitsEveryDnThroughTheMatchAllExpression)
{
    Filter filter(".*$");
    ASSERT_EQ(table.addSubscription(registered(), CM_EVENT, filter.get()), OrvOk);
    router.publish(eventFor({"ManagedElement=1,interface=eth0"}));
    router.drain();
    EXPECT_EQ(recorder.calls().size(), 1u);
}

TEST_F(EventRouterTest, CallsOncePerSubscriptionThatTakesTheEvent)
{
    Filter all;
    Filter eth0("eth0");
    Filter eth1("eth1");
    const auto handle = registered();
    ASSERT_EQ(table.addSubscription(handle, CM_EVENT, all.get()), OrvOk);
    ASSERT_EQ(table.addSubscription(handle, CM_EVENT, eth0.get()), OrvOk);
    ASSERT_EQ(table.addSubscription(handle, CM_EVENT, eth1.get()), OrvOk);
    router.publish(eventFor({"ManagedElement=1,interface=eth0", "ManagedElement=1,interface=eth0,ipv4=1"}));
    router.drain();
    const std::vector<Call> calls = recorder.calls();
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_THAT(calls[0].filter, IsEmpty());
    EXPECT_THAT(calls[1].filter, ElementsAre(std::string(DN_EXPRESSION) + "=eth0"));
}

TEST_F(EventRouterTest, PassesACopyOfTheFilter)
{
    Filter filter("eth0");
    Fact begun;
    Fact mayGoOn;
    recorder.inside = [&]
    {
        begun.happen();
        EXPECT_TRUE(mayGoOn.wait());
    };
    const auto handle = registered();
    ASSERT_EQ(table.addSubscription(handle, CM_EVENT, filter.get()), OrvOk);
    router.publish(eventFor({"ManagedElement=1,interface=eth0"}));
    ASSERT_TRUE(begun.wait());
    // The consumer takes its filter back and reuses the memory while the callback runs.
    EXPECT_EQ(table.removeSubscription(handle, CM_EVENT, filter.get()), OrvOk);
    filter.overwrite();
    mayGoOn.happen();
    router.drain();
    const std::vector<Call> calls = recorder.calls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_THAT(calls[0].filter, ElementsAre(std::string(DN_EXPRESSION) + "=eth0"));
}

TEST_F(EventRouterTest, DoesNotWaitForARunningCallbackWhenASubscriptionIsAddedOrRemoved)
{
    Filter all;
    Filter other;
    Fact begun;
    Fact mayGoOn;
    recorder.inside = [&]
    {
        begun.happen();
        EXPECT_TRUE(mayGoOn.wait());
    };
    const auto handle = registered();
    ASSERT_EQ(table.addSubscription(handle, CM_EVENT, all.get()), OrvOk);
    router.publish(eventFor({"ManagedElement=1"}));
    ASSERT_TRUE(begun.wait());
    EXPECT_EQ(table.addSubscription(handle, CLOCK_CHANGE, other.get()), OrvOk);
    EXPECT_EQ(table.removeSubscription(handle, CLOCK_CHANGE, other.get()), OrvOk);
    EXPECT_EQ(table.removeSubscription(handle, CM_EVENT, all.get()), OrvOk);
    EXPECT_EQ(table.unregisterConsumer(handle, &recorder.consumer), OrvOk);
    EXPECT_THAT(recorder.calls(), IsEmpty()) << "the callback has ended too early for this test to mean anything";
    mayGoOn.happen();
    router.drain();
    EXPECT_EQ(recorder.calls().size(), 1u);
}

TEST_F(EventRouterTest, DoesNotCallASubscriptionThatWasRemovedBeforeItsTurn)
{
    Filter first;
    Filter second;
    const auto handle = registered();
    ASSERT_EQ(table.addSubscription(handle, CM_EVENT, first.get()), OrvOk);
    ASSERT_EQ(table.addSubscription(handle, CM_EVENT, second.get()), OrvOk);
    // The first callback removes the second subscription, which would have been called for the same event.
    recorder.inside = [&] { table.removeSubscription(handle, CM_EVENT, second.get()); };
    router.publish(eventFor({"ManagedElement=1"}));
    router.drain();
    EXPECT_EQ(recorder.calls().size(), 1u);
}

TEST_F(EventRouterTest, AcceptsEventsFromInsideACallback)
{
    Filter all;
    bool published = false;
    ASSERT_EQ(table.addSubscription(registered(), CM_EVENT, all.get()), OrvOk);
    recorder.inside = [&]
    {
        if (!published)
        {
            published = true;
            router.publish(eventFor({"ManagedElement=1,second=1"}));
        }
    };
    router.publish(eventFor({"ManagedElement=1,first=1"}));
    router.drain();
    router.drain();
    EXPECT_THAT(recorder.firstDns(), ElementsAre("ManagedElement=1,first=1", "ManagedElement=1,second=1"));
}

TEST_F(EventRouterTest, DropsTheSubscriptionsOfAConsumerThatIsUnregistered)
{
    Filter all;
    const auto handle = registered();
    ASSERT_EQ(table.addSubscription(handle, CM_EVENT, all.get()), OrvOk);
    EXPECT_EQ(table.unregisterConsumer(handle, &recorder.consumer), OrvOk);
    router.publish(eventFor({"ManagedElement=1"}));
    router.drain();
    EXPECT_THAT(recorder.calls(), IsEmpty());
    EXPECT_EQ(table.removeSubscription(handle, CM_EVENT, all.get()), OrvNotFound);
}

TEST_F(EventRouterTest, GoesOnAfterAConsumerThatAnswersWithAFailure)
{
    Filter all;
    recorder.answer = OrvFailure;
    ASSERT_EQ(table.addSubscription(registered(), CM_EVENT, all.get()), OrvOk);
    router.publish(eventFor({"ManagedElement=1,a=1"}));
    router.publish(eventFor({"ManagedElement=1,a=2"}));
    router.drain();
    EXPECT_THAT(recorder.firstDns(), ElementsAre("ManagedElement=1,a=1", "ManagedElement=1,a=2"));
}

TEST_F(EventRouterTest, RefusesAnExpressionThatDoesNotCompile)
{
    Filter broken("interface=(");
    EXPECT_EQ(table.addSubscription(registered(), CM_EVENT, broken.get()), OrvBadArgument);
}

TEST_F(EventRouterTest, RefusesAFilterNameThatItDoesNotKnow)
{
    Filter unknown(".*", "SomeOtherFilter");
    Filter expression(".*");
    const auto handle = registered();
    EXPECT_EQ(table.addSubscription(handle, CM_EVENT, unknown.get()), OrvBadArgument);
    EXPECT_EQ(table.addSubscription(handle, CLOCK_CHANGE, expression.get()), OrvBadArgument)
        << "a clock change has no DNs";
}

TEST_F(EventRouterTest, AnswersBadArgumentForNullPointers)
{
    Filter all;
    ZelOamSpiEventConsumerHandleT handle = 0;
    ZelOamSpiEventConsumer withoutFunction = {nullptr};
    EXPECT_EQ(table.registerConsumer(nullptr, &handle), OrvBadArgument);
    EXPECT_EQ(table.registerConsumer(&withoutFunction, &handle), OrvBadArgument);
    EXPECT_EQ(table.registerConsumer(&recorder.consumer, nullptr), OrvBadArgument);
    handle = registered();
    EXPECT_EQ(table.addSubscription(handle, nullptr, all.get()), OrvBadArgument);
    EXPECT_EQ(table.addSubscription(handle, CM_EVENT, nullptr), OrvBadArgument);
    EXPECT_EQ(table.removeSubscription(handle, nullptr, all.get()), OrvBadArgument);
}

TEST_F(EventRouterTest, AnswersNotFoundForWhatIsNotThere)
{
    Filter all;
    Filter other;
    ZelOamSpiEventConsumer stranger = recorder.consumer;
    const auto handle = registered();
    EXPECT_EQ(table.addSubscription(handle + 1, CM_EVENT, all.get()), OrvNotFound);
    ASSERT_EQ(table.addSubscription(handle, CM_EVENT, all.get()), OrvOk);
    EXPECT_EQ(table.removeSubscription(handle + 1, CM_EVENT, all.get()), OrvNotFound);
    EXPECT_EQ(table.removeSubscription(handle, CLOCK_CHANGE, all.get()), OrvNotFound);
    EXPECT_EQ(table.removeSubscription(handle, CM_EVENT, other.get()), OrvNotFound);
    EXPECT_EQ(table.unregisterConsumer(handle, &stranger), OrvNotFound);
    EXPECT_EQ(table.unregisterConsumer(handle + 1, &recorder.consumer), OrvNotFound);
}

TEST_F(EventRouterTest, RefusesToDrainOnItsOwnThread)
{
    Filter all;
    bool refused = false;
    ASSERT_EQ(table.addSubscription(registered(), CM_EVENT, all.get()), OrvOk);
    recorder.inside = [&]
    {
        try
        {
            router.drain();
        }
        catch (const std::logic_error&)
        {
            refused = true;
        }
    };
    router.publish(eventFor({"ManagedElement=1"}));
    router.drain();
    EXPECT_TRUE(refused);
}

TEST_F(EventRouterTest, WaitsForASubscriptionThatComesLater)
{
    Filter all;
    const auto handle = registered();
    std::thread subscriber([&] { EXPECT_EQ(table.addSubscription(handle, CLOCK_CHANGE, all.get()), OrvOk); });
    EXPECT_TRUE(router.waitForSubscription(CLOCK_CHANGE, 60000));
    subscriber.join();
    EXPECT_FALSE(router.waitForSubscription(CM_EVENT, 1));
}

TEST_F(EventRouterTest, RefusesASecondRouterInTheProcess)
{
    EXPECT_THROW(EventRouter(), ElementError);
    ZelOamSpiEventConsumerHandleT handle = 0;
    EXPECT_EQ(table.registerConsumer(&recorder.consumer, &handle), OrvOk) << "the first must stay the current one";
}

TEST(EventRouter, LeavesATableThatAnswersFailureBehind)
{
    Recorder recorder;
    Filter all;
    {
        const EventRouter router;
    }
    ZelOamSpiEventConsumerHandleT handle = 0;
    EXPECT_EQ(EventRouter::table().registerConsumer(&recorder.consumer, &handle), OrvFailure);
    EXPECT_EQ(EventRouter::table().addSubscription(1, CM_EVENT, all.get()), OrvFailure);
    EXPECT_EQ(EventRouter::table().removeSubscription(1, CM_EVENT, all.get()), OrvFailure);
    EXPECT_EQ(EventRouter::table().unregisterConsumer(1, &recorder.consumer), OrvFailure);
}

TEST(EventRouter, EndsWithAnEventStillInItsQueue)
{
    Recorder recorder;
    Filter all;
    Fact begun;
    Fact mayGoOn;
    std::thread releaser;
    {
        EventRouter router;
        recorder.inside = [&]
        {
            begun.happen();
            EXPECT_TRUE(mayGoOn.wait());
        };
        ZelOamSpiEventConsumerHandleT handle = 0;
        ASSERT_EQ(EventRouter::table().registerConsumer(&recorder.consumer, &handle), OrvOk);
        ASSERT_EQ(EventRouter::table().addSubscription(handle, CM_EVENT, all.get()), OrvOk);
        router.publish(eventFor({"ManagedElement=1,a=1"}));
        router.publish(eventFor({"ManagedElement=1,a=2"}));
        ASSERT_TRUE(begun.wait());
        // Released when the router has begun to end: its table answers failure from then on.
        releaser = std::thread(
            [&]
            {
                while (EventRouter::table().registerConsumer(nullptr, nullptr) != OrvFailure)
                {
                    std::this_thread::yield();
                }
                mayGoOn.happen();
            });
    }
    releaser.join();
    EXPECT_GE(recorder.calls().size(), 1u);
}

}  // namespace
}  // namespace OrvElement
