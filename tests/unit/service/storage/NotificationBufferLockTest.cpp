// The replay buffer's mutex: what takes it, what a failing one does, and several threads at once.
#include <Poco/Exception.h>

#include <algorithm>
#include <functional>
#include <list>
#include <random>
#include <stdexcept>
#include <thread>
#include <utility>

#include "CountingFilter.h"
#include "MutexFault.h"
#include "NotificationBuffer.h"
#include "StorageTest.h"

namespace
{

using OrvNbiNotificationService::NotificationBuffer;
using OrvNbiNotificationService::NotificationContainer;
using OrvTest::at;
using OrvTest::CountingFilter;
using OrvTest::MutexFault;
using OrvTest::OwnedRecords;
using OrvTest::stored;
using OrvTest::times;

typedef std::vector<int64_t> Times;
typedef std::list<OrvOamSpiNbiNotificationValue_1*> Lent;
typedef std::function<void(NotificationBuffer&)> Operation;

const std::vector<std::pair<const char*, Operation>> LOCKING_OPERATIONS = {
    {"setMaxBufferSize", [](NotificationBuffer& buffer) { buffer.setMaxBufferSize(20); }},
    {"getMaxBufferSize", [](NotificationBuffer& buffer) { buffer.getMaxBufferSize(); }},
    {"pushNotification", [](NotificationBuffer& buffer) { buffer.pushNotification(*at(10)); }},
    {"getNotificationCopiesFromEventTime",
     [](NotificationBuffer& buffer)
     {
         OwnedRecords records;
         CountingFilter filter;
         buffer.getNotificationCopiesFromEventTime(0, 0, records, &filter);
     }},
    {"getNotificationBySequenceNumber", [](NotificationBuffer& buffer) { buffer.getNotificationBySequenceNumber(0); }},
    {"getNotificationsFromEventTime, copies",
     [](NotificationBuffer& buffer)
     {
         NotificationContainer container;
         buffer.getNotificationsFromEventTime(0, container);
     }},
    {"getNotificationsFromEventTime, lent",
     [](NotificationBuffer& buffer)
     {
         Lent records;
         buffer.getNotificationsFromEventTime(0, records);
     }},
    {"getNotificationsFromSequenceNumber, copies",
     [](NotificationBuffer& buffer)
     {
         NotificationContainer container;
         buffer.getNotificationsFromSequenceNumber(0, container);
     }},
    {"getNotificationsFromSequenceNumber, lent",
     [](NotificationBuffer& buffer)
     {
         Lent records;
         buffer.getNotificationsFromSequenceNumber(0, records);
     }},
    {"getLastAgedNotificationTime", [](NotificationBuffer& buffer) { buffer.getLastAgedNotificationTime(); }},
    {"getOldestBufferTimestamp", [](NotificationBuffer& buffer) { buffer.getOldestBufferTimestamp(); }},
    {"getBufferSize", [](NotificationBuffer& buffer) { buffer.getBufferSize(); }},
    {"clear", [](NotificationBuffer& buffer) { buffer.clear(); }}};

bool freeForAnotherThread(Poco::Mutex& mutex)
{
    bool isFree = false;
    std::thread other(
        [&]
        {
            isFree = mutex.tryLock();
            if (isFree)
            {
                mutex.unlock();
            }
        });
    other.join();
    return isFree;
}

std::string textOfTheFailure(NotificationBuffer& buffer, const Operation& operation)
{
    try
    {
        operation(buffer);
    }
    catch (const Poco::SystemException& e)
    {
        return e.message();
    }
    return "nothing was thrown";
}

class NotificationBufferLockTest : public OrvTest::StorageTest
{
protected:
    NotificationBuffer buffer{10};
};

TEST_F(NotificationBufferLockTest, AMutexThatCannotBeLockedIsASystemExceptionOutOfTheOperation)
{
    buffer.pushNotification(*at(5));
    const MutexFault failing(buffer._mutex, MutexFault::lockFails);
    for (const auto& operation : LOCKING_OPERATIONS)
    {
        EXPECT_EQ(textOfTheFailure(buffer, operation.second), "cannot lock mutex") << operation.first;
    }
    EXPECT_EQ(times(stored(buffer)), Times{5});
}

TEST_F(NotificationBufferLockTest, AMutexThatCannotBeUnlockedIsASystemExceptionOutOfTheOperation)
{
    for (const auto& operation : LOCKING_OPERATIONS)
    {
        NotificationBuffer another(10);
        const MutexFault failing(another._mutex, MutexFault::unlockFails);
        EXPECT_EQ(textOfTheFailure(another, operation.second), "cannot unlock mutex") << operation.first;
    }
}

TEST_F(NotificationBufferLockTest, TheFiltersExceptionGoesBeforeThatOfAMutexThatCannotBeUnlocked)
{
    buffer.pushNotification(*at(5));
    CountingFilter filter;
    filter.answer = [](const OrvOamSpiNbiNotificationValue_1&) -> bool { throw std::runtime_error("the filter's"); };
    OwnedRecords records;
    const MutexFault failing(buffer._mutex, MutexFault::unlockFails);
    EXPECT_THROW(buffer.getNotificationCopiesFromEventTime(0, 0, records, &filter), std::runtime_error);
}

TEST_F(NotificationBufferLockTest, EveryOperationGivesTheMutexBack)
{
    for (const auto& operation : LOCKING_OPERATIONS)
    {
        operation.second(buffer);
        EXPECT_TRUE(freeForAnotherThread(buffer._mutex)) << operation.first;
    }
}

TEST_F(NotificationBufferLockTest, TheFilterIsAskedWithTheMutexHeld)
{
    buffer.pushNotification(*at(5));
    bool isFree = true;
    CountingFilter filter;
    filter.answer = [&](const OrvOamSpiNbiNotificationValue_1&)
    {
        isFree = freeForAnotherThread(buffer._mutex);
        return true;
    };
    OwnedRecords records;
    buffer.getNotificationCopiesFromEventTime(0, 0, records, &filter);
    EXPECT_FALSE(isFree);
    EXPECT_EQ(times(records), Times{5});
}

TEST_F(NotificationBufferLockTest, TheFilterMayAskTheBufferSinceTheMutexIsRecursive)
{
    buffer.pushNotification(*at(5));
    long long oldest = 0;
    CountingFilter filter;
    filter.answer = [&](const OrvOamSpiNbiNotificationValue_1&)
    {
        oldest = buffer.getOldestBufferTimestamp();
        return false;
    };
    OwnedRecords records;
    buffer.getNotificationCopiesFromEventTime(0, 0, records, &filter);
    EXPECT_EQ(oldest, 5);
}

TEST_F(NotificationBufferLockTest, StaysSortedAndBoundedWhileThreadsPushReplayClearAndChangeTheClock)
{
    const int rounds = 300;
    std::thread pusher(
        [this]
        {
            std::mt19937 random(1);
            for (int i = 0; i < 4 * rounds; ++i)
            {
                buffer.pushNotification(*at(static_cast<int64_t>(random() % 1000), "A=1"));
            }
        });
    std::thread clockChanger(
        [this]
        {
            for (int i = 0; i < rounds; ++i)
            {
                buffer.systemClockChanged(i % 3);
                if (i % 10 == 0)
                {
                    buffer.clear();
                    buffer.resetClockChanged();
                }
            }
        });
    std::thread asker(
        [this]
        {
            for (int i = 0; i < rounds; ++i)
            {
                EXPECT_LE(buffer.getBufferSize(), 10u);
                EXPECT_GE(buffer.getOldestBufferTimestamp(), 0);
                EXPECT_LT(buffer.getLastAgedNotificationTime(), 1000);
                buffer.getBufferCreationTime();
            }
        });
    for (int i = 0; i < rounds; ++i)
    {
        CountingFilter filter;
        OwnedRecords records;
        buffer.getNotificationCopiesFromEventTime(0, 0, records, &filter);
        EXPECT_LE(records.size(), 10u);
        const Times replayed = times(records);
        EXPECT_TRUE(std::is_sorted(replayed.begin(), replayed.end()));
        EXPECT_EQ(replayed, filter.asked);
    }
    pusher.join();
    clockChanger.join();
    asker.join();
    const Times left = times(stored(buffer));
    EXPECT_TRUE(std::is_sorted(left.begin(), left.end()));
}

}  // namespace
