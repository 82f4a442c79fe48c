#include "RegularExpression.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace
{

TEST(RegularExpression, TellsWhereItMatched)
{
    const Orv::RegularExpression expression("b+", REG_EXTENDED);
    regmatch_t place = {-1, -1};
    EXPECT_TRUE(expression.isExpressionValid());
    EXPECT_NE(expression.match("abb", 1, &place, 0), 0);
    EXPECT_EQ(place.rm_so, 1);
    EXPECT_EQ(place.rm_eo, 3);
}

TEST(RegularExpression, FillsOneSlotForEachGroup)
{
    const Orv::RegularExpression expression("(a)(b)?", REG_EXTENDED);
    regmatch_t places[3];
    EXPECT_NE(expression.match("a", 3, places, 0), 0);
    EXPECT_EQ(places[1].rm_eo, 1);
    EXPECT_EQ(places[2].rm_so, -1);
}

TEST(RegularExpression, IsZeroForASubjectThatDoesNotMatch)
{
    const Orv::RegularExpression expression("^A=1$", REG_EXTENDED);
    EXPECT_EQ(expression.match("A=2", 0, nullptr, 0), 0);
}

TEST(RegularExpression, FollowsItsCompileFlags)
{
    EXPECT_NE(Orv::RegularExpression("abc", REG_ICASE).match("ABC", 0, nullptr, 0), 0);
    // In the basic syntax, which the flags 0 ask for, a plus is a plain character.
    EXPECT_NE(Orv::RegularExpression("b+", 0).match("b+", 0, nullptr, 0), 0);
    EXPECT_EQ(Orv::RegularExpression("b+", 0).match("bb", 0, nullptr, 0), 0);
}

TEST(RegularExpression, FollowsItsExecutionFlags)
{
    EXPECT_EQ(Orv::RegularExpression("^a", REG_EXTENDED).match("a", 0, nullptr, REG_NOTBOL), 0);
}

TEST(RegularExpression, IsNotValidWhenItDoesNotCompile)
{
    EXPECT_FALSE(Orv::RegularExpression("a(b", REG_EXTENDED).isExpressionValid());
}

TEST(RegularExpression, MatchesNothingAndTouchesNothingWhenItDoesNotCompile)
{
    const Orv::RegularExpression expression("[", REG_EXTENDED);
    regmatch_t place = {7, 8};
    EXPECT_EQ(expression.match("[", 1, &place, 0), 0);
    EXPECT_EQ(expression.match("", 1, &place, 0), 0);
    EXPECT_EQ(place.rm_so, 7);
    EXPECT_EQ(place.rm_eo, 8);
}

TEST(RegularExpression, TakesANullArrayAsNoRoomForMatches)
{
    EXPECT_NE(Orv::RegularExpression("a", REG_EXTENDED).match("a", 5, nullptr, 0), 0);
}

TEST(RegularExpression, MatchesTheEmptySubject)
{
    EXPECT_NE(Orv::RegularExpression(".*$", REG_EXTENDED).match("", 0, nullptr, 0), 0);
}

TEST(RegularExpression, ServesSeveralThreadsAtOnce)
{
    const Orv::RegularExpression expression("Interface=eth[0-9]+$", REG_EXTENDED);
    std::atomic<int> right{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
    {
        threads.emplace_back(
            [&]
            {
                for (int i = 0; i < 200; ++i)
                {
                    regmatch_t place;
                    const std::string subject = "A=1,Interface=eth" + std::to_string(i);
                    const bool hit = expression.match(subject, 1, &place, 0) != 0;
                    const bool miss = expression.match(subject + "x", 1, &place, 0) == 0;
                    right += hit && miss ? 1 : 0;
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(right, 800);
}

}  // namespace
