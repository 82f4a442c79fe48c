// The oracle finds what is wrong: what a service that is right never shows it.
#include "OracleTest.h"

namespace OrvStress
{
namespace
{

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

TEST_F(OracleTest, MeasuresAPurgeThatWasOverBeforeSubscribeReturned)
{
    Wish wish;
    wish.selection.producers = 1;
    oracle.open("a subscriber", wish, 1);
    give(push(0));
    for (unsigned int i = 0; i < LIMIT; ++i)
    {
        push(0);
    }
    giveControl(overflowNotification, systemTime());
    oracle.subscribed(1);
    EXPECT_EQ(0u, oracle.account().purgesMeasured) << "by what came before it";
    give(push(0));
    EXPECT_EQ(1u, oracle.account().purgesMeasured);
    EXPECT_EQ(0u, complaints.count());
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
    changeClock(systemTime() + HOUR, false);
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
    changeClock(systemTime() + HOUR, false);
    give(push(0));
    EXPECT_EQ(1u, complaints.count());
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

TEST_F(OracleTest, LetsAnOverflowRecordComeInsteadOfTheSameRecordAfterARetry)
{
    subscribe();
    give(push(0), OrvRetry);
    for (unsigned int i = 0; i < LIMIT; ++i)
    {
        push(0);
    }
    giveControl(overflowNotification, systemTime());
    EXPECT_EQ(0u, complaints.count());
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

TEST_F(OracleTest, FindsAReplayedRecordThatAClockChangeHadDiscarded)
{
    const Checkpoint from = ledger.checkpoint();
    const Mark mark = push(0);
    ledger.witnessed(0, 1);
    changeClock(1000, true);
    subscribe(replayFrom(from));
    give(mark);
    EXPECT_EQ(1u, complaints.count());
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
    EXPECT_EQ(1u, complaints.count());
}

TEST_F(OracleTest, LetsASubscriptionThatMetARestartBeginAnywhereAndGoOnWithoutAHole)
{
    oracle.open("a subscriber", Wish(), 1);
    ledger.beginRestart();
    ledger.stopped();
    push(0);
    ledger.endRestart(0);
    oracle.subscribed(1);
    give(push(0));
    EXPECT_EQ(0u, complaints.count());
    push(0);
    give(push(0));
    EXPECT_EQ(1u, complaints.count());
}

TEST_F(OracleTest, TellsWhetherAllThatIsWantedHasCome)
{
    Wish wish;
    wish.selection = {1u << 0 | 1u << 1, Selection::everything().types};
    subscribe(wish);
    const Mark first = push(0);
    const Mark second = push(1);
    const Mark refused = push(1);
    push(2);
    const Numbers all = ledger.completed();
    give(first);
    EXPECT_FALSE(oracle.hasPassed(all));
    give(second);
    EXPECT_FALSE(oracle.hasPassed(all));
    ledger.beginClockChange(systemTime() + HOUR);
    ledger.refusedForItsStamp(refused);
    EXPECT_TRUE(oracle.hasPassed(all)) << "the last of producer 1 was refused, and producer 2 is not wanted";
}

}  // namespace
}  // namespace OrvStress
