#include "NbiNotificationServiceTable.h"

#include "NotificationSubscription.h"
#include "ShellTest.h"

using namespace OrvTest;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

class NbiNotificationServiceTable : public ShellTest
{
};

TEST_F(NbiNotificationServiceTable, NamesTheComponentTheInterfaceAndVersionOne)
{
    EXPECT_STREQ(table().id.componentName, "NbiNotificationServiceCM");
    EXPECT_STREQ(table().id.interfaceName, "OrvOamSpiNbiNotificationService");
    EXPECT_STREQ(table().id.interfaceVersion, "1");
}

TEST_F(NbiNotificationServiceTable, FillsAllTenEntries)
{
    EXPECT_NE(table().registerHandler, nullptr);
    EXPECT_NE(table().unregisterHandler, nullptr);
    EXPECT_NE(table().subscribe, nullptr);
    EXPECT_NE(table().getSubscriptionHandle, nullptr);
    EXPECT_NE(table().unsubscribe, nullptr);
    EXPECT_NE(table().getOldestBufferTimestamp, nullptr);
    EXPECT_NE(table().getLastAgedNotificationTime, nullptr);
    EXPECT_NE(table().getBufferCreationTime, nullptr);
    EXPECT_NE(table().pushNotification, nullptr);
    EXPECT_NE(table().rfcFilterSubscribe, nullptr);
}

TEST_F(NbiNotificationServiceTable, IsFoundThroughThePortal)
{
    ASSERT_EQ(init(), OrvOk);
    void* found = nullptr;
    EXPECT_EQ(
        component().portal1->getInterface({"NbiNotificationServiceCM", "OrvOamSpiNbiNotificationService", "1"}, &found),
        OrvOk);
    EXPECT_EQ(found, &table());
}

TEST_F(NbiNotificationServiceTable, RefusesANullHandlerWithoutAWord)
{
    startService();
    unsigned int handlerId = 99;
    EXPECT_EQ(table().registerHandler(nullptr, &handlerId), OrvBadArgument);
    EXPECT_EQ(handlerId, 99u);
    EXPECT_EQ(component().nextHandlerId, 1u);
    EXPECT_THAT(messages(lines()), IsEmpty());
}

TEST_F(NbiNotificationServiceTable, LooksForANullHandlerBeforeItLooksWhetherTheServiceRuns)
{
    unsigned int handlerId = 99;
    EXPECT_EQ(table().registerHandler(nullptr, &handlerId), OrvBadArgument);
}

TEST_F(NbiNotificationServiceTable, RefusesNullFiltersWithAnError)
{
    startService();
    const unsigned int handlerId = registerHandler();
    EXPECT_EQ(table().subscribe(handlerId, nullptr, 1, 0, 0, false, 0), OrvBadArgument);
    EXPECT_TRUE(logged(lines(), 3, "Empty Filter - A Subscription without filters is not allowed."));
    EXPECT_EQ(messages(lines()).size(), 1u);
    EXPECT_THAT(handlesOf(handlerId), IsEmpty());
}

TEST_F(NbiNotificationServiceTable, LooksForNullFiltersBeforeItLooksWhetherTheServiceRuns)
{
    EXPECT_EQ(table().subscribe(1, nullptr, 1, 0, 0, false, 0), OrvBadArgument);
    EXPECT_TRUE(logged(lines(), 3, "Empty Filter - A Subscription without filters is not allowed."));
}

TEST_F(NbiNotificationServiceTable, TakesAnArrayThatHoldsOnlyItsTerminatorAndThenMatchesEverything)
{
    startService();
    RecordingHandler handler(1);
    handler.hold();  // so that one run delivers both: one that ends could miss a record
    EXPECT_EQ(subscribe(registerHandler(), 1), OrvOk);
    ASSERT_EQ(push(1000, "A=1", objectCreated), OrvOk);
    ASSERT_EQ(push(2000, "B=1", objectDeleted), OrvOk);
    waitForServiceThread();
    handler.release();
    EXPECT_TRUE(handler.waitFor(2));
    EXPECT_THAT(handler.dns(), ElementsAre("A=1", "B=1"));
}

TEST_F(NbiNotificationServiceTable, HandsTheArgumentsOfASubscriptionOnUnchanged)
{
    startService();
    RecordingHandler handler(3);
    const long long start = 0x7000000000000001;
    const long long stop = 0x7000000000000003;
    EXPECT_EQ(table().subscribe(registerHandler(), LegacyFilter().get(), 3, start, stop, false, 1LL << 40), OrvOk);
    const OrvNbiNotificationService::NotificationSubscription& subscription =
        *component().runnable._subscriptions.at(3);
    EXPECT_EQ(subscription._startTime, start);
    EXPECT_EQ(subscription._stopTime, stop);
    EXPECT_FALSE(subscription._heartbeatSupported);
    EXPECT_EQ(subscription._heartbeatInterval, 1LL << 40);
    EXPECT_EQ(subscription._handler.notify, RecordingHandler::handlerRecord().notify);
}

TEST_F(NbiNotificationServiceTable, EveryEntryButThreeAnswersNotRunningWithoutAWord)
{
    ASSERT_EQ(init(), OrvOk);
    OrvOamSpiNbiNotificationHandler_1 record = RecordingHandler::handlerRecord();
    unsigned int handlerId = 99;
    long long timestamp = 99;
    EXPECT_EQ(table().registerHandler(&record, &handlerId), OrvNotRunning);
    EXPECT_EQ(table().unregisterHandler(1), OrvNotRunning);
    EXPECT_EQ(subscribe(1, 1), OrvNotRunning);
    EXPECT_EQ(table().unsubscribe(1), OrvNotRunning);
    EXPECT_EQ(table().getOldestBufferTimestamp(&timestamp), OrvNotRunning);
    EXPECT_EQ(table().getBufferCreationTime(&timestamp), OrvNotRunning);
    EXPECT_EQ(push(1000, "A=1"), OrvNotRunning);
    EXPECT_EQ(handlerId, 99u);
    EXPECT_EQ(timestamp, 99);
    EXPECT_EQ(component().nextHandlerId, 1u);
    EXPECT_THAT(messages(lines()), IsEmpty());
}

TEST_F(NbiNotificationServiceTable, LastAgedTimeAnswersOkWhileTheServiceDoesNotRunAndLeavesTheArgumentAlone)
{
    ASSERT_EQ(init(), OrvOk);
    long long timestamp = 99;
    EXPECT_EQ(table().getLastAgedNotificationTime(&timestamp), OrvOk);
    EXPECT_EQ(timestamp, 99);
    EXPECT_THAT(messages(lines()), IsEmpty());
}

TEST_F(NbiNotificationServiceTable, SubscriptionHandlesAreGivenWhetherTheServiceRunsOrNot)
{
    unsigned int handle = 0;
    EXPECT_EQ(table().getSubscriptionHandle(&handle), OrvOk);
    EXPECT_EQ(handle, 1u);
    startService();
    EXPECT_EQ(table().getSubscriptionHandle(&handle), OrvOk);
    EXPECT_EQ(handle, 2u);
    ASSERT_EQ(stop(), OrvOk);
    EXPECT_EQ(table().getSubscriptionHandle(&handle), OrvOk);
    EXPECT_EQ(handle, 3u);
}

class NbiNotificationServiceTableDeathTest : public ShellTest
{
protected:
    NbiNotificationServiceTableDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(NbiNotificationServiceTableDeathTest, APushedRecordWithoutADnEndsTheProcess)
{
    startService();
    const Notification notification(1000, nullptr, objectCreated, {});
#if defined(__clang__)
    const char* const assertion = "_pushNotification.*Assertion";
#else
    const char* const assertion =
        "OrvReturnT _pushNotification\\(OrvOamSpiNbiNotificationValue_1T&\\): Assertion `notification.dn' failed";
#endif
    EXPECT_DEATH(table().pushNotification(*notification), assertion);
}

}  // namespace
