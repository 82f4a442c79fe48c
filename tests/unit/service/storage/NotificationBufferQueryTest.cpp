#include <limits>
#include <list>
#include <stdexcept>

#include "AttributeLedger.h"
#include "CountingFilter.h"
#include "NotificationBuffer.h"
#include "StorageTest.h"

namespace
{

using OrvNbiNotificationService::NotificationBuffer;
using OrvNbiNotificationService::NotificationContainer;
using OrvTest::at;
using OrvTest::AttributeLedger;
using OrvTest::CountingFilter;
using OrvTest::dns;
using OrvTest::int32Attribute;
using OrvTest::makeNotification;
using OrvTest::Notification;
using OrvTest::OwnedRecords;
using OrvTest::stored;
using OrvTest::times;

typedef std::vector<int64_t> Times;
typedef std::vector<std::string> Texts;
typedef std::list<OrvOamSpiNbiNotificationValue_1*> Lent;

// A buffer with records at 10, 20 and 30, numbered 3, 1 and 2.
class NotificationBufferQueryTest : public OrvTest::StorageTest
{
protected:
    NotificationBufferQueryTest()
    {
        pushNumbered(10, 3);
        pushNumbered(20, 1);
        pushNumbered(30, 2);
    }

    void pushNumbered(int64_t time, uint32_t number)
    {
        const Notification source = at(time);
        source->sequenceNumber = number;
        buffer.pushNotification(*source);
    }

    Times replay(long long startTime, long long stopTime)
    {
        OwnedRecords records;
        buffer.getNotificationCopiesFromEventTime(startTime, stopTime, records, &filter);
        return times(records);
    }

    NotificationBuffer buffer{10};
    CountingFilter filter;
};

TEST_F(NotificationBufferQueryTest, AReplayFromAndToTheSameTimeGivesTheRecordOfThatTime)
{
    EXPECT_EQ(replay(20, 20), Times{20});
}

TEST_F(NotificationBufferQueryTest, AStopTimeOfZeroSetsNoUpperEnd)
{
    EXPECT_EQ(replay(20, 0), (Times{20, 30}));
}

TEST_F(NotificationBufferQueryTest, TheFilterIsAskedForEveryRecordAlsoOutsideTheRange)
{
    EXPECT_EQ(replay(31, 0), Times());
    EXPECT_EQ(filter.asked, (Times{10, 20, 30}));
    EXPECT_EQ(replay(0, 5), Times());
    EXPECT_EQ(filter.asked.size(), 6u);
}

TEST_F(NotificationBufferQueryTest, BothEndsOfTheRangeAreInclusive)
{
    EXPECT_EQ(replay(10, 30), (Times{10, 20, 30}));
    EXPECT_EQ(replay(11, 29), Times{20});
}

TEST_F(NotificationBufferQueryTest, AStartTimeOfZeroPassesTimesFromZeroOn)
{
    pushNumbered(0, 7);
    pushNumbered(-1, 8);
    EXPECT_EQ(replay(0, 0), (Times{0, 10, 20, 30}));
    EXPECT_EQ(replay(-1, 0), (Times{-1, 0, 10, 20, 30}));
}

TEST_F(NotificationBufferQueryTest, NegativeTimesAreComparedAsSigned)
{
    pushNumbered(-40, 7);
    const int64_t least = std::numeric_limits<int64_t>::min();
    const int64_t most = std::numeric_limits<int64_t>::max();
    EXPECT_EQ(replay(least, -1), Times{-40});
    EXPECT_EQ(replay(least, most), (Times{-40, 10, 20, 30}));
    EXPECT_EQ(replay(-30, 10), Times{10});
}

TEST_F(NotificationBufferQueryTest, AStopTimeBeforeTheStartTimeGivesNothing)
{
    EXPECT_EQ(replay(30, 10), Times());
}

TEST_F(NotificationBufferQueryTest, WhatTheFilterRejectsIsNotReplayed)
{
    filter.answer = [](const OrvOamSpiNbiNotificationValue_1& record) { return record.eventTime != 20; };
    EXPECT_EQ(replay(0, 0), (Times{10, 30}));
}

TEST_F(NotificationBufferQueryTest, AReplayIsOfPlainCopiesAndAsksTheFilterForNothingElse)
{
    buffer.pushNotification(*makeNotification(40, "A=1", objectDeleted, {int32Attribute("x", 5)}));
    OwnedRecords records;
    buffer.getNotificationCopiesFromEventTime(40, 0, records, &filter);
    ASSERT_EQ(records.size(), 1u);
    EXPECT_NE(records[0], stored(buffer).back());
    EXPECT_NE(records[0]->dn, stored(buffer).back()->dn);
    EXPECT_STREQ(records[0]->attributes[0]->name, "x");
    EXPECT_EQ(filter.derivedCalls, 0);
    buffer.clear();
    EXPECT_STREQ(records[0]->dn, "A=1");
}

TEST_F(NotificationBufferQueryTest, AReplayIsAppendedToWhatTheListHolds)
{
    OwnedRecords records;
    records.push_back(NotificationUtils::copyNotification(*at(99)));
    buffer.getNotificationCopiesFromEventTime(20, 0, records, &filter);
    EXPECT_EQ(times(records), (Times{99, 20, 30}));
}

TEST_F(NotificationBufferQueryTest, RecordsOfOneTimeAreReplayedNewestFirst)
{
    buffer.clear();
    for (const char* dn : {"A", "B", "C"})
    {
        buffer.pushNotification(*at(50, dn));
    }
    OwnedRecords records;
    buffer.getNotificationCopiesFromEventTime(50, 50, records, &filter);
    EXPECT_EQ(dns(records), (Texts{"C", "B", "A"}));
}

TEST_F(NotificationBufferQueryTest, AnEmptyStoreIsReplayedWithoutAFilter)
{
    buffer.clear();
    OwnedRecords records;
    buffer.getNotificationCopiesFromEventTime(0, 0, records, nullptr);
    EXPECT_TRUE(records.empty());
}

TEST_F(NotificationBufferQueryTest, AThrowingFilterLeavesTheCopiesMadeSoFarAndTheMutexFree)
{
    filter.answer = [](const OrvOamSpiNbiNotificationValue_1& record)
    {
        if (record.eventTime == 30)
        {
            throw std::runtime_error("no answer");
        }
        return true;
    };
    OwnedRecords records;
    try
    {
        buffer.getNotificationCopiesFromEventTime(0, 0, records, &filter);
        ADD_FAILURE() << "nothing was thrown";
    }
    catch (const std::runtime_error& e)
    {
        EXPECT_STREQ(e.what(), "no answer");
    }
    EXPECT_EQ(times(records), (Times{10, 20}));
    ASSERT_TRUE(buffer._mutex.tryLock());
    buffer._mutex.unlock();
}

TEST_F(NotificationBufferQueryTest, FindsARecordByItsNumberAndLendsIt)
{
    const OrvOamSpiNbiNotificationValue_1* found = buffer.getNotificationBySequenceNumber(1);
    EXPECT_EQ(found, stored(buffer)[1]);
}

TEST_F(NotificationBufferQueryTest, FindsTheFirstOfTwoRecordsWithOneNumber)
{
    pushNumbered(5, 1);
    ASSERT_NE(buffer.getNotificationBySequenceNumber(1), nullptr);
    EXPECT_EQ(buffer.getNotificationBySequenceNumber(1)->eventTime, 5);
}

TEST_F(NotificationBufferQueryTest, ANumberThatNoRecordHasGivesNull)
{
    EXPECT_EQ(buffer.getNotificationBySequenceNumber(4), nullptr);
    buffer.clear();
    EXPECT_EQ(buffer.getNotificationBySequenceNumber(1), nullptr);
}

TEST_F(NotificationBufferQueryTest, ANumberWithAnUpperHalfNeverMatches)
{
    EXPECT_EQ(buffer.getNotificationBySequenceNumber(4294967296 + 1), nullptr);
    EXPECT_EQ(buffer.getNotificationBySequenceNumber(1 - 4294967296), nullptr);
}

TEST_F(NotificationBufferQueryTest, TheGreatestNumberIsNotTakenForMinusOne)
{
    pushNumbered(40, 4294967295);
    EXPECT_EQ(buffer.getNotificationBySequenceNumber(-1), nullptr);
    ASSERT_NE(buffer.getNotificationBySequenceNumber(4294967295), nullptr);
    Lent records;
    buffer.getNotificationsFromSequenceNumber(4294967295, records);
    EXPECT_EQ(times(records), Times{40});
}

TEST_F(NotificationBufferQueryTest, TheRecordsFromATimeOnAreLentInTheStoresOrder)
{
    Lent records;
    buffer.getNotificationsFromEventTime(20, records);
    EXPECT_EQ(records, (Lent{stored(buffer)[1], stored(buffer)[2]}));
}

TEST_F(NotificationBufferQueryTest, TheRecordsFromANegativeTimeOnAreAll)
{
    pushNumbered(-5, 9);
    Lent records;
    buffer.getNotificationsFromEventTime(-5, records);
    EXPECT_EQ(times(records), (Times{-5, 10, 20, 30}));
    records.clear();
    buffer.getNotificationsFromEventTime(31, records);
    EXPECT_TRUE(records.empty());
}

TEST_F(NotificationBufferQueryTest, TheRecordsFromANumberOnAreLookedForInTheWholeStore)
{
    Lent records;
    buffer.getNotificationsFromSequenceNumber(2, records);
    EXPECT_EQ(times(records), (Times{10, 30}));
}

TEST_F(NotificationBufferQueryTest, ANegativeNumberTakesEveryRecord)
{
    Lent records;
    buffer.getNotificationsFromSequenceNumber(-1, records);
    EXPECT_EQ(times(records), (Times{10, 20, 30}));
    NotificationContainer container;
    buffer.getNotificationsFromSequenceNumber(std::numeric_limits<int64_t>::min(), container);
    EXPECT_EQ(times(container._notifications), (Times{10, 20, 30}));
}

TEST_F(NotificationBufferQueryTest, ANumberBeyondThirtyTwoBitsTakesNone)
{
    Lent records;
    buffer.getNotificationsFromSequenceNumber(4294967296, records);
    EXPECT_TRUE(records.empty());
}

TEST_F(NotificationBufferQueryTest, LentRecordsAreAddedToWhatTheListHolds)
{
    const Notification own = at(99);
    Lent records{&*own};
    buffer.getNotificationsFromEventTime(30, records);
    buffer.getNotificationsFromSequenceNumber(3, records);
    EXPECT_EQ(times(records), (Times{99, 30, 10}));
}

TEST_F(NotificationBufferQueryTest, AContainerGetsCopiesOfItsOwn)
{
    NotificationContainer container;
    buffer.getNotificationsFromEventTime(20, container);
    buffer.getNotificationsFromSequenceNumber(3, container);
    EXPECT_EQ(times(container._notifications), (Times{20, 30, 10}));
    EXPECT_NE(container._notifications.back(), stored(buffer)[0]);
    buffer.clear();
    EXPECT_STREQ(container._notifications.front()->dn, "A=1");
}

TEST_F(NotificationBufferQueryTest, AContainerFreesItsRecordsAndTheBuffersStay)
{
    buffer.clear();
    buffer.pushNotification(*makeNotification(10, "A=1", objectCreated, {int32Attribute("x", 1)}));
    AttributeLedger ledger;
    {
        NotificationContainer container;
        buffer.getNotificationsFromEventTime(0, container);
        EXPECT_EQ(container._notifications.size(), 1u);
    }
    EXPECT_EQ(ledger.copies.size(), 1u);
    EXPECT_EQ(ledger.releases, ledger.copies);
    ASSERT_EQ(buffer.getBufferSize(), 1u);
    EXPECT_STREQ(stored(buffer)[0]->attributes[0]->name, "x");
}

TEST_F(NotificationBufferQueryTest, TracesEntryAndExitOfAReplay)
{
    traceEverything();
    EXPECT_EQ(replay(0, 0), (Times{10, 20, 30}));
    EXPECT_EQ(OrvTest::traces(framework.lines()), (Texts{" >> ", " << "}));
}

}  // namespace
