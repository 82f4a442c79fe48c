// What the oracle asks of a subscription with a subtree filter.
#include "OracleTest.h"

namespace OrvStress
{
namespace
{

class OracleSubtreeTest : public OracleTest
{
protected:
    OracleSubtreeTest()
    {
        wish.shape = Shape::Records;
        wish.heartbeat = true;
    }

    void heartbeat(const Mark* deletion) { giveControl(heartbeatNotification, systemTime(), OrvOk, deletion); }

    // Pushed and given, as the filter passes it.
    Mark deletion(unsigned int producer)
    {
        Mark mark = push(producer);
        for (; typeOf(mark.number) != objectDeleted; mark = push(producer))
        {
            give(mark);
        }
        giveDerived(mark);
        return mark;
    }

    Wish wish;
};

TEST_F(OracleSubtreeTest, ALiveDeleteComesWithoutItsAttributes)
{
    subscribe(wish);
    give(push(0));
    EXPECT_EQ(1u, complaints.count()) << "number 1 is a delete";
    oracle.close();
    subscribe(wish);
    giveDerived(push(0));
    EXPECT_EQ(2u, complaints.count()) << "number 2 is none";
    oracle.close();
    subscribe(wish);
    give(push(0));
    giveDerived(push(0));
    EXPECT_EQ(2u, complaints.count());
    EXPECT_EQ(1u, oracle.account().derivedDeletes);
}

TEST_F(OracleSubtreeTest, ATreeThatEndsAboveTheRecordsDerivesNothing)
{
    wish.shape = Shape::Producers;
    subscribe(wish);
    const Mark mark = push(0);
    give(mark);
    EXPECT_EQ(0u, complaints.count());
    heartbeat(&mark);
    EXPECT_EQ(1u, complaints.count());
}

TEST_F(OracleSubtreeTest, AReplayedDeleteKeepsItsAttributes)
{
    const Checkpoint from = ledger.checkpoint();
    const Mark first = push(0);
    const Mark second = push(1);
    Wish replay = replayFrom(from);
    replay.shape = Shape::Records;
    subscribe(replay);
    give(first);
    EXPECT_EQ(0u, complaints.count());
    giveDerived(second);
    EXPECT_EQ(1u, complaints.count());
}

TEST_F(OracleSubtreeTest, AControlRecordBearsTheLastDeleteOrNothing)
{
    subscribe(wish);
    const Mark mark = deletion(0);
    heartbeat(&mark);
    EXPECT_EQ(0u, complaints.count());
    EXPECT_EQ(1u, oracle.account().derivedControls);
    oracle.close();
    subscribe(wish);
    deletion(0);
    heartbeat(nullptr);
    EXPECT_EQ(0u, complaints.count()) << "one that was not wanted may have come behind it";
}

TEST_F(OracleSubtreeTest, FindsAControlRecordWithTheDnOfAnotherRecord)
{
    subscribe(wish);
    const Mark early = push(1);
    heartbeat(&early);
    EXPECT_EQ(1u, complaints.count()) << "before the delete itself";
    oracle.close();
    subscribe(wish);
    const Mark earlier = deletion(0);
    deletion(1);
    heartbeat(&earlier);
    EXPECT_EQ(2u, complaints.count()) << "of an earlier delete";
    oracle.close();
    subscribe(wish);
    deletion(0);
    const Mark change = push(0);
    give(change);
    heartbeat(&change);
    EXPECT_EQ(3u, complaints.count()) << "of a record that is no delete";
    oracle.close();
    subscribe(wish);
    const Mark last = deletion(0);
    giveControl(overflowNotification, systemTime(), OrvOk, &last);
    EXPECT_EQ(4u, complaints.count()) << "an overflow record, for which no filter is asked";
}

TEST_F(OracleSubtreeTest, ADeleteThatWasPurgedMayBeBorne)
{
    subscribe(wish);
    giveDerived(push(0));
    const Mark purged = push(1);
    giveControl(overflowNotification, systemTime());
    heartbeat(&purged);
    EXPECT_EQ(0u, complaints.count());
    Mark unborn = push(2);
    unborn.number += 3;
    oracle.close();
    subscribe(wish);
    giveControl(overflowNotification, systemTime());
    heartbeat(&unborn);
    EXPECT_EQ(1u, complaints.count()) << "one that was never pushed";
}

TEST_F(OracleSubtreeTest, TheEndMayBearADeleteThatCameTooLateForTheQueue)
{
    wish.heartbeat = false;
    wish.stopTime = systemTime() - 1;
    subscribe(wish);
    const Mark refused = push(0);
    giveControl(notificationComplete, systemTime(), OrvOk, &refused);
    EXPECT_EQ(0u, complaints.count());
}

}  // namespace
}  // namespace OrvStress
