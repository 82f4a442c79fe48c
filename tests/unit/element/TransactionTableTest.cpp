#include "TransactionTable.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "DataTree.h"
#include "ModelTestSupport.h"
#include "Transaction.h"

using namespace OrvElement;

namespace
{

typedef std::chrono::seconds Seconds;

class TransactionTableTest : public ::testing::Test
{
protected:
    std::shared_ptr<Transaction> transaction()
    {
        return std::make_shared<Transaction>(ModelTest::awkwardModel(), _element.data().snapshot());
    }

    unsigned long open(Seconds timeout) { return _table.open(transaction(), timeout); }

    ModelTest::AwkwardElement _element;
    std::chrono::steady_clock::time_point _now = std::chrono::steady_clock::now();
    TransactionTable _table{3, [this] { return _now; }};
};

}  // namespace

TEST_F(TransactionTableTest, AnOpenTransactionIsFoundUntilItIsClosed)
{
    const std::shared_ptr<Transaction> first = transaction();
    const unsigned long handle = _table.open(first, Seconds(10));
    ASSERT_NE(handle, 0u);
    EXPECT_EQ(_table.find(handle), first);
    EXPECT_TRUE(_table.close(handle));
    EXPECT_EQ(_table.find(handle), nullptr);
    EXPECT_FALSE(_table.close(handle));
}

TEST_F(TransactionTableTest, WhatIsNoHandleIsNotFound)
{
    const unsigned long handle = open(Seconds(10));
    for (const unsigned long wrong : {0ul, handle + 1, ~0ul})
    {
        EXPECT_EQ(_table.find(wrong), nullptr);
        EXPECT_FALSE(_table.close(wrong));
    }
}

TEST_F(TransactionTableTest, NoHandleIsGivenTwiceNotEvenByAnotherTable)
{
    const unsigned long first = open(Seconds(10));
    EXPECT_TRUE(_table.close(first));
    const unsigned long second = open(Seconds(10));
    EXPECT_NE(second, first);
    TransactionTable other(3);
    const unsigned long third = other.open(transaction(), Seconds(10));
    EXPECT_EQ(_table.find(third), nullptr);
    EXPECT_EQ(other.find(second), nullptr);
}

TEST_F(TransactionTableTest, ATransactionIsReclaimedWhenItsTimeOutHasPassed)
{
    const unsigned long shorter = open(Seconds(10));
    const unsigned long longer = open(Seconds(11));
    _now += Seconds(10) - std::chrono::nanoseconds(1);
    EXPECT_EQ(_table.reclaim(), 0u);
    _now += std::chrono::nanoseconds(1);
    EXPECT_EQ(_table.reclaim(), 1u);
    EXPECT_EQ(_table.find(shorter), nullptr);
    EXPECT_FALSE(_table.close(shorter));
    EXPECT_NE(_table.find(longer), nullptr);
    EXPECT_EQ(_table.reclaim(), 0u);
}

TEST_F(TransactionTableTest, AllWhoseTimeHasComeAreReclaimedAtOnce)
{
    open(Seconds(5));
    open(Seconds(1));
    open(Seconds(3));
    _now += Seconds(3);
    EXPECT_EQ(_table.reclaim(), 2u);
    EXPECT_EQ(_table.counters().openNow, 1u);
}

TEST_F(TransactionTableTest, AClosedTransactionIsNotReclaimed)
{
    EXPECT_TRUE(_table.close(open(Seconds(1))));
    _now += Seconds(2);
    EXPECT_EQ(_table.reclaim(), 0u);
}

TEST_F(TransactionTableTest, TheLongestTimeOutDoesNotOverflow)
{
    const unsigned long handle = open(Seconds(~0u));
    EXPECT_EQ(_table.reclaim(), 0u);
    EXPECT_NE(_table.find(handle), nullptr);
}

TEST_F(TransactionTableTest, CountsEveryEnd)
{
    const unsigned long first = open(Seconds(1));
    open(Seconds(1));
    open(Seconds(9));
    _table.close(first);
    _table.close(first);
    _now += Seconds(1);
    _table.reclaim();
    const TransactionCounters counters = _table.counters();
    EXPECT_EQ(counters.opened, 3u);
    EXPECT_EQ(counters.closed, 1u);
    EXPECT_EQ(counters.reclaimed, 1u);
    EXPECT_EQ(counters.openNow, 1u);
}

TEST_F(TransactionTableTest, NoMoreThanTheLimitAreOpenAtOnce)
{
    const unsigned long first = open(Seconds(10));
    open(Seconds(10));
    open(Seconds(10));
    EXPECT_EQ(open(Seconds(10)), 0u);
    EXPECT_EQ(_table.counters().opened, 3u);
    EXPECT_TRUE(_table.close(first));
    EXPECT_NE(open(Seconds(10)), 0u);
}

TEST_F(TransactionTableTest, AnEndedTransactionLetsGoOfItsData)
{
    const std::shared_ptr<const DataTree> data = _element.data().snapshot();
    const unsigned long closed = open(Seconds(1));
    open(Seconds(1));
    EXPECT_EQ(data.use_count(), 4);  // the element, this test, two transactions
    _table.close(closed);
    EXPECT_EQ(data.use_count(), 3);
    _now += Seconds(1);
    _table.reclaim();
    EXPECT_EQ(data.use_count(), 2);
}

TEST_F(TransactionTableTest, ATransactionInUseOutlivesItsClosing)
{
    const unsigned long handle = open(Seconds(1));
    const std::shared_ptr<Transaction> used = _table.find(handle);
    EXPECT_TRUE(_table.close(handle));
    EXPECT_NE(used->read("ManagedElement=1,box=1", "level"), nullptr);
}

TEST_F(TransactionTableTest, SeveralThreadsMayOpenUseAndCloseAtOnce)
{
    TransactionTable table(1000);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
    {
        threads.emplace_back(
            [&]
            {
                for (int round = 0; round < 200; ++round)
                {
                    const unsigned long handle = table.open(transaction(), Seconds(3600));
                    EXPECT_NE(table.find(handle)->read("ManagedElement=1,box=1", "level"), nullptr);
                    EXPECT_EQ(table.reclaim(), 0u);
                    EXPECT_TRUE(table.close(handle));
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(table.counters().opened, 800u);
    EXPECT_EQ(table.counters().closed, 800u);
    EXPECT_EQ(table.counters().openNow, 0u);
}
