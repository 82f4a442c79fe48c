#include "SystemTime.h"

#include <gtest/gtest.h>

#include "ManualClock.h"

namespace
{

TEST(SystemTime, IsTheSystemClocksWithoutATimeSource)
{
    const Poco::Timestamp before;
    const Poco::Timestamp asked = OrvNbiNotificationService::currentTime();
    const Poco::Timestamp after;
    EXPECT_LE(before, asked);
    EXPECT_LE(asked, after);
}

TEST(SystemTime, IsWhatTheTimeSourceGivesAndTheSystemClocksAgainAfterwards)
{
    {
        OrvTest::ManualClock clock(1000);
        EXPECT_EQ(OrvNbiNotificationService::currentTime().epochMicroseconds(), 1000);
        clock.advance(-2000);
        EXPECT_EQ(OrvNbiNotificationService::currentTime().epochMicroseconds(), -1000);
    }
    EXPECT_GT(OrvNbiNotificationService::currentTime().epochMicroseconds(), 1500000000000000);
}

}  // namespace
