// The control records that the oracle lets pass, and those that it does not.
#include "OracleTest.h"

namespace OrvStress
{
namespace
{

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

TEST_F(OracleTest, FindsAnEarlyEndAndAnEarlyHeartbeat)
{
    Wish wish;
    wish.stopTime = systemTime() + HOUR;
    wish.heartbeat = true;
    wish.heartbeatInterval = 3600;
    subscribe(wish);
    giveControl(heartbeatNotification, systemTime());
    EXPECT_EQ(1u, complaints.count());
    giveControl(notificationComplete, systemTime());
    EXPECT_EQ(2u, complaints.count());
}

TEST_F(OracleTest, LetsOneHeartbeatComeWithoutAnInterval)
{
    Wish wish;
    wish.heartbeat = true;
    subscribe(wish);
    giveControl(heartbeatNotification, systemTime());
    EXPECT_EQ(0u, complaints.count());
    giveControl(heartbeatNotification, systemTime());
    EXPECT_EQ(1u, complaints.count());
}

TEST_F(OracleTest, FindsAHeartbeatAndANoticeBehindTheStopTime)
{
    Wish wish;
    wish.heartbeat = true;
    wish.stopTime = systemTime() - 1;
    subscribe(wish);
    giveControl(heartbeatNotification, systemTime());
    EXPECT_EQ(1u, complaints.count());
    const int64_t later = wish.stopTime + 1;
    changeClock(later, true);
    giveControl(discardedOld, later);
    EXPECT_EQ(2u, complaints.count());
}

TEST_F(OracleTest, FindsAControlRecordWithContentOrOfAnotherTime)
{
    Wish wish;
    wish.heartbeat = true;
    subscribe(wish);
    MarkedRecord record(push(0));
    (*record).notificationType = heartbeatNotification;
    (*record).eventTime = systemTime();
    oracle.received(*record);
    EXPECT_EQ(1u, complaints.count()) << "with content";
    oracle.close();
    subscribe(wish);
    giveControl(heartbeatNotification, systemTime() + HOUR);
    EXPECT_EQ(2u, complaints.count()) << "of a time to come";
    oracle.close();
    subscribe(wish);
    giveControl(overflowNotification, systemTime() - HOUR);
    EXPECT_EQ(3u, complaints.count()) << "of a time before the subscription";
}

TEST_F(OracleTest, FindsWhatComesBeforeTheReplayIsComplete)
{
    Wish wish = replayFrom(ledger.checkpoint());
    wish.heartbeat = true;
    subscribe(wish);
    giveControl(heartbeatNotification, systemTime());
    EXPECT_EQ(1u, complaints.count()) << "a heartbeat";
    changeClock(1000, true);
    giveControl(discardedOld, 1000);
    EXPECT_EQ(2u, complaints.count()) << "a notice";
    oracle.close();
    wish.stopTime = systemTime();
    subscribe(wish);
    giveControl(notificationComplete, systemTime());
    EXPECT_EQ(3u, complaints.count()) << "the end";
}

TEST_F(OracleTest, LetsTheReplayEndOnceAndAGapComeFirstAlone)
{
    Wish wish;
    wish.startTime = 1000;
    subscribe(wish, 1001 + ledger.longestPush());
    giveControl(replayGap, systemTime());
    EXPECT_EQ(0u, complaints.count());
    giveControl(replayGap, systemTime());
    EXPECT_EQ(1u, complaints.count());
    giveControl(replayComplete, systemTime());
    EXPECT_EQ(1u, complaints.count());
    giveControl(replayComplete, systemTime());
    EXPECT_EQ(2u, complaints.count());
}

TEST_F(OracleTest, FindsNoticesInTheWrongOrder)
{
    subscribe();
    changeClock(1000, true);
    changeClock(2000, true);
    giveControl(discardedOld, 2000);
    EXPECT_EQ(1u, complaints.count()) << "the first is missing";
    giveControl(discardedOld, 1000);
    EXPECT_EQ(2u, complaints.count()) << "and comes late";
}

}  // namespace
}  // namespace OrvStress
