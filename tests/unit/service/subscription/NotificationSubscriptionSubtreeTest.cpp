// What a subscription with a subtree filter queues: records derived from a delete, reduced copies, plain copies.
#include <atomic>
#include <future>
#include <memory>
#include <thread>

#include "MutexFault.h"
#include "NbiNotificationServiceCM.h"
#include "RfcSubscriptionFilter.h"
#include "SubscriptionTest.h"
#include "SubtreeBuilder.h"

using namespace OrvTest;
using OrvNbiNotificationService::NbiNotificationServiceCM;
using OrvNbiNotificationService::RfcSubscriptionFilter;

typedef std::vector<int32_t> Types;
typedef std::vector<std::string> Texts;

class NotificationSubscriptionSubtree : public SubscriptionTest
{
protected:
    NotificationSubscriptionSubtree()
    {
        component().portal3 = static_cast<ZelMgmtSpiInterfacePortal_3*>(framework.getPortal("3"));
        framework.objects().addKeyClass("B", {{"bId", true}});
        framework.objects().addKeyClass("C", {{"cId", true}});
    }
    ~NotificationSubscriptionSubtree() override
    {
        if (subscription)
        {
            subscription->stop();
            subscription.reset();
        }
        component().portal3 = nullptr;
    }

    static NbiNotificationServiceCM& component() { return Orv::ZelComponent<NbiNotificationServiceCM>::instance(); }

    NotificationSubscription& subscribe(const std::vector<Node>& nodes, const Request& request = Request())
    {
        trees = Trees(nodes);
        subscription = std::make_unique<NotificationSubscription>(
            HANDLE, RecordingHandler::handlerRecord(), new RfcSubscriptionFilter(trees.get()), &buffer,
            request.startTime, request.stopTime, request.heartbeatSupported, request.heartbeatInterval,
            request.queueLimit);
        return *subscription;
    }

    void change(const std::string& dn, const Texts& names)
    {
        subscription->notify(*makeNotification(NOW, dn, attributeChanged, attributes(names)));
    }
    void heartbeat() { subscription->onHeartbeatTimer(subscription->_heartbeatTimer); }

    // Puts a record with attributes into the buffer.
    void keep(int64_t eventTime, const std::string& dn, int32_t type, const Texts& names)
    {
        ASSERT_TRUE(buffer.pushNotification(*makeNotification(eventTime, dn, type, attributes(names))));
    }

    static std::vector<Attribute> attributes(const Texts& names)
    {
        std::vector<Attribute> result;
        for (const std::string& name : names)
        {
            result.push_back(stringAttribute(name, "value of " + name));
        }
        return result;
    }

    Trees trees;
};

TEST_F(NotificationSubscriptionSubtree, ADeletedSubtreeIsQueuedAsItsLeaves)
{
    subscribe({node("A").child(node("B")).child(node("C"))});
    notify(NOW + 5, "A=1", objectDeleted);
    deliverAll();

    EXPECT_EQ(handler.dns(), Texts({"A=1,B=*", "A=1,C=**"}));
    EXPECT_EQ(handler.types(), Types({objectDeleted, objectDeleted}));
    EXPECT_EQ(handler.received()[1].eventTime, NOW + 5);
}

TEST_F(NotificationSubscriptionSubtree, ADeletedLeafIsQueuedWithoutItsAttributes)
{
    subscribe({node("A")});
    subscription->notify(*makeNotification(NOW, "A=1", objectDeleted, {int32Attribute("x", 1)}));
    deliverAll();

    ASSERT_EQ(handler.dns(), Texts({"A=1"}));
    EXPECT_TRUE(handler.received()[0].attributesIsNull);
}

TEST_F(NotificationSubscriptionSubtree, AnObjectDeletedBelowALeafIsQueuedWhole)
{
    subscribe({node("A")});
    subscription->notify(*makeNotification(NOW, "A=1,B=2", objectDeleted, {int32Attribute("x", 1)}));
    deliverAll();

    ASSERT_EQ(handler.dns(), Texts({"A=1,B=2"}));
    EXPECT_EQ(handler.received()[0].attributes, Texts({"x"}));
}

TEST_F(NotificationSubscriptionSubtree, ADeleteOfWhichNothingCanBeDerivedIsQueuedItself)
{
    subscribe({node("A").child(node("Unknown"))});
    subscription->notify(*makeNotification(NOW, "A=1", objectDeleted, {int32Attribute("x", 1)}));
    deliverAll();

    ASSERT_EQ(handler.dns(), Texts({"A=1"}));
    EXPECT_EQ(handler.received()[0].attributes, Texts({"x"}));
}

TEST_F(NotificationSubscriptionSubtree, ASelectionInATopNodeIsQueuedReduced)
{
    subscribe({node("A").select({"z", "x"})});
    change("A=1", {"x", "y", "z"});
    change("A=1", {"y"});
    change("A=1,B=2", {"x"});
    deliverAll();

    ASSERT_EQ(handler.dns(), Texts({"A=1"}));
    EXPECT_EQ(handler.received()[0].attributes, Texts({"z", "x"}));
    EXPECT_EQ(handler.types(), Types({attributeChanged}));
}

TEST_F(NotificationSubscriptionSubtree, ASelectionInALowerNodeIsQueuedWhole)
{
    subscribe({node("A").child(node("B").select({"x"}))});
    change("A=1,B=2", {"x", "y"});
    change("A=1,B=2", {"y"});
    deliverAll();

    ASSERT_EQ(handler.dns(), Texts({"A=1,B=2"}));
    EXPECT_EQ(handler.received()[0].attributes, Texts({"x", "y"}));
}

TEST_F(NotificationSubscriptionSubtree, AHeartbeatAfterADeleteComesAsRecordsWithItsDns)
{
    subscribe({node("A").child(node("B")).child(node("C"))});
    notify(NOW, "A=1", objectDeleted);
    clock.advance(SECOND);
    heartbeat();
    heartbeat();
    deliverAll();

    EXPECT_EQ(handler.dns(), Texts({"A=1,B=*", "A=1,C=**", "A=1,B=*", "A=1,C=**", "A=1,B=*", "A=1,C=**"}));
    EXPECT_EQ(handler.types(), Types({objectDeleted, objectDeleted, heartbeatNotification, heartbeatNotification,
                                      heartbeatNotification, heartbeatNotification}));
    EXPECT_EQ(handler.received()[2].eventTime, NOW + SECOND);
}

TEST_F(NotificationSubscriptionSubtree, TheNextMatchWantedOrNotEndsThat)
{
    subscribe({node("A")});
    notify(NOW, "A=1", objectDeleted);
    notify(NOW, "X=1", objectCreated);
    heartbeat();
    notify(NOW, "A=2", objectDeleted);
    notify(NOW, "A=3", objectCreated);
    heartbeat();
    deliverAll();

    EXPECT_EQ(handler.dns(), Texts({"A=1", "-", "A=2", "A=3", "-"}));
}

TEST_F(NotificationSubscriptionSubtree, EveryControlRecordAfterADeleteComesWithItsDns)
{
    const Types controls = {overflowNotification,  replayGap,    replayComplete,
                            heartbeatNotification, discardedOld, notificationComplete};
    subscribe({node("A")});
    notify(NOW, "A=1", objectDeleted);
    for (const int32_t type : controls)
    {
        notifyControl(type);
    }
    deliverAll();

    EXPECT_EQ(handler.dns(), Texts(7, "A=1"));
    EXPECT_EQ(handler.types(), Types({objectDeleted, overflowNotification, replayGap, replayComplete,
                                      heartbeatNotification, discardedOld, notificationComplete}));
}

// The heartbeat comes between the match of a change and its derived calls, as it can on its timer's thread.
TEST_F(NotificationSubscriptionSubtree, AHeartbeatBetweenAMatchAndItsCallsGetsNothingOfTheSelection)
{
    subscribe({node("A").select({"x"})});
    const Notification notification = makeNotification(NOW, "A=1", attributeChanged, attributes({"x", "y"}));
    ASSERT_TRUE(subscription->_filters->match(*notification));

    heartbeat();
    bool isFilling = false;
    subscription->enqueue(*notification, isFilling);
    deliverAll();

    ASSERT_EQ(handler.types(), Types({heartbeatNotification, attributeChanged}));
    EXPECT_EQ(handler.dns(), Texts({"-", "A=1"}));
    EXPECT_EQ(handler.received()[1].attributes, Texts({"x", "y"})) << "the selection went with the heartbeat";
}

TEST_F(NotificationSubscriptionSubtree, AReplayTakesPlainCopiesWhereLiveDeliveryDerives)
{
    keep(CREATED + 1, "A=1", attributeChanged, {"x", "y"});
    keep(CREATED + 2, "A=1", attributeChanged, {"y"});
    keep(CREATED + 3, "A=1", objectDeleted, {"x"});
    keep(CREATED + 4, "X=1", objectDeleted, {"x"});
    subscribe({node("A").select({"x"}).child(node("B"))}, replayFrom(CREATED));
    deliverAll();
    ASSERT_EQ(handler.dns(), Texts({"A=1", "A=1", "-"}));
    EXPECT_EQ(handler.types(), Types({attributeChanged, objectDeleted, replayComplete}));
    EXPECT_EQ(handler.received()[0].attributes, Texts({"x", "y"}));
    EXPECT_EQ(handler.received()[1].attributes, Texts({"x"}));

    change("A=1", {"x", "y"});
    notify(NOW, "A=1", objectDeleted);
    deliverAll();
    ASSERT_EQ(handler.dns(), Texts({"A=1", "A=1", "-", "A=1", "A=1", "A=1,B=*"}));
    EXPECT_EQ(handler.received()[3].attributes, Texts({"x"}));
}

// The replay's records may be gone when the first heartbeat comes.
TEST_F(NotificationSubscriptionSubtree, WhatAReplaySelectedIsForgottenByTheFirstControlRecord)
{
    keep(CREATED + 1, "A=1", attributeChanged, {"x"});
    subscribe({node("A").select({"x"})}, replayFrom(CREATED));
    buffer.clear();
    heartbeat();
    deliverAll();

    EXPECT_EQ(handler.dns(), Texts({"A=1", "-", "-"}));
    EXPECT_EQ(handler.types(), Types({attributeChanged, replayComplete, heartbeatNotification}));
}

TEST_F(NotificationSubscriptionSubtree, ADeleteThatAReplayMatchedLastIsHeardInTheFirstHeartbeat)
{
    keep(CREATED + 1, "A=1", objectDeleted, {});
    subscribe({node("A")}, replayFrom(CREATED));
    heartbeat();
    deliverAll();

    EXPECT_EQ(handler.dns(), Texts({"A=1", "-", "A=1"}));
    EXPECT_EQ(handler.types(), Types({objectDeleted, replayComplete, heartbeatNotification}));
}

TEST_F(NotificationSubscriptionSubtree, ContentIsReadForReplayAndForLiveRecordsAnew)
{
    FakeManagedObjects& objects = framework.objects();
    objects.setInt32("A=1", "x", 1);
    keep(CREATED + 1, "A=1", objectCreated, {});
    keep(CREATED + 2, "A=1", objectCreated, {});
    subscribe({node("A").match(int32Attribute("x", 1))}, replayFrom(CREATED));
    EXPECT_EQ(objects.opened(), 2u);
    notify(NOW, "A=1");
    objects.setInt32("A=1", "x", 2);
    notify(NOW, "A=1");
    deliverAll();

    EXPECT_EQ(handler.dns(), Texts({"A=1", "A=1", "-", "A=1"}));
    EXPECT_EQ(objects.opened(), 4u);
    EXPECT_EQ(objects.closed(), 4u);
}

// A filter keeps the findings of a match for the derived calls, and takes no lock of its own.
TEST_F(NotificationSubscriptionSubtree, ATimersRecordWaitsForTheMatchOfALiveOneAndItsDerivedCalls)
{
    std::promise<void> comesToWait;
    std::atomic<bool> announced{false};
    const auto announce = [&]
    {
        if (!announced.exchange(true))
        {
            comesToWait.set_value();
        }
    };
    std::vector<std::string> calls;
    std::unique_ptr<int> finding = std::make_unique<int>(0);
    std::thread timer;
    filter.match = [&](const FilterScript::Record&)
    {
        finding.reset();
        timer = std::thread([this] { heartbeat(); });
        comesToWait.get_future().wait();
        finding = std::make_unique<int>(1);
        return true;
    };
    filter.deletes = [&](const FilterScript::Record& record, std::vector<FilterScript::Record*>&)
    {
        announce();
        calls.push_back(std::to_string(record.notificationType) + " finds " + std::to_string(*finding));
    };
    SubscriptionTest::subscribe();
    const LockNotice notice(subscription->_filterMutex, announce);
    notify(NOW, "A=1");
    timer.join();
    EXPECT_EQ(calls, Texts({"1 finds 1", "8 finds 1"}));
}
