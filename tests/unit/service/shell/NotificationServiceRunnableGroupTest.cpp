// What several notifications in a row have in common: the delivery runs that they start together, and the way back of
// the records that have been delivered meanwhile.
#include <Poco/Exception.h>

#include <atomic>
#include <deque>
#include <functional>
#include <memory>

#include "AttributeLedger.h"
#include "ManualClock.h"
#include "MutexFault.h"
#include "NbiNotification.h"
#include "NbiNotificationServiceStateChange.h"
#include "NotificationServiceRunnable.h"
#include "ShellTest.h"

using namespace OrvTest;
using OrvNbiNotificationService::NbiNotification;
using OrvNbiNotificationService::NbiNotificationServiceStateChange;

namespace
{

typedef std::deque<Orv::PipeMessage*> Batch;

Orv::PipeMessage* record(int64_t eventTime = 1000)
{
    return new NbiNotification(&*makeNotification(eventTime, "A=1", objectCreated, {int32Attribute("x", 1)}));
}

Batch records(size_t count)
{
    Batch batch;
    while (batch.size() < count)
    {
        batch.push_back(record());
    }
    return batch;
}

// Takes everything, after a call of the test's.
class WatchedFilter : public OrvNbiNotificationService::SubscriptionFilter
{
public:
    explicit WatchedFilter(const std::function<void()>& whenAsked) : _whenAsked(whenAsked) {}

    bool match(const OrvOamSpiNbiNotificationValue_1&) override
    {
        _whenAsked();
        return true;
    }
    void getSubtreeDeleteNotifications(const OrvOamSpiNbiNotificationValue_1&,
                                       std::vector<OrvOamSpiNbiNotificationValue_1*>&) override
    {
    }
    bool getAttrSelectNotification(const OrvOamSpiNbiNotificationValue_1&, OrvOamSpiNbiNotificationValue_1*) override
    {
        return false;
    }

private:
    const std::function<void()> _whenAsked;
};

// The registry without a service thread: the test's own thread handles the batches.
class NotificationServiceRunnableGroup : public ShellTest
{
protected:
    ~NotificationServiceRunnableGroup() override { _registry->stop(); }

    OrvNbiNotificationService::NotificationServiceRunnable& registry() { return *_registry; }
    void useBufferSize(unsigned int size)
    {
        _registry = std::make_unique<OrvNbiNotificationService::NotificationServiceRunnable>(size);
    }
    void add(
        unsigned int handle, const std::function<void()>& whenAsked = [] {}, long long stopTime = 0)
    {
        ASSERT_EQ(OrvOk, registry().addSubscription(handle, RecordingHandler::handlerRecord(),
                                                    new WatchedFilter(whenAsked), 0, stopTime, false, 0));
    }

    // What handling the batch did, in order: o for an offer to a subscription, s for a look whether a run is to be
    // started, r for a refusal of the buffer, u for a message of an unknown type, x for a stop.
    std::string stepsOf(const Batch& batch)
    {
        framework.setLevel(8);
        registry().handleMessages(batch);
        framework.setLevel(6);
        std::string steps;
        for (const LogLine& line : lines())
        {
            if (line.thread != std::this_thread::get_id() || line.source == LogLine::traceV2)
            {
                continue;
            }
            if (line.text.rfind("Sending notification", 0) == 0)
            {
                steps += 'o';
            }
            else if (line.function == "checkQueue" && line.text == " >> ")
            {
                steps += 's';
            }
            else if (line.text.rfind("Discarded notification", 0) == 0)
            {
                steps += 'r';
            }
            else if (line.text == "received unknown message")
            {
                steps += 'u';
            }
            else if (line.function == "handleStateChange" && line.text == " >> ")
            {
                steps += 'x';
            }
        }
        return steps;
    }

    ManualClock clock{1000000000};  // so that a slow machine does not end a group

private:
    std::unique_ptr<OrvNbiNotificationService::NotificationServiceRunnable> _registry =
        std::make_unique<OrvNbiNotificationService::NotificationServiceRunnable>(1000);
};

TEST_F(NotificationServiceRunnableGroup, StartsBehindTheLastNotificationOfABatch)
{
    add(1);
    add(2);
    EXPECT_EQ(stepsOf(records(3)), "ooooooss");
}

TEST_F(NotificationServiceRunnableGroup, StartsAtOnceForASingleNotification)
{
    add(1);
    add(2);
    EXPECT_EQ(stepsOf(records(1)), "osos");
}

TEST_F(NotificationServiceRunnableGroup, StartsBeforeAnythingElseIsHandled)
{
    add(1);
    EXPECT_EQ(stepsOf({record(), record(), new Orv::PipeMessage(static_cast<Orv::MessageTypeT>(7)), record(), record(),
                       record(), new NbiNotificationServiceStateChange(ZelStateChangeActivate), record()}),
              "oosuooosxos");
}

TEST_F(NotificationServiceRunnableGroup, IsBegunAnewBehindASingleNotification)
{
    add(1);
    EXPECT_EQ(stepsOf({record(), new Orv::PipeMessage(static_cast<Orv::MessageTypeT>(7)), record(), record()}),
              "osuoos");
}

TEST_F(NotificationServiceRunnableGroup, StartsBehind64Notifications)
{
    add(1);
    const std::string full = std::string(64, 'o') + "s";
    EXPECT_EQ(stepsOf(records(130)), full + full + "oos");
}

TEST_F(NotificationServiceRunnableGroup, StartsAtOnceForASingleNotificationBehindAFullGroup)
{
    add(1);
    add(2);
    EXPECT_EQ(stepsOf(records(65)), std::string(128, 'o') + "ssosos");
}

TEST_F(NotificationServiceRunnableGroup, StartsAtOnceWhereThreeQuartersOfTheQueueAreTaken)
{
    useBufferSize(9);
    RecordingHandler handler(1);
    handler.hold();
    add(1);
    registry().notifyHandlers(&*makeNotification(1000, "A=1", objectCreated));
    ASSERT_TRUE(handler.waitUntilHeld());
    EXPECT_EQ(stepsOf(records(9)), "ooooooosososs");
    handler.release();
}

TEST_F(NotificationServiceRunnableGroup, StartsWhenTwoMillisecondsHavePassed)
{
    add(1, [this] { clock.advance(2000); });
    EXPECT_EQ(stepsOf(records(3)), "ososos");
}

TEST_F(NotificationServiceRunnableGroup, WaitsForAMicrosecondLess)
{
    add(1, [this] { clock.advance(1999); });
    EXPECT_EQ(stepsOf(records(2)), "oos");
}

TEST_F(NotificationServiceRunnableGroup, IsBoundedThoughTheClockIsSetBack)
{
    add(1, [this] { clock.advance(-1000000); });
    EXPECT_EQ(stepsOf(records(65)), std::string(64, 'o') + "sos");
}

TEST_F(NotificationServiceRunnableGroup, StartsEvenIfTheLastNotificationIsRefused)
{
    registry().getNotificationBuffer().systemClockChanged(500);
    add(1);
    EXPECT_EQ(stepsOf({record(1000), record(1000), record(499)}), "oors");
}

TEST_F(NotificationServiceRunnableGroup, LooksOnceAtAQueueAndNotAtOneWhoseSubscriptionTookNoNotice)
{
    const long long longAgo = 999;
    add(
        1, [] {}, longAgo);  // every notification comes behind its stop time
    add(2);
    EXPECT_EQ(stepsOf(records(2)), "oooos");
}

TEST_F(NotificationServiceRunnableGroup, LooksAtNoQueueForWhatOnlyTheGroupBeforeHasBrought)
{
    const long long inAnHour = 1000000000 + 3600000000;
    add(
        1, [] {}, inAnHour);
    EXPECT_EQ(stepsOf({record(), record(), new Orv::PipeMessage(static_cast<Orv::MessageTypeT>(7)),
                       record(inAnHour + 1), record(inAnHour + 1)}),
              "oosuoo");
}

TEST_F(NotificationServiceRunnableGroup, DeliversWhatStandsBeforeANotificationThatEndsTheThread)
{
    std::unique_ptr<MutexFault> fault;
    RecordingHandler handler(1);
    add(1, [&] { fault = std::make_unique<MutexFault>(registry()._notificationBuffer._mutex, MutexFault::lockFails); });
    const std::unique_ptr<Orv::PipeMessage> unreached(record());
    EXPECT_THROW(registry().handleMessages({record(), record(), unreached.get()}), Poco::SystemException);
    fault.reset();
    EXPECT_TRUE(handler.waitForDn("A=1"));
    EXPECT_EQ(1u, handler.count());
}

TEST_F(NotificationServiceRunnableGroup, DeliversEveryNotificationOfALongBatchInOrder)
{
    RecordingHandler handler(1);
    add(1);
    Batch batch;
    std::vector<std::string> sent;
    for (int i = 0; i < 400; ++i)
    {
        sent.push_back("A=" + std::to_string(i));
        batch.push_back(new NbiNotification(&*makeNotification(1000, sent.back(), objectCreated)));
    }
    registry().handleMessages(batch);
    EXPECT_TRUE(handler.waitFor(sent.size()));
    EXPECT_EQ(handler.dns(), sent);
}

// The first group is delivered while the test's filter keeps the service thread at the first record of the second.
TEST_F(NotificationServiceRunnableGroup, FreesDeliveredRecordsOnTheThreadThatHasMadeThem)
{
    RecordingHandler first(1);
    RecordingHandler second(2);
    unsigned int asked = 0;
    const auto whenAsked = [&]
    {
        if (++asked == 65)
        {
            EXPECT_TRUE(first.waitFor(64));
            EXPECT_TRUE(second.waitFor(64));
        }
    };
    add(1, whenAsked);
    add(2);
    const Batch batch = records(66);
    const AttributeLedger ledger;
    registry().handleMessages(batch);
    EXPECT_GE(ledger.releases.size(), batch.size() + 32) << "the messages' own records, and some of those delivered";
    EXPECT_FALSE(registry()._returns._open);
    EXPECT_TRUE(registry()._returns._returned.empty());
    EXPECT_TRUE(registry()._returns._collected.empty());
}

class NotificationServiceRunnableReturns : public NotificationServiceRunnableGroup
{
protected:
    // Whether the way back is open while a batch of so many is handled.
    bool isOpenFor(size_t messages)
    {
        _wasOpen = false;
        registry().handleMessages(records(messages));
        EXPECT_FALSE(registry()._returns._open);
        return _wasOpen;
    }
    void addLooking(unsigned int handle)
    {
        add(handle, [this] { _wasOpen = registry()._returns._open; });
    }

private:
    bool _wasOpen = false;
};

TEST_F(NotificationServiceRunnableReturns, AreOpenForSeveralNotificationsToSeveralSubscriptions)
{
    addLooking(1);
    EXPECT_FALSE(isOpenFor(2)) << "a single subscription";
    addLooking(2);
    EXPECT_FALSE(isOpenFor(1)) << "a single notification";
    EXPECT_TRUE(isOpenFor(2));
}

TEST_F(NotificationServiceRunnableReturns, AreClosedWhenANotificationEndsTheThread)
{
    std::unique_ptr<MutexFault> fault;
    add(1, [&] { fault = std::make_unique<MutexFault>(registry()._notificationBuffer._mutex, MutexFault::lockFails); });
    add(2);
    const std::unique_ptr<Orv::PipeMessage> unreached(record());
    EXPECT_THROW(registry().handleMessages({record(), record(), unreached.get()}), Poco::SystemException);
    EXPECT_FALSE(registry()._returns._open);
}

TEST_F(NotificationServiceRunnableReturns, StayAsTheyAreWhenTheRegistryCannotBeLockedAtTheEnd)
{
    std::unique_ptr<MutexFault> fault;
    bool isArmed = true;
    const auto whenAsked = [&]
    {
        if (isArmed)
        {
            fault = std::make_unique<MutexFault>(registry()._mutex, MutexFault::lockFails);
        }
    };
    add(1);
    add(2, whenAsked);
    const std::unique_ptr<Orv::PipeMessage> unreached(record());
    EXPECT_THROW(registry().handleMessages({record(), record(), unreached.get()}), Poco::SystemException);
    fault.reset();
    isArmed = false;
    EXPECT_TRUE(registry()._returns._open);
    registry().handleMessages(records(2));
    EXPECT_FALSE(registry()._returns._open);
}

TEST_F(NotificationServiceRunnableReturns, ThatCannotBeClosedAreAnExceptionOfTheBatch)
{
    std::unique_ptr<MutexFault> fault;
    unsigned int asked = 0;
    const auto whenAsked = [&]
    {
        if (++asked == 2)
        {
            fault = std::make_unique<MutexFault>(registry()._mutex, MutexFault::lockFails);
        }
    };
    add(1);
    add(2, whenAsked);
    EXPECT_THROW(registry().handleMessages(records(2)), Poco::SystemException);
    fault.reset();
    EXPECT_EQ(2u, asked) << "all of the batch was handled";
    registry().handleMessages(records(2));
    EXPECT_FALSE(registry()._returns._open);
}

TEST_F(NotificationServiceRunnableReturns, TakeWhatHasBeenDeliveredBeforeARunPauses)
{
    RecordingHandler handler(1);
    size_t given = 0;
    handler.answer({OrvOk, OrvRetry});
    handler.answerWith(
        [&](const Received&)
        {
            given = registry()._returns._returned.size();
            return OrvOk;
        });
    handler.hold();
    add(1);
    registry()._returns.open();
    registry().notifyHandlers(&*makeNotification(1000, "A=1", objectCreated));
    EXPECT_TRUE(handler.waitUntilHeld());
    registry().notifyHandlers(&*makeNotification(1000, "A=2", objectCreated));
    handler.release();
    EXPECT_TRUE(handler.waitFor(3));
    EXPECT_EQ(OrvOk, registry().removeSubscription(1));
    EXPECT_EQ(1u, given);
    registry()._returns.close();
}

// With the way open, giving back takes a mutex: what arrives there comes behind the run's look at the empty queue.
TEST_F(NotificationServiceRunnableReturns, LetARunSeeWhatArrivesMeanwhile)
{
    RecordingHandler handler(1);
    add(1);
    registry()._returns.open();
    std::atomic<bool> arrived{false};
    {
        const LockNotice notice(registry()._returns._mutex,
                                [&](LockNotice::Operation operation)
                                {
                                    if (operation == LockNotice::triesToLock && !arrived.exchange(true))
                                    {
                                        registry().notifyHandlers(&*makeNotification(1000, "A=2", objectCreated));
                                    }
                                });
        registry().notifyHandlers(&*makeNotification(1000, "A=1", objectCreated));
        EXPECT_TRUE(handler.waitForDn("A=2"));
        EXPECT_EQ(OrvOk, registry().removeSubscription(1));
    }
    registry()._returns.close();
}

TEST_F(NotificationServiceRunnableReturns, AreEmptiedByARemoval)
{
    RecordingHandler handler(1);
    add(1);
    registry()._returns.open();
    registry().notifyHandlers(&*makeNotification(1000, "A=1", objectCreated));
    ASSERT_TRUE(handler.waitForDn("A=1"));
    EXPECT_EQ(OrvOk, registry().removeSubscription(1));
    EXPECT_TRUE(registry()._returns._returned.empty());
    EXPECT_TRUE(registry()._returns._collected.empty());
    registry()._returns.close();
}

}  // namespace
