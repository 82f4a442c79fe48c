#include "NotificationBuffer.h"

#include <limits>
#include <type_traits>

#include "ManualClock.h"
#include "StorageTest.h"

namespace
{

using OrvNbiNotificationService::MIN_BUFFER_SIZE;
using OrvNbiNotificationService::NotificationBuffer;
using OrvTest::at;
using OrvTest::int32Attribute;
using OrvTest::makeNotification;
using OrvTest::Notification;
using OrvTest::stored;
using OrvTest::times;

typedef std::vector<int64_t> Times;
typedef std::vector<std::string> Texts;

const char* const TOO_SMALL = "specified buffer size 3 < MIN_BUFFER_SIZE. MIN_BUFFER_SIZE will be used. ";

class NotificationBufferTest : public OrvTest::StorageTest
{
protected:
    static void push(NotificationBuffer& buffer, int64_t first, int64_t last, int64_t step)
    {
        for (int64_t time = first; time <= last; time += step)
        {
            ASSERT_TRUE(buffer.pushNotification(*at(time)));
        }
    }
};

TEST_F(NotificationBufferTest, ItsSizesAreTenAndAHundred)
{
    EXPECT_EQ(MIN_BUFFER_SIZE, 10u);
    EXPECT_EQ(OrvNbiNotificationService::DEFAULT_MAX_BUFFER_SIZE, 100u);
    static_assert(std::has_virtual_destructor<NotificationBuffer>::value, "the destructor is virtual");
}

TEST_F(NotificationBufferTest, BuiltWithLessThanTenItHoldsTenAndSaysNothing)
{
    traceEverything();
    for (const unsigned int size : {0u, 3u, 9u})
    {
        NotificationBuffer buffer(size);
        EXPECT_EQ(buffer.getMaxBufferSize(), 10u) << size;
    }
    EXPECT_EQ(OrvTest::messages(framework.lines()), Texts());
}

TEST_F(NotificationBufferTest, BuiltWithTenOrMoreItHoldsThatMany)
{
    EXPECT_EQ(NotificationBuffer(10).getMaxBufferSize(), 10u);
    EXPECT_EQ(NotificationBuffer(11).getMaxBufferSize(), 11u);
    EXPECT_EQ(NotificationBuffer(1000).getMaxBufferSize(), 1000u);
}

TEST_F(NotificationBufferTest, WasCreatedWhenItWasBuilt)
{
    OrvTest::ManualClock clock(1519902000123456);
    NotificationBuffer buffer(10);
    clock.advance(5000000);
    EXPECT_EQ(buffer.getBufferCreationTime(), 1519902000123456);
}

TEST_F(NotificationBufferTest, ItsCreationTimeIsNeverZeroAndThatOfTheSystemClock)
{
    const int64_t before = Poco::Timestamp().epochMicroseconds();
    NotificationBuffer buffer(10);
    const int64_t after = Poco::Timestamp().epochMicroseconds();
    EXPECT_NE(buffer.getBufferCreationTime(), 0);
    EXPECT_GE(buffer.getBufferCreationTime(), before);
    EXPECT_LE(buffer.getBufferCreationTime(), after);
}

TEST_F(NotificationBufferTest, StartsEmptyWithNothingAged)
{
    NotificationBuffer buffer(10);
    EXPECT_EQ(buffer.getBufferSize(), 0u);
    EXPECT_EQ(buffer.getOldestBufferTimestamp(), 0);
    EXPECT_EQ(buffer.getLastAgedNotificationTime(), 0);
}

TEST_F(NotificationBufferTest, ABufferThatNeverOverflowedHasAgedNothing)
{
    NotificationBuffer buffer(10);
    push(buffer, 1, 10, 1);
    EXPECT_EQ(buffer.getBufferSize(), 10u);
    EXPECT_EQ(buffer.getLastAgedNotificationTime(), 0);
    EXPECT_EQ(buffer.getOldestBufferTimestamp(), 1);
}

TEST_F(NotificationBufferTest, AgesByCountAlone)
{
    NotificationBuffer buffer(10);
    push(buffer, 10, 120, 10);
    EXPECT_EQ(buffer.getBufferSize(), 10u);
    EXPECT_EQ(buffer.getLastAgedNotificationTime(), 20);
    EXPECT_EQ(buffer.getOldestBufferTimestamp(), 30);
}

TEST_F(NotificationBufferTest, TheOldestTimestampFollowsTheContents)
{
    NotificationBuffer buffer(10);
    push(buffer, 20, 20, 1);
    EXPECT_EQ(buffer.getOldestBufferTimestamp(), 20);
    push(buffer, -5, -5, 1);
    EXPECT_EQ(buffer.getOldestBufferTimestamp(), -5);
    buffer.clear();
    EXPECT_EQ(buffer.getOldestBufferTimestamp(), 0);
}

TEST_F(NotificationBufferTest, StoresADeepCopyAndLeavesTheCallersRecordAlone)
{
    NotificationBuffer buffer(10);
    Notification source = makeNotification(10, "A=1", attributeChanged, {int32Attribute("x", 1)});
    EXPECT_TRUE(buffer.pushNotification(*source));
    EXPECT_STREQ(source->dn, "A=1");
    source->dn[0] = 'Z';
    source->attributes[0]->values[0].i32 = 2;
    ASSERT_EQ(buffer.getBufferSize(), 1u);
    EXPECT_STREQ(stored(buffer)[0]->dn, "A=1");
    EXPECT_EQ(stored(buffer)[0]->attributes[0]->values[0].i32, 1);
}

TEST_F(NotificationBufferTest, StoresControlRecordsAsAnyOther)
{
    NotificationBuffer buffer(10);
    for (int32_t type = overflowNotification; type <= discardedOld; ++type)
    {
        Notification control(type, nullptr, type, {});
        control->attributes = nullptr;
        EXPECT_TRUE(buffer.pushNotification(*control)) << type;
    }
    EXPECT_EQ(buffer.getBufferSize(), 6u);
}

TEST_F(NotificationBufferTest, ClearEmptiesTheStoreAndKeepsTheTimes)
{
    OrvTest::ManualClock clock(7000000);
    NotificationBuffer buffer(10);
    push(buffer, 1, 11, 1);
    buffer.clear();
    EXPECT_EQ(buffer.getBufferSize(), 0u);
    EXPECT_EQ(buffer.getLastAgedNotificationTime(), 1);
    EXPECT_EQ(buffer.getBufferCreationTime(), 7000000);
}

TEST_F(NotificationBufferTest, ASizeBelowTenIsReportedAndTenIsUsed)
{
    NotificationBuffer buffer(100);
    framework.log().clear();
    EXPECT_TRUE(buffer.setMaxBufferSize(3));
    EXPECT_EQ(buffer.getMaxBufferSize(), 10u);
    EXPECT_EQ(OrvTest::described(framework.lines()),
              (Texts{std::string("log 6 setMaxBufferSize: \"") + TOO_SMALL + "\"",
                     std::string("traceV2 6 setMaxBufferSize: \"") + TOO_SMALL + "\""}));
    EXPECT_EQ(framework.lines()[0].flag, 1);
}

TEST_F(NotificationBufferTest, TheReportIsNotWrittenBelowItsSeverity)
{
    NotificationBuffer buffer(100);
    framework.setLevel(5);
    framework.log().clear();
    EXPECT_TRUE(buffer.setMaxBufferSize(3));
    EXPECT_TRUE(framework.lines().empty());
}

TEST_F(NotificationBufferTest, ASizeOfZeroIsNoRefusalButTen)
{
    NotificationBuffer buffer(100);
    EXPECT_TRUE(buffer.setMaxBufferSize(0));
    EXPECT_EQ(buffer.getMaxBufferSize(), 10u);
    EXPECT_TRUE(OrvTest::logged(framework.lines(), 6,
                                "specified buffer size 0 < MIN_BUFFER_SIZE. MIN_BUFFER_SIZE will be used. "));
}

TEST_F(NotificationBufferTest, ASizeOfTenOrMoreIsTakenWithoutAMessage)
{
    NotificationBuffer buffer(100);
    for (const unsigned int size : {10u, 5000u, 11u})
    {
        EXPECT_TRUE(buffer.setMaxBufferSize(size));
        EXPECT_EQ(buffer.getMaxBufferSize(), size);
    }
    EXPECT_EQ(OrvTest::messages(framework.lines()), Texts());
}

TEST_F(NotificationBufferTest, ASizeIsRefusedWhileRecordsAreHeld)
{
    NotificationBuffer buffer(10);
    push(buffer, 1, 11, 1);
    framework.log().clear();
    EXPECT_FALSE(buffer.setMaxBufferSize(50));
    EXPECT_EQ(OrvTest::messages(framework.lines()), Texts{"4 Attempt to change buffer size with notifications in"});
    EXPECT_TRUE(OrvTest::logged(framework.lines(), 4, "Attempt to change buffer size with notifications in"));
    EXPECT_EQ(buffer.getMaxBufferSize(), 10u);
    EXPECT_EQ(buffer.getLastAgedNotificationTime(), 1);
}

TEST_F(NotificationBufferTest, ASmallSizeIsReportedBeforeItIsRefused)
{
    NotificationBuffer buffer(20);
    push(buffer, 1, 1, 1);
    framework.log().clear();
    EXPECT_FALSE(buffer.setMaxBufferSize(3));
    EXPECT_EQ(OrvTest::messages(framework.lines()),
              (Texts{std::string("6 ") + TOO_SMALL, "4 Attempt to change buffer size with notifications in"}));
    EXPECT_EQ(buffer.getMaxBufferSize(), 20u);
}

TEST_F(NotificationBufferTest, ASizeThatIsTakenForgetsTheLastAgedTime)
{
    NotificationBuffer buffer(10);
    push(buffer, 1, 11, 1);
    buffer.clear();
    ASSERT_EQ(buffer.getLastAgedNotificationTime(), 1);
    EXPECT_TRUE(buffer.setMaxBufferSize(20));
    EXPECT_EQ(buffer.getLastAgedNotificationTime(), 0);
}

TEST_F(NotificationBufferTest, ALargerSizeIsUsed)
{
    NotificationBuffer buffer(10);
    ASSERT_TRUE(buffer.setMaxBufferSize(12));
    push(buffer, 1, 13, 1);
    EXPECT_EQ(buffer.getBufferSize(), 12u);
    EXPECT_EQ(buffer.getLastAgedNotificationTime(), 1);
}

TEST_F(NotificationBufferTest, TracesEntryAndExitOfAPushAndOfASizeChange)
{
    NotificationBuffer buffer(10);
    traceEverything();
    ASSERT_TRUE(buffer.pushNotification(*at(1)));
    EXPECT_EQ(OrvTest::described(framework.lines()),
              (Texts{"trace 9 pushNotification: \" >> \"", "traceV2 14 pushNotification: \" >> \"",
                     "trace 10 pushNotification: \" << \"", "traceV2 14 pushNotification: \" << \""}));
    buffer.clear();
    framework.log().clear();
    ASSERT_TRUE(buffer.setMaxBufferSize(10));
    EXPECT_EQ(OrvTest::traces(framework.lines()), (Texts{" >> ", " << "}));
}

}  // namespace
