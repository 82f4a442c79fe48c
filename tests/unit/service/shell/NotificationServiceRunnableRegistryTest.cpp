// The registry of subscriptions and the fan-out.
#include <Poco/Exception.h>

#include <future>
#include <new>
#include <thread>

#include "AllocationFault.h"
#include "LegacySubscriptionFilter.h"
#include "MutexFault.h"
#include "NotificationServiceRunnable.h"
#include "NotificationSubscription.h"
#include "OrvException.h"
#include "ShellTest.h"

using namespace OrvTest;
using OrvNbiNotificationService::NotificationSubscription;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

// A filter that takes everything, and tells of its end.
class TellingFilter : public OrvNbiNotificationService::SubscriptionFilter
{
public:
    explicit TellingFilter(unsigned int& deleted) : _deleted(deleted) {}
    ~TellingFilter() override { ++_deleted; }

    bool match(const OrvOamSpiNbiNotificationValue_1&) override { return true; }
    void getSubtreeDeleteNotifications(const OrvOamSpiNbiNotificationValue_1&,
                                       std::vector<OrvOamSpiNbiNotificationValue_1*>&) override
    {
    }
    bool getAttrSelectNotification(const OrvOamSpiNbiNotificationValue_1&, OrvOamSpiNbiNotificationValue_1*) override
    {
        return false;
    }

private:
    unsigned int& _deleted;
};

// The registry without a service thread: the test's own thread does what that would.
class NotificationServiceRegistry : public ShellTest
{
protected:
    ~NotificationServiceRegistry() override { registry.stop(); }

    OrvReturnT add(unsigned int handle, long long startTime = 0)
    {
        return registry.addSubscription(handle, RecordingHandler::handlerRecord(), new TellingFilter(deleted),
                                        startTime, 0, false, 0);
    }
    void store(int64_t eventTime, const std::string& dn)
    {
        const Notification notification = makeNotification(eventTime, dn, objectCreated);
        registry.notifyHandlers(&*notification);
    }
    unsigned int stored() { return registry.getNotificationBuffer().getBufferSize(); }

    unsigned int deleted = 0;
    OrvNbiNotificationService::NotificationServiceRunnable registry{100};
};

TEST_F(NotificationServiceRegistry, AddsASubscriptionWithItsBufferAndItsLimit)
{
    EXPECT_EQ(add(1), OrvOk);
    const NotificationSubscription& subscription = *registry._subscriptions.at(1);
    EXPECT_EQ(subscription._buffer, &registry._notificationBuffer);
    EXPECT_EQ(subscription._maxQueueSize, 100u);
    EXPECT_EQ(subscription._handle, 1u);
    EXPECT_THAT(messages(lines()), IsEmpty());
}

TEST_F(NotificationServiceRegistry, StopsAndDeletesANewcomerWhoseHandleIsTaken)
{
    ASSERT_EQ(add(1), OrvOk);
    const NotificationSubscription* const first = registry._subscriptions.at(1);
    framework.setLevel(8);
    framework.log().clear();
    EXPECT_EQ(add(1), OrvBadArgument);
    EXPECT_TRUE(logged(lines(), 3, "Failed to store Subscription in the map"));
    EXPECT_EQ(messages(lines()).size(), 1u);
    EXPECT_TRUE(traced(lines(), 0, "Threads to finished.")) << "stopped before it is deleted";
    EXPECT_EQ(deleted, 1u) << "with its filter";
    EXPECT_EQ(registry._subscriptions.size(), 1u);
    EXPECT_EQ(registry._subscriptions.at(1), first) << "stays as it is";
}

TEST_F(NotificationServiceRegistry, AnswersNoThreadWhenTheAllocationFindsNone)
{
    AllocationFault fault(sizeof(NotificationSubscription), [] { throw Poco::NoThreadAvailableException("detail"); });
    EXPECT_EQ(add(1), OrvNoThread);
    EXPECT_TRUE(logged(lines(), 3, "Could not start subscription thread, err msg No thread available."));
    EXPECT_EQ(messages(lines()).size(), 1u);
    EXPECT_EQ(deleted, 1u) << "the filter";
    EXPECT_THAT(registry._subscriptions, IsEmpty());
}

TEST_F(NotificationServiceRegistry, AnswersBadArgumentWhenTheAllocationThrowsAnExceptionOfOurs)
{
    AllocationFault fault(sizeof(NotificationSubscription), [] { throw Orv::OrvException("no %s", "room"); });
    EXPECT_EQ(add(1), OrvBadArgument);
    EXPECT_TRUE(logged(lines(), 3, "Could not start subscription thread, err msg no room."));
    EXPECT_EQ(deleted, 1u);
    EXPECT_THAT(registry._subscriptions, IsEmpty());
}

TEST_F(NotificationServiceRegistry, TakesAFailedAllocationWithoutAFilter)
{
    AllocationFault fault(sizeof(NotificationSubscription), [] { throw Poco::NoThreadAvailableException("detail"); });
    EXPECT_EQ(registry.addSubscription(1, RecordingHandler::handlerRecord(), nullptr, 0, 0, false, 0), OrvNoThread);
}

TEST_F(NotificationServiceRegistry, LetsAnyOtherExceptionPassWithItsLockGivenBackAndTheFilterKept)
{
    TellingFilter* const filter = new TellingFilter(deleted);
    {
        AllocationFault fault(sizeof(NotificationSubscription), [] { throw std::bad_alloc(); });
        EXPECT_THROW(registry.addSubscription(1, RecordingHandler::handlerRecord(), filter, 0, 0, false, 0),
                     std::bad_alloc);
    }
    EXPECT_EQ(deleted, 0u);
    EXPECT_THAT(messages(lines()), IsEmpty());
    EXPECT_EQ(add(1), OrvOk) << "the lock is free";
    delete filter;
}

TEST_F(NotificationServiceRegistry, RemovesASubscriptionOnceWithItsFilter)
{
    ASSERT_EQ(add(1), OrvOk);
    ASSERT_EQ(add(2), OrvOk);
    EXPECT_EQ(registry.removeSubscription(1), OrvOk);
    EXPECT_EQ(deleted, 1u);
    EXPECT_THAT(messages(lines()), IsEmpty());
    EXPECT_EQ(registry.removeSubscription(1), OrvNotFound);
    EXPECT_TRUE(logged(lines(), 3, "Could not find handle 1 to remove"));
    EXPECT_EQ(registry._subscriptions.size(), 1u);
}

TEST_F(NotificationServiceRegistry, ForgetsWhatAStopHasDeletedBeforeItFailed)
{
    ASSERT_EQ(add(1), OrvOk);
    ASSERT_EQ(add(2), OrvOk);
    {
        const MutexFault fault(registry._subscriptions.at(2)->_queueMutex, MutexFault::lockFails);
        EXPECT_THROW(registry.stop(), Poco::SystemException);
    }
    EXPECT_EQ(deleted, 1u);
    EXPECT_EQ(registry._subscriptions.size(), 1u);
    EXPECT_EQ(registry._subscriptions.count(2), 1u);
    store(1000, "A=1");  // is offered to nobody who is gone
}

TEST_F(NotificationServiceRegistry, LeavesTheTableAloneForAnUnknownHandle)
{
    ASSERT_EQ(add(1), OrvOk);
    EXPECT_EQ(registry.removeSubscription(8), OrvNotFound);
    EXPECT_TRUE(logged(lines(), 3, "Could not find handle 8 to remove"));
    EXPECT_EQ(messages(lines()).size(), 1u);
    EXPECT_EQ(registry._subscriptions.count(1), 1u);
}

TEST_F(NotificationServiceRegistry, TracesTheHandleThatIsRemoved)
{
    framework.setLevel(8);
    EXPECT_EQ(registry.removeSubscription(8), OrvNotFound);
    EXPECT_THAT(tracesOf(lines()),
                ElementsAre("removeSubscription: >> removeSubscription for handle:8", "removeSubscription: << "));
    EXPECT_TRUE(traced(lines(), 9, " >> removeSubscription for handle:8"));
}

TEST_F(NotificationServiceRegistry, StoresARecordAndOffersItInAscendingOrderOfHandle)
{
    for (const unsigned int handle : {20u, 3u, 100u})
    {
        ASSERT_EQ(add(handle), OrvOk);
    }
    RecordingHandler first(3);
    RecordingHandler second(20);
    RecordingHandler third(100);
    framework.setLevel(8);
    framework.log().clear();
    store(1000, "A=1");
    EXPECT_EQ(stored(), 1u);
    std::vector<std::string> sent;
    for (const std::string& text : traces(lines()))
    {
        if (text.rfind("Sending", 0) == 0)
        {
            sent.push_back(text);
        }
    }
    EXPECT_THAT(sent, ElementsAre("Sending notification to subscriptionHandle: 3",
                                  "Sending notification to subscriptionHandle: 20",
                                  "Sending notification to subscriptionHandle: 100"));
    EXPECT_TRUE(traced(lines(), 0, "Sending notification to subscriptionHandle: 3"));
    EXPECT_TRUE(first.waitForDn("A=1"));
    EXPECT_TRUE(second.waitForDn("A=1"));
    EXPECT_TRUE(third.waitForDn("A=1"));
}

TEST_F(NotificationServiceRegistry, LeavesTheRecordToItsCaller)
{
    ASSERT_EQ(add(1), OrvOk);
    RecordingHandler handler(1);
    const Notification notification = makeNotification(1000, "A=1", objectCreated);
    registry.notifyHandlers(&*notification);
    ASSERT_TRUE(handler.waitFor(1));
    EXPECT_STREQ(notification->dn, "A=1");
    EXPECT_NE(handler.received()[0].record, &*notification);
}

TEST_F(NotificationServiceRegistry, OffersARecordThatTheBufferRefusesToNobody)
{
    ASSERT_EQ(add(1), OrvOk);
    RecordingHandler handler(1);
    registry.systemClockChanged(5000);
    store(4999, "Old=1");
    EXPECT_EQ(stored(), 0u);
    ASSERT_EQ(messages(lines()).size(), 1u);
    EXPECT_THAT(messages(lines())[0], testing::StartsWith("4 Discarded notification due to invalid timestamp: "));
    store(5000, "New=1");
    EXPECT_EQ(stored(), 1u);
    ASSERT_TRUE(handler.waitForDn("New=1"));
    EXPECT_THAT(handler.dns(), ElementsAre("New=1"));
}

TEST_F(NotificationServiceRegistry, TellsNobodyOfAClockChangeThatFindsAnEmptyBuffer)
{
    ASSERT_EQ(add(1), OrvOk);
    RecordingHandler handler(1);
    framework.setLevel(8);
    framework.log().clear();
    registry.systemClockChanged(5000);
    EXPECT_EQ(registry.getNotificationBuffer().getBufferCreationTime(), 5000);
    EXPECT_TRUE(registry._notificationBuffer._clockChanged);
    EXPECT_THAT(messages(lines()), IsEmpty());
    EXPECT_THAT(tracesOf(lines()), ElementsAre("systemClockChanged: >> ", "systemClockChanged: >> ",
                                               "systemClockChanged: << ", "systemClockChanged: << "));
    store(6000, "A=1");
    ASSERT_TRUE(handler.waitForDn("A=1"));
    EXPECT_THAT(handler.types(), ElementsAre(objectCreated));
}

TEST_F(NotificationServiceRegistry, DiscardsSevenRecordsAtAClockChangeAndTellsBothSubscriptionsInOrder)
{
    for (int64_t time = 1; time <= 7; ++time)
    {
        store(time, "A=1");
    }
    ASSERT_EQ(add(2), OrvOk);
    ASSERT_EQ(add(1), OrvOk);
    RecordingHandler first(1);
    RecordingHandler second(2);
    framework.setLevel(8);
    framework.log().clear();
    registry.systemClockChanged(5000);
    EXPECT_EQ(stored(), 0u);
    EXPECT_TRUE(logged(lines(), 4, "Discarded 7 notifications from replay buffer due to system clock change. "));
    EXPECT_EQ(messages(lines()).size(), 1u);
    ASSERT_TRUE(first.waitForType(discardedOld));
    ASSERT_TRUE(second.waitForType(discardedOld));
    EXPECT_EQ(first.received()[0].eventTime, 5000);
    EXPECT_TRUE(first.received()[0].dnIsNull);
    EXPECT_EQ(second.received()[0].eventTime, 5000);
    std::vector<std::string> sent;
    for (const LogLine& line : lines())
    {
        const bool relevant = line.source == LogLine::log || line.text.rfind("Sending", 0) == 0;
        if (relevant && line.source != LogLine::traceV2)
        {
            sent.push_back(line.text);
        }
    }
    EXPECT_THAT(sent, ElementsAre("Discarded 7 notifications from replay buffer due to system clock change. ",
                                  "Sending notification to subscriptionHandle: 1",
                                  "Sending notification to subscriptionHandle: 2"));
}

TEST_F(NotificationServiceRegistry, DiscardsRecordsAtAClockChangeThoughNobodyIsThereToHearOfIt)
{
    store(1, "A=1");
    registry.systemClockChanged(5000);
    EXPECT_EQ(stored(), 0u);
    EXPECT_TRUE(logged(lines(), 4, "Discarded 1 notifications from replay buffer due to system clock change. "));
}

TEST_F(NotificationServiceRegistry, DiscardsNewerRecordsToo)
{
    store(9000, "A=1");
    registry.systemClockChanged(5000);
    EXPECT_EQ(stored(), 0u);
    EXPECT_EQ(registry.getNotificationBuffer().getLastAgedNotificationTime(), 0);
}

TEST_F(NotificationServiceRegistry, LeavesTheQueuesAloneAtAClockChange)
{
    ASSERT_EQ(add(1), OrvOk);
    RecordingHandler handler(1);
    handler.hold();
    store(1, "A=1");
    ASSERT_TRUE(handler.waitUntilHeld());
    store(2, "B=1");
    registry.systemClockChanged(5000);
    handler.release();
    ASSERT_TRUE(handler.waitFor(3));
    EXPECT_THAT(handler.types(), ElementsAre(objectCreated, objectCreated, discardedOld));
}

TEST_F(NotificationServiceRegistry, SetsTheNewTimeBeforeItWaitsForTheRegistry)
{
    ASSERT_EQ(add(1), OrvOk);
    RecordingHandler handler(1);
    std::future<void> changed;
    {
        const Poco::FastMutex::ScopedLock lock(registry._mutex);
        framework.setLevel(8);
        changed = std::async(std::launch::async, [&] { registry.systemClockChanged(5000); });
        ASSERT_TRUE(framework.log().waitFor(LogLine::trace, " << ", 1, RecordingHandler::TIMEOUT_SECONDS));
        EXPECT_EQ(registry.getNotificationBuffer().getBufferCreationTime(), 5000);
        EXPECT_EQ(changed.wait_for(std::chrono::seconds(0)), std::future_status::timeout);

        // What is stored at this moment is counted and discarded like the rest.
        const Notification notification = makeNotification(6000, "A=1", objectCreated);
        ASSERT_TRUE(registry.getNotificationBuffer().pushNotification(*notification));
    }
    changed.get();
    EXPECT_TRUE(logged(lines(), 4, "Discarded 1 notifications from replay buffer due to system clock change. "));
    EXPECT_TRUE(handler.waitForType(discardedOld));
}

TEST_F(NotificationServiceRegistry, RaisesABufferSizeOfFiveToTenAlsoForLaterSubscriptions)
{
    ASSERT_EQ(add(1), OrvOk);
    EXPECT_TRUE(registry.setNotificationBufferSize(5));
    EXPECT_EQ(registry._bufferSize, 10u);
    EXPECT_EQ(registry.getNotificationBuffer().getMaxBufferSize(), 10u);
    ASSERT_EQ(add(2), OrvOk);
    EXPECT_EQ(registry._subscriptions.at(2)->_maxQueueSize, 10u);
    EXPECT_EQ(registry._subscriptions.at(1)->_maxQueueSize, 100u) << "keeps the limit that it was given";
}

TEST_F(NotificationServiceRegistry, TakesABufferSizeAboveTheMinimumAsItIs)
{
    EXPECT_TRUE(registry.setNotificationBufferSize(11));
    EXPECT_EQ(registry._bufferSize, 11u);
    EXPECT_TRUE(registry.setNotificationBufferSize(10));
    EXPECT_EQ(registry._bufferSize, 10u);
}

TEST_F(NotificationServiceRegistry, RefusesABufferSizeWhileRecordsAreStored)
{
    store(1, "A=1");
    EXPECT_FALSE(registry.setNotificationBufferSize(50));
    EXPECT_EQ(registry._bufferSize, 100u);
    EXPECT_TRUE(logged(lines(), 4, "Attempt to change buffer size with notifications in"));
    EXPECT_EQ(messages(lines()).size(), 1u);
}

TEST_F(NotificationServiceRegistry, SetsTheBufferSizeWithoutTheRegistryLock)
{
    const MutexFault fault(registry._mutex, MutexFault::lockFails);
    EXPECT_TRUE(registry.setNotificationBufferSize(50));
}

TEST_F(NotificationServiceRegistry, StartsTheReplayUnderItsLockAndBeforeTheSubscriptionIsInTheTable)
{
    store(1, "A=1");
    bool locked = false;
    size_t entries = 99;
    framework.setLevel(8);
    framework.log().whenLine(LogLine::trace, "Pushing replayComplete notification",
                             [&]
                             {
                                 locked = !registry._mutex.tryLock();
                                 entries = registry._subscriptions.size();
                             });
    RecordingHandler handler(1);
    ASSERT_EQ(add(1, 1), OrvOk);
    framework.log().whenLine(LogLine::trace, "", nullptr);
    EXPECT_TRUE(locked);
    EXPECT_EQ(entries, 0u);
    ASSERT_TRUE(handler.waitForType(replayComplete));
}

TEST_F(NotificationServiceRegistry, LetsANewcomerSeeEveryRecordOfAStreamExactlyOnce)
{
    const int records = 400;
    ASSERT_TRUE(registry.setNotificationBufferSize(2 * records));
    std::promise<void> halfWay;
    std::thread stream(
        [&]
        {
            for (int number = 0; number < records; ++number)
            {
                store(1000 + number, std::to_string(number));
                if (number == records / 4)
                {
                    halfWay.set_value();
                }
            }
        });
    halfWay.get_future().wait();
    RecordingHandler handler(1);
    ASSERT_EQ(add(1, 1), OrvOk);
    stream.join();
    // A gap record in front, since the buffer is younger than the start time, and the end of the replay somewhere.
    // If a run missed the last record as it ended, the next look at the queue delivers it.
    RecordingHandler::whenStalled([this] { registry._subscriptions.at(1)->checkQueue(); });
    EXPECT_TRUE(handler.waitFor(records + 2));
    RecordingHandler::whenStalled(nullptr);
    std::vector<std::string> dns;
    for (const Received& received : handler.received())
    {
        if (!received.dnIsNull)
        {
            dns.push_back(received.dn);
        }
    }
    ASSERT_EQ(dns.size(), static_cast<size_t>(records));
    for (int number = 0; number < records; ++number)
    {
        EXPECT_EQ(dns[number], std::to_string(number));
    }
}

// A failing registry lock comes out of every operation that takes it.
class NotificationServiceRegistryBrokenMutex : public NotificationServiceRegistry,
                                               public testing::WithParamInterface<MutexFault::Operation>
{
protected:
    template <typename Action>
    std::string failure(Action action)
    {
        const MutexFault fault(registry._mutex, GetParam());
        try
        {
            action();
        }
        catch (const Poco::SystemException& exception)
        {
            return exception.message();
        }
        return "none";
    }
};

TEST_P(NotificationServiceRegistryBrokenMutex, ComesOutOfTheOperations)
{
    const bool locking = GetParam() == MutexFault::lockFails;
    const std::string text = locking ? "cannot lock mutex" : "cannot unlock mutex";
    TellingFilter* const filter = new TellingFilter(deleted);
    EXPECT_EQ(failure([&] { registry.addSubscription(1, RecordingHandler::handlerRecord(), filter, 0, 0, false, 0); }),
              text);
    EXPECT_EQ(failure([&] { store(1, "A=1"); }), text);
    EXPECT_EQ(failure([&] { registry.systemClockChanged(5000); }), text);
    EXPECT_EQ(failure([&] { registry.removeSubscription(1); }), text);
    EXPECT_THAT(registry._subscriptions, IsEmpty());
    EXPECT_EQ(deleted, locking ? 0u : 1u);
    if (locking)
    {
        delete filter;
    }
}

TEST_P(NotificationServiceRegistryBrokenMutex, OfTheBufferComesOutToo)
{
    const MutexFault fault(registry._notificationBuffer._mutex, GetParam());
    EXPECT_THROW(store(1, "A=1"), Poco::SystemException);
    EXPECT_THROW(registry.systemClockChanged(5000), Poco::SystemException);
    EXPECT_THROW(registry.setNotificationBufferSize(50), Poco::SystemException);
    EXPECT_TRUE(registry._mutex.tryLock()) << "given back";
    registry._mutex.unlock();
}

INSTANTIATE_TEST_SUITE_P(Operations, NotificationServiceRegistryBrokenMutex,
                         testing::Values(MutexFault::lockFails, MutexFault::unlockFails));

}  // namespace
