#include "NotificationReturns.h"

#include <Poco/Exception.h>
#include <gtest/gtest.h>

#include <utility>

#include "AllocationHook.h"
#include "AttributeLedger.h"
#include "MutexFault.h"
#include "Records.h"

using namespace OrvTest;
using OrvNbiNotificationService::NotificationReturns;

namespace
{

OwnedNotification record()
{
    return OwnedNotification(
        NotificationUtils::copyNotification(*makeNotification(1, "A=1", objectCreated, {int32Attribute("x", 1)})));
}

class NotificationReturnsTest : public testing::Test
{
protected:
    // Each record has one attribute, so this counts records.
    size_t freed() const { return _ledger.releases.size(); }

    void give(size_t count)
    {
        NotificationReturns::Bundle bundle(&returns);
        while (count-- > 0)
        {
            bundle.add(record());
        }
    }

private:
    AttributeLedger _ledger;

protected:
    NotificationReturns returns;
};

TEST_F(NotificationReturnsTest, WithoutAWayBackARecordIsFreedAtOnce)
{
    NotificationReturns::Bundle bundle(nullptr);
    bundle.add(record());
    EXPECT_EQ(1u, freed());
    bundle.add(record());
    EXPECT_EQ(2u, freed());
}

TEST_F(NotificationReturnsTest, AWayThatWasNeverOpenedFreesAtOnce)
{
    NotificationReturns::Bundle bundle(&returns);
    bundle.add(record());
    EXPECT_EQ(1u, freed());
}

TEST_F(NotificationReturnsTest, AnOpenWayKeepsTheRecordsOfABundleUntilTheyAreFreed)
{
    returns.open();
    give(3);
    EXPECT_EQ(0u, freed());
    returns.freeAll();
    EXPECT_EQ(3u, freed());
    returns.freeAll();
    EXPECT_EQ(3u, freed());
}

TEST_F(NotificationReturnsTest, ABundleSendsSixteenRecordsBeforeItsEnd)
{
    returns.open();
    NotificationReturns::Bundle bundle(&returns);
    for (unsigned int i = 0; i < 15; ++i)
    {
        bundle.add(record());
    }
    returns.freeAll();
    EXPECT_EQ(0u, freed());
    bundle.add(record());
    returns.freeAll();
    EXPECT_EQ(16u, freed());
}

TEST_F(NotificationReturnsTest, WhatHasBeenCollectedIsFreedOneByOne)
{
    returns.open();
    give(2);
    returns.freeOne();
    EXPECT_EQ(0u, freed()) << "not collected yet";
    returns.collect();
    returns.freeOne();
    EXPECT_EQ(1u, freed());
    returns.freeOne();
    returns.freeOne();
    EXPECT_EQ(2u, freed());
}

TEST_F(NotificationReturnsTest, FreesWhatHasBeenCollectedAndWhatHasComeSince)
{
    returns.open();
    give(2);
    returns.collect();
    give(3);
    returns.collect();
    EXPECT_EQ(0u, freed());
    returns.freeAll();
    EXPECT_EQ(5u, freed());
}

TEST_F(NotificationReturnsTest, AFullWayTakesNoMore)
{
    returns.open();
    give(NotificationReturns::MAX_RECORDS);
    EXPECT_EQ(0u, freed());
    give(1);
    EXPECT_EQ(1u, freed());
    returns.collect();
    give(1);
    EXPECT_EQ(1u, freed());
}

TEST_F(NotificationReturnsTest, AFullWayTakesNoPartOfABundle)
{
    returns.open();
    give(NotificationReturns::MAX_RECORDS - 15);
    give(16);
    EXPECT_EQ(16u, freed());
    give(15);
    EXPECT_EQ(16u, freed());
}

TEST_F(NotificationReturnsTest, AsksForNoMemoryUntilItIsFull)
{
    returns.open();
    for (int time = 0; time < 2; ++time)
    {
        for (size_t i = 0; i < NotificationReturns::MAX_RECORDS; ++i)
        {
            OwnedNotification delivered = record();
            const AllocationCount count;
            NotificationReturns::Bundle(&returns).add(std::move(delivered));
            ASSERT_EQ(0, count.allocations()) << i;
        }
        returns.collect();
    }
    EXPECT_EQ(0u, freed());
}

TEST_F(NotificationReturnsTest, ClosingFreesWhatIsOnItsWayAndWhatComesLater)
{
    returns.open();
    give(2);
    returns.collect();
    give(2);
    returns.close();
    EXPECT_EQ(4u, freed());
    give(1);
    EXPECT_EQ(5u, freed());
    returns.open();
    give(1);
    EXPECT_EQ(5u, freed()) << "it can be opened again";
}

TEST_F(NotificationReturnsTest, ABundleFreesWhatItHoldsOnceTheWayIsClosed)
{
    returns.open();
    NotificationReturns::Bundle bundle(&returns);
    bundle.add(record());
    bundle.add(record());
    returns.close();
    EXPECT_EQ(0u, freed());
    bundle.add(record());
    EXPECT_EQ(3u, freed());
}

TEST_F(NotificationReturnsTest, ADeliveryDoesNotWaitForAWayThatIsHeld)
{
    returns.open();
    returns._mutex.lock();
    give(2);
    EXPECT_EQ(2u, freed());
    returns._mutex.unlock();
}

TEST_F(NotificationReturnsTest, AMutexThatCannotBeLockedLeavesTheWayClosed)
{
    {
        const MutexFault fault(returns._mutex, MutexFault::lockFails);
        EXPECT_THROW(returns.open(), Poco::SystemException);
    }
    give(1);
    EXPECT_EQ(1u, freed());
}

TEST_F(NotificationReturnsTest, AMutexThatCannotBeTriedMakesADeliveryFreeItself)
{
    returns.open();
    {
        const MutexFault fault(returns._mutex, MutexFault::tryLockFails);
        give(2);
    }
    EXPECT_EQ(2u, freed());
}

TEST_F(NotificationReturnsTest, AMutexThatCannotBeUnlockedKeepsWhatItHasTaken)
{
    returns.open();
    {
        const MutexFault fault(returns._mutex, MutexFault::unlockFails);
        give(2);
    }
    EXPECT_EQ(0u, freed());
    returns.freeAll();
    EXPECT_EQ(2u, freed());
}

TEST_F(NotificationReturnsTest, TakesTheNullThatACopyWithoutMemoryIs)
{
    returns.open();
    {
        NotificationReturns::Bundle bundle(&returns);
        bundle.add(nullptr);
        bundle.add(record());
    }
    returns.freeAll();
    EXPECT_EQ(1u, freed());
}

TEST_F(NotificationReturnsTest, FreesAtItsEndWhatIsOnItsWay)
{
    {
        NotificationReturns ending;
        ending.open();
        {
            NotificationReturns::Bundle bundle(&ending);
            bundle.add(record());
        }
        ending.collect();
        NotificationReturns::Bundle bundle(&ending);
        bundle.add(record());
        bundle.send();
        EXPECT_EQ(0u, freed());
    }
    EXPECT_EQ(2u, freed());
}

}  // namespace
