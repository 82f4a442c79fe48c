// The oracle finds what is wrong: what a service that is right never shows it.
#include "Oracle.h"

#include <gtest/gtest.h>

#include <vector>

namespace OrvStress
{
namespace
{

const unsigned int LIMIT = 4;
const int64_t SECOND = 1000000;

class OracleTest : public testing::Test
{
protected:
    OracleTest() : ledger(complaints), oracle(ledger, complaints, LIMIT) { ledger.endRestart(0); }

    Mark push(unsigned int producer)
    {
        const Mark mark = ledger.begin(producer);
        ledger.end(mark, OrvOk);
        return mark;
    }

    void subscribe(const Wish& wish = Wish(), int64_t covered = 1)
    {
        oracle.open("a subscriber", wish, covered);
        oracle.subscribed(covered);
    }

    void give(const Mark& mark, OrvReturnT answer = OrvOk)
    {
        MarkedRecord record(mark);
        oracle.received(*record);
        oracle.answered(answer);
    }

    void giveControl(int32_t type, int64_t time, OrvReturnT answer = OrvOk)
    {
        OrvOamSpiNbiNotificationValue_1 record = OrvOamSpiNbiNotificationValue_1();
        record.eventTime = time;
        record.notificationType = type;
        oracle.received(record);
        oracle.answered(answer);
    }

    void changeClock(int64_t newTime, bool told)
    {
        ledger.beginClockChange(newTime);
        if (told)
        {
            ledger.discarded();
        }
        ledger.endClockChange();
    }

    // A replay from here on.
    Wish replayFrom(const Checkpoint& from)
    {
        Wish wish;
        wish.startTime = from.time;
        wish.fromCheckpoint = true;
        wish.from = from;
        return wish;
    }

    Complaints complaints;
    Ledger ledger;
    Oracle oracle;
};

TEST_F(OracleTest, FindsNothingWrongWithEachRecordOnceInOrder)
{
    subscribe();
    for (int i = 0; i < 10; ++i)
    {
        give(push(0));
        give(push(1));
    }
    EXPECT_EQ(0u, complaints.count());
    EXPECT_EQ(20u, oracle.account().delivered);
}

TEST_F(OracleTest, FindsARecordThatIsMissing)
{
    subscribe();
    give(push(0));
    push(0);
    give(push(0));
    EXPECT_EQ(1u, complaints.count());
}

TEST_F(OracleTest, FindsThatTheFirstRecordsAreMissing)
{
    subscribe();
    push(0);
    give(push(0));
    EXPECT_EQ(1u, complaints.count());
}

TEST_F(OracleTest, FindsARecordThatComesTwice)
{
    subscribe();
    const Mark mark = push(0);
    give(mark);
    give(mark);
    EXPECT_EQ(1u, complaints.count());
}

TEST_F(OracleTest, FindsARecordThatIsNotWanted)
{
    Wish wish;
    wish.selection = {1u << 2, 1u << objectDeleted};
    subscribe(wish);
    const Mark deletion = push(2);  // number 1
    give(deletion);
    EXPECT_EQ(0u, complaints.count());
    give(push(2));
    EXPECT_EQ(1u, complaints.count()) << "another type";
    give(push(1));
    EXPECT_EQ(2u, complaints.count()) << "another producer";
}

TEST_F(OracleTest, FindsARecordThatIsNotAsItWasPushed)
{
    subscribe();
    Mark mark = push(0);
    MarkedRecord record(mark);
    (*record).eventTime += 1;
    oracle.received(*record);
    EXPECT_EQ(1u, complaints.count());
}

TEST_F(OracleTest, FindsRecordsOfDifferentProducersInTheWrongOrder)
{
    subscribe();
    const Mark early = push(0);
    const Mark later = push(0);
    const Mark latest = push(1);
    give(latest);
    give(early);
    give(later);
    EXPECT_EQ(1u, complaints.count());
}

TEST_F(OracleTest, TakesAnOverflowRecordForWhatWasPushedBeforeItCame)
{
    subscribe();
    give(push(0));
    for (unsigned int i = 0; i < LIMIT; ++i)
    {
        push(0);
    }
    giveControl(overflowNotification, systemTime());
    give(push(0));
    EXPECT_EQ(0u, complaints.count());
    EXPECT_EQ(LIMIT, oracle.account().purged);
}

TEST_F(OracleTest, DoesNotTakeAnOverflowRecordForWhatWasPushedLater)
{
    Wish wish;
    wish.selection = {1, 2 + 4 + 8};
    subscribe(wish);
    give(push(0));
    for (unsigned int i = 0; i < LIMIT; ++i)
    {
        push(0);
    }
    giveControl(overflowNotification, systemTime());
    push(0);
    give(push(0));
    EXPECT_EQ(1u, complaints.count());
}

TEST_F(OracleTest, FindsAnOverflowRecordWithoutAnOverflow)
{
    Wish wish;
    wish.selection = {1, 2 + 4 + 8};
    subscribe(wish);
    give(push(0));
    giveControl(overflowNotification, systemTime());
    give(push(0));
    EXPECT_EQ(1u, complaints.count());
    EXPECT_EQ(1u, oracle.account().purgesMeasured);
}

TEST_F(OracleTest, TakesARefusalForWhatIsMissing)
{
    subscribe();
    give(push(0));
    const Mark mark = push(0);
    changeClock(systemTime() + SECOND, false);
    ledger.refusedForItsStamp(mark);
    changeClock(mark.stamp, false);
    give(push(0));
    EXPECT_EQ(0u, complaints.count());
    EXPECT_EQ(1u, oracle.account().refused);
}

TEST_F(OracleTest, FindsARefusalThatNoClockChangeExplains)
{
    ledger.refusedForItsStamp(push(0));
    EXPECT_EQ(1u, complaints.count());
}

TEST_F(OracleTest, FindsARecordThatTheClockForbids)
{
    subscribe();
    changeClock(systemTime() + SECOND, false);
    give(push(0));
    EXPECT_EQ(1u, complaints.count());
}

TEST_F(OracleTest, FindsThatTheNoticeOfAClockChangeIsMissing)
{
    subscribe();
    give(push(0));
    changeClock(systemTime(), true);
    give(push(0));
    EXPECT_EQ(1u, complaints.count());
}

TEST_F(OracleTest, FindsANoticeThatIsNotDue)
{
    changeClock(1000, true);
    subscribe();
    giveControl(discardedOld, 1000);
    EXPECT_EQ(1u, complaints.count()) << "of a change before the subscription";
    changeClock(2000, false);
    giveControl(discardedOld, 2000);
    EXPECT_EQ(2u, complaints.count()) << "of a change that found an empty buffer";
    changeClock(3000, true);
    giveControl(discardedOld, 3000);
    EXPECT_EQ(2u, complaints.count());
    giveControl(discardedOld, 3000);
    EXPECT_EQ(3u, complaints.count()) << "twice";
}

TEST_F(OracleTest, DemandsTheSameRecordAfterARetry)
{
    subscribe();
    const Mark mark = push(0);
    give(mark, OrvRetry);
    give(mark, OrvRetry);
    give(mark);
    EXPECT_EQ(0u, complaints.count());
    give(push(0), OrvRetry);
    give(push(0));
    EXPECT_EQ(1u, complaints.count());
}

TEST_F(OracleTest, LetsNothingComeAfterTheAnswerThatTheSubscriberDeregisters)
{
    subscribe();
    give(push(0), OrvNotFound);
    give(push(0));
    EXPECT_EQ(1u, complaints.count());
}

TEST_F(OracleTest, LetsNothingComeAfterTheSubscriptionIsGone)
{
    subscribe();
    oracle.close();
    give(push(0));
    EXPECT_EQ(1u, complaints.count());
}

TEST_F(OracleTest, FindsThatAReplayBeginsTooLate)
{
    const Checkpoint from = ledger.checkpoint();
    push(0);
    const Mark second = push(0);
    subscribe(replayFrom(from));
    EXPECT_EQ(1u, oracle.account().seamsJudged);
    give(second);
    EXPECT_EQ(1u, complaints.count());
}

TEST_F(OracleTest, FindsAReplayedRecordThatIsTooOldOrOutOfOrder)
{
    const Mark old = push(0);
    const Checkpoint from = ledger.checkpoint();
    const Mark first = push(1);
    const Mark second = push(2);
    subscribe(replayFrom(from));
    give(second);
    give(first);
    EXPECT_EQ(1u, complaints.count());
    give(old);
    EXPECT_LT(1u, complaints.count());
}

TEST_F(OracleTest, FindsARecordOnBothSidesOfTheSeamAndNone)
{
    const Checkpoint from = ledger.checkpoint();
    const Mark first = push(0);
    push(0);
    const Mark third = push(0);
    subscribe(replayFrom(from));
    give(first);
    giveControl(replayComplete, systemTime());
    give(third);
    EXPECT_EQ(1u, complaints.count()) << "the second fell through";
    give(third);
    EXPECT_EQ(2u, complaints.count());
}

TEST_F(OracleTest, FindsALiveRecordThatHadBeenHandledBeforeTheSubscription)
{
    const Mark mark = push(0);
    ledger.witnessed(0, 1);
    subscribe();
    give(mark);
    EXPECT_EQ(1u, complaints.count());
}

TEST_F(OracleTest, KnowsWhenAGapIsDue)
{
    Wish wish;
    wish.startTime = 1000;
    subscribe(wish, 1001 + ledger.longestPush());
    giveControl(replayComplete, systemTime());
    EXPECT_EQ(1u, complaints.count()) << "no gap record";
    oracle.close();
    subscribe(wish, 1000 - ledger.longestPush());
    giveControl(replayGap, systemTime());
    EXPECT_EQ(2u, complaints.count()) << "a gap record";
    EXPECT_EQ(2u, oracle.account().gapsJudged);
}

TEST_F(OracleTest, FindsControlRecordsThatWereNotAskedFor)
{
    for (const int32_t type : {replayGap, replayComplete, notificationComplete, heartbeatNotification})
    {
        const uint64_t before = complaints.count();
        subscribe();
        giveControl(type, systemTime());
        EXPECT_LT(before, complaints.count()) << type;
        oracle.close();
    }
}

TEST_F(OracleTest, FindsRecordsBehindTheStopTimeAndBehindTheEnd)
{
    Wish wish;
    wish.stopTime = ledger.checkpoint().time;
    subscribe(wish);
    give(push(0));
    EXPECT_EQ(1u, complaints.count());
    giveControl(notificationComplete, systemTime());
    EXPECT_EQ(1u, complaints.count());
    giveControl(heartbeatNotification, systemTime());
    EXPECT_LT(1u, complaints.count());
}

TEST_F(OracleTest, FindsAnEarlyEndAndAnEarlyHeartbeat)
{
    Wish wish;
    wish.stopTime = systemTime() + SECOND;
    wish.heartbeat = true;
    wish.heartbeatInterval = 1;
    subscribe(wish);
    giveControl(heartbeatNotification, systemTime());
    EXPECT_EQ(1u, complaints.count());
    giveControl(notificationComplete, systemTime());
    EXPECT_EQ(2u, complaints.count());
}

TEST_F(OracleTest, FindsThatAReplayEndsTooEarly)
{
    Wish wish = replayFrom(ledger.checkpoint());
    const Mark first = push(0);
    push(0);
    wish.to = ledger.checkpoint();
    wish.toCheckpoint = true;
    wish.stopTime = wish.to.time;
    subscribe(wish);
    give(first);
    giveControl(replayComplete, systemTime());
    EXPECT_EQ(0u, complaints.count());
    giveControl(notificationComplete, systemTime());
    EXPECT_EQ(1u, complaints.count());
}

TEST_F(OracleTest, FindsARecordOfAnEarlierRun)
{
    const Mark mark = push(0);
    ledger.beginRestart();
    ledger.stopped();
    ledger.endRestart(0);
    subscribe();
    give(mark);
    EXPECT_LE(1u, complaints.count());
}

TEST(Selection, CountsTheWantedNumbersOfAnOpenInterval)
{
    for (unsigned int types = 2; types < 16; types += 2)
    {
        const Selection selection = {1, types};
        for (uint32_t after = 0; after < 8; ++after)
        {
            for (uint32_t before = after + 1; before < 16; ++before)
            {
                uint32_t expected = 0;
                for (uint32_t number = after + 1; number < before; ++number)
                {
                    expected += selection.wantsType(typeOf(number)) ? 1 : 0;
                }
                EXPECT_EQ(expected, selection.count(after, before)) << types << " " << after << " " << before;
            }
        }
    }
}

TEST(Stretches, CountWhatIsInThem)
{
    Stretches stretches;
    for (const uint32_t number : {5u, 6u, 7u, 12u, 20u})
    {
        stretches.add(number);
    }
    const Selection everything = Selection::everything();
    EXPECT_EQ(5u, stretches.count(0, 100, everything));
    EXPECT_EQ(1u, stretches.count(6, 12, everything));
    EXPECT_EQ(2u, stretches.count(6, 13, everything));
    EXPECT_EQ(0u, stretches.count(12, 20, everything));
    EXPECT_EQ(2u, stretches.count(0, 100, {1, 1u << objectCreated})) << "6 and 12";
}

}  // namespace
}  // namespace OrvStress
