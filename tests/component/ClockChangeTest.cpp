// A change of the system clock: the buffer is emptied, subscribers are told, and what is older is refused.
#include <algorithm>
#include <cstdlib>
#include <thread>

#include "ComponentTest.h"

namespace OrvTest
{
namespace
{

class ClockChange : public ComponentTest
{
protected:
    typedef std::vector<int32_t> Types;
    typedef std::vector<std::string> Dns;

    // microseconds
    void changeClockTo(long long time) { framework.router().publishClockChange(static_cast<uint64_t>(time) * 1000); }
};

// Gives the process a time zone for its lifetime.
class TimeZone
{
public:
    explicit TimeZone(const char* zone)
    {
        setenv("TZ", zone, 1);
        tzset();
    }
    ~TimeZone()
    {
        unsetenv("TZ");
        tzset();
    }
};

TEST_F(ClockChange, IsSubscribedToWithoutAFilter)
{
    startService();
    const auto subscriptions = framework.router().subscriptionsOf(CLOCK_EVENT_TYPE);
    ASSERT_EQ(1u, subscriptions.size());
    ASSERT_NE(nullptr, subscriptions[0].filter);
    EXPECT_EQ(nullptr, subscriptions[0].filter[0]);
}

TEST_F(ClockChange, OfAnEmptyBufferSetsTheCreationTimeAndTellsNobody)
{
    startService();
    Subscriber subscriber(table());
    changeClockTo(5000);
    EXPECT_EQ(5000, creationTime());
    EXPECT_THAT(messages(framework.lines()), testing::IsEmpty());
    ASSERT_EQ(OrvOk, push(5000, "A=1"));
    ASSERT_TRUE(subscriber->waitFor(1));
    EXPECT_EQ(Types{objectCreated}, subscriber->types());
}

TEST_F(ClockChange, OfAnEmptyBufferRefusesOlderRecordsAllTheSame)
{
    startService();
    changeClockTo(5000);
    Subscriber subscriber(table());
    ASSERT_EQ(OrvOk, push(4999, "A=1"));
    pushMarker(5000);
    ASSERT_TRUE(subscriber->waitFor(1));
    EXPECT_EQ(Dns{"Marker=1"}, subscriber->dns());
}

TEST_F(ClockChange, DiscardsTheBufferAndTellsEverySubscriptionInTheOrderOfTheHandles)
{
    startService();
    for (int i = 1; i <= 6; ++i)
    {
        ASSERT_EQ(OrvOk, push(i, "A=1"));
    }
    pushMarker(7);
    Subscriber first(table());
    Subscriber second(table(), {{{"objectCreated", "nothing is called so"}}});
    framework.setLevel(8);
    framework.log().clear();
    changeClockTo(123456789);
    ASSERT_TRUE(first->waitFor(1));
    ASSERT_TRUE(second->waitFor(1));
    EXPECT_EQ(Types{discardedOld}, first->types());
    EXPECT_EQ(Types{discardedOld}, second->types());
    EXPECT_EQ(123456789, first->received()[0].eventTime);
    EXPECT_EQ(123456789, second->received()[0].eventTime);
    EXPECT_TRUE(first->received()[0].dnIsNull);
    EXPECT_EQ(0u, first->received()[0].sequenceNumber);

    const std::string text = "Discarded 7 notifications from replay buffer due to system clock change. ";
    EXPECT_EQ(std::vector<std::string>{"4 " + text}, messages(framework.lines()));
    EXPECT_TRUE(logged(framework.lines(), 4, text));
    EXPECT_EQ(0, oldestTime());

    const std::vector<std::string> texts = traces(framework.lines());
    const auto offer = [&](const Subscriber& subscriber)
    {
        return std::find(texts.begin(), texts.end(),
                         "Sending notification to subscriptionHandle: " + std::to_string(subscriber.handle()));
    };
    ASSERT_NE(texts.end(), offer(second));
    EXPECT_LT(offer(first), offer(second));
}

TEST_F(ClockChange, WithoutSubscriptionsDiscardsTheBuffer)
{
    startService();
    pushMarker(7);
    changeClockTo(5000);
    EXPECT_TRUE(
        logged(framework.lines(), 4, "Discarded 1 notifications from replay buffer due to system clock change. "));
    EXPECT_EQ(0, oldestTime());
}

TEST_F(ClockChange, RefusesARecordStampedBeforeItAndStoresOneStampedExactlySo)
{
    startService();
    Subscriber subscriber(table());
    changeClockTo(5000);
    ASSERT_EQ(OrvOk, push(4999, "A=1"));
    ASSERT_EQ(OrvOk, push(5000, "A=2"));
    ASSERT_TRUE(subscriber->waitFor(1));
    EXPECT_EQ(Dns{"A=2"}, subscriber->dns());
    EXPECT_EQ(5000, oldestTime());
}

TEST_F(ClockChange, ThatHasNotHappenedRefusesNothing)
{
    startService();
    pushMarker(creationTime() - HOUR);
    EXPECT_THAT(messages(framework.lines()), testing::IsEmpty());
}

TEST_F(ClockChange, ReportsARefusedRecordWithItsLocalTime)
{
    const TimeZone zone("XYZ-1");
    startService();
    changeClockTo(5000000000);
    ASSERT_EQ(OrvOk, push(1000000000, "A=1,B=2", attributeChanged));
    pushMarker(5000000000);
    const std::string text =
        "Discarded notification due to invalid timestamp: 1970-01-01T01:16:40+01:00 dn: A=1,B=2 notificationType: 3";
    EXPECT_EQ(std::vector<std::string>{"4 " + text}, messages(framework.lines()));
    EXPECT_TRUE(logged(framework.lines(), 4, text));
}

TEST_F(ClockChange, TakesTheTextOfARefusalAsTheFormat)
{
    const TimeZone zone("UTC0");
    startService();
    changeClockTo(5000000000);
    ASSERT_EQ(OrvOk, push(0, "A=100%%"));
    pushMarker(5000000000);
    EXPECT_TRUE(logged(framework.lines(), 4,
                       "Discarded notification due to invalid timestamp: 1970-01-01T00:00:00+00:00 dn: A=100% "
                       "notificationType: 1"));
}

TEST_F(ClockChange, ResetsTheLastAgedTime)
{
    startService("10");
    for (int i = 1; i <= 11; ++i)
    {
        ASSERT_EQ(OrvOk, push(i, "A=1"));
    }
    pushMarker(12);
    ASSERT_EQ(2, lastAgedTime());
    changeClockTo(5000);
    EXPECT_EQ(0, lastAgedTime());
}

TEST_F(ClockChange, MakesAReplayFromBeforeItAGap)
{
    startService();
    pushMarker(1);
    changeClockTo(5000);
    pushMarker(5001, "A=1");
    Wish wish;
    wish.startTime = 4999;
    Subscriber early(table(), wish);
    wish.startTime = 5000;
    Subscriber exact(table(), wish);
    ASSERT_TRUE(early->waitForType(replayComplete));
    ASSERT_TRUE(exact->waitForType(replayComplete));
    EXPECT_EQ((Types{replayGap, objectDeleted, replayComplete}), early->types());
    EXPECT_EQ((Types{objectDeleted, replayComplete}), exact->types());
}

TEST_F(ClockChange, ASecondOneReplacesTheTime)
{
    startService();
    changeClockTo(5000);
    changeClockTo(3000);
    EXPECT_EQ(3000, creationTime());
    pushMarker(3000);
    EXPECT_EQ(3000, oldestTime());
}

TEST_F(ClockChange, IsForgottenByARestart)
{
    startService();
    changeClockTo(5000);
    ASSERT_EQ(OrvOk, component.stop());
    ASSERT_EQ(OrvOk, component.start());
    EXPECT_EQ(5000, creationTime());
    pushMarker(4000);
    EXPECT_EQ(4000, oldestTime()) << "older than the change, and stored";
}

TEST_F(ClockChange, DividesTheEventsTimeWithoutSign)
{
    startService();
    framework.router().publishClockChange(1999);
    EXPECT_EQ(1, creationTime());
    framework.router().publishClockChange(18446744073709551615u);
    EXPECT_EQ(18446744073709551, creationTime());
}

TEST_F(ClockChange, IsDroppedByASubscriptionThatEndsBeforeTheNewTime)
{
    startService();
    const long long stopTime = now() + HOUR;
    Wish wish;
    wish.stopTime = stopTime;
    Subscriber ending(table(), wish);
    Subscriber endless(table());
    pushMarker(1);
    changeClockTo(stopTime + 1);
    ASSERT_TRUE(endless->waitForType(discardedOld));
    pushMarker(stopTime + 2);
    changeClockTo(stopTime);
    ASSERT_TRUE(ending->waitForType(discardedOld));
    EXPECT_EQ((Types{objectDeleted, discardedOld}), ending->types());
    EXPECT_EQ(stopTime, ending->received().back().eventTime);
}

TEST_F(ClockChange, LeavesWhatASubscriptionHasQueued)
{
    startService();
    Subscriber subscriber(table(), Wish(), true);
    ASSERT_EQ(OrvOk, push(1, "A=1"));
    ASSERT_EQ(OrvOk, push(2, "A=2"));
    pushMarker(3);
    changeClockTo(5000);
    subscriber->release();
    ASSERT_TRUE(subscriber->waitForType(discardedOld));
    EXPECT_EQ((Dns{"A=1", "A=2", "Marker=1", "-"}), subscriber->dns());
}

}  // namespace
}  // namespace OrvTest
