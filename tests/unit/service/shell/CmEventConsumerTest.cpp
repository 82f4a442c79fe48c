#include "CmEventConsumer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "FakeFramework.h"
#include "LogCheck.h"

using namespace OrvTest;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

class Subscriber
{
public:
    void onEvent(const ZelOamSpiCmEvent_Notification_1T& event) { events.push_back(&event); }
    std::vector<const ZelOamSpiCmEvent_Notification_1T*> events;
};

class CmEventConsumer : public testing::Test
{
protected:
    CmEventConsumer() : session(framework) {}

    FakeFramework framework;
    const CommonSession session;
    Subscriber subscriber;
    Orv::CmEventConsumer<Subscriber, 3> consumer;
};

TEST_F(CmEventConsumer, SubscribesToCmEventsWithARegularExpressionOverTheDn)
{
    {
        const std::string expression = "Interface=.*$";
        consumer.start(expression, &Subscriber::onEvent, subscriber);
    }
    ASSERT_EQ(framework.router().subscriptions().size(), 1u);
    const FakeEventRouter::Subscription subscription = framework.router().subscriptions()[0];
    EXPECT_EQ(subscription.eventType, "ZelOamSpiCmEvent_Notification_1");
    ASSERT_NE(subscription.filter[0], nullptr);
    EXPECT_STREQ(subscription.filter[0]->name, "ZelOamSpiCmEvent_FilterTypeRegExp_1");
    EXPECT_STREQ(subscription.filter[0]->value, "Interface=.*$");
    EXPECT_EQ(subscription.filter[1], nullptr);
    consumer.stop();
    EXPECT_THAT(framework.router().subscriptions(), IsEmpty());
}

TEST_F(CmEventConsumer, HandsItsSubscriberTheEventItself)
{
    consumer.start(".*$", &Subscriber::onEvent, subscriber);
    CmEvent event(1000, 7);
    event.operation("Interface=1", 1);
    framework.router().publish(event);
    EXPECT_THAT(subscriber.events, ElementsAre(&event.get()));
    consumer.stop();
}

TEST_F(CmEventConsumer, CanBeStartedAgain)
{
    consumer.start(".*$", &Subscriber::onEvent, subscriber);
    consumer.stop();
    consumer.start("A=.*$", &Subscriber::onEvent, subscriber);
    EXPECT_STREQ(framework.router().subscriptions().at(0).filter[0]->value, "A=.*$");
    consumer.stop();
}

TEST_F(CmEventConsumer, TracesEntryAndExitOfItsCallback)
{
    consumer.start(".*$", &Subscriber::onEvent, subscriber);
    framework.setLevel(8);
    CmEvent event(1000, 7);
    event.operation("Interface=1", 1);
    framework.router().publish(event);
    std::vector<std::string> texts;
    for (const LogLine& line : framework.lines())
    {
        if (line.source == LogLine::trace)
        {
            texts.push_back(line.function + ":" + line.text);
        }
    }
    EXPECT_THAT(texts, ElementsAre("notifyCallback: >> ", "notifyCb: >> ", "notifyCb: << ", "notifyCallback: << "));
    consumer.stop();
}

}  // namespace
