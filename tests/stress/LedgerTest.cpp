// The ledger tells what the oracle judges by, and complains of what needs no subscriber to be wrong.
#include "Ledger.h"

#include <gtest/gtest.h>

namespace OrvStress
{
namespace
{

const int64_t HOUR = 3600 * 1000000LL;

class LedgerTest : public testing::Test
{
protected:
    LedgerTest() : ledger(complaints) { ledger.endRestart(0); }

    Mark push(OrvReturnT answer = OrvOk)
    {
        const Mark mark = ledger.begin(0);
        ledger.end(mark, answer);
        return mark;
    }

    Complaints complaints;
    Ledger ledger;
};

TEST_F(LedgerTest, ComplainsOfAPushThatIsRefusedThoughTheServiceRuns)
{
    push(OrvNotRunning);
    EXPECT_EQ(1u, complaints.count());
    push(OrvFailure);
    EXPECT_EQ(2u, complaints.count());
}

TEST_F(LedgerTest, CountsAPushThatIsRefusedDuringARestart)
{
    ledger.beginRestart();
    push(OrvNotRunning);
    EXPECT_EQ(0u, complaints.count());
    EXPECT_EQ(1u, ledger.pushesRefused());
    EXPECT_EQ(1u, ledger.refused(0, 0, 2, Selection::everything()));
    push(OrvFailure);
    EXPECT_EQ(1u, complaints.count()) << "with another answer";
}

TEST_F(LedgerTest, ComplainsOfARefusalThatNoClockChangeExplains)
{
    const Mark early = push();
    ledger.refusedForItsStamp(early);
    EXPECT_EQ(1u, complaints.count());
    ledger.beginClockChange(systemTime() + HOUR);
    ledger.refusedForItsStamp(push());
    EXPECT_EQ(1u, complaints.count());
}

TEST_F(LedgerTest, ComplainsOfABufferThatIsEmptiedWithoutAClockChangeOrTwice)
{
    ledger.discarded();
    EXPECT_EQ(1u, complaints.count());
    ledger.beginClockChange(1000);
    ledger.discarded();
    EXPECT_EQ(1u, complaints.count());
    ledger.discarded();
    EXPECT_EQ(2u, complaints.count());
}

TEST_F(LedgerTest, PutsAPushInHandOnBothSidesOfACheckpoint)
{
    const Mark ended = push();
    const Mark inHand = ledger.begin(0);
    const Checkpoint moment = ledger.checkpoint();
    EXPECT_EQ(ended.number, moment.before[0]);
    EXPECT_EQ(inHand.number, moment.begun[0]);
    EXPECT_LT(inHand.stamp, moment.time);
    EXPECT_LT(moment.time, push().stamp);
}

TEST_F(LedgerTest, CountsAsUnderWayWhatTheWitnessHasNotSeenOfThisRun)
{
    push();
    push();
    push();
    EXPECT_EQ(3u, ledger.underWay());
    ledger.witnessed(0, 2);
    EXPECT_EQ(1u, ledger.underWay());
    ledger.stopped();
    EXPECT_EQ(0u, ledger.underWay());
    EXPECT_EQ(3u, ledger.gone()[0]);
}

TEST_F(LedgerTest, CountsTheChangesThatWereToldToWhoEndsLater)
{
    for (const int64_t newTime : {1000, 2000, 3000})
    {
        ledger.beginClockChange(newTime);
        ledger.discarded();
        ledger.endClockChange();
    }
    ledger.beginClockChange(4000);
    ledger.endClockChange();
    const uint32_t last = ledger.clockChangeTo(3000);
    EXPECT_EQ(ledger.clock() / 2 - 1, last);
    EXPECT_EQ(0u, ledger.clockChangeTo(4000)) << "it told nobody";
    EXPECT_EQ(3u, ledger.told(0, last + 1, 0));
    EXPECT_EQ(2u, ledger.told(last - 2, last, 0));
    EXPECT_EQ(1u, ledger.told(last - 2, last, 2000)) << "the third lies behind the stop time";
    EXPECT_EQ(0u, ledger.told(last, last, 0));
}

TEST_F(LedgerTest, LetsOneRecordPassWhenNothingMoves)
{
    for (int i = 0; i < 64; ++i)
    {
        EXPECT_TRUE(ledger.waitForRoom(0));
        push();
    }
    EXPECT_TRUE(ledger.waitForRoom(0)) << "what is on its way may wait for it";
}

TEST_F(LedgerTest, StopsWaitingAtTheEndOfTheRun)
{
    EXPECT_TRUE(ledger.waitUntil([] { return true; }));
    EXPECT_TRUE(ledger.waitForRoom(0));
    ledger.end();
    EXPECT_FALSE(ledger.waitUntil([] { return false; }));
    EXPECT_FALSE(ledger.waitForRoom(0));
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
