// The northbound table: its shape, numbering, subscribing and unsubscribing, and the failures that these report.
#include <cstring>

#include "ComponentTest.h"

namespace OrvTest
{
namespace
{

class ServiceTable : public ComponentTest
{
protected:
    void initOnly() { ASSERT_EQ(OrvOk, component.initWithConfiguration(configurationWithBufferSize("100"))); }
};

TEST_F(ServiceTable, IsHeadedByItsIdentity)
{
    initOnly();
    EXPECT_STREQ("NbiNotificationServiceCM", table().id.componentName);
    EXPECT_STREQ("OrvOamSpiNbiNotificationService", table().id.interfaceName);
    EXPECT_STREQ("1", table().id.interfaceVersion);
}

TEST_F(ServiceTable, FillsTheTenPlacesBehindItsHead)
{
    initOnly();
    void (*slots[10])(void);
    std::memcpy(slots, reinterpret_cast<const char*>(&table()) + sizeof(ZelMgmtSpiInterface_1), sizeof(slots));
    static_assert(sizeof(OrvOamSpiNbiNotificationService) == sizeof(ZelMgmtSpiInterface_1) + sizeof(slots),
                  "nothing follows");
    for (int i = 0; i < 10; ++i)
    {
        EXPECT_NE(nullptr, slots[i]) << "entry " << i + 1;
    }
}

TEST_F(ServiceTable, IsFoundThroughThePortal)
{
    initOnly();
    void* found = nullptr;
    ASSERT_EQ(OrvOk, framework.getInterface("portal1", table().id, &found));
    EXPECT_EQ(&table(), found);
}

TEST_F(ServiceTable, AnswersNotRunningWithoutAWordWhileTheServiceIsDown)
{
    initOnly();
    OrvOamSpiNbiNotificationHandler_1 record = RecordingHandler::handlerRecord();
    unsigned int id = 4711;
    long long time = 4711;
    EXPECT_EQ(OrvNotRunning, table().registerHandler(&record, &id));
    EXPECT_EQ(OrvNotRunning, table().unregisterHandler(1));
    EXPECT_EQ(OrvNotRunning, subscribe(1, 1));
    EXPECT_EQ(OrvNotRunning, table().unsubscribe(1));
    EXPECT_EQ(OrvNotRunning, table().getOldestBufferTimestamp(&time));
    EXPECT_EQ(OrvNotRunning, table().getBufferCreationTime(&time));
    EXPECT_EQ(OrvNotRunning, push(1, "A=1"));
    EXPECT_EQ(4711u, id);
    EXPECT_EQ(4711, time);
    EXPECT_THAT(framework.lines(), testing::IsEmpty());
}

TEST_F(ServiceTable, PushWhileTheServiceIsDownCopiesNothing)
{
    initOnly();
    // A record that cannot be copied would be reported if it were copied.
    EXPECT_EQ(OrvNotRunning, push(1, "A=1", attributeChanged, {uncopyableAttribute("x")}));
    EXPECT_THAT(framework.lines(), testing::IsEmpty());
}

TEST_F(ServiceTable, LastAgedTimeAnswersOkAndLeavesTheArgumentWhileTheServiceIsDown)
{
    initOnly();
    long long time = 4711;
    EXPECT_EQ(OrvOk, table().getLastAgedNotificationTime(&time));
    EXPECT_EQ(4711, time);
}

TEST_F(ServiceTable, GivesHandlesWhileTheServiceIsDown)
{
    initOnly();
    EXPECT_EQ(1u, newHandle());
    EXPECT_EQ(2u, newHandle());
}

TEST_F(ServiceTable, TestsNullPointersBeforeTheRunningState)
{
    initOnly();
    unsigned int id = 0;
    EXPECT_EQ(OrvBadArgument, table().registerHandler(nullptr, &id));
    EXPECT_THAT(framework.lines(), testing::IsEmpty());
    EXPECT_EQ(OrvBadArgument, table().subscribe(1, nullptr, 1, 0, 0, false, 0));
    EXPECT_TRUE(logged(framework.lines(), 3, "Empty Filter - A Subscription without filters is not allowed."));
}

TEST_F(ServiceTable, NumbersHandlersAndSubscriptionsFromOneIndependently)
{
    startService();
    EXPECT_EQ(1u, registerHandler());
    EXPECT_EQ(2u, registerHandler());
    EXPECT_EQ(1u, newHandle());
    EXPECT_EQ(3u, registerHandler());
    EXPECT_EQ(2u, newHandle());
}

TEST_F(ServiceTable, NeverGivesANumberTwiceNotEvenAfterARestart)
{
    startService();
    EXPECT_EQ(1u, registerHandler());
    EXPECT_EQ(1u, newHandle());
    ASSERT_EQ(OrvOk, component.stop());
    EXPECT_EQ(2u, newHandle());
    ASSERT_EQ(OrvOk, component.start());
    EXPECT_EQ(3u, newHandle());
    EXPECT_EQ(2u, registerHandler());
}

TEST_F(ServiceTable, RefusesANullHandlerWithoutAWord)
{
    startService();
    unsigned int id = 4711;
    EXPECT_EQ(OrvBadArgument, table().registerHandler(nullptr, &id));
    EXPECT_EQ(4711u, id);
    EXPECT_THAT(framework.lines(), testing::IsEmpty());
    EXPECT_EQ(1u, registerHandler()) << "no number was spent";
}

TEST_F(ServiceTable, RefusesNullFilters)
{
    startService();
    EXPECT_EQ(OrvBadArgument, table().subscribe(registerHandler(), nullptr, newHandle(), 0, 0, false, 0));
    EXPECT_EQ(std::vector<std::string>{"3 Empty Filter - A Subscription without filters is not allowed."},
              messages(framework.lines()));
    EXPECT_TRUE(logged(framework.lines(), 3, "Empty Filter - A Subscription without filters is not allowed."));
}

TEST_F(ServiceTable, RefusesAnUnknownHandler)
{
    startService();
    EXPECT_EQ(OrvBadArgument, subscribe(42, newHandle()));
    EXPECT_EQ(std::vector<std::string>{"3 Handler (42) not found."}, messages(framework.lines()));
    EXPECT_TRUE(logged(framework.lines(), 3, "Handler (42) not found."));
}

TEST_F(ServiceTable, CopiesTheHandlerRecord)
{
    startService();
    OrvOamSpiNbiNotificationHandler_1 record = RecordingHandler::handlerRecord(1);
    unsigned int handlerId = 0;
    ASSERT_EQ(OrvOk, table().registerHandler(&record, &handlerId));
    record = RecordingHandler::handlerRecord(2);
    RecordingHandler handler(newHandle());
    ASSERT_EQ(OrvOk, subscribe(handlerId, handler.handle()));
    ASSERT_EQ(OrvOk, push(1, "A=1"));
    ASSERT_TRUE(handler.waitFor(1));
    EXPECT_EQ(1u, handler.received()[0].function);
    EXPECT_EQ(OrvOk, table().unsubscribe(handler.handle()));
}

TEST_F(ServiceTable, CallsEachSubscriptionWithItsHandlersFunctionAndItsHandle)
{
    startService();
    const unsigned int first = registerHandler(1);
    const unsigned int second = registerHandler(2);
    RecordingHandler a(newHandle());
    RecordingHandler b(newHandle());
    RecordingHandler c(newHandle());
    ASSERT_EQ(OrvOk, subscribe(first, a.handle()));
    ASSERT_EQ(OrvOk, subscribe(second, b.handle()));
    ASSERT_EQ(OrvOk, subscribe(first, c.handle()));
    ASSERT_EQ(OrvOk, push(1, "A=1"));
    ASSERT_TRUE(a.waitFor(1) && b.waitFor(1) && c.waitFor(1));
    EXPECT_EQ(1u, a.received()[0].function);
    EXPECT_EQ(2u, b.received()[0].function);
    EXPECT_EQ(1u, c.received()[0].function);
    EXPECT_EQ(OrvOk, table().unregisterHandler(first));
    EXPECT_EQ(OrvOk, table().unregisterHandler(second));
}

TEST_F(ServiceTable, TakesAHandleThatItNeverGave)
{
    startService();
    RecordingHandler handler(4000000000u);
    ASSERT_EQ(OrvOk, subscribe(registerHandler(), handler.handle()));
    ASSERT_EQ(OrvOk, push(1, "A=1"));
    EXPECT_TRUE(handler.waitFor(1));
    EXPECT_EQ(OrvOk, table().unsubscribe(handler.handle()));
}

TEST_F(ServiceTable, RefusesAHandleThatIsInUseAndKeepsTheEarlierSubscription)
{
    startService();
    Subscriber subscriber(table());
    EXPECT_EQ(OrvBadArgument, subscribe(subscriber.handlerId(), subscriber.handle()));
    EXPECT_EQ(std::vector<std::string>{"3 Failed to store Subscription in the map"}, messages(framework.lines()));
    EXPECT_TRUE(logged(framework.lines(), 3, "Failed to store Subscription in the map"));
    ASSERT_EQ(OrvOk, push(1, "A=1"));
    ASSERT_TRUE(subscriber->waitFor(1));
    pushMarker(2);
    ASSERT_TRUE(subscriber->waitFor(2));
    EXPECT_EQ((std::vector<std::string>{"A=1", "Marker=1"}), subscriber->dns());
}

TEST_F(ServiceTable, AHandleThatWasRefusedAsInUseStandsTwiceInItsHandler)
{
    startService();
    RecordingHandler handler(newHandle());
    const unsigned int handlerId = registerHandler();
    ASSERT_EQ(OrvOk, subscribe(handlerId, handler.handle()));
    ASSERT_EQ(OrvBadArgument, subscribe(handlerId, handler.handle()));
    framework.log().clear();
    EXPECT_EQ(OrvOk, table().unregisterHandler(handlerId));
    EXPECT_EQ((std::vector<std::string>{"3 Could not find handle 1 to remove",
                                        "3 Could not find and unregister a  subscriber when unregister a handler"}),
              messages(framework.lines()));
}

TEST_F(ServiceTable, AFilterArrayOfItsTerminatorAloneAcceptsEverything)
{
    startService();
    Subscriber subscriber(table(), Wish());
    for (int32_t type = 1; type <= 9; ++type)
    {
        ASSERT_EQ(OrvOk, push(1, "A=1", type));
    }
    ASSERT_EQ(OrvOk, push(1, "A=1", 4711));
    ASSERT_TRUE(subscriber->waitFor(10));
    EXPECT_EQ((std::vector<int32_t>{1, 2, 3, 4, 5, 6, 7, 8, 9, 4711}), subscriber->types());
}

TEST_F(ServiceTable, RefusesAnUnknownFilterName)
{
    startService();
    Wish wish;
    wish.filters = {{"objectCreated", ".*"}, {"objectRenamed", ".*"}};
    EXPECT_EQ(OrvBadArgument, subscribe(registerHandler(), newHandle(), wish));
    const std::string cause = "Could not interpret filter name objectRenamed";
    EXPECT_EQ((std::vector<std::string>{"3 Throwing: " + cause, "3 Throwing: " + cause, "3 Throwing: " + cause,
                                        "3 Failed to add subscription. " + cause}),
              messages(framework.lines()));
    EXPECT_TRUE(logged(framework.lines(), 3, "Throwing: " + cause, 3));
    EXPECT_TRUE(logged(framework.lines(), 3, "Failed to add subscription. " + cause));
}

TEST_F(ServiceTable, KeepsNoHandleWhoseFilterThrew)
{
    startService();
    const unsigned int handlerId = registerHandler();
    ASSERT_EQ(OrvBadArgument, subscribe(handlerId, newHandle(), {{{"objectRenamed", ".*"}}}));
    framework.log().clear();
    EXPECT_EQ(OrvOk, table().unregisterHandler(handlerId));
    EXPECT_THAT(messages(framework.lines()), testing::IsEmpty());
}

TEST_F(ServiceTable, ServesOnAfterAFilterThrew)
{
    startService();
    ASSERT_EQ(OrvBadArgument, subscribe(registerHandler(), newHandle(), {{{"objectRenamed", ".*"}}}));
    Subscriber subscriber(table());
    ASSERT_EQ(OrvOk, push(1, "A=1"));
    EXPECT_TRUE(subscriber->waitFor(1));
}

TEST_F(ServiceTable, UnsubscribeOfAnUnknownHandleIsReported)
{
    startService();
    EXPECT_EQ(OrvNotFound, table().unsubscribe(17));
    EXPECT_EQ(std::vector<std::string>{"3 Could not find handle 17 to remove"}, messages(framework.lines()));
    EXPECT_TRUE(logged(framework.lines(), 3, "Could not find handle 17 to remove"));
}

TEST_F(ServiceTable, UnsubscribeSucceedsOnce)
{
    startService();
    framework.setLevel(8);
    Subscriber subscriber(table());
    EXPECT_EQ(OrvOk, subscriber.unsubscribe());
    EXPECT_TRUE(traced(framework.lines(), 9, " >> removeSubscription for handle:1"));
    EXPECT_EQ(OrvNotFound, subscriber.unsubscribe());
    EXPECT_TRUE(logged(framework.lines(), 3, "Could not find handle 1 to remove"));
}

TEST_F(ServiceTable, AnUnsubscribedHandleCanBeUsedAgain)
{
    startService();
    const unsigned int handlerId = registerHandler();
    RecordingHandler handler(newHandle());
    ASSERT_EQ(OrvOk, subscribe(handlerId, handler.handle()));
    ASSERT_EQ(OrvOk, table().unsubscribe(handler.handle()));
    ASSERT_EQ(OrvOk, subscribe(handlerId, handler.handle()));
    ASSERT_EQ(OrvOk, push(1, "A=1"));
    EXPECT_TRUE(handler.waitFor(1));
    EXPECT_EQ(OrvOk, table().unsubscribe(handler.handle()));
}

TEST_F(ServiceTable, UnsubscribeTakesTheHandleFromTheLowestHandlerThatHasIt)
{
    startService();
    const unsigned int low = registerHandler();
    const unsigned int high = registerHandler();
    RecordingHandler handler(newHandle());
    ASSERT_EQ(OrvOk, subscribe(high, handler.handle()));
    ASSERT_EQ(OrvBadArgument, subscribe(low, handler.handle()));
    ASSERT_EQ(OrvOk, table().unsubscribe(handler.handle()));
    framework.log().clear();
    EXPECT_EQ(OrvOk, table().unregisterHandler(low));
    EXPECT_THAT(messages(framework.lines()), testing::IsEmpty()) << "its handle was taken";
    EXPECT_EQ(OrvOk, table().unregisterHandler(high));
    EXPECT_TRUE(logged(framework.lines(), 3, "Could not find and unregister a  subscriber when unregister a handler"));
}

TEST_F(ServiceTable, UnregisterOfAnUnknownHandlerIsNotFoundWithoutAWord)
{
    startService();
    EXPECT_EQ(OrvNotFound, table().unregisterHandler(17));
    EXPECT_THAT(framework.lines(), testing::IsEmpty());
}

TEST_F(ServiceTable, UnregisterOfAHandlerWithoutSubscriptionsSucceeds)
{
    startService();
    const unsigned int handlerId = registerHandler();
    EXPECT_EQ(OrvOk, table().unregisterHandler(handlerId));
    EXPECT_THAT(framework.lines(), testing::IsEmpty());
}

TEST_F(ServiceTable, UnregisterTracesTheHandlerBeforeTheRunningTest)
{
    initOnly();
    framework.setLevel(8);
    EXPECT_EQ(OrvNotRunning, table().unregisterHandler(5));
    EXPECT_TRUE(traced(framework.lines(), 9, " >> Unregistering Handler: 5"));
}

TEST_F(ServiceTable, UnregisterEndsAllSubscriptionsOfTheHandlerAndNoOther)
{
    startService();
    const unsigned int leaving = registerHandler();
    RecordingHandler a(newHandle());
    RecordingHandler b(newHandle());
    ASSERT_EQ(OrvOk, subscribe(leaving, a.handle()));
    Subscriber staying(table());
    ASSERT_EQ(OrvOk, subscribe(leaving, b.handle()));
    EXPECT_EQ(OrvOk, table().unregisterHandler(leaving));
    EXPECT_THAT(messages(framework.lines()), testing::IsEmpty());
    ASSERT_EQ(OrvOk, push(1, "A=1"));
    ASSERT_TRUE(staying->waitFor(1));
    EXPECT_EQ(OrvNotFound, table().unsubscribe(a.handle()));
    EXPECT_EQ(OrvNotFound, table().unsubscribe(b.handle()));
    EXPECT_EQ(0u, a.count());
    EXPECT_EQ(0u, b.count());
}

TEST_F(ServiceTable, AnUnregisteredHandlerStaysRegisteredAndItsHandlesAreReportedGoneEachTime)
{
    startService();
    const unsigned int handlerId = registerHandler();
    RecordingHandler a(newHandle());
    RecordingHandler b(newHandle());
    ASSERT_EQ(OrvOk, subscribe(handlerId, a.handle()));
    ASSERT_EQ(OrvOk, subscribe(handlerId, b.handle()));
    ASSERT_EQ(OrvOk, table().unregisterHandler(handlerId));
    for (int round = 0; round < 2; ++round)
    {
        framework.log().clear();
        EXPECT_EQ(OrvOk, table().unregisterHandler(handlerId));
        EXPECT_TRUE(
            logged(framework.lines(), 3, "Could not find and unregister a  subscriber when unregister a handler", 2));
    }
    RecordingHandler c(newHandle());
    EXPECT_EQ(OrvOk, subscribe(handlerId, c.handle()));
    ASSERT_EQ(OrvOk, push(1, "A=1"));
    EXPECT_TRUE(c.waitFor(1));
    EXPECT_EQ(OrvOk, table().unsubscribe(c.handle()));
}

TEST_F(ServiceTable, HandlersAndTheirHandlesSurviveAStop)
{
    startService();
    const unsigned int handlerId = registerHandler();
    RecordingHandler gone(newHandle());
    ASSERT_EQ(OrvOk, subscribe(handlerId, gone.handle()));
    ASSERT_EQ(OrvOk, component.stop());
    ASSERT_EQ(OrvOk, component.start());

    RecordingHandler fresh(newHandle());
    EXPECT_EQ(OrvOk, subscribe(handlerId, fresh.handle()));
    ASSERT_EQ(OrvOk, push(1, "A=1"));
    EXPECT_TRUE(fresh.waitFor(1));
    EXPECT_EQ(0u, gone.count());

    framework.log().clear();
    EXPECT_EQ(OrvOk, table().unregisterHandler(handlerId));
    EXPECT_EQ((std::vector<std::string>{"3 Could not find handle 1 to remove",
                                        "3 Could not find and unregister a  subscriber when unregister a handler"}),
              messages(framework.lines()))
        << "the subscription ended with the stop, its handle did not leave the handler";
}

}  // namespace
}  // namespace OrvTest
