// What a handler receives, and what its answers do.
#include <algorithm>
#include <atomic>
#include <stdexcept>
#include <thread>

#include "ComponentTest.h"
#include "OrvException.h"

namespace OrvTest
{
namespace
{

class Delivery : public ComponentTest
{
protected:
    typedef std::vector<int32_t> Types;
    typedef std::vector<std::string> Dns;

    static Wish created(const std::string& expression = ".*") { return {{{"objectCreated", expression}}}; }

    // Pushes first, first + 1 ... last, each as an object A=N created at time N.
    void pushRange(int first, int last)
    {
        for (int i = first; i <= last; ++i)
        {
            ASSERT_EQ(OrvOk, push(i, "A=" + std::to_string(i)));
        }
    }
};

TEST_F(Delivery, IsMadeOnAThreadOfTheNamedPool)
{
    startService();
    Subscriber subscriber(table());
    pushRange(1, 1);
    ASSERT_TRUE(subscriber->waitFor(1));
    EXPECT_THAT(subscriber->received()[0].threadName, testing::StartsWith("NotificationSeriveThreadPool"));
}

TEST_F(Delivery, KeepsTheOrderAndNeverOverlaps)
{
    startService("1000");
    Subscriber subscriber(table());
    pushRange(1, 500);
    ASSERT_TRUE(subscriber->waitFor(500));
    for (int i = 1; i <= 500; ++i)
    {
        ASSERT_EQ("A=" + std::to_string(i), subscriber->received()[static_cast<size_t>(i) - 1].dn);
    }
    EXPECT_EQ(1u, subscriber->mostAtOnce());
}

TEST_F(Delivery, OfOneSubscriptionDoesNotWaitForAnother)
{
    startService();
    Subscriber slow(table(), Wish(), true);
    Subscriber quick(table());
    pushRange(1, 20);
    ASSERT_TRUE(slow->waitUntilHeld());
    EXPECT_TRUE(quick->waitFor(20));
    EXPECT_EQ(1u, slow->count());
}

TEST_F(Delivery, OfferingFollowsTheHandlesUpwards)
{
    startService();
    framework.setLevel(8);
    const unsigned int handlerId = registerHandler();
    RecordingHandler high(900);
    RecordingHandler low(7);
    ASSERT_EQ(OrvOk, subscribe(handlerId, high.handle(), created()));
    ASSERT_EQ(OrvOk, subscribe(handlerId, low.handle(), created()));
    framework.log().clear();
    pushRange(1, 1);
    ASSERT_TRUE(high.waitFor(1));
    std::vector<std::string> offers = traces(framework.lines());
    offers.erase(std::remove_if(offers.begin(), offers.end(),
                                [](const std::string& text) { return text.rfind("Sending notification", 0) != 0; }),
                 offers.end());
    EXPECT_EQ((std::vector<std::string>{"Sending notification to subscriptionHandle: 7",
                                        "Sending notification to subscriptionHandle: 900"}),
              offers);
    EXPECT_EQ(OrvOk, table().unregisterHandler(handlerId));
}

TEST_F(Delivery, AFullQueueIsThrownAwayAsAWholeForAnOverflowRecord)
{
    startService("10");
    Subscriber subscriber(table(), created(), true);
    pushRange(1, 1);
    ASSERT_TRUE(subscriber->waitUntilHeld());
    pushRange(2, 11);
    const long long before = now();
    pushRange(12, 13);
    pushMarker(1);
    const long long after = now();
    subscriber->release();
    ASSERT_TRUE(subscriber->waitForDn("A=13"));
    EXPECT_EQ((Dns{"A=1", "-", "A=12", "A=13"}), subscriber->dns());

    const Received overflow = subscriber->received()[1];
    EXPECT_EQ(overflowNotification, overflow.type);
    EXPECT_LE(before, overflow.eventTime);
    EXPECT_GE(after, overflow.eventTime);
    EXPECT_TRUE(overflow.attributesIsNull);
    EXPECT_EQ(0u, overflow.txHandle);
    EXPECT_EQ(0u, overflow.sequenceNumber);
}

TEST_F(Delivery, AQueueBelowItsLimitIsKept)
{
    startService("10");
    Subscriber subscriber(table(), created(), true);
    pushRange(1, 1);
    ASSERT_TRUE(subscriber->waitUntilHeld());
    pushRange(2, 11);
    pushMarker(1);
    subscriber->release();
    ASSERT_TRUE(subscriber->waitForDn("A=11"));
    EXPECT_EQ(11u, subscriber->count());
    EXPECT_EQ(Types(11, objectCreated), subscriber->types());
}

TEST_F(Delivery, ASecondOverflowTakesTheRecordOfTheFirstWithIt)
{
    startService("10");
    Subscriber subscriber(table(), created(), true);
    pushRange(1, 1);
    ASSERT_TRUE(subscriber->waitUntilHeld());
    // 2 to 11 fill the queue; 12 leaves overflow and 12; 13 to 20 fill it again; 21 leaves overflow and 21.
    pushRange(2, 21);
    pushMarker(1);
    subscriber->release();
    ASSERT_TRUE(subscriber->waitForDn("A=21"));
    EXPECT_EQ((Dns{"A=1", "-", "A=21"}), subscriber->dns());
}

TEST_F(Delivery, AControlRecordOverflowsAFullQueueToo)
{
    startService("10");
    Subscriber subscriber(table(), created(), true);
    pushRange(1, 1);
    ASSERT_TRUE(subscriber->waitUntilHeld());
    pushRange(2, 11);
    ASSERT_EQ(OrvOk, push(1, "A=0", heartbeatNotification));
    pushMarker(1);
    subscriber->release();
    ASSERT_TRUE(subscriber->waitForType(heartbeatNotification));
    EXPECT_EQ((Types{objectCreated, overflowNotification, heartbeatNotification}), subscriber->types());
}

TEST_F(Delivery, ARefusedRecordAtTheFrontIsThrownAwayLikeAnyOther)
{
    startService("10");
    framework.setLevel(8);
    Subscriber subscriber(table(), created(), true);
    subscriber->answer({OrvRetry});
    pushRange(1, 1);
    ASSERT_TRUE(subscriber->waitUntilHeld());
    pushRange(2, 10);
    // The run announces its pause when the record is back at the front: then the queue is full.
    framework.log().whenLine(LogLine::trace, "Sleep 0.01s then check the queue again! ",
                             [this]
                             {
                                 pushRange(11, 11);
                                 pushMarker(1);
                             });
    subscriber->release();
    ASSERT_TRUE(subscriber->waitForDn("A=11"));
    framework.log().whenLine(LogLine::trace, "", nullptr);
    EXPECT_EQ((Dns{"A=1", "-", "A=11"}), subscriber->dns());
    EXPECT_EQ((Types{objectCreated, overflowNotification, objectCreated}), subscriber->types());
}

TEST_F(Delivery, ARefusedRecordIsOfferedAgainBeforeAllOthers)
{
    startService();
    framework.setLevel(8);
    Subscriber subscriber(table(), created(), true);
    subscriber->answer({OrvRetry, OrvRetry, OrvRetry, OrvRetry, OrvRetry, OrvOk});
    pushRange(1, 2);
    pushMarker(3);
    subscriber->release();
    ASSERT_TRUE(subscriber->waitForDn("A=2"));
    EXPECT_EQ((Dns{"A=1", "A=1", "A=1", "A=1", "A=1", "A=1", "A=2"}), subscriber->dns());
    const std::vector<Received> received = subscriber->received();
    for (size_t i = 1; i <= 5; ++i)
    {
        EXPECT_EQ(received[0].record, received[i].record) << "the same record";
    }
    const std::vector<std::string> texts = traces(framework.lines());
    EXPECT_EQ(5, std::count_if(texts.begin(), texts.end(),
                               [](const std::string& text)
                               { return text.rfind("Sleep 0.01s then check the queue again! 0x", 0) == 0; }));
    EXPECT_EQ(5, std::count_if(texts.begin(), texts.end(),
                               [](const std::string& text) { return text.rfind("Awake! 0x", 0) == 0; }));
    EXPECT_THAT(messages(framework.lines()), testing::IsEmpty());
}

TEST_F(Delivery, ARefusedRecordIsOfferedAgainAfterAHundredthOfASecond)
{
    startService();
    Subscriber subscriber(table(), created());
    std::vector<long long> calls;
    for (int i = 0; i < 3; ++i)
    {
        subscriber->answerWith(
            [&calls](const Received&)
            {
                calls.push_back(now());
                return calls.size() < 3 ? OrvRetry : OrvOk;
            });
    }
    pushRange(1, 2);
    ASSERT_TRUE(subscriber->waitForDn("A=2"));
    ASSERT_EQ(3u, calls.size());
    EXPECT_LE(10000, calls[1] - calls[0]);
    EXPECT_LE(10000, calls[2] - calls[1]);
}

TEST_F(Delivery, ARecordRefusedDuringTheRemovalIsOfferedUntilItIsTaken)
{
    startService();
    framework.setLevel(8);
    Subscriber subscriber(table(), created(), true);
    subscriber->answer({OrvRetry, OrvRetry, OrvOk});
    pushRange(1, 2);
    pushMarker(3);
    ASSERT_TRUE(subscriber->waitUntilHeld());
    framework.log().clear();
    OrvReturnT result = OrvFailure;
    std::thread remover([&] { result = subscriber.unsubscribe(); });
    ASSERT_TRUE(framework.log().waitFor(LogLine::trace, "Waiting for notify thread to finish.", 1, 60));
    subscriber->release();
    remover.join();
    EXPECT_EQ(OrvOk, result);
    EXPECT_EQ((Dns{"A=1", "A=1", "A=1"}), subscriber->dns()) << "what waited was dropped, what was refused was not";
}

TEST_F(Delivery, ARemovalWaitsForTheHandlerAndDropsWhatIsQueued)
{
    startService();
    framework.setLevel(8);
    Subscriber subscriber(table(), created(), true);
    pushRange(1, 5);
    pushMarker(6);
    ASSERT_TRUE(subscriber->waitUntilHeld());
    framework.log().clear();
    std::atomic<bool> returned{false};
    std::thread remover(
        [&]
        {
            EXPECT_EQ(OrvOk, subscriber.unsubscribe());
            returned = true;
        });
    ASSERT_TRUE(framework.log().waitFor(LogLine::trace, "Waiting for notify thread to finish.", 1, 60));
    EXPECT_FALSE(returned);
    subscriber->release();
    remover.join();
    EXPECT_EQ(Dns{"A=1"}, subscriber->dns());
    EXPECT_TRUE(traced(framework.lines(), 0, "Threads to finished."));
}

TEST_F(Delivery, AStopOfTheServiceWaitsForTheHandlerAndDropsWhatIsQueued)
{
    startService();
    framework.setLevel(8);
    Subscriber subscriber(table(), created(), true);
    pushRange(1, 5);
    pushMarker(6);
    ASSERT_TRUE(subscriber->waitUntilHeld());
    framework.log().clear();
    std::thread stopper([&] { EXPECT_EQ(OrvOk, component.stop()); });
    ASSERT_TRUE(framework.log().waitFor(LogLine::trace, "Waiting for notify thread to finish.", 1, 60));
    subscriber->release();
    stopper.join();
    EXPECT_EQ(Dns{"A=1"}, subscriber->dns()) << "and no notice of the end";
    EXPECT_EQ(OrvNotRunning, subscriber.unsubscribe());
}

TEST_F(Delivery, NotFoundEndsTheDeliveryForGood)
{
    startService();
    framework.setLevel(8);
    Subscriber subscriber(table(), created(), true);
    subscriber->answer({OrvNotFound});
    pushRange(1, 3);
    pushMarker(4);
    subscriber->release();
    ASSERT_TRUE(
        framework.log().waitFor(LogLine::traceV2, "Subscriber is deregistering, stop sending notifications.", 1, 60));
    EXPECT_TRUE(logged(framework.lines(), 3, "Unexpected error code received -2"));
    EXPECT_TRUE(traced(framework.lines(), 0, "Subscriber is deregistering, stop sending notifications."));
    // Each arrival starts a run that ends at once, as soon as the last one has given way.
    for (int i = 5; i < 1000 && !traced(framework.lines(), 9, " >> no subscriber"); ++i)
    {
        pushRange(i, i);
        pushMarker(i);
    }
    EXPECT_TRUE(traced(framework.lines(), 9, " >> no subscriber"));
    EXPECT_EQ(OrvBadArgument, subscribe(subscriber.handlerId(), subscriber.handle())) << "it is still there";
    EXPECT_EQ(OrvOk, subscriber.unsubscribe());
    EXPECT_EQ(Dns{"A=1"}, subscriber->dns());
}

class OtherAnswer : public Delivery, public testing::WithParamInterface<int>
{
};

TEST_P(OtherAnswer, CostsTheRecordAndIsReported)
{
    startService();
    Subscriber subscriber(table(), created());
    subscriber->answer({GetParam()});
    pushRange(1, 2);
    ASSERT_TRUE(subscriber->waitForDn("A=2"));
    EXPECT_EQ((Dns{"A=1", "A=2"}), subscriber->dns());
    const std::string text = "Unexpected error code received " + std::to_string(GetParam());
    EXPECT_EQ(std::vector<std::string>{"3 " + text}, messages(framework.lines()));
    EXPECT_TRUE(logged(framework.lines(), 3, text));
}

INSTANTIATE_TEST_SUITE_P(Each, OtherAnswer,
                         testing::Values(OrvFailure, OrvNotRunning, OrvBadArgument, OrvNoThread, 77));

class ThrowingHandler : public Delivery
{
protected:
    // Delivers two records, of which the first meets this answer, and gives the messages.
    std::vector<std::string> messagesOf(RecordingHandler::Answer answer)
    {
        startService();
        Subscriber subscriber(table(), created());
        subscriber->answerWith(std::move(answer));
        pushRange(1, 2);
        EXPECT_TRUE(subscriber->waitForDn("A=2"));
        EXPECT_EQ((Dns{"A=1", "A=2"}), subscriber->dns());
        EXPECT_TRUE(logged(framework.lines(), 3, "Unexpected error code received -1"));
        return messages(framework.lines());
    }
};

TEST_F(ThrowingHandler, OfTheOwnExceptionLosesTheRecord)
{
    EXPECT_EQ(
        (std::vector<std::string>{"3 Exception in _handler->notify broken 5.", "3 Unexpected error code received -1"}),
        messagesOf([](const Received&) -> OrvReturnT { throw Orv::OrvException("broken %d", 5); }));
    EXPECT_TRUE(logged(framework.lines(), 3, "Exception in _handler->notify broken 5."));
}

TEST_F(ThrowingHandler, OfAStandardExceptionLosesTheRecord)
{
    EXPECT_EQ(
        (std::vector<std::string>{"3 Exception in _handler->notify:broken", "3 Unexpected error code received -1"}),
        messagesOf([](const Received&) -> OrvReturnT { throw std::runtime_error("broken"); }));
    EXPECT_TRUE(logged(framework.lines(), 3, "Exception in _handler->notify:broken"));
}

TEST_F(ThrowingHandler, OfAnythingElseLosesTheRecord)
{
    EXPECT_EQ((std::vector<std::string>{"3 Caught unhandled exception", "3 Unexpected error code received -1"}),
              messagesOf([](const Received&) -> OrvReturnT { throw 5; }));
    EXPECT_TRUE(logged(framework.lines(), 3, "Caught unhandled exception"));
}

TEST_F(Delivery, ARecordThatTheFilterRefusesStillSetsTheQueueGoing)
{
    startService();
    framework.setLevel(8);
    Subscriber subscriber(table(), created("A=1"));
    framework.log().clear();
    pushRange(2, 2);
    // A batch of its own: of several records only the last one looks.
    ASSERT_TRUE(framework.log().waitFor(LogLine::trace, "Matching Legacy Filter with notification received", 1,
                                        RecordingHandler::TIMEOUT_SECONDS));
    pushMarker(3);
    const std::vector<LogLine> lines = framework.lines();
    const auto text = [](const std::string& wanted)
    { return [wanted](const LogLine& line) { return line.source == LogLine::trace && line.text == wanted; }; };
    const auto offered =
        std::find_if(lines.begin(), lines.end(), text("Sending notification to subscriptionHandle: 1"));
    ASSERT_NE(lines.end(), offered);
    const auto matching = std::find_if(offered, lines.end(), text("Matching Legacy Filter with notification received"));
    ASSERT_NE(lines.end(), matching);
    const auto nextOffer = std::find_if(matching, lines.end(), text(" >> notify, notification type is 2 : "));
    // The witness of the marker subscribes meanwhile, on this thread, and looks at its own queue.
    EXPECT_TRUE(std::any_of(matching, nextOffer,
                            [&](const LogLine& line)
                            { return line.thread == offered->thread && line.function == "checkQueue"; }));
    EXPECT_EQ(0u, subscriber->count());
}

TEST_F(Delivery, TracesTheWayOfARecord)
{
    startService();
    framework.setLevel(8);
    Subscriber subscriber(table(), created());
    framework.log().clear();
    pushRange(1, 1);
    pushMarker(2);
    ASSERT_TRUE(subscriber->waitFor(1));
    const std::vector<LogLine> lines = framework.lines();
    EXPECT_TRUE(traced(lines, 0, "Sending notification to subscriptionHandle: 1"));
    EXPECT_TRUE(traced(lines, 9, " >> notify, notification type is 1 : "));
    EXPECT_TRUE(traced(lines, 0, "Received notification to valid subscription 1"));
    EXPECT_TRUE(traced(lines, 0, "Calling match function"));
    EXPECT_TRUE(traced(lines, 0, "Filter match occurred. Pushing in notification queue"));
    EXPECT_TRUE(traced(lines, 0, "in notify , Pushing notification A=1"));
}

TEST_F(Delivery, AControlRecordsMissingDnIsTracedAsNull)
{
    startService();
    framework.setLevel(8);
    Wish wish;
    wish.stopTime = 1;
    Subscriber subscriber(table(), wish);
    ASSERT_TRUE(subscriber->waitForType(notificationComplete));
    EXPECT_TRUE(traced(framework.lines(), 0, "in notify , Pushing notification (null)"));
}

TEST_F(Delivery, EachSubscriptionGetsACopyOfItsOwn)
{
    startService();
    Subscriber a(table(), Wish(), true);
    Subscriber b(table(), Wish(), true);
    pushRange(1, 1);
    ASSERT_TRUE(a->waitUntilHeld() && b->waitUntilHeld());
    EXPECT_NE(a->received()[0].record, b->received()[0].record);
}

}  // namespace
}  // namespace OrvTest
