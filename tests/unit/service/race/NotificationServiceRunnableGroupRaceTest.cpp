// Interleavings with the notifications that share their delivery runs: whatever comes between two of them.
#include <atomic>
#include <cstring>
#include <deque>
#include <future>
#include <memory>
#include <thread>

#include "Interleaving.h"
#include "ManualClock.h"
#include "MutexFault.h"
#include "NbiNotification.h"
#include "RegistryRaceTest.h"
#include "SyncPoint.h"

using namespace OrvTest;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

typedef OrvOamSpiNbiNotificationValue_1 Record;

// Two notifications on their way through a thread of its own, as the service thread handles them: A=1, and after it has
// been kept before it locks the registry for the second time, B=1.
class HeldGroup
{
public:
    // Returns when the thread is kept.
    HeldGroup(OrvNbiNotificationService::NotificationServiceRunnable& registry, int64_t eventTime)
        : _notice(registry._mutex, [this] { keepAtTheSecond(); }),
          _thread(
              [&registry, eventTime] {
                  registry.handleMessages({message(eventTime, "A=1"), message(eventTime, "B=1")});
              })
    {
        _kept.get_future().wait();
    }
    ~HeldGroup() { finish(); }

    void finish()
    {
        if (_thread.joinable())
        {
            _goOn.set_value();
            _thread.join();
        }
    }

    HeldGroup(const HeldGroup&) = delete;
    HeldGroup& operator=(const HeldGroup&) = delete;

private:
    static Orv::PipeMessage* message(int64_t eventTime, const std::string& dn)
    {
        return new OrvNbiNotificationService::NbiNotification(&*makeNotification(eventTime, dn, objectCreated));
    }

    // Nobody else locks the registry before the thread is kept.
    void keepAtTheSecond()
    {
        if (++_attempts == 2)
        {
            _kept.set_value();
            _goOn.get_future().wait();
        }
    }

    std::atomic<unsigned int> _attempts{0};
    std::promise<void> _kept;
    std::promise<void> _goOn;
    const LockNotice _notice;
    std::thread _thread;
};

class NotificationServiceRunnableGroupRace : public RegistryRaceTest
{
protected:
    static constexpr int64_t NOW = 1600000000000000;
    static constexpr int64_t HOUR = 3600000000;

    // The subscription has the group's first record, and no run for it has been started.
    void expectDue(unsigned int handle)
    {
        EXPECT_TRUE(subscription(handle)._startDue);
        EXPECT_EQ(subscription(handle).queueSize(), 1u);
    }
    // The group's end, and all that handle 1 has got then.
    void finishAndExpect(HeldGroup& group, const std::vector<std::string>& dns, const std::vector<int32_t>& types)
    {
        group.finish();
        deliverAll(1);
        EXPECT_EQ(first.dns(), dns);
        EXPECT_EQ(first.types(), types);
    }

    const ManualClock clock{NOW};  // so that a slow machine does not end a group
};

TEST_F(NotificationServiceRunnableGroupRace, ARecordOfTheGroupIsDeliveredWhileARemovalWaitsForAnothersHandler)
{
    filters[1].match = [](const Record& record) { return std::strcmp(record.dn, "X=1") != 0; };
    ASSERT_EQ(add(1), OrvOk);
    ASSERT_EQ(add(2), OrvOk);
    second.hold();
    store(1000, "X=1");
    ASSERT_TRUE(second.waitUntilHeld());
    HeldGroup group(registry, 1000);
    expectDue(1);
    std::thread remover =
        startUntilItWaitsForTheHandler(framework, [this] { EXPECT_EQ(registry.removeSubscription(2), OrvOk); });
    EXPECT_TRUE(first.waitForDn("A=1"));
    EXPECT_EQ(filters[2].destroyed, 0u);
    second.release();
    remover.join();
    finishAndExpect(group, {"A=1", "B=1"}, {objectCreated, objectCreated});
    EXPECT_THAT(second.dns(), ElementsAre("X=1"));
}

TEST_F(NotificationServiceRunnableGroupRace, ARecordOfTheGroupIsDeliveredDuringTheReplayOfANewcomerWhichGetsAllOnce)
{
    std::promise<void> replaying;
    std::promise<void> goOn;
    Once asked;
    filters[2].match = [&](const Record&)
    {
        if (asked.first())
        {
            replaying.set_value();
            goOn.get_future().wait();
        }
        return true;
    };
    ASSERT_EQ(add(1), OrvOk);
    HeldGroup group(registry, 1000);
    expectDue(1);
    std::thread newcomer([this] { EXPECT_EQ(add(2, 1), OrvOk); });
    replaying.get_future().wait();
    EXPECT_TRUE(first.waitForDn("A=1"));
    goOn.set_value();
    newcomer.join();
    finishAndExpect(group, {"A=1", "B=1"}, {objectCreated, objectCreated});
    deliverAll(2);
    EXPECT_THAT(second.dns(), ElementsAre("-", "A=1", "-", "B=1"));
    EXPECT_THAT(second.types(), ElementsAre(replayGap, objectCreated, replayComplete, objectCreated));
}

// A subscription that is removed between two records of a group, with one of them in its queue. A second one stays.
class NotificationServiceRunnableGroupRemoval : public NotificationServiceRunnableGroupRace
{
protected:
    NotificationServiceRunnableGroupRemoval()
    {
        filters[2].match = [](const Record& record) { return std::strcmp(record.dn, "A=1") != 0; };
        EXPECT_EQ(add(1), OrvOk);
        EXPECT_EQ(add(2), OrvOk);
    }

    void expectThatNothingFollows(HeldGroup& group)
    {
        EXPECT_EQ(filters[1].destroyed, 1u);
        EXPECT_THAT(registry._returns._returned, IsEmpty());
        EXPECT_THAT(registry._returns._collected, IsEmpty());
        const size_t delivered = first.count();
        group.finish();
        deliverAll(2);
        EXPECT_THAT(second.dns(), ElementsAre("B=1"));
        EXPECT_EQ(filters[1].matchCalls, 1u);
        EXPECT_EQ(first.count(), delivered);
        EXPECT_EQ(RecordingHandler::strays(), _strays);
    }

private:
    const unsigned int _strays = RecordingHandler::strays();
};

TEST_F(NotificationServiceRunnableGroupRemoval, WaitsForTheRecordThatItHasSetGoing)
{
    HeldGroup group(registry, 1000);
    expectDue(1);
    first.hold();
    SyncPoint stop(framework, "stop", " >> ");
    std::thread remover([this] { EXPECT_EQ(registry.removeSubscription(1), OrvOk); });
    EXPECT_TRUE(stop.waitUntilHeld());
    EXPECT_TRUE(first.waitUntilHeld());
    stop.release();
    EXPECT_TRUE(framework.log().waitFor(LogLine::trace, EMPTIED, 1, RecordingHandler::TIMEOUT_SECONDS));
    EXPECT_EQ(filters[1].destroyed, 0u);
    first.release();
    remover.join();
    EXPECT_THAT(first.dns(), ElementsAre("A=1"));
    expectThatNothingFollows(group);
}

TEST_F(NotificationServiceRunnableGroupRemoval, DropsTheRecordWhoseRunComesLate)
{
    HeldGroup group(registry, 1000);
    expectDue(1);
    SyncPoint run(framework, "processQueueImpl", " >> ");
    std::thread remover =
        startUntilItWaitsForTheHandler(framework, [this] { EXPECT_EQ(registry.removeSubscription(1), OrvOk); });
    EXPECT_TRUE(run.waitUntilHeld());
    run.release();
    remover.join();
    EXPECT_THAT(first.dns(), IsEmpty());
    expectThatNothingFollows(group);
}

TEST_F(NotificationServiceRunnableGroupRace, AClockChangeSetsTheGroupGoingAndItsNoticeComesBehindTheRecord)
{
    ASSERT_EQ(add(1), OrvOk);
    HeldGroup group(registry, NOW);
    expectDue(1);
    registry.systemClockChanged(NOW);
    EXPECT_TRUE(first.waitForType(discardedOld));
    EXPECT_EQ(stored(), 0u);
    finishAndExpect(group, {"A=1", "-", "B=1"}, {objectCreated, discardedOld, objectCreated});
    EXPECT_EQ(stored(), 1u);
}

TEST_F(NotificationServiceRunnableGroupRace, AHeartbeatSetsTheGroupGoingAndComesBehindTheRecord)
{
    ASSERT_EQ(add(1), OrvOk);
    HeldGroup group(registry, 1000);
    expectDue(1);
    subscription(1).onHeartbeatTimer(subscription(1)._heartbeatTimer);
    EXPECT_TRUE(first.waitForType(heartbeatNotification));
    finishAndExpect(group, {"A=1", "-", "B=1"}, {objectCreated, heartbeatNotification, objectCreated});
}

TEST_F(NotificationServiceRunnableGroupRace, AStopTimeSetsTheGroupGoingAndItsNoticeComesBehindTheRecordAndLast)
{
    ASSERT_EQ(add(1, 0, NOW + HOUR), OrvOk);
    HeldGroup group(registry, 1000);
    expectDue(1);
    subscription(1).onTimer(subscription(1)._timer);
    EXPECT_TRUE(first.waitForType(notificationComplete));
    finishAndExpect(group, {"A=1", "-"}, {objectCreated, notificationComplete});
}

}  // namespace
