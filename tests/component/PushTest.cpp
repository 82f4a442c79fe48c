// Pushing a notification through the table, and the three times of the buffer.
#include <atomic>

#include "ComponentTest.h"
#include "ExpectedLeak.h"

namespace OrvTest
{
namespace
{

class Push : public ComponentTest
{
};

class BufferTime : public ComponentTest
{
};

TEST_F(Push, HandsEveryFieldToTheSubscriberInACopy)
{
    startService();
    Subscriber subscriber(table(), Wish(), true);
    {
        Notification notification =
            makeNotification(-5, "A=1", attributeChanged, {int32Attribute("x", 7), stringAttribute("y", "text")});
        notification->txHandle = 123;
        notification->sequenceNumber = 4000000000u;
        ASSERT_EQ(OrvOk, table().pushNotification(*notification));
        // The caller may change and free its record at once.
        notification->dn[0] = 'Z';
    }
    ASSERT_TRUE(subscriber->waitFor(1));
    const Received received = subscriber->received()[0];
    EXPECT_EQ(-5, received.eventTime);
    EXPECT_EQ("A=1", received.dn);
    EXPECT_EQ(123u, received.txHandle);
    EXPECT_EQ(4000000000u, received.sequenceNumber);
    EXPECT_EQ(attributeChanged, received.type);
    EXPECT_EQ((std::vector<std::string>{"x", "y"}), received.attributes);
}

TEST_F(Push, RefusesARecordThatCannotBeCopied)
{
    startService();
    Subscriber subscriber(table());
    {
        const ExpectedLeak message;
        EXPECT_EQ(OrvFailure, push(1, "A=1", attributeChanged, {int32Attribute("x", 1), uncopyableAttribute("y")}));
    }
    EXPECT_EQ(
        std::vector<std::string>{"4 Neglecting notification due to the unsupported attribute type of the notification"},
        messages(framework.lines()));
    EXPECT_TRUE(logged(framework.lines(), 4,
                       "Neglecting notification due to the unsupported attribute type of the notification"));
    ASSERT_EQ(OrvOk, push(2, "A=2"));
    ASSERT_TRUE(subscriber->waitFor(1));
    EXPECT_EQ(std::vector<std::string>{"A=2"}, subscriber->dns());
}

TEST_F(Push, DoesNotWaitForADelivery)
{
    startService();
    Subscriber subscriber(table(), Wish(), true);
    for (int i = 0; i < 50; ++i)
    {
        ASSERT_EQ(OrvOk, push(i, "A=" + std::to_string(i)));
    }
    ASSERT_TRUE(subscriber->waitUntilHeld());
    EXPECT_EQ(1u, subscriber->count());
}

TEST_F(Push, MessagesAreNotWrittenBelowTheirLevel)
{
    startService();
    framework.setLevel(3);
    {
        const ExpectedLeak message;
        EXPECT_EQ(OrvFailure, push(1, "A=1", attributeChanged, {uncopyableAttribute("y")}));
    }
    EXPECT_THAT(framework.lines(), testing::IsEmpty()) << "severity 4 at level 3";
    EXPECT_EQ(OrvNotFound, table().unsubscribe(17));
    EXPECT_TRUE(logged(framework.lines(), 3, "Could not find handle 17 to remove"));
}

TEST_F(BufferTime, OldestIsTheSmallestAndZeroForAnEmptyBuffer)
{
    startService();
    EXPECT_EQ(0, oldestTime());
    ASSERT_EQ(OrvOk, push(30, "A=1"));
    ASSERT_EQ(OrvOk, push(-7, "A=1"));
    pushMarker(20);
    EXPECT_EQ(-7, oldestTime());
}

TEST_F(BufferTime, OfCreationIsThatOfTheFirstEntryIntoTheLibrary)
{
    const long long before = now();
    ASSERT_EQ(OrvOk, component.initWithConfiguration(configurationWithBufferSize("100")));
    const long long after = now();
    ASSERT_EQ(OrvOk, component.start());
    EXPECT_LE(before, creationTime());
    EXPECT_GE(after, creationTime());
}

TEST_F(BufferTime, LastAgedIsThatOfTheRecordThatLeftTheFullBufferLast)
{
    startService("10");
    for (int i = 1; i <= 9; ++i)
    {
        ASSERT_EQ(OrvOk, push(100 * i, "A=1"));
    }
    pushMarker(1000);
    EXPECT_EQ(0, lastAgedTime());
    pushMarker(950);
    EXPECT_EQ(100, lastAgedTime());
    EXPECT_EQ(200, oldestTime());
}

TEST_F(BufferTime, LastAgedIsThatOfTheFrontEvenForAnOlderArrival)
{
    startService("10");
    for (int i = 1; i <= 9; ++i)
    {
        ASSERT_EQ(OrvOk, push(100 * i, "A=1"));
    }
    pushMarker(1000);
    pushMarker(5);
    EXPECT_EQ(100, lastAgedTime());
    EXPECT_EQ(5, oldestTime()) << "older than what has aged";
}

TEST_F(Push, AHandlerMayPushAndAskForTheBufferTimesFromInsideNotify)
{
    startService();
    Subscriber subscriber(table(), Wish(), true);
    std::atomic<int> succeeded{0};
    subscriber->answerWith(
        [&](const Received&)
        {
            long long time = 0;
            succeeded += push(2, "A=2") == OrvOk;
            succeeded += table().getOldestBufferTimestamp(&time) == OrvOk;
            succeeded += table().getLastAgedNotificationTime(&time) == OrvOk;
            succeeded += table().getBufferCreationTime(&time) == OrvOk;
            return OrvOk;
        });
    subscriber->release();
    ASSERT_EQ(OrvOk, push(1, "A=1"));
    ASSERT_TRUE(subscriber->waitForDn("A=2"));
    EXPECT_EQ(4, succeeded);
}

}  // namespace
}  // namespace OrvTest
