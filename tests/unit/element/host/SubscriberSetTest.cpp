#include "SubscriberSet.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "ElementError.h"
#include "FakeService.h"
#include "LogService.h"
#include "TestChannel.h"

namespace OrvElement
{
namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

// Milliseconds; turns a hang into a failure.
const long TIMEOUT = 60000;

SubscriptionSpec named(const std::string& name)
{
    SubscriptionSpec spec;
    spec.name = name;
    return spec;
}

SubscriptionSpec subtree(const std::string& name, const std::vector<std::string>& texts)
{
    SubscriptionSpec spec = named(name);
    spec.subtrees = texts;
    return spec;
}

// One for all tests: compiling it takes longer than they do.
const YangModel& model()
{
    static const YangModel theModel(
        []
        {
            ModelOptions options;
            options.yangDirs = {ORV_TEST_DATA "/yang"};
            options.modules = {"orv-awkward"};
            return options;
        }());
    return theModel;
}

class SubscriberSetTest : public testing::Test
{
protected:
    SubscriberSet::OnRecord recorder()
    {
        return [this](const std::string& name, const OrvOamSpiNbiNotificationValue_1& record)
        { received.emplace_back(name, record.notificationType); };
    }

    // The text with which adding the subscription fails.
    std::string refusal(SubscriberSet& set, const SubscriptionSpec& spec)
    {
        try
        {
            set.add(spec);
            return "accepted";
        }
        catch (const ElementError& e)
        {
            return e.what();
        }
    }

    FakeService service;
    std::vector<std::pair<std::string, int32_t>> received;
};

TEST_F(SubscriberSetTest, PassesEachRecordWithTheNameOfItsSubscription)
{
    SubscriberSet set(service.portal, model(), recorder());
    set.add(named("a"));
    set.add(named("b"));
    EXPECT_EQ(service.deliver(102, objectCreated), OrvOk);
    EXPECT_EQ(service.deliver(101, objectDeleted), OrvOk);
    EXPECT_THAT(received, ElementsAre(Pair("b", objectCreated), Pair("a", objectDeleted)));
}

TEST_F(SubscriberSetTest, HandsTheSpecOnUnchanged)
{
    SubscriberSet set(service.portal, model(), recorder());
    SubscriptionSpec spec = named("a");
    spec.filters = {{"objectCreated", "x.*"}, {"attributeChanged", ".*"}};
    spec.startTime = 11;
    spec.stopTime = 22;
    spec.heartbeat = 33;
    set.add(spec);
    set.add(named("b"));
    ASSERT_EQ(service.subscriptions.size(), 2u);
    const Subscription& first = service.subscriptions[0];
    EXPECT_THAT(first.filters, ElementsAre(Pair("objectCreated", "x.*"), Pair("attributeChanged", ".*")));
    EXPECT_EQ(first.startTime, 11);
    EXPECT_EQ(first.stopTime, 22);
    EXPECT_TRUE(first.heartbeatSupported);
    EXPECT_EQ(first.heartbeatInterval, 33);
    EXPECT_THAT(service.subscriptions[1].filters, IsEmpty());
    EXPECT_FALSE(service.subscriptions[1].heartbeatSupported);
}

TEST_F(SubscriberSetTest, SubscribesWithTheTreesOfASubtreeFilter)
{
    SubscriberSet set(service.portal, model(), recorder());
    SubscriptionSpec spec = subtree("a", {"/box/item[name='x']", "<row xmlns=\"urn:orv:awkward\"><id>1</id></row>"});
    spec.startTime = 11;
    spec.stopTime = 22;
    spec.heartbeat = 33;
    set.add(spec);
    ASSERT_EQ(service.subscriptions.size(), 1u);
    const Subscription& subscription = service.subscriptions[0];
    EXPECT_EQ(classesOf(subscription.trees), "ManagedElement(box(item)) ManagedElement(row)");
    EXPECT_EQ(subscription.startTime, 11);
    EXPECT_EQ(subscription.stopTime, 22);
    EXPECT_TRUE(subscription.heartbeatSupported);
    EXPECT_EQ(subscription.heartbeatInterval, 33);
    service.deliver(101, objectCreated);
    EXPECT_THAT(received, ElementsAre(Pair("a", objectCreated)));
}

TEST_F(SubscriberSetTest, KeepsTheTreesUntilTheServiceHasRemovedTheSubscription)
{
    {
        SubscriberSet set(service.portal, model(), recorder());
        service.onSubscribe = [this](unsigned int)
        { EXPECT_EQ(classesOf(service.subscriptions.back().trees).compare(0, 14, "ManagedElement"), 0); };
        set.add(subtree("a", {"/box/item/*"}));
        set.add(subtree("b", {"/row/*"}));
        service.onSubscribe = nullptr;
        set.add(named("c"));
        set.remove("a");
        EXPECT_THAT(service.treesAtUnsubscribe, ElementsAre("ManagedElement(box(item))"));
        EXPECT_EQ(classesOf(service.subscriptions[1].trees), "ManagedElement(row)") << "untouched by the other's end";
    }
    EXPECT_THAT(service.unsubscribed, ElementsAre(101, 102, 103));
    EXPECT_THAT(service.treesAtUnsubscribe, ElementsAre("ManagedElement(box(item))", "ManagedElement(row)"));
}

TEST_F(SubscriberSetTest, FreesTheTreesThoughACallOfTheHandlerStillHoldsTheSubscriber)
{
    std::mutex gate;
    gate.lock();
    std::atomic<bool> begun{false};
    SubscriberSet set(service.portal, model(),
                      [&](const std::string&, const OrvOamSpiNbiNotificationValue_1&)
                      {
                          begun = true;
                          const std::lock_guard<std::mutex> passed(gate);
                      });
    set.add(subtree("a", {"/row/*"}));
    const std::weak_ptr<SubscriberSet::Subscriber> subscriber = set._subscribers.at("a");
    std::thread delivery([this] { service.deliver(101, objectCreated); });
    while (!begun)
    {
        std::this_thread::yield();
    }
    ASSERT_NE(subscriber.lock()->subtree, nullptr);
    set.remove("a");
    EXPECT_EQ(subscriber.lock()->subtree, nullptr);
    gate.unlock();
    delivery.join();
}

TEST_F(SubscriberSetTest, FreesTheTreesOfASubscriptionThatTheServiceRefused)
{
    SubscriberSet set(service.portal, model(), recorder());
    service.subscribeCode = OrvNoThread;
    EXPECT_EQ(refusal(set, subtree("a", {"/row"})), "cannot subscribe \"a\": the service has no thread left");
    EXPECT_EQ(service.deliver(101, objectCreated), OrvNotFound);
    service.subscribeCode = OrvOk;
    EXPECT_EQ(refusal(set, subtree("a", {"/row"})), "accepted");
}

TEST_F(SubscriberSetTest, KeepsTreesThatTheServiceMayStillUse)
{
    SubscriberSet set(service.portal, model(), recorder());
    set.add(subtree("a", {"/row/*"}));
    service.unsubscribeCode = OrvFailure;
    set.remove("a");
    EXPECT_EQ(classesOf(service.subscriptions[0].trees), "ManagedElement(row)");
    service.unsubscribeCode = OrvOk;
}

TEST_F(SubscriberSetTest, RefusesAFilterThatTheModelDoesNotKnowBeforeTheServiceSeesIt)
{
    SubscriberSet set(service.portal, model(), recorder());
    EXPECT_EQ(refusal(set, subtree("a", {"/box", "/box/none"})),
              "cannot subscribe \"a\": subtree \"/box/none\": /orv-awkward:box/none: the model has no such class or "
              "attribute");
    EXPECT_THROW(set.add(subtree("a", {"/box/none"})), SubtreeError);
    EXPECT_THAT(service.subscriptions, IsEmpty());
    EXPECT_EQ(refusal(set, subtree("a", {"/box"})), "accepted");
}

TEST_F(SubscriberSetTest, SaysThatTheServiceHasNoSubtreeFilters)
{
    service.forgetSubtreeFilters();
    SubscriberSet set(service.portal, model(), recorder());
    EXPECT_EQ(refusal(set, subtree("a", {"/box"})),
              "cannot subscribe \"a\": this version of the service has no subtree filters");
    EXPECT_EQ(refusal(set, named("a")), "accepted");
}

TEST_F(SubscriberSetTest, TakesARecordThatComesBeforeSubscribeHasReturned)
{
    SubscriberSet set(service.portal, model(), recorder());
    service.onSubscribe = [this](unsigned int handle) { EXPECT_EQ(service.deliver(handle, replayGap), OrvOk); };
    set.add(named("a"));
    EXPECT_THAT(received, ElementsAre(Pair("a", replayGap)));
}

TEST_F(SubscriberSetTest, SaysThatNobodyOffersTheService)
{
    service.lookupCode = OrvNotFound;
    EXPECT_THROW(SubscriberSet(service.portal, model(), recorder()), ElementError);
    service.lookupCode = OrvOk;
    service.registerCode = OrvNotRunning;
    EXPECT_THROW(SubscriberSet(service.portal, model(), recorder()), ElementError);
}

TEST_F(SubscriberSetTest, ForgetsASubscriptionThatTheServiceRefused)
{
    SubscriberSet set(service.portal, model(), recorder());
    service.subscribeCode = OrvNotRunning;
    EXPECT_THAT(refusal(set, named("a")), HasSubstr("cannot subscribe \"a\": the service is not running"));
    EXPECT_EQ(service.deliver(101, objectCreated), OrvNotFound);
    EXPECT_THROW(set.remove("a"), ElementError);
    service.subscribeCode = OrvOk;
    EXPECT_EQ(refusal(set, named("a")), "accepted");
}

TEST_F(SubscriberSetTest, RefusesANameThatIsTaken)
{
    SubscriberSet set(service.portal, model(), recorder());
    set.add(named("a"));
    EXPECT_THAT(refusal(set, named("a")), HasSubstr("\"a\" already"));
    EXPECT_EQ(service.subscriptions.size(), 1u);
}

TEST_F(SubscriberSetTest, RefusesMoreSubscriptionsThanTheServicesPoolCanCarry)
{
    SubscriberSet set(service.portal, model(), recorder());
    for (int i = 0; i < 160; ++i)
    {
        set.add(named("n" + std::to_string(i)));
    }
    EXPECT_THAT(refusal(set, named("one-more")), HasSubstr("160 subscriptions, which is the limit"));
    EXPECT_EQ(service.subscriptions.size(), 160u);
}

TEST_F(SubscriberSetTest, UnsubscribesAndTakesNoMoreRecords)
{
    {
        SubscriberSet set(service.portal, model(), recorder());
        set.add(named("a"));
        set.add(named("b"));
        set.remove("a");
        EXPECT_THAT(service.unsubscribed, ElementsAre(101));
        EXPECT_EQ(service.deliver(101, objectCreated), OrvNotFound);
        EXPECT_THROW(set.remove("a"), ElementError);
    }
    EXPECT_THAT(service.unsubscribed, ElementsAre(101, 102));
    EXPECT_EQ(service.deliver(102, objectCreated), OrvNotFound);
    EXPECT_THAT(received, IsEmpty());
}

TEST_F(SubscriberSetTest, AnswersFailureIfTheReceiverThrows)
{
    SubscriberSet set(service.portal, model(),
                      [](const std::string&, const OrvOamSpiNbiNotificationValue_1&)
                      { throw std::runtime_error("receiver"); });
    set.add(named("a"));
    EXPECT_EQ(service.deliver(101, objectCreated), OrvFailure);
}

TEST_F(SubscriberSetTest, TakesARecordForWhichTheServiceFoundNoMemoryAndSaysThatItIsLost)
{
    const Poco::AutoPtr<TestChannel> channel = new TestChannel;
    const LogService log(LogService::DEFAULT_LEVEL, channel);
    SubscriberSet set(service.portal, model(), recorder());
    set.add(named("a"));
    EXPECT_EQ(service.deliverNothing(101), OrvOk);
    EXPECT_THAT(received, IsEmpty());
    EXPECT_THAT(channel->lines,
                ElementsAre("4 subscriber \"a\": a record is lost: the service found no memory for it"));
    EXPECT_EQ(service.deliver(101, objectCreated), OrvOk);
    EXPECT_THAT(received, ElementsAre(Pair("a", objectCreated)));
}

TEST_F(SubscriberSetTest, FlushesWithAMarkerThatPassesEverySubscriptionAndIsNotShown)
{
    SubscriberSet set(service.portal, model(), recorder());
    set.add(named("a"));
    set.add(named("b"));
    service.onPush = [this](OrvOamSpiNbiNotificationValue_1& record)
    {
        EXPECT_EQ(record.notificationType, notificationComplete);
        EXPECT_NE(record.dn, nullptr);
        service.deliver(101, record);
        service.deliver(102, record);
    };
    set.flush(TIMEOUT);
    EXPECT_THAT(received, IsEmpty());
}

TEST_F(SubscriberSetTest, FlushesWithoutAMarkerIfThereIsNoSubscription)
{
    SubscriberSet set(service.portal, model(), recorder());
    service.onPush = [](OrvOamSpiNbiNotificationValue_1&) { ADD_FAILURE() << "pushed"; };
    set.flush(TIMEOUT);
}

TEST_F(SubscriberSetTest, FlushWaitsForASubscriberThatIsStillBusy)
{
    std::atomic<bool> begun{false};
    std::mutex gate;
    gate.lock();
    SubscriberSet set(service.portal, model(),
                      [&](const std::string& name, const OrvOamSpiNbiNotificationValue_1& record)
                      {
                          begun = true;
                          const std::lock_guard<std::mutex> passed(gate);
                          received.emplace_back(name, record.notificationType);
                      });
    set.add(named("a"));
    std::thread delivery([this] { service.deliver(101, objectCreated); });
    while (!begun)
    {
        std::this_thread::yield();
    }
    std::atomic<bool> flushed{false};
    service.onPush = [this](OrvOamSpiNbiNotificationValue_1& record)
    {
        EXPECT_EQ(received.size(), 1u) << "the marker must not meet a backlog";
        service.deliver(101, record);
    };
    std::thread flusher(
        [&]
        {
            set.flush(TIMEOUT);
            flushed = true;
        });
    EXPECT_FALSE(flushed);
    gate.unlock();
    flusher.join();
    delivery.join();
    EXPECT_THAT(received, ElementsAre(Pair("a", objectCreated)));
}

TEST_F(SubscriberSetTest, FlushSendsTheMarkerAgainToASubscriberThatItDidNotReach)
{
    SubscriberSet set(service.portal, model(), recorder());
    set.add(named("a"));
    int pushes = 0;
    service.onPush = [&](OrvOamSpiNbiNotificationValue_1& record)
    {
        if (++pushes == 3)
        {
            service.deliver(101, record);
        }
    };
    set.flush(TIMEOUT);
    EXPECT_EQ(pushes, 3);
}

TEST_F(SubscriberSetTest, FlushDoesNotTakeTheMarkerOfAnEarlierOneForItsOwn)
{
    SubscriberSet set(service.portal, model(), recorder());
    set.add(named("a"));
    OrvOamSpiNbiNotificationValue_1 earlier = {};
    service.onPush = [&](OrvOamSpiNbiNotificationValue_1& record)
    {
        earlier = record;
        earlier.dn = nullptr;
        service.deliver(101, record);
    };
    set.flush(TIMEOUT);
    int pushes = 0;
    service.onPush = [&](OrvOamSpiNbiNotificationValue_1& record)
    {
        OrvOamSpiNbiNotificationValue_1 late = earlier;
        late.dn = record.dn;
        service.deliver(101, ++pushes == 3 ? record : late);
    };
    set.flush(TIMEOUT);
    EXPECT_EQ(pushes, 3);
}

TEST_F(SubscriberSetTest, FlushNamesTheSubscribersThatItCannotReach)
{
    SubscriberSet set(service.portal, model(), recorder());
    set.add(named("reached"));
    set.add(named("late"));
    service.onPush = [this](OrvOamSpiNbiNotificationValue_1& record) { service.deliver(101, record); };
    try
    {
        set.flush(100);
        FAIL() << "no failure";
    }
    catch (const ElementError& e)
    {
        EXPECT_STREQ(e.what(), "not everything has been delivered to: late");
    }
}

TEST_F(SubscriberSetTest, FlushLetsASubtreeFilterForgetADeletionBeforeTheMarker)
{
    SubscriberSet set(service.portal, model(), recorder());
    set.add(named("a"));
    set.add(subtree("b", {"/box"}));
    std::vector<int32_t> pushed;
    service.onPush = [&](OrvOamSpiNbiNotificationValue_1& record)
    {
        pushed.push_back(record.notificationType);
        service.deliver(101, record);
        if (record.notificationType == notificationComplete)
        {
            service.deliver(102, record);
        }
    };
    set.flush(TIMEOUT);
    EXPECT_THAT(pushed, ElementsAre(attributeChanged, notificationComplete));
    EXPECT_THAT(received, IsEmpty()) << "neither is shown";
}

TEST_F(SubscriberSetTest, FlushFailsIfTheMarkerCannotBePushed)
{
    SubscriberSet set(service.portal, model(), recorder());
    set.add(named("a"));
    service.pushCode = OrvNotRunning;
    EXPECT_THROW(set.flush(TIMEOUT), ElementError);
}

TEST_F(SubscriberSetTest, NudgesWithAMarkerAndDoesNotWaitForIt)
{
    SubscriberSet set(service.portal, model(), recorder());
    set.add(named("a"));
    std::vector<int32_t> pushed;
    service.onPush = [&](OrvOamSpiNbiNotificationValue_1& record) { pushed.push_back(record.notificationType); };
    set.nudge();
    EXPECT_THAT(pushed, ElementsAre(notificationComplete));
}

TEST_F(SubscriberSetTest, SettlesWithoutPushingAnything)
{
    SubscriberSet set(service.portal, model(), recorder());
    set.add(named("a"));
    service.onPush = [](OrvOamSpiNbiNotificationValue_1&) { ADD_FAILURE() << "pushed"; };
    set.settle(TIMEOUT);
}

}  // namespace
}  // namespace OrvElement
