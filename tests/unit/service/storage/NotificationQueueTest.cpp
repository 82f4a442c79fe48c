#include "NotificationQueue.h"

#include <limits>
#include <list>
#include <new>
#include <random>
#include <type_traits>

#include "AllocationFault.h"
#include "AttributeLedger.h"
#include "StorageTest.h"

namespace
{

using OrvTest::AllocationFault;
using OrvTest::at;
using OrvTest::AttributeLedger;
using OrvTest::dns;
using OrvTest::int32Attribute;
using OrvTest::makeNotification;
using OrvTest::Notification;
using OrvTest::times;

typedef std::vector<int64_t> Times;
typedef std::vector<std::string> Texts;

class NotificationQueueTest : public OrvTest::StorageTest
{
protected:
    static void push(NotificationQueue& queue, const std::vector<int64_t>& eventTimes)
    {
        for (const int64_t time : eventTimes)
        {
            queue.push(*at(time));
        }
    }
};

TEST_F(NotificationQueueTest, StartsEmptyWithItsStorageReserved)
{
    const NotificationQueue queue(7);
    EXPECT_EQ(queue._maxSize, 7u);
    EXPECT_EQ(queue._lastAgedTime, 0);
    EXPECT_TRUE(queue._notifications.empty());
    EXPECT_GE(queue._notifications.capacity(), 7u);
    static_assert(std::has_virtual_destructor<NotificationQueue>::value, "the destructor is virtual");
}

TEST_F(NotificationQueueTest, StoresADeepCopy)
{
    NotificationQueue queue(3);
    Notification source = makeNotification(10, "A=1", attributeChanged, {int32Attribute("x", 1)});
    queue.push(*source);
    source->dn[0] = 'Z';
    source->attributes[0]->values[0].i32 = 2;
    ASSERT_EQ(queue._notifications.size(), 1u);
    EXPECT_NE(queue._notifications[0], &*source);
    EXPECT_STREQ(queue._notifications[0]->dn, "A=1");
    EXPECT_EQ(queue._notifications[0]->attributes[0]->values[0].i32, 1);
}

TEST_F(NotificationQueueTest, PutsEachRecordAtItsPlaceByTime)
{
    NotificationQueue queue(5);
    push(queue, {30, 10, 50, 20, 40});
    EXPECT_EQ(times(queue._notifications), (Times{10, 20, 30, 40, 50}));
}

TEST_F(NotificationQueueTest, AFullStoreAgesOutItsOldestRecordForANewerOne)
{
    NotificationQueue queue(3);
    AttributeLedger ledger;
    queue.push(*makeNotification(10, "A=1", objectCreated, {int32Attribute("x", 1)}));
    push(queue, {20, 30});
    queue.push(*at(25));
    EXPECT_EQ(times(queue._notifications), (Times{20, 25, 30}));
    EXPECT_EQ(queue._lastAgedTime, 10);
    // The one attribute belonged to the oldest record.
    EXPECT_EQ(ledger.releases, ledger.copies);
}

TEST_F(NotificationQueueTest, AFullStoreAgesOutItsOldestRecordEvenForAnOlderOne)
{
    NotificationQueue queue(3);
    push(queue, {10, 20, 30, 5});
    EXPECT_EQ(times(queue._notifications), (Times{5, 20, 30}));
    EXPECT_EQ(queue._lastAgedTime, 10);
    EXPECT_LT(queue._notifications.front()->eventTime, queue._lastAgedTime);
}

TEST_F(NotificationQueueTest, RecordsOfOneTimeStandNewestFirst)
{
    NotificationQueue queue(3);
    queue.push(*at(10, "A"));
    queue.push(*at(10, "B"));
    queue.push(*at(10, "C"));
    EXPECT_EQ(dns(queue._notifications), (Texts{"C", "B", "A"}));
}

TEST_F(NotificationQueueTest, ANewRecordStandsInFrontOfTheEarlierOneOfItsTime)
{
    NotificationQueue queue(3);
    queue.push(*at(10, "first"));
    queue.push(*at(20, "second"));
    queue.push(*at(10, "X"));
    EXPECT_EQ(dns(queue._notifications), (Texts{"X", "first", "second"}));
}

TEST_F(NotificationQueueTest, ZeroAndNegativeTimesSortFirst)
{
    NotificationQueue queue(6);
    const int64_t least = std::numeric_limits<int64_t>::min();
    const int64_t most = std::numeric_limits<int64_t>::max();
    push(queue, {10, most, 0, -5, least, 20});
    EXPECT_EQ(times(queue._notifications), (Times{least, -5, 0, 10, 20, most}));
}

TEST_F(NotificationQueueTest, ComparesTimesAsSignedAndEqualOnesAsNotInOrder)
{
    const Notification early = at(-1);
    const Notification late = at(1);
    const Notification alsoLate = at(1);
    EXPECT_TRUE(NotificationQueue::compareNotificationsInEventTimeOrder(&*early, &*late));
    EXPECT_FALSE(NotificationQueue::compareNotificationsInEventTimeOrder(&*late, &*early));
    EXPECT_FALSE(NotificationQueue::compareNotificationsInEventTimeOrder(&*late, &*alsoLate));
    EXPECT_FALSE(NotificationQueue::compareNotificationsInEventTimeOrder(&*alsoLate, &*late));
}

TEST_F(NotificationQueueTest, NeverReallocatesWhileRecordsComeAndGo)
{
    NotificationQueue queue(10);
    const auto* const storage = queue._notifications.data();
    for (int64_t time = 0; time < 1000; ++time)
    {
        queue.push(*at(time * 7919 % 101));
        ASSERT_LE(queue._notifications.size(), 10u);
    }
    EXPECT_EQ(queue._notifications.data(), storage);
}

TEST_F(NotificationQueueTest, PopFreesTheFrontRecordAndDoesNotCountItAsAged)
{
    NotificationQueue queue(3);
    AttributeLedger ledger;
    queue.push(*makeNotification(10, "A=1", objectCreated, {int32Attribute("x", 1)}));
    queue.push(*at(20));
    queue.pop();
    EXPECT_EQ(times(queue._notifications), Times{20});
    EXPECT_EQ(queue._lastAgedTime, 0);
    EXPECT_EQ(ledger.copies.size(), 1u);
    EXPECT_EQ(ledger.releases, ledger.copies);
}

TEST_F(NotificationQueueTest, PopOnAnEmptyStoreDoesNothing)
{
    NotificationQueue queue(3);
    queue.pop();
    EXPECT_TRUE(queue._notifications.empty());
    EXPECT_EQ(queue._lastAgedTime, 0);
}

TEST_F(NotificationQueueTest, RemovingAnOldRecordAgesOutTheFrontOfAStoreThatIsNotFull)
{
    NotificationQueue queue(3);
    push(queue, {10, 20});
    queue.removeOldNotification();
    EXPECT_EQ(times(queue._notifications), Times{20});
    EXPECT_EQ(queue._lastAgedTime, 10);
}

TEST_F(NotificationQueueTest, ClearAfterAgeingEmptiesTheStoreAndKeepsTheLastAgedTime)
{
    NotificationQueue queue(3);
    push(queue, {10, 20, 30, 40});
    queue.clear();
    EXPECT_TRUE(queue._notifications.empty());
    EXPECT_EQ(queue._lastAgedTime, 10);
    push(queue, {50});
    EXPECT_EQ(times(queue._notifications), Times{50});
}

TEST_F(NotificationQueueTest, ClearAndTheDestructorFreeEveryRecordOnceFromFirstToLast)
{
    AttributeLedger ledger;
    {
        NotificationQueue queue(3);
        for (int round = 0; round < 2; ++round)
        {
            for (const int64_t time : {10, 20, 30})
            {
                queue.push(*makeNotification(time, "A=1", objectCreated, {int32Attribute("x", 1)}));
            }
            if (round == 0)
            {
                queue.clear();
                EXPECT_EQ(ledger.releases, ledger.copies);
            }
        }
    }
    EXPECT_EQ(ledger.copies.size(), 6u);
    EXPECT_EQ(ledger.releases, ledger.copies);
}

TEST_F(NotificationQueueTest, FreeingTheRecordsLeavesTheVectorWithItsLength)
{
    NotificationQueue queue(3);
    push(queue, {10, 20});
    queue.deleteNotifications();
    EXPECT_EQ(queue._notifications.size(), 2u);
    // What the pointers led to is gone; a second release at the end of the test would be an error.
    queue._notifications.clear();
}

TEST_F(NotificationQueueTest, SetSizeOnAnEmptyStoreForgetsTheLastAgedTime)
{
    NotificationQueue queue(1);
    push(queue, {10, 20});
    queue.clear();
    ASSERT_EQ(queue._lastAgedTime, 10);
    EXPECT_TRUE(queue.setSize(2));
    EXPECT_EQ(queue._lastAgedTime, 0);
}

TEST_F(NotificationQueueTest, TheSecondOfTwoSizesForAnEmptyStoreCounts)
{
    NotificationQueue queue(3);
    EXPECT_TRUE(queue.setSize(5));
    EXPECT_TRUE(queue.setSize(2));
    EXPECT_EQ(queue._maxSize, 2u);
    push(queue, {10, 20, 30});
    EXPECT_EQ(times(queue._notifications), (Times{20, 30}));
}

TEST_F(NotificationQueueTest, AGreaterSizeReservesAndASmallerOneLeavesTheStorage)
{
    NotificationQueue queue(3);
    EXPECT_TRUE(queue.setSize(500));
    EXPECT_GE(queue._notifications.capacity(), 500u);
    EXPECT_TRUE(queue.setSize(2));
    EXPECT_GE(queue._notifications.capacity(), 500u);
}

TEST_F(NotificationQueueTest, SetSizeOnAStoreWithRecordsWarnsAndChangesNothing)
{
    NotificationQueue queue(2);
    push(queue, {10, 20, 30});
    framework.log().clear();
    EXPECT_FALSE(queue.setSize(5));
    EXPECT_EQ(OrvTest::described(framework.lines()),
              (Texts{"log 4 setSize: \"Attempt to change buffer size with notifications in\"",
                     "traceV2 4 setSize: \"Attempt to change buffer size with notifications in\""}));
    EXPECT_EQ(framework.lines()[0].flag, 1);
    EXPECT_EQ(queue._maxSize, 2u);
    EXPECT_EQ(queue._lastAgedTime, 10);
    EXPECT_EQ(times(queue._notifications), (Times{20, 30}));
}

TEST_F(NotificationQueueTest, SetSizeZeroOnAStoreWithRecordsWarnsToo)
{
    NotificationQueue queue(2);
    push(queue, {10});
    EXPECT_FALSE(queue.setSize(0));
    EXPECT_TRUE(OrvTest::logged(framework.lines(), 4, "Attempt to change buffer size with notifications in"));
}

TEST_F(NotificationQueueTest, TheWarningIsNotWrittenBelowItsSeverity)
{
    NotificationQueue queue(2);
    push(queue, {10});
    framework.setLevel(3);
    framework.log().clear();
    EXPECT_FALSE(queue.setSize(5));
    EXPECT_TRUE(framework.lines().empty());
}

TEST_F(NotificationQueueTest, SetSizeZeroIsRefusedWithoutAMessage)
{
    NotificationQueue queue(1);
    push(queue, {10, 20});
    queue.clear();
    traceEverything();
    EXPECT_FALSE(queue.setSize(0));
    EXPECT_EQ(OrvTest::messages(framework.lines()), Texts());
    EXPECT_EQ(queue._maxSize, 1u);
    EXPECT_EQ(queue._lastAgedTime, 10);
}

TEST_F(NotificationQueueTest, AStorageThatCannotBeReservedIsTheCallersException)
{
    // The vector's own limit lies beyond every size that can be asked for: what is left is a lack of memory.
    static_assert(std::numeric_limits<unsigned int>::max() < std::numeric_limits<ptrdiff_t>::max() / sizeof(void*),
                  "no length_error here");
    NotificationQueue queue(3);
    for (const bool construct : {true, false})
    {
        bool thrown = false;
        {
            AllocationFault failing(1);
            try
            {
                if (construct)
                {
                    NotificationQueue another(100);
                }
                else
                {
                    queue.setSize(100);
                }
            }
            catch (const std::bad_alloc&)
            {
                thrown = true;
            }
        }
        EXPECT_TRUE(thrown) << construct;
    }
    EXPECT_TRUE(queue._notifications.empty());
}

TEST_F(NotificationQueueTest, APushThatFindsNoMemoryHasAgedOutARecordAndAddsNone)
{
    NotificationQueue queue(3);
    push(queue, {10, 20, 30});
    const Notification source = at(40);
    bool thrown = false;
    {
        AllocationFault failing(1);
        try
        {
            queue.push(*source);
        }
        catch (const std::bad_alloc&)
        {
            thrown = true;
        }
    }
    EXPECT_TRUE(thrown);
    EXPECT_EQ(times(queue._notifications), (Times{20, 30}));
    EXPECT_EQ(queue._lastAgedTime, 10);
    queue.push(*source);
    EXPECT_EQ(times(queue._notifications), (Times{20, 30, 40}));
}

TEST_F(NotificationQueueTest, APushThatCannotCopyAnAttributeAddsNothing)
{
    NotificationQueue queue(3);
    const Notification source = makeNotification(10, "A=1", objectCreated, {OrvTest::uncopyableAttribute("x")});
    EXPECT_THROW(queue.push(*source), std::bad_alloc);
    EXPECT_TRUE(queue._notifications.empty());
}

// The plainest store that follows the same rules: insert before the first record that is not earlier.
TEST_F(NotificationQueueTest, HoldsWhatAPlainListWouldHoldForAnySequenceOfPushes)
{
    for (unsigned int seed = 1; seed <= 50; ++seed)
    {
        std::mt19937 random(seed);
        const unsigned int capacity = 1 + random() % 12;
        NotificationQueue queue(capacity);
        std::list<std::pair<int64_t, std::string>> model;
        int64_t lastAged = 0;
        for (int i = 0; i < 100; ++i)
        {
            const int64_t time = static_cast<int64_t>(random() % 20) - 10;
            const std::string dn = "A=" + std::to_string(i);
            queue.push(*at(time, dn));
            if (model.size() == capacity)
            {
                lastAged = model.front().first;
                model.pop_front();
            }
            auto place = model.begin();
            while (place != model.end() && place->first < time)
            {
                ++place;
            }
            model.insert(place, {time, dn});

            Texts expected;
            for (const auto& record : model)
            {
                expected.push_back(record.second);
            }
            ASSERT_EQ(dns(queue._notifications), expected) << "seed " << seed << " push " << i;
            ASSERT_EQ(queue._lastAgedTime, lastAged) << "seed " << seed << " push " << i;
        }
    }
}

}  // namespace
