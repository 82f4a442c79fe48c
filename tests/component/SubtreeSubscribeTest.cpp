// Subtree filters over live data, as a subscriber of the loaded library meets them.
#include <atomic>
#include <thread>

#include "ComponentTest.h"
#include "SubtreeBuilder.h"

namespace OrvTest
{
namespace
{

typedef std::vector<int32_t> Types;
typedef std::vector<std::string> Texts;

const char END[] = "End=1";
const char EMPTY_FILTER[] = "Empty Filter - A Rfc Subscription without filters is not allowed.";

// A subscriber with a subtree filter. All of them know the class End, so that a record of it shows what came before.
class SubtreeSubscriber
{
public:
    SubtreeSubscriber(OrvOamSpiNbiNotificationService& table, const std::vector<Node>& nodes, const Wish& wish = Wish())
        : _table(table), _trees(withEnd(nodes))
    {
        OrvOamSpiNbiNotificationHandler_1 record = RecordingHandler::handlerRecord();
        EXPECT_EQ(OrvOk, _table.registerHandler(&record, &_handlerId));
        unsigned int handle = 0;
        EXPECT_EQ(OrvOk, _table.getSubscriptionHandle(&handle));
        _handler = std::make_unique<RecordingHandler>(handle);
        EXPECT_EQ(OrvOk, _table.rfcFilterSubscribe(_handlerId, _trees.get(), handle, wish.startTime, wish.stopTime,
                                                   wish.heartbeatSupported, wish.heartbeatInterval));
    }
    ~SubtreeSubscriber() { _table.unsubscribe(_handler->handle()); }

    RecordingHandler* operator->() { return _handler.get(); }
    unsigned int handlerId() const { return _handlerId; }

    SubtreeSubscriber(const SubtreeSubscriber&) = delete;
    SubtreeSubscriber& operator=(const SubtreeSubscriber&) = delete;

private:
    static std::vector<Node> withEnd(std::vector<Node> nodes)
    {
        nodes.push_back(node("End"));
        return nodes;
    }

    OrvOamSpiNbiNotificationService& _table;
    Trees _trees;
    unsigned int _handlerId = 0;
    std::unique_ptr<RecordingHandler> _handler;
};

class SubtreeSubscribe : public ComponentTest
{
protected:
    SubtreeSubscribe() { framework.objects().addKeyClass("B", {{"label", false}, {"bId", true}}); }
    ~SubtreeSubscribe() override { EXPECT_EQ(0u, framework.objects().misuses()); }

    // Returns when everything pushed so far has been delivered to the subscriber.
    void finish(SubtreeSubscriber& subscriber)
    {
        ASSERT_EQ(OrvOk, push(1, END));
        ASSERT_TRUE(subscriber->waitForDn(END));
    }
    // Returns when the service thread has matched everything pushed so far.
    void settle() { pushMarker(1); }

    void expectAllClosed()
    {
        EXPECT_EQ(framework.objects().opened(), framework.objects().closed());
        EXPECT_THAT(framework.objects().openHandles(), testing::IsEmpty());
    }

    OrvReturnT subscribeSubtree(unsigned int handlerId, unsigned int handle)
    {
        return table().rfcFilterSubscribe(handlerId, _trees.get(), handle, 0, 0, false, 0);
    }

    static Wish from(long long startTime)
    {
        Wish wish;
        wish.startTime = startTime;
        return wish;
    }

    Trees _trees = Trees({node("A")});
};

TEST_F(SubtreeSubscribe, RefusesAnArrayOfItsTerminatorAloneThatTheOtherFormTakes)
{
    ASSERT_EQ(OrvOk, component.initWithConfiguration(configurationWithBufferSize("100")));
    Trees none;
    EXPECT_EQ(OrvBadArgument, table().rfcFilterSubscribe(1, none.get(), 1, 0, 0, false, 0)) << "while it is down, too";
    ASSERT_EQ(OrvOk, component.start());
    const unsigned int handlerId = registerHandler();
    EXPECT_EQ(OrvBadArgument, table().rfcFilterSubscribe(handlerId, none.get(), 1, 0, 0, false, 0));
    EXPECT_EQ(Texts(2, std::string("3 ") + EMPTY_FILTER), messages(framework.lines()));
    EXPECT_TRUE(logged(framework.lines(), 3, EMPTY_FILTER, 2));
    EXPECT_EQ(OrvOk, subscribe(handlerId, 1));
    EXPECT_EQ(OrvOk, table().unsubscribe(1));
}

TEST_F(SubtreeSubscribe, AnswersNotRunningWithoutAWordWhileTheServiceIsDown)
{
    ASSERT_EQ(OrvOk, component.initWithConfiguration(configurationWithBufferSize("100")));
    framework.setLevel(8);
    framework.log().clear();
    EXPECT_EQ(OrvNotRunning, subscribeSubtree(1, 1));
    EXPECT_EQ(Texts{" >> "}, traces(framework.lines()));
    EXPECT_THAT(messages(framework.lines()), testing::IsEmpty());
}

TEST_F(SubtreeSubscribe, RefusesAnUnknownHandler)
{
    startService();
    framework.setLevel(8);
    EXPECT_EQ(OrvBadArgument, subscribeSubtree(42, newHandle()));
    EXPECT_EQ(Texts{"3 Handler (42) not found."}, messages(framework.lines()));
    EXPECT_TRUE(logged(framework.lines(), 3, "Handler (42) not found."));
    EXPECT_TRUE(traced(framework.lines(), 0, "Adding RFC Subscription to NotificationServiceRunnable"));
}

TEST_F(SubtreeSubscribe, AHandleThatWasRefusedAsInUseStandsTwiceInItsHandler)
{
    startService();
    const unsigned int handlerId = registerHandler();
    const unsigned int handle = newHandle();
    ASSERT_EQ(OrvOk, subscribeSubtree(handlerId, handle));
    EXPECT_EQ(OrvBadArgument, subscribeSubtree(handlerId, handle));
    EXPECT_EQ(Texts{"3 Failed to store Subscription in the map"}, messages(framework.lines()));
    framework.log().clear();
    EXPECT_EQ(OrvOk, table().unregisterHandler(handlerId));
    EXPECT_EQ((Texts{"3 Could not find handle 1 to remove",
                     "3 Could not find and unregister a  subscriber when unregister a handler"}),
              messages(framework.lines()));
}

TEST_F(SubtreeSubscribe, IsEndedByUnsubscribe)
{
    startService();
    RecordingHandler handler(newHandle());
    ASSERT_EQ(OrvOk, subscribeSubtree(registerHandler(), handler.handle()));
    ASSERT_EQ(OrvOk, push(1, "A=1"));
    ASSERT_TRUE(handler.waitFor(1));
    EXPECT_EQ(OrvOk, table().unsubscribe(handler.handle()));
    _trees = Trees();  // nobody looks at the old ones any more
    ASSERT_EQ(OrvOk, push(2, "A=2"));
    settle();
    EXPECT_EQ(Texts{"A=1"}, handler.dns());
    EXPECT_EQ(OrvNotFound, table().unsubscribe(handler.handle()));
}

TEST_F(SubtreeSubscribe, IsEndedByUnregisteringItsHandler)
{
    startService();
    const unsigned int handlerId = registerHandler();
    RecordingHandler handler(newHandle());
    ASSERT_EQ(OrvOk, subscribeSubtree(handlerId, handler.handle()));
    EXPECT_EQ(OrvOk, table().unregisterHandler(handlerId));
    EXPECT_THAT(messages(framework.lines()), testing::IsEmpty());
    _trees = Trees();
    ASSERT_EQ(OrvOk, push(1, "A=1"));
    settle();
    EXPECT_EQ(0u, handler.count());
    EXPECT_EQ(OrvNotFound, table().unsubscribe(handler.handle()));
}

TEST_F(SubtreeSubscribe, DeliversBesideTheOtherFormToOneHandler)
{
    startService();
    SubtreeSubscriber subtree(table(), {node("A").child(node("B"))});
    RecordingHandler other(newHandle());
    ASSERT_EQ(OrvOk, subscribe(subtree.handlerId(), other.handle()));
    ASSERT_EQ(OrvOk, push(1, "A=1"));
    ASSERT_EQ(OrvOk, push(1, "A=1,B=1"));
    finish(subtree);
    ASSERT_TRUE(other.waitForDn(END));
    EXPECT_EQ((Texts{"A=1,B=1", END}), subtree->dns());
    EXPECT_EQ((Texts{"A=1", "A=1,B=1", END}), other.dns());
    EXPECT_EQ(OrvOk, table().unsubscribe(other.handle()));
}

TEST_F(SubtreeSubscribe, JudgesAContentConditionByTheDataOfThatMoment)
{
    startService();
    framework.objects().setInt32("A=1", "state", 1);
    framework.objects().setInt32("A=2", "state", 2);
    SubtreeSubscriber subscriber(table(), {node("A").match(int32Attribute("state", 1))});
    // What the notification itself carries does not count.
    ASSERT_EQ(OrvOk, push(1, "A=1", attributeChanged, {int32Attribute("state", 2)}));
    ASSERT_EQ(OrvOk, push(1, "A=2", attributeChanged, {int32Attribute("state", 1)}));
    settle();
    framework.objects().setInt32("A=1", "state", 2);
    framework.objects().setInt32("A=2", "state", 1);
    ASSERT_EQ(OrvOk, push(2, "A=1", attributeChanged));
    ASSERT_EQ(OrvOk, push(2, "A=2,B=5"));
    finish(subscriber);
    EXPECT_EQ((Texts{"A=1", "A=2,B=5", END}), subscriber->dns()) << "an ancestor's state counts as well";
    EXPECT_EQ(4u, framework.objects().opened());
    expectAllClosed();
    EXPECT_THAT(framework.objects().calls(), testing::Contains("getMoAttribute(T4, A=2, state)"));
}

TEST_F(SubtreeSubscribe, ComparesValuesOfEveryTypeAndMembersOfStructs)
{
    startService();
    FakeManagedObjects& objects = framework.objects();
    const std::vector<ZelOamSpiMoAttributeType_3> numbers = {
        ZelMoAttributeInt8_3,    ZelMoAttributeInt16_3,      ZelMoAttributeInt32_3,  ZelMoAttributeInt64_3,
        ZelMoAttributeUint8_3,   ZelMoAttributeUint16_3,     ZelMoAttributeUint32_3, ZelMoAttributeUint64_3,
        ZelMoAttributeBoolean_3, ZelMoAttributeEnumeration_3};
    Node tree = node("A");
    for (const ZelOamSpiMoAttributeType_3 type : numbers)
    {
        const std::string name = "number" + std::to_string(type);
        objects.setAttribute("A=1", name, type, {numberValue(7), numberValue(1)});
        tree.match(Attribute{name, type, 1, ""});
    }
    objects.setString("A=1", "text", "some text");
    tree.match(stringAttribute("text", "some text"));
    objects.setAttribute("A=1", "reference", ZelMoAttributeReference_3, {textValue("B=1"), textValue("B=2")});
    tree.match(Attribute{"reference", ZelMoAttributeReference_3, 0, "B=2"});
    objects.setStruct("A=1", "place", {{"row", ZelMoAttributeInt32_3, {numberValue(3), numberValue(5)}}});
    tree.structure("place", {int32Attribute("row", 5)});
    SubtreeSubscriber subscriber(table(), {tree});
    ASSERT_EQ(OrvOk, push(1, "A=1"));
    settle();
    EXPECT_EQ(13u, objects.opened()) << "a transaction for each condition";
    objects.setStruct("A=1", "place", {{"row", ZelMoAttributeInt32_3, {numberValue(3), numberValue(4)}}});
    ASSERT_EQ(OrvOk, push(2, "A=1", attributeChanged));
    finish(subscriber);
    EXPECT_EQ((Types{objectCreated, objectCreated}), subscriber->types());
    expectAllClosed();
}

TEST_F(SubtreeSubscribe, LeavesTheTransactionOfAFailedReadOpenAndGoesOn)
{
    startService();
    framework.objects().setInt32("A=2", "state", 1);
    SubtreeSubscriber subscriber(table(), {node("A").match(int32Attribute("state", 1))});
    ASSERT_EQ(OrvOk, push(1, "A=1"));
    ASSERT_EQ(OrvOk, push(1, "A=2"));
    finish(subscriber);
    EXPECT_EQ((Texts{"A=2", END}), subscriber->dns());
    EXPECT_EQ(2u, framework.objects().opened());
    EXPECT_EQ(1u, framework.objects().closed());
    EXPECT_THAT(messages(framework.lines()), testing::IsEmpty());
}

TEST_F(SubtreeSubscribe, TakesAConditionThatCannotBeReadForOneThatDoesNotHold)
{
    startService();
    framework.objects().setInt32("A=1", "state", 1);
    SubtreeSubscriber subscriber(table(), {node("A").match(int32Attribute("state", 1))});
    framework.withdraw("ZelOamSpiTransactionMaster");
    ASSERT_EQ(OrvOk, push(1, "A=1"));
    settle();
    EXPECT_THAT(messages(framework.lines()), testing::IsEmpty());
    framework.restore("ZelOamSpiTransactionMaster");
    framework.withdraw("ZelOamSpiManagedObject");
    ASSERT_EQ(OrvOk, push(2, "A=1"));
    settle();
    EXPECT_TRUE(logged(framework.lines(), 3, "Could not lookup cmrouterservice"));
    framework.restore("ZelOamSpiManagedObject");
    framework.plan().fail("openTransaction", 1, OrvRetry);
    ASSERT_EQ(OrvOk, push(3, "A=1"));
    settle();
    EXPECT_TRUE(logged(framework.lines(), 3, "could not get a transaction handle"));
    ASSERT_EQ(OrvOk, push(4, "A=1"));
    finish(subscriber);
    EXPECT_EQ(2u, subscriber->count());
    EXPECT_EQ(4, subscriber->received()[0].eventTime);
    expectAllClosed();
}

TEST_F(SubtreeSubscribe, DerivesARecordForEachLeafBelowADeletedObject)
{
    startService();
    SubtreeSubscriber subscriber(table(),
                                 {node("A").child(node("B").key("5")).child(node("C").key("7")).classes({"B"})});
    const Notification removed = makeNotification(1000, "A=1", objectDeleted, {int32Attribute("x", 1)});
    removed->txHandle = 77;
    removed->sequenceNumber = 88;
    ASSERT_EQ(OrvOk, table().pushNotification(*removed));
    finish(subscriber);
    EXPECT_EQ((Texts{"A=1,B=5", "A=1,C=57", "A=1,B=57*", END}), subscriber->dns()) << "keys add up";
    for (size_t i = 0; i < 3; ++i)
    {
        const Received record = subscriber->received()[i];
        EXPECT_EQ(objectDeleted, record.type);
        EXPECT_EQ(1000, record.eventTime);
        EXPECT_EQ(77u, record.txHandle);
        EXPECT_EQ(88u, record.sequenceNumber);
        EXPECT_THAT(record.attributes, testing::IsEmpty());
    }
    EXPECT_THAT(framework.objects().calls(), testing::Contains("getMocFromDn(A=1,B=*, 0)"));
    EXPECT_EQ(0u, framework.objects().opened()) << "nothing of a deleted object is read";
}

TEST_F(SubtreeSubscribe, DeliversADeleteItselfWhereTheModelDoesNotNameTheKey)
{
    startService();
    SubtreeSubscriber subscriber(table(), {node("A").child(node("Unknown"))});
    ASSERT_EQ(OrvOk, push(1, "A=1", objectDeleted, {int32Attribute("x", 1)}));
    finish(subscriber);
    EXPECT_EQ((Texts{"A=1", END}), subscriber->dns());
    EXPECT_EQ(Texts{"x"}, subscriber->received()[0].attributes);
    EXPECT_TRUE(logged(framework.lines(), 3, "could not get MOC handle"));
}

TEST_F(SubtreeSubscribe, SendsControlRecordsAfterADeleteAsRecordsWithItsDns)
{
    startService();
    SubtreeSubscriber subscriber(table(), {node("A").child(node("B"))});
    ASSERT_EQ(OrvOk, push(1, "A=1", objectDeleted));
    ASSERT_EQ(OrvOk, push(2, "Any=1", overflowNotification));
    finish(subscriber);
    EXPECT_EQ((Texts{"A=1,B=*", "A=1,B=*", END}), subscriber->dns());
    EXPECT_EQ((Types{objectDeleted, overflowNotification, objectCreated}), subscriber->types());
    EXPECT_EQ(2, subscriber->received()[1].eventTime);
}

TEST_F(SubtreeSubscribe, ReducesARecordToWhatATopNodeSelects)
{
    startService();
    SubtreeSubscriber subscriber(table(), {node("A").select({"z", "x"}).child(node("B").select({"x"}))});
    const std::vector<Attribute> attributes = {int32Attribute("x", 1), int32Attribute("y", 2), int32Attribute("z", 3)};
    ASSERT_EQ(OrvOk, push(1, "A=1", attributeChanged, attributes));
    ASSERT_EQ(OrvOk, push(2, "A=1,B=1", attributeChanged, attributes));
    ASSERT_EQ(OrvOk, push(3, "A=1", attributeChanged, {int32Attribute("y", 2)}));
    finish(subscriber);
    EXPECT_EQ((Texts{"A=1", "A=1,B=1", END}), subscriber->dns());
    EXPECT_EQ((Texts{"z", "x"}), subscriber->received()[0].attributes);
    EXPECT_EQ((Texts{"x", "y", "z"}), subscriber->received()[1].attributes) << "below the top it comes whole";
}

TEST_F(SubtreeSubscribe, AReplayTakesPlainCopiesWhereLiveDeliveryDerives)
{
    startService();
    const std::vector<Attribute> attributes = {int32Attribute("x", 1), int32Attribute("y", 2)};
    ASSERT_EQ(OrvOk, push(1000, "A=1", attributeChanged, attributes));
    ASSERT_EQ(OrvOk, push(2000, "A=1", objectDeleted, attributes));
    ASSERT_EQ(OrvOk, push(3000, "C=1", objectDeleted));
    pushMarker(4000, "End=0");
    SubtreeSubscriber subscriber(table(), {node("A").select({"y"}).child(node("B"))}, from(1));
    ASSERT_TRUE(subscriber->waitForType(replayComplete));
    ASSERT_EQ(OrvOk, push(5000, "A=1", attributeChanged, attributes));
    ASSERT_EQ(OrvOk, push(6000, "A=1", objectDeleted, attributes));
    finish(subscriber);
    const std::vector<Received> received = subscriber->received();
    ASSERT_EQ((Texts{"-", "A=1", "A=1", "End=0", "-", "A=1", "A=1", "A=1,B=*", END}), subscriber->dns());
    EXPECT_EQ((Types{replayGap, attributeChanged, objectDeleted, objectDeleted, replayComplete, attributeChanged,
                     objectDeleted, objectDeleted, objectCreated}),
              subscriber->types());
    EXPECT_EQ((Texts{"x", "y"}), received[1].attributes);
    EXPECT_EQ((Texts{"x", "y"}), received[2].attributes);
    EXPECT_EQ(Texts{"y"}, received[5].attributes);
    EXPECT_THAT(received[6].attributes, testing::IsEmpty());
}

TEST_F(SubtreeSubscribe, ReadsTheModelOnTheSubscribersThreadForAReplayAndOnTheServicesForLiveRecords)
{
    startService();
    framework.objects().setInt32("A=1", "state", 1);
    ASSERT_EQ(OrvOk, push(1000, "A=1"));
    settle();
    std::vector<std::thread::id> readers;  // one after the other, with the registry's lock held
    framework.plan().whenCalled("getMoAttribute", [&] { readers.push_back(std::this_thread::get_id()); });
    SubtreeSubscriber subscriber(table(), {node("A").match(int32Attribute("state", 1))}, from(1));
    ASSERT_TRUE(subscriber->waitForType(replayComplete));
    ASSERT_EQ(OrvOk, push(3000, "A=1"));
    finish(subscriber);
    ASSERT_EQ(2u, readers.size());
    EXPECT_EQ(std::this_thread::get_id(), readers[0]);
    EXPECT_NE(std::this_thread::get_id(), readers[1]);
    expectAllClosed();
}

TEST_F(SubtreeSubscribe, ManySubscribersReadTheModelWhileRecordsAreMatched)
{
    startService("1000");
    framework.objects().setInt32("A=1", "state", 1);
    std::atomic<bool> done{false};
    std::thread pusher(
        [&]
        {
            for (int64_t time = 1; !done; ++time)
            {
                push(time, "A=1", time % 2 == 0 ? objectDeleted : objectCreated);
            }
        });
    const auto subscribing = [&]
    {
        for (int i = 0; i < 20; ++i)
        {
            const Node tree = node("A").match(int32Attribute("state", 1)).child(node("B")).classes({"B"});
            SubtreeSubscriber subscriber(table(), {tree}, from(1));
            EXPECT_TRUE(subscriber->waitForDn("A=1,B=*"));
        }
    };
    std::thread first(subscribing);
    std::thread second(subscribing);
    first.join();
    second.join();
    done = true;
    pusher.join();
    settle();
    expectAllClosed();
}

}  // namespace
}  // namespace OrvTest
