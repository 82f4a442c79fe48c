#include "Account.h"

#include <gtest/gtest.h>

namespace OrvStress
{
namespace
{

// Four buckets for each power of two: a bound is less than a fifth above what is in its bucket.
TEST(Accounts, GiveAQuantileAsTheUpperBoundOfItsBucket)
{
    Accounts accounts;
    for (int i = 0; i < 99; ++i)
    {
        accounts.took(Manner::Fast, 100);
    }
    accounts.took(Manner::Fast, 5000);
    accounts.took(Manner::Slow, 1);
    const auto latencies = accounts.latencies(Manner::Fast);
    const double median = Accounts::quantile(latencies, 0.5);
    EXPECT_LT(100, median);
    EXPECT_GT(120, median);
    EXPECT_EQ(median, Accounts::quantile(latencies, 0.99));
    const double largest = Accounts::quantile(latencies, 1);
    EXPECT_LT(5000, largest);
    EXPECT_GT(6000, largest);
}

TEST(Accounts, GiveZeroForTheQuantileOfNothing)
{
    EXPECT_EQ(0, Accounts::quantile(Accounts().latencies(Manner::Odd), 0.5));
}

TEST(Accounts, AddUpWhatAllMannersHaveBeenThrough)
{
    Account fast;
    fast.delivered = 2;
    fast.gaps = 1;
    Account slow;
    slow.delivered = 3;
    slow.purged = 4;
    Accounts accounts;
    accounts.add(Manner::Fast, fast);
    accounts.add(Manner::Fast, fast);
    accounts.add(Manner::Slow, slow);
    EXPECT_EQ(4u, accounts.of(Manner::Fast).delivered);
    EXPECT_EQ(3u, accounts.of(Manner::Slow).delivered);
    const Account total = accounts.total();
    EXPECT_EQ(7u, total.delivered);
    EXPECT_EQ(4u, total.purged);
    EXPECT_EQ(2u, total.gaps);
    EXPECT_EQ(0u, total.refused);
}

}  // namespace
}  // namespace OrvStress
