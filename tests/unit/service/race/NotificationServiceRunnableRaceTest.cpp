// Interleavings at the registry: newcomers, removals, records and clock changes on threads of their own.
#include <functional>
#include <future>
#include <thread>

#include "Interleaving.h"
#include "ManualClock.h"
#include "MutexFault.h"
#include "RegistryRaceTest.h"
#include "SyncPoint.h"
#include "WaitNotice.h"

using namespace OrvTest;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

const char DISCARDED_ONE[] = "Discarded 1 notifications from replay buffer due to system clock change. ";

class NotificationServiceRunnableRace : public RegistryRaceTest
{
protected:
    // Subscribes handle 1 and starts its removal, which waits with the registry locked for the call of its handler.
    std::thread removalThatWaitsForTheHandler()
    {
        EXPECT_EQ(add(1), OrvOk);
        first.hold();
        store(1000, "A=1");
        EXPECT_TRUE(first.waitUntilHeld());
        return startUntilItWaitsForTheHandler(framework, [this] { EXPECT_EQ(registry.removeSubscription(1), OrvOk); });
    }

    // The same for what comes to wait for the registry lock, which somebody else must hold.
    std::thread startUntilItWaitsForTheRegistry(const std::function<void()>& action)
    {
        return startUntilItWaits(registry._mutex, action);
    }

    // A record comes while a newcomer's construction is held at this place.
    void storeDuringTheConstruction(const std::string& function, const std::string& text)
    {
        store(1000, "A=1");
        SyncPoint construction(framework, function, text);
        std::thread newcomer([this] { EXPECT_EQ(add(1, 1), OrvOk); });
        ASSERT_TRUE(construction.waitUntilHeld());
        std::thread service = startUntilItWaitsForTheRegistry([this] { store(2000, "B=1"); });
        EXPECT_THAT(registry._subscriptions, IsEmpty());
        construction.release();
        newcomer.join();
        service.join();
        deliverAll(1);
        EXPECT_THAT(first.dns(), ElementsAre("-", "A=1", "-", "B=1"));
        EXPECT_THAT(first.types(), ElementsAre(replayGap, objectCreated, replayComplete, objectCreated));
    }
};

TEST_F(NotificationServiceRunnableRace, ANewcomerDuringAFanOutGetsTheRecordByReplayAlone)
{
    ASSERT_EQ(add(1), OrvOk);
    SyncPoint fanOut(framework, "offerToSubscriptions", "Sending notification to subscriptionHandle: 1");
    std::thread service([this] { store(1000, "A=1"); });
    ASSERT_TRUE(fanOut.waitUntilHeld());
    std::thread newcomer = startUntilItWaitsForTheRegistry([this] { EXPECT_EQ(add(2, 1), OrvOk); });
    EXPECT_EQ(registry._subscriptions.size(), 1u);
    fanOut.release();
    service.join();
    newcomer.join();
    store(2000, "B=1");
    deliverAll(1);
    deliverAll(2);
    EXPECT_THAT(first.dns(), ElementsAre("A=1", "B=1"));
    EXPECT_THAT(second.dns(), ElementsAre("-", "A=1", "-", "B=1"));
    EXPECT_THAT(second.types(), ElementsAre(replayGap, objectCreated, replayComplete, objectCreated));
}

TEST_F(NotificationServiceRunnableRace, ARecordDuringAReplayReachesTheNewcomerLiveAlone)
{
    storeDuringTheConstruction("replay", "Pushing replayComplete notification");
}

TEST_F(NotificationServiceRunnableRace, ARecordBetweenConstructionAndEntryReachesTheNewcomerLiveAlone)
{
    storeDuringTheConstruction("NotificationSubscription", " << ");
}

TEST_F(NotificationServiceRunnableRace, ARemovalDuringAFanOutWaitsUntilTheRecordWasOffered)
{
    ASSERT_EQ(add(1), OrvOk);
    ASSERT_EQ(add(2), OrvOk);
    SyncPoint fanOut(framework, "offerToSubscriptions", "Sending notification to subscriptionHandle: 1");
    std::thread service([this] { store(1000, "A=1"); });
    ASSERT_TRUE(fanOut.waitUntilHeld());
    std::thread remover = startUntilItWaitsForTheRegistry([this] { EXPECT_EQ(registry.removeSubscription(2), OrvOk); });
    EXPECT_EQ(filters[2].matchCalls, 0u);
    fanOut.release();
    service.join();
    remover.join();
    EXPECT_EQ(filters[2].matchCalls, 1u);
    EXPECT_EQ(filters[2].destroyed, 1u);
    store(2000, "B=1");
    EXPECT_EQ(filters[2].matchCalls, 1u);
}

TEST_F(NotificationServiceRunnableRace, ARecordDuringARemovalIsNotOfferedToTheRemovedOne)
{
    std::thread remover = removalThatWaitsForTheHandler();
    std::thread service = startUntilItWaitsForTheRegistry([this] { store(2000, "B=1"); });
    EXPECT_EQ(stored(), 1u);
    first.release();
    remover.join();
    service.join();
    EXPECT_EQ(stored(), 2u);
    EXPECT_EQ(filters[1].matchCalls, 1u);
    EXPECT_THAT(first.dns(), ElementsAre("A=1"));
}

TEST_F(NotificationServiceRunnableRace, ANewcomerWithTheHandleOfARemovalInProgressTakesItOver)
{
    std::thread remover = removalThatWaitsForTheHandler();
    std::thread newcomer = startUntilItWaitsForTheRegistry([this] { EXPECT_EQ(add(1), OrvOk); });
    first.release();
    remover.join();
    newcomer.join();
    EXPECT_THAT(messages(lines()), IsEmpty());
    store(2000, "B=1");
    deliverAll(1);
    EXPECT_THAT(first.dns(), ElementsAre("A=1", "B=1"));
}

TEST_F(NotificationServiceRunnableRace, OfTwoRemovalsTheSecondFindsNothing)
{
    std::thread remover = removalThatWaitsForTheHandler();
    std::thread late =
        startUntilItWaitsForTheRegistry([this] { EXPECT_EQ(registry.removeSubscription(1), OrvNotFound); });
    first.release();
    remover.join();
    late.join();
    EXPECT_EQ(filters[1].destroyed, 1u);
}

TEST_F(NotificationServiceRunnableRace, AStopTimerThatARemovalOvertookIsDeliveredBeforeTheRemovalReturns)
{
    const int64_t now = 1600000000000000;
    const ManualClock clock(now);
    const unsigned int strays = RecordingHandler::strays();
    SyncPoint callback(framework, "sendNotificationComplete", " >> ");
    ASSERT_EQ(add(1, 0, now + 1), OrvOk);  // fires at once
    ASSERT_TRUE(callback.waitUntilHeld());
    const WaitNotice notice(WaitNotice::timerStop, [&] { callback.release(); });  // the destructor comes to wait
    EXPECT_EQ(registry.removeSubscription(1), OrvOk);
    EXPECT_THAT(first.types(), ElementsAre(notificationComplete));
    EXPECT_EQ(filters[1].destroyed, 1u);
    EXPECT_EQ(RecordingHandler::strays(), strays);
}

// The record has been judged by the old time when the clock changes, and is not stored yet.
TEST_F(NotificationServiceRunnableRace, AClockChangeBehindTheJudgementOfARecordDiscardsItWithTheOthers)
{
    ASSERT_EQ(add(1), OrvOk);
    std::promise<void> judged;
    std::promise<void> goOn;
    Once judgement;
    std::thread service;
    std::thread event;
    {
        const LockNotice notice(registry._notificationBuffer._mutex,
                                [&]
                                {
                                    if (judgement.first())
                                    {
                                        judged.set_value();
                                        goOn.get_future().wait();
                                    }
                                });
        service = std::thread([this] { store(1000, "Old=1"); });
        judged.get_future().wait();
        event = std::thread([this] { registry.systemClockChanged(5000); });
        while (registry.getNotificationBuffer().getBufferCreationTime() != 5000)
        {
            std::this_thread::yield();
        }
        goOn.set_value();
        service.join();
        event.join();
    }
    EXPECT_EQ(stored(), 0u);
    EXPECT_TRUE(logged(lines(), 4, DISCARDED_ONE));
    EXPECT_EQ(messages(lines()).size(), 1u);
    deliverAll(1);
    EXPECT_THAT(first.types(), ElementsAre(objectCreated, discardedOld));
}

// The clock change has set its time and has not taken the registry lock yet.
TEST_F(NotificationServiceRunnableRace, ARecordBehindTheTimeOfAClockChangeIsJudgedByItAndDiscardedIfItPasses)
{
    ASSERT_EQ(add(1), OrvOk);
    SyncPoint timeIsSet(framework, "systemClockChanged", " << ");
    std::thread event([this] { registry.systemClockChanged(5000); });
    ASSERT_TRUE(timeIsSet.waitUntilHeld());
    store(4999, "Old=1");
    EXPECT_EQ(stored(), 0u);
    store(5000, "New=1");
    EXPECT_EQ(stored(), 1u);
    timeIsSet.release();
    event.join();
    EXPECT_EQ(stored(), 0u);
    ASSERT_EQ(messages(lines()).size(), 2u);
    EXPECT_THAT(messages(lines())[0], testing::StartsWith("4 Discarded notification due to invalid timestamp: "));
    EXPECT_EQ(messages(lines())[1], std::string("4 ") + DISCARDED_ONE);
    deliverAll(1);
    EXPECT_THAT(first.dns(), ElementsAre("New=1", "-"));
}

TEST_F(NotificationServiceRunnableRace, AClockChangeDuringAReplayIsHeardBehindIt)
{
    store(1000, "A=1");
    SyncPoint replay(framework, "replay", "Pushing replayComplete notification");
    std::thread newcomer([this] { EXPECT_EQ(add(1, 1), OrvOk); });
    ASSERT_TRUE(replay.waitUntilHeld());
    std::thread event = startUntilItWaitsForTheRegistry([this] { registry.systemClockChanged(5000); });
    EXPECT_EQ(registry.getNotificationBuffer().getBufferCreationTime(), 5000);
    replay.release();
    newcomer.join();
    event.join();
    deliverAll(1);
    EXPECT_THAT(first.types(), ElementsAre(replayGap, objectCreated, replayComplete, discardedOld));
}

TEST_F(NotificationServiceRunnableRace, ANewcomerDuringAClockChangeReplaysAnEmptyBufferAndHearsNothingOfIt)
{
    ASSERT_EQ(add(1), OrvOk);
    store(1000, "A=1");
    SyncPoint notice(framework, "offerToSubscriptions", "Sending notification to subscriptionHandle: 1");
    std::thread event([this] { registry.systemClockChanged(5000); });
    ASSERT_TRUE(notice.waitUntilHeld());
    std::thread newcomer = startUntilItWaitsForTheRegistry([this] { EXPECT_EQ(add(2, 4999), OrvOk); });
    notice.release();
    event.join();
    newcomer.join();
    store(6000, "B=1");
    deliverAll(1);
    deliverAll(2);
    EXPECT_THAT(first.types(), ElementsAre(objectCreated, discardedOld, objectCreated));
    EXPECT_THAT(second.types(), ElementsAre(replayGap, replayComplete, objectCreated));
}

TEST_F(NotificationServiceRunnableRace, OfTheTimeQueriesDuringAReplayThoseOfTheStoreWaitAndThatOfTheCreationDoesNot)
{
    store(1000, "A=1");
    std::promise<void> replaying;
    std::promise<void> goOn;
    filters[1].match = [&](const OrvOamSpiNbiNotificationValue_1&)
    {
        replaying.set_value();
        goOn.get_future().wait();
        return true;
    };
    std::thread newcomer([this] { EXPECT_EQ(add(1, 1), OrvOk); });
    replaying.get_future().wait();
    EXPECT_NE(registry.getNotificationBuffer().getBufferCreationTime(), 0);
    std::promise<void> waits;
    std::future<long long> oldest;
    {
        const LockNotice notice(registry._notificationBuffer._mutex, [&] { waits.set_value(); });
        oldest = std::async(std::launch::async,
                            [this] { return registry.getNotificationBuffer().getOldestBufferTimestamp(); });
        waits.get_future().wait();
    }
    const bool isFree = registry._notificationBuffer._mutex.tryLock();
    EXPECT_FALSE(isFree) << "what the query has come to wait for";
    if (isFree)
    {
        registry._notificationBuffer._mutex.unlock();
    }
    goOn.set_value();
    EXPECT_EQ(oldest.get(), 1000);
    newcomer.join();
}

}  // namespace
