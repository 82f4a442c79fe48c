#include "EventConsumer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <functional>
#include <memory>
#include <new>
#include <stdexcept>

#include "AllocationFault.h"
#include "FakeFramework.h"
#include "LogCheck.h"

using namespace OrvTest;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

const char EVENT_TYPE[] = "TestEvent_1";

class Subscriber
{
public:
    void onEvent(const char* eventType, void* value)
    {
        eventTypes.push_back(eventType);
        values.push_back(value);
        if (action)
        {
            action();
        }
    }

    std::vector<std::string> eventTypes;
    std::vector<void*> values;
    std::function<void()> action;
};

typedef Orv::EventConsumer<Subscriber, 7> Consumer;

class EventConsumer : public testing::Test
{
protected:
    EventConsumer() : session(framework) {}

    void start(const std::vector<Orv::NameValuePair>& filter = {})
    {
        consumer->start(filter, &Subscriber::onEvent, subscriber, EVENT_TYPE);
    }
    FakeEventRouter::Subscription subscription() { return framework.router().subscriptions().at(0); }
    // Lets the router call the consumer as it would for an event.
    ZelReturnT call(void* value) { return framework.router().call(&consumer->_consumer, 1, EVENT_TYPE, value); }

    FakeFramework framework;
    const CommonSession session;
    Subscriber subscriber;
    std::unique_ptr<Consumer> consumer = std::make_unique<Consumer>();
};

TEST_F(EventConsumer, IsTheOneOfItsInstanceWhileItLives)
{
    EXPECT_EQ(Consumer::_instance, consumer.get());
    consumer.reset();
    EXPECT_EQ(Consumer::_instance, nullptr);
}

TEST_F(EventConsumer, OfAnotherNumberIsAnotherInstance)
{
    const Orv::EventConsumer<Subscriber, 8> other;
    EXPECT_EQ((Orv::EventConsumer<Subscriber, 8>::_instance), &other);
    EXPECT_EQ(Consumer::_instance, consumer.get());
}

TEST_F(EventConsumer, IsBornStoppedWithTheProcesssPortal)
{
    EXPECT_FALSE(consumer->_started);
    EXPECT_EQ(consumer->_filter, nullptr);
    EXPECT_EQ(consumer->_handle, 0u);
    EXPECT_EQ(consumer->_portal, Orv::Portal::instance());
    EXPECT_TRUE(consumer->_eventType.empty());
}

TEST_F(EventConsumer, RegistersItselfAndThenSubscribes)
{
    framework.plan().clearCalls();
    start();
    EXPECT_THAT(framework.plan().calls(), ElementsAre("portal1.getInterface:OrvOamSpiEventRouter", "registerConsumer",
                                                      "addSubscription:TestEvent_1"));
    EXPECT_EQ(subscription().eventType, EVENT_TYPE);
    EXPECT_EQ(subscription().handle, consumer->_handle);
    EXPECT_EQ(subscription().consumer, &consumer->_consumer);
    EXPECT_EQ(consumer->_consumer.notify, &Consumer::notifyCallback);
    EXPECT_TRUE(consumer->_started);
    consumer->stop();
}

TEST_F(EventConsumer, GivesTheRouterAnArrayOfOneNullEntryForAnEmptyFilter)
{
    start();
    ASSERT_NE(subscription().filter, nullptr);
    EXPECT_EQ(subscription().filter[0], nullptr);
    EXPECT_EQ(subscription().filter, consumer->_filter);
    consumer->stop();
}

TEST_F(EventConsumer, GivesTheRouterPairsThatDoNotDependOnTheCallersVector)
{
    {
        std::vector<Orv::NameValuePair> filter;
        filter.push_back(Orv::NameValuePair("first name", "first value"));
        filter.push_back(Orv::NameValuePair("second name", "second value"));
        start(filter);
    }
    ZelNameValuePair** const array = subscription().filter;
    EXPECT_STREQ(array[0]->name, "first name");
    EXPECT_STREQ(array[0]->value, "first value");
    EXPECT_STREQ(array[1]->name, "second name");
    EXPECT_STREQ(array[1]->value, "second value");
    EXPECT_EQ(array[2], nullptr);
    consumer->stop();
}

TEST_F(EventConsumer, FreesItsArrayWhenItStopsAndBuildsANewOneWhenItStartsAgain)
{
    start({Orv::NameValuePair("name", "value")});
    consumer->stop();
    EXPECT_EQ(consumer->_filter, nullptr);
    EXPECT_TRUE(consumer->_memory._blocks.empty());
    EXPECT_TRUE(consumer->_memory._objects.empty());
    EXPECT_FALSE(consumer->_started);
    start({Orv::NameValuePair("other", "text")});
    EXPECT_STREQ(subscription().filter[0]->name, "other");
    EXPECT_EQ(consumer->_memory._blocks.size(), 1u);
    EXPECT_EQ(consumer->_memory._objects.size(), 1u);
    consumer->stop();
}

TEST_F(EventConsumer, UnsubscribesAndThenUnregistersWhenItStops)
{
    start();
    framework.plan().clearCalls();
    consumer->stop();
    EXPECT_THAT(framework.plan().calls(), ElementsAre("removeSubscription:TestEvent_1", "unregisterConsumer"));
    EXPECT_THAT(framework.router().subscriptions(), IsEmpty());
    EXPECT_EQ(framework.router().consumers(), 0u);
}

TEST_F(EventConsumer, SaysNothingToTheRouterWhenItWasNeverStarted)
{
    framework.plan().clearCalls();
    consumer->stop();
    EXPECT_THAT(framework.plan().calls(), IsEmpty());
}

TEST_F(EventConsumer, DoesNotStopAtItsEnd)
{
    start();
    framework.plan().clearCalls();
    consumer.reset();
    EXPECT_THAT(framework.plan().calls(), IsEmpty());
}

TEST_F(EventConsumer, TracesARouterThatRefusesAndClearsItsStateAnyway)
{
    start();
    framework.plan().failAlways("removeSubscription:TestEvent_1", -1);
    framework.plan().failAlways("unregisterConsumer", -1);
    framework.setLevel(8);
    consumer->stop();
    EXPECT_THAT(traces(framework.lines()),
                ElementsAre(" >> ", "Could not unregister event subscription, eventType TestEvent_1",
                            "Could not unregister event consumer, eventType TestEvent_1", " << "));
    EXPECT_TRUE(traced(framework.lines(), 0, "Could not unregister event subscription, eventType TestEvent_1"));
    EXPECT_TRUE(traced(framework.lines(), 0, "Could not unregister event consumer, eventType TestEvent_1"));
    EXPECT_EQ(framework.plan().count("unregisterConsumer"), 1u) << "though the first call failed";
    EXPECT_THAT(messages(framework.lines()), IsEmpty());
    EXPECT_FALSE(consumer->_started);
    EXPECT_EQ(consumer->_filter, nullptr);
}

TEST_F(EventConsumer, ClearsItsStateAlsoWhenTheRouterHasGone)
{
    start();
    Orv::Portal::instance()->_eventRouter = nullptr;  // what was looked up before does not last
    framework.withdraw("OrvOamSpiEventRouter");
    framework.setLevel(8);
    framework.plan().clearCalls();
    consumer->stop();
    EXPECT_THAT(framework.plan().calls(), ElementsAre("portal1.getInterface:OrvOamSpiEventRouter"));
    EXPECT_TRUE(logged(framework.lines(), 4, "Interface OrvOamSpiEventRouter not found"));
    EXPECT_TRUE(traced(framework.lines(), 0, "Could not unregister event subscription, eventType TestEvent_1"));
    EXPECT_TRUE(traced(framework.lines(), 0, "Could not unregister event consumer, eventType TestEvent_1"));
    EXPECT_FALSE(consumer->_started);
    EXPECT_EQ(consumer->_filter, nullptr);
}

TEST_F(EventConsumer, PassesTypeAndValueToItsMemberOnTheRoutersThread)
{
    start();
    int value = 5;
    EXPECT_EQ(call(&value), OrvOk);
    EXPECT_THAT(subscriber.eventTypes, ElementsAre(EVENT_TYPE));
    EXPECT_THAT(subscriber.values, ElementsAre(&value));
    consumer->stop();
}

TEST_F(EventConsumer, LogsAStandardExceptionOfItsSubscriberAndAnswersOk)
{
    start();
    subscriber.action = [] { throw std::runtime_error("out of order"); };
    EXPECT_EQ(call(nullptr), OrvOk);
    EXPECT_TRUE(logged(framework.lines(), 4, "Exception thrown from event consumer :out of order"));
    EXPECT_EQ(messages(framework.lines()).size(), 1u);
    consumer->stop();
}

TEST_F(EventConsumer, LogsAnyOtherExceptionOfItsSubscriberAndAnswersOk)
{
    start();
    subscriber.action = [] { throw 42; };
    EXPECT_EQ(call(nullptr), OrvOk);
    EXPECT_TRUE(logged(framework.lines(), 4, "Unknown exception thrown from event consumer"));
    EXPECT_EQ(messages(framework.lines()).size(), 1u);
    consumer->stop();
}

TEST_F(EventConsumer, LogsToTheCommonSubsystem)
{
    start();
    subscriber.action = [] { throw 42; };
    ASSERT_EQ(call(nullptr), OrvOk);
    for (const LogLine& line : framework.lines())
    {
        if (line.source == LogLine::traceV2)
        {
            EXPECT_EQ(line.subsystem, Orv::Trace::Common);
        }
    }
    consumer->stop();
}

TEST_F(EventConsumer, LetsAPairThatCannotBeTakenOutOfMemoryPass)
{
    {
        AllocationFault fault(sizeof(Orv::AutoMemory::OwnedObj<Orv::NameValuePair>), [] { throw std::bad_alloc(); });
        EXPECT_THROW(start({Orv::NameValuePair("name", "value")}), std::bad_alloc);
        EXPECT_TRUE(fault.met());
    }
    EXPECT_FALSE(consumer->_started);
    EXPECT_EQ(consumer->_filter, nullptr);
    EXPECT_EQ(framework.plan().count("unregisterConsumer"), 1u);
}

TEST_F(EventConsumer, LetsAnArrayForWhichThereIsNoMemoryPass)
{
    {
        const CallocFault fault;
        EXPECT_THROW(start(), std::bad_alloc);
    }
    EXPECT_FALSE(consumer->_started);
    EXPECT_EQ(consumer->_filter, nullptr);
    EXPECT_EQ(framework.plan().count("unregisterConsumer"), 1u);
}

class EventConsumerDeathTest : public EventConsumer
{
protected:
    EventConsumerDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(EventConsumerDeathTest, ASecondOneOfAnInstanceEndsTheProcess)
{
    EXPECT_DEATH(Consumer(), "Assertion `_instance == __null' failed");
}

TEST_F(EventConsumerDeathTest, ACallbackWithoutALiveObjectEndsTheProcess)
{
    consumer.reset();
    EXPECT_DEATH(Consumer::notifyCallback(1, EVENT_TYPE, nullptr, nullptr), "Assertion `_instance' failed");
}

TEST_F(EventConsumerDeathTest, ASecondStartAbortsWithoutAWord)
{
    start();
    framework.log().echoToStandardError(true);
    EXPECT_EXIT(start(), testing::KilledBySignal(SIGABRT), "^$");
    consumer->stop();
}

TEST_F(EventConsumerDeathTest, ARefusedRegistrationAbortsBeforeItSubscribes)
{
    framework.log().echoToStandardError(true);
    framework.plan().failAlways("registerConsumer", -1);
    EXPECT_EXIT(start(), testing::KilledBySignal(SIGABRT),
                testing::AllOf(testing::HasSubstr("log 3 start: \"Could not register consumer\""),
                               testing::Not(testing::HasSubstr("Could not add subscription"))));
}

TEST_F(EventConsumerDeathTest, ARefusedSubscriptionAborts)
{
    framework.log().echoToStandardError(true);
    framework.plan().failAlways("addSubscription:TestEvent_1", -1);
    EXPECT_EXIT(start(), testing::KilledBySignal(SIGABRT), "log 3 start: \"Could not add subscription\"");
}

TEST_F(EventConsumerDeathTest, AMissingRouterIsNotSurvived)
{
    framework.log().echoToStandardError(true);
    framework.withdraw("OrvOamSpiEventRouter");
    EXPECT_DEATH(start(), "log 4 lookup: \"Interface OrvOamSpiEventRouter not found\"");
}

}  // namespace
