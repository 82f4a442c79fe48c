// What a change of the system clock does to the replay buffer.
#include <cstdlib>
#include <ctime>
#include <limits>
#include <thread>

#include "AttributeLedger.h"
#include "ManualClock.h"
#include "MutexFault.h"
#include "NotificationBuffer.h"
#include "StorageTest.h"

namespace
{

using OrvNbiNotificationService::NotificationBuffer;
using OrvTest::at;
using OrvTest::int32Attribute;
using OrvTest::makeNotification;
using OrvTest::MutexFault;
using OrvTest::Notification;
using OrvTest::stored;
using OrvTest::times;

typedef std::vector<int64_t> Times;
typedef std::vector<std::string> Texts;

const int64_t MARCH_2018 = 1519902000000000;  // 2018-03-01T11:00:00Z

// Sets the process's time zone in the POSIX form, which needs no zone data.
class TimeZone
{
public:
    explicit TimeZone(const char* zone)
    {
        const char* const before = std::getenv("TZ");
        _hadOne = before != nullptr;
        _before = _hadOne ? before : "";
        setenv("TZ", zone, 1);
    }
    ~TimeZone()
    {
        if (_hadOne)
        {
            setenv("TZ", _before.c_str(), 1);
        }
        else
        {
            unsetenv("TZ");
        }
        tzset();
    }
    void change(const char* zone) { setenv("TZ", zone, 1); }

    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;

private:
    bool _hadOne;
    std::string _before;
};

class NotificationBufferClockTest : public OrvTest::StorageTest
{
protected:
    void changeClock(int64_t newTime)
    {
        buffer.systemClockChanged(newTime);
        framework.log().clear();
    }

    OrvTest::ManualClock clock{MARCH_2018};
    NotificationBuffer buffer{10};
};

TEST_F(NotificationBufferClockTest, BeforeAnyClockChangeARecordOlderThanTheBufferIsStored)
{
    EXPECT_TRUE(buffer.pushNotification(*at(MARCH_2018 - 1)));
    EXPECT_TRUE(buffer.pushNotification(*at(std::numeric_limits<int64_t>::min())));
    EXPECT_EQ(buffer.getBufferSize(), 2u);
    EXPECT_EQ(OrvTest::messages(framework.lines()), Texts());
}

TEST_F(NotificationBufferClockTest, ARecordOfTheNewTimeIsStoredAndOneOfTheMicrosecondBeforeIsRefused)
{
    changeClock(MARCH_2018 + 1000);
    EXPECT_TRUE(buffer.pushNotification(*at(MARCH_2018 + 1000)));
    EXPECT_FALSE(buffer.pushNotification(*at(MARCH_2018 + 999)));
    EXPECT_EQ(times(stored(buffer)), Times{MARCH_2018 + 1000});
}

TEST_F(NotificationBufferClockTest, TimesAreComparedAsSigned)
{
    changeClock(-100);
    EXPECT_FALSE(buffer.pushNotification(*at(-101)));
    EXPECT_TRUE(buffer.pushNotification(*at(-100)));
    EXPECT_TRUE(buffer.pushNotification(*at(0)));
}

TEST_F(NotificationBufferClockTest, TheNewTimeIsTheCreationTimeAndNothingHasBeenAgedSince)
{
    for (int64_t time = 1; time <= 11; ++time)
    {
        buffer.pushNotification(*at(time));
    }
    ASSERT_EQ(buffer.getLastAgedNotificationTime(), 1);
    buffer.systemClockChanged(5);
    EXPECT_EQ(buffer.getBufferCreationTime(), 5);
    EXPECT_EQ(buffer.getLastAgedNotificationTime(), 0);
    // The records are somebody else's to discard.
    EXPECT_EQ(buffer.getBufferSize(), 10u);
}

TEST_F(NotificationBufferClockTest, ASecondClockChangeReplacesTheTime)
{
    changeClock(1000);
    changeClock(500);
    EXPECT_EQ(buffer.getBufferCreationTime(), 500);
    EXPECT_TRUE(buffer.pushNotification(*at(500)));
    EXPECT_FALSE(buffer.pushNotification(*at(499)));
}

TEST_F(NotificationBufferClockTest, AfterAResetOldRecordsAreStoredAgainAndTheCreationTimeStays)
{
    changeClock(1000);
    buffer.clear();
    EXPECT_FALSE(buffer.pushNotification(*at(999)));
    buffer.resetClockChanged();
    EXPECT_TRUE(buffer.pushNotification(*at(999)));
    EXPECT_EQ(buffer.getBufferCreationTime(), 1000);
}

TEST_F(NotificationBufferClockTest, ARefusalIsAWarningWithLocalTimeDnAndType)
{
    const TimeZone zone("XYZ-1");
    changeClock(MARCH_2018 + 1);
    EXPECT_FALSE(buffer.pushNotification(*makeNotification(MARCH_2018, "A=1,B=2", attributeChanged)));
    const std::string text =
        "Discarded notification due to invalid timestamp: 2018-03-01T12:00:00+01:00 dn: A=1,B=2 notificationType: 3";
    EXPECT_EQ(OrvTest::messages(framework.lines()), Texts{"4 " + text});
    EXPECT_TRUE(OrvTest::logged(framework.lines(), 4, text));
}

TEST_F(NotificationBufferClockTest, ARefusalOfARecordWithoutDnDoesNotNameOne)
{
    const TimeZone zone("UTC0");
    changeClock(MARCH_2018 + 1);
    Notification control(MARCH_2018, nullptr, discardedOld, {});
    EXPECT_FALSE(buffer.pushNotification(*control));
    EXPECT_TRUE(OrvTest::logged(
        framework.lines(), 4,
        "Discarded notification due to invalid timestamp: 2018-03-01T11:00:00+00:00 notificationType: 9"));
}

TEST_F(NotificationBufferClockTest, ARefusalOfARecordWithAnEmptyDnNamesIt)
{
    const TimeZone zone("UTC0");
    changeClock(MARCH_2018 + 1);
    EXPECT_FALSE(buffer.pushNotification(*makeNotification(MARCH_2018, "", objectDeleted)));
    EXPECT_TRUE(OrvTest::logged(
        framework.lines(), 4,
        "Discarded notification due to invalid timestamp: 2018-03-01T11:00:00+00:00 dn:  notificationType: 2"));
}

TEST_F(NotificationBufferClockTest, ARefusalFollowsAChangedTimeZone)
{
    TimeZone zone("UTC0");
    changeClock(MARCH_2018 + 1);
    EXPECT_FALSE(buffer.pushNotification(*at(MARCH_2018)));
    zone.change("ABC+3:30");
    EXPECT_FALSE(buffer.pushNotification(*at(MARCH_2018)));
    EXPECT_EQ(OrvTest::messages(framework.lines()),
              (Texts{"4 Discarded notification due to invalid timestamp: 2018-03-01T11:00:00+00:00 dn: A=1 "
                     "notificationType: 1",
                     "4 Discarded notification due to invalid timestamp: 2018-03-01T07:30:00-03:30 dn: A=1 "
                     "notificationType: 1"}));
}

TEST_F(NotificationBufferClockTest, TheRefusalsTextIsItselfTheFormat)
{
    const TimeZone zone("UTC0");
    changeClock(MARCH_2018 + 1);
    EXPECT_FALSE(buffer.pushNotification(*at(MARCH_2018, "A=100%%")));
    EXPECT_TRUE(OrvTest::logged(
        framework.lines(), 4,
        "Discarded notification due to invalid timestamp: 2018-03-01T11:00:00+00:00 dn: A=100% notificationType: 1"));
}

TEST_F(NotificationBufferClockTest, ARefusalIsNotWrittenBelowItsSeverity)
{
    changeClock(MARCH_2018 + 1);
    framework.setLevel(3);
    framework.log().clear();
    EXPECT_FALSE(buffer.pushNotification(*at(MARCH_2018)));
    EXPECT_TRUE(framework.lines().empty());
}

TEST_F(NotificationBufferClockTest, TracesSurroundARefusal)
{
    const TimeZone zone("UTC0");
    changeClock(MARCH_2018 + 1);
    traceEverything();
    EXPECT_FALSE(buffer.pushNotification(*at(MARCH_2018)));
    Texts texts;
    for (const OrvTest::LogLine& line : framework.lines())
    {
        texts.push_back(line.text);
    }
    const std::string text =
        "Discarded notification due to invalid timestamp: 2018-03-01T11:00:00+00:00 dn: A=1 notificationType: 1";
    EXPECT_EQ(texts, (Texts{" >> ", " >> ", text, text, " << ", " << "}));
}

TEST_F(NotificationBufferClockTest, ARefusalLeavesTheCallersRecordAndTheStoreAlone)
{
    buffer.pushNotification(*at(7));
    changeClock(MARCH_2018);
    Notification source = makeNotification(10, "A=1", attributeChanged, {int32Attribute("x", 1)});
    OrvTest::AttributeLedger ledger;
    EXPECT_FALSE(buffer.pushNotification(*source));
    EXPECT_EQ(source->eventTime, 10);
    EXPECT_STREQ(source->dn, "A=1");
    EXPECT_EQ(source->attributes[0]->values[0].i32, 1);
    EXPECT_TRUE(ledger.sources.empty());
    EXPECT_EQ(times(stored(buffer)), Times{7});
}

// Beyond the years that a calendar has, the local time is a text without sense, but never an exception.
TEST_F(NotificationBufferClockTest, ExtremeTimesAreRefusedWithAText)
{
    const int64_t least = std::numeric_limits<int64_t>::min();
    const int64_t most = std::numeric_limits<int64_t>::max();
    changeClock(most);
    for (const int64_t time : {least, least + 1, least / 10, most / 10, most - 1})
    {
        framework.log().clear();
        EXPECT_FALSE(buffer.pushNotification(*at(time))) << time;
        const Texts messages = OrvTest::messages(framework.lines());
        ASSERT_EQ(messages.size(), 1u) << time;
        EXPECT_EQ(messages[0].rfind("4 Discarded notification due to invalid timestamp: ", 0), 0u) << messages[0];
        EXPECT_NE(messages[0].find(" dn: A=1 notificationType: 1"), std::string::npos) << messages[0];
    }
    EXPECT_TRUE(buffer.pushNotification(*at(most)));
    changeClock(least);
    EXPECT_TRUE(buffer.pushNotification(*at(least)));
}

TEST_F(NotificationBufferClockTest, ARefusalNeedsNoLockAndWritesItsTextWithoutOne)
{
    changeClock(MARCH_2018);
    bool stored = true;
    {
        // This thread holds the mutex until the other one has its answer.
        const Poco::Mutex::ScopedLock lock(buffer._mutex);
        std::thread pusher([&] { stored = buffer.pushNotification(*at(1)); });
        pusher.join();
    }
    EXPECT_FALSE(stored);
    EXPECT_EQ(OrvTest::messages(framework.lines()).size(), 1u);
}

TEST_F(NotificationBufferClockTest, AClockChangeAndTheCreationTimeNeedNoLock)
{
    const MutexFault failing(buffer._mutex, MutexFault::lockFails);
    buffer.systemClockChanged(1000);
    EXPECT_EQ(buffer.getBufferCreationTime(), 1000);
    EXPECT_FALSE(buffer.pushNotification(*at(999)));
    buffer.resetClockChanged();
    EXPECT_FALSE(buffer._clockChanged);
}

TEST_F(NotificationBufferClockTest, TracesEntryAndExitOfAClockChange)
{
    traceEverything();
    buffer.systemClockChanged(1000);
    EXPECT_EQ(OrvTest::traces(framework.lines()), (Texts{" >> ", " << "}));
}

}  // namespace
