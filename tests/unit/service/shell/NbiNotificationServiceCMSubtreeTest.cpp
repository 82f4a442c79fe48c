// The subscription with subtree filters, behind its entry of the table.
#include <Poco/Exception.h>

#include <csignal>
#include <functional>
#include <new>

#include "AllocationFault.h"
#include "MutexFault.h"
#include "NotificationSubscription.h"
#include "OrvException.h"
#include "RfcSubscriptionFilter.h"
#include "ShellTest.h"
#include "SubtreeBuilder.h"

using namespace OrvTest;
using OrvNbiNotificationService::NotificationSubscription;
using OrvNbiNotificationService::RfcSubscriptionFilter;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace
{

const char EMPTY_FILTER[] = "Empty Filter - A Rfc Subscription without filters is not allowed.";
const char ADDING[] = "Adding RFC Subscription to NotificationServiceRunnable";
const char HANDLE_GONE[] = "Could not find and unregister a  subscriber when unregister a handler";

class NbiNotificationServiceCMSubtree : public ShellTest
{
protected:
    OrvReturnT subscribeSubtree(unsigned int handlerId, unsigned int handle)
    {
        return table().rfcFilterSubscribe(handlerId, trees.get(), handle, 0, 0, false, 0);
    }
    bool lockIsFree()
    {
        const bool free = component().handlerMutex.tryLock();
        if (free)
        {
            component().handlerMutex.unlock();
        }
        return free;
    }
    size_t subscriptions() { return component().runnable._subscriptions.size(); }
    const NotificationSubscription& subscription(unsigned int handle)
    {
        return *component().runnable._subscriptions.at(handle);
    }
    std::vector<std::string> ownTraces()
    {
        std::vector<std::string> own;
        for (const std::string& text : tracesOf(lines()))
        {
            if (text.rfind("rfcFilterSubscribe:", 0) == 0)
            {
                own.push_back(text);
            }
        }
        return own;
    }

    Trees trees = Trees({node("A")});
    Trees none;  // an array that holds only its terminator
};

TEST_F(NbiNotificationServiceCMSubtree, MakesASubscriptionWithTheGivenTreesThemselves)
{
    startService();
    Trees two({node("A"), node("B")});
    EXPECT_EQ(table().rfcFilterSubscribe(registerHandler(), two.get(), 1, 0, 0, false, 0), OrvOk);
    const RfcSubscriptionFilter* const filter = dynamic_cast<RfcSubscriptionFilter*>(subscription(1)._filters);
    ASSERT_NE(filter, nullptr);
    EXPECT_THAT(filter->filters, ElementsAre(two.get()[0], two.get()[1])) << "in order and not copied";
    EXPECT_THAT(messages(lines()), IsEmpty());
}

TEST_F(NbiNotificationServiceCMSubtree, HandsTheArgumentsOnUnchanged)
{
    startService();
    const long long start = 0x7000000000000001;
    const long long stop = 0x7000000000000003;
    EXPECT_EQ(table().rfcFilterSubscribe(registerHandler(), trees.get(), 3, start, stop, false, 1LL << 40), OrvOk);
    EXPECT_EQ(subscription(3)._startTime, start);
    EXPECT_EQ(subscription(3)._stopTime, stop);
    EXPECT_FALSE(subscription(3)._heartbeatSupported);
    EXPECT_EQ(subscription(3)._heartbeatInterval, 1LL << 40);
    EXPECT_EQ(subscription(3)._handler.notify, RecordingHandler::handlerRecord().notify);
    EXPECT_EQ(table().rfcFilterSubscribe(1, trees.get(), 4, 0, 0, true, 3600), OrvOk);
    EXPECT_TRUE(subscription(4)._heartbeatSupported);
    EXPECT_EQ(subscription(4)._heartbeatInterval, 3600);
}

TEST_F(NbiNotificationServiceCMSubtree, RefusesAnArrayOfItsTerminatorAloneThatTheOtherFormTakes)
{
    startService();
    const unsigned int handlerId = registerHandler();
    EXPECT_EQ(table().rfcFilterSubscribe(handlerId, none.get(), 1, 0, 0, false, 0), OrvBadArgument);
    EXPECT_TRUE(logged(lines(), 3, EMPTY_FILTER));
    EXPECT_EQ(messages(lines()).size(), 1u);
    EXPECT_EQ(subscriptions(), 0u);
    EXPECT_THAT(handlesOf(handlerId), IsEmpty());

    EXPECT_EQ(table().subscribe(handlerId, LegacyFilter().get(), 1, 0, 0, false, 0), OrvOk);
}

TEST_F(NbiNotificationServiceCMSubtree, LooksForAnEmptyFilterBeforeItLooksWhetherTheServiceRuns)
{
    EXPECT_EQ(table().rfcFilterSubscribe(1, none.get(), 1, 0, 0, false, 0), OrvBadArgument);
    EXPECT_TRUE(logged(lines(), 3, EMPTY_FILTER));
}

TEST_F(NbiNotificationServiceCMSubtree, AnswersNotRunningWithoutAWordBeforeAnythingElse)
{
    ASSERT_EQ(init(), OrvOk);
    framework.setLevel(8);
    framework.log().clear();
    AllocationFault fault(sizeof(RfcSubscriptionFilter), [] {});
    EXPECT_EQ(subscribeSubtree(17, 1), OrvNotRunning) << "the handler is unknown, too";
    EXPECT_FALSE(fault.met());
    EXPECT_THAT(tracesOf(lines()), ElementsAre("rfcFilterSubscribe: >> "));
    EXPECT_THAT(messages(lines()), IsEmpty());
}

TEST_F(NbiNotificationServiceCMSubtree, RefusesAnUnknownHandler)
{
    startService();
    AllocationFault fault(sizeof(RfcSubscriptionFilter), [] {});
    EXPECT_EQ(subscribeSubtree(17, 1), OrvBadArgument);
    EXPECT_FALSE(fault.met()) << "no filter is made";
    EXPECT_TRUE(logged(lines(), 3, "Handler (17) not found."));
    EXPECT_EQ(messages(lines()).size(), 1u);
    EXPECT_EQ(subscriptions(), 0u);
    EXPECT_TRUE(lockIsFree());
}

TEST_F(NbiNotificationServiceCMSubtree, TracesThatItAddsASubscriptionOnceTheServiceIsKnownToRun)
{
    startService();
    const unsigned int handlerId = registerHandler();
    framework.setLevel(8);
    framework.log().clear();
    EXPECT_EQ(subscribeSubtree(handlerId, 1), OrvOk);
    EXPECT_TRUE(traced(lines(), 0, ADDING));
    const std::string adding = std::string("rfcFilterSubscribe:") + ADDING;
    EXPECT_THAT(ownTraces(), ElementsAre("rfcFilterSubscribe: >> ", adding, "rfcFilterSubscribe: << "));
    EXPECT_EQ(tracesOf(lines())[1], adding) << "before the filter is made";

    framework.log().clear();
    EXPECT_EQ(subscribeSubtree(17, 2), OrvBadArgument);
    EXPECT_TRUE(traced(lines(), 0, ADDING)) << "before the handler is looked for";

    framework.log().clear();
    EXPECT_EQ(subscribe(handlerId, 2), OrvOk);
    EXPECT_THAT(traces(lines()), Not(Contains(ADDING))) << "the other form says nothing of the kind";
}

TEST_F(NbiNotificationServiceCMSubtree, TracesThatItAddsASubscriptionBeforeItTakesTheHandlersLock)
{
    startService();
    const unsigned int handlerId = registerHandler();
    framework.setLevel(8);
    unsigned int free = 0;
    framework.log().whenLine(LogLine::trace, ADDING, [&] { free += lockIsFree() ? 1 : 0; });
    EXPECT_EQ(subscribeSubtree(handlerId, 1), OrvOk);
    EXPECT_EQ(subscribeSubtree(17, 2), OrvBadArgument);
    framework.log().whenLine(LogLine::log, "", nullptr);
    EXPECT_EQ(free, 2u);
}

TEST_F(NbiNotificationServiceCMSubtree, ReportsAnUnknownHandlerWithTheHandlersLockHeld)
{
    startService();
    unsigned int held = 0;
    framework.log().whenLine(LogLine::log, "Handler (17) not found.", [&] { held += lockIsFree() ? 0 : 1; });
    EXPECT_EQ(subscribeSubtree(17, 1), OrvBadArgument);
    framework.log().whenLine(LogLine::log, "", nullptr);
    EXPECT_EQ(held, 1u);
    EXPECT_TRUE(lockIsFree());
}

TEST_F(NbiNotificationServiceCMSubtree, HoldsTheHandlersLockFromTheFilterToTheSubscription)
{
    startService();
    const unsigned int handlerId = registerHandler();
    unsigned int held = 0;
    const auto look = [&] { held += lockIsFree() ? 0 : 1; };
    {
        AllocationFault fault(sizeof(RfcSubscriptionFilter), look);
        EXPECT_EQ(subscribeSubtree(handlerId, 1), OrvOk);
    }
    {
        AllocationFault fault(sizeof(NotificationSubscription), look);
        EXPECT_EQ(subscribeSubtree(handlerId, 2), OrvOk);
    }
    EXPECT_EQ(held, 2u);
    EXPECT_TRUE(lockIsFree());
}

TEST_F(NbiNotificationServiceCMSubtree, KeepsTheHandlesOfBothFormsInTheOrderOfSubscribing)
{
    startService();
    const unsigned int first = registerHandler();
    const unsigned int second = registerHandler();
    EXPECT_EQ(subscribeSubtree(first, 7), OrvOk);
    EXPECT_EQ(subscribe(first, 5), OrvOk);
    EXPECT_EQ(subscribeSubtree(second, 8), OrvOk);
    EXPECT_EQ(subscribeSubtree(first, 6), OrvOk);
    EXPECT_THAT(handlesOf(first), ElementsAre(7u, 5u, 6u));
    EXPECT_THAT(handlesOf(second), ElementsAre(8u));
}

TEST_F(NbiNotificationServiceCMSubtree, KeepsAHandleThatIsInUseTwice)
{
    startService();
    const unsigned int handlerId = registerHandler();
    EXPECT_EQ(subscribeSubtree(handlerId, 5), OrvOk);
    EXPECT_EQ(subscribeSubtree(handlerId, 5), OrvBadArgument);
    EXPECT_TRUE(logged(lines(), 3, "Failed to store Subscription in the map"));
    EXPECT_EQ(subscribe(handlerId, 5), OrvBadArgument) << "the two forms share their handles";
    EXPECT_THAT(handlesOf(handlerId), ElementsAre(5u, 5u, 5u));
    EXPECT_EQ(subscriptions(), 1u);
}

TEST_F(NbiNotificationServiceCMSubtree, KeepsTheHandleOfASubscriptionThatFoundNoThread)
{
    startService();
    const unsigned int handlerId = registerHandler();
    {
        AllocationFault fault(sizeof(NotificationSubscription),
                              [] { throw Poco::NoThreadAvailableException("exhausted"); });
        EXPECT_EQ(subscribeSubtree(handlerId, 1), OrvNoThread);
    }
    EXPECT_THAT(handlesOf(handlerId), ElementsAre(1u));
    EXPECT_EQ(subscriptions(), 0u);
}

TEST_F(NbiNotificationServiceCMSubtree, ReportsAFilterThatCannotBeMadeAndGivesItsLockBack)
{
    startService();
    const unsigned int handlerId = registerHandler();
    {
        AllocationFault fault(sizeof(RfcSubscriptionFilter), [] { throw Orv::OrvException("no %s today", "filter"); });
        EXPECT_EQ(subscribeSubtree(handlerId, 1), OrvBadArgument);
        EXPECT_TRUE(fault.met());
    }
    EXPECT_TRUE(logged(lines(), 3, "Failed to add subscription. no filter today"));
    EXPECT_EQ(messages(lines()).size(), 1u);
    EXPECT_THAT(handlesOf(handlerId), IsEmpty());
    EXPECT_EQ(subscriptions(), 0u);
    EXPECT_TRUE(lockIsFree());
    EXPECT_EQ(subscribeSubtree(handlerId, 1), OrvOk);
}

TEST_F(NbiNotificationServiceCMSubtree, ReportsTheFailureWithItsLockHeld)
{
    startService();
    const unsigned int handlerId = registerHandler();
    unsigned int held = 0;
    framework.log().whenLine(LogLine::log, "Failed to add subscription.", [&] { held += lockIsFree() ? 0 : 1; });
    AllocationFault fault(sizeof(RfcSubscriptionFilter), [] { throw Orv::OrvException("broken"); });
    EXPECT_EQ(subscribeSubtree(handlerId, 1), OrvBadArgument);
    framework.log().whenLine(LogLine::log, "", nullptr);
    EXPECT_EQ(held, 1u);
}

TEST_F(NbiNotificationServiceCMSubtree, TestsTheFilterInTheTablesEntryAlone)
{
    startService();
    EXPECT_EQ(component().rfcFilterSubscribe(registerHandler(), none.get(), 1, 0, 0, false, 0), OrvOk);
    EXPECT_EQ(subscriptions(), 1u);
    EXPECT_THAT(messages(lines()), IsEmpty());
}

TEST_F(NbiNotificationServiceCMSubtree, EndsByUnsubscribing)
{
    startService();
    const unsigned int handlerId = registerHandler();
    RecordingHandler handler(1);
    handler.hold();  // so that one run delivers all: one that ends could miss a record
    ASSERT_EQ(subscribeSubtree(handlerId, 1), OrvOk);
    ASSERT_EQ(push(1000, "A=1"), OrvOk);
    ASSERT_EQ(push(1000, "B=1"), OrvOk);
    ASSERT_EQ(push(1000, "A=2"), OrvOk);
    waitForServiceThread();
    handler.release();
    ASSERT_TRUE(handler.waitFor(2));
    EXPECT_EQ(table().unsubscribe(1), OrvOk);
    trees = Trees();  // from now on they may go
    ASSERT_EQ(push(1000, "A=3"), OrvOk);
    waitForServiceThread();
    EXPECT_THAT(handler.dns(), ElementsAre("A=1", "A=2"));
    EXPECT_EQ(subscriptions(), 0u);
    EXPECT_THAT(handlesOf(handlerId), IsEmpty());
    EXPECT_EQ(table().unsubscribe(1), OrvNotFound);
    EXPECT_TRUE(logged(lines(), 3, "Could not find handle 1 to remove"));
}

TEST_F(NbiNotificationServiceCMSubtree, EndsByUnregisteringItsHandlerWhichStaysRegistered)
{
    startService();
    const unsigned int handlerId = registerHandler();
    ASSERT_EQ(subscribeSubtree(handlerId, 1), OrvOk);
    ASSERT_EQ(subscribe(handlerId, 2), OrvOk);
    EXPECT_EQ(table().unregisterHandler(handlerId), OrvOk);
    EXPECT_EQ(subscriptions(), 0u);
    EXPECT_THAT(messages(lines()), IsEmpty());
    EXPECT_THAT(handlesOf(handlerId), ElementsAre(1u, 2u));
    EXPECT_EQ(table().unregisterHandler(handlerId), OrvOk);
    EXPECT_TRUE(logged(lines(), 3, HANDLE_GONE, 2));
    EXPECT_EQ(subscribeSubtree(handlerId, 3), OrvOk);
}

TEST_F(NbiNotificationServiceCMSubtree, EndsWithTheStopOfTheService)
{
    startService();
    const unsigned int handlerId = registerHandler();
    ASSERT_EQ(subscribeSubtree(handlerId, 1), OrvOk);
    ASSERT_EQ(stop(), OrvOk);
    EXPECT_EQ(subscriptions(), 0u);
    trees = Trees({node("A")});
    ASSERT_EQ(start(), OrvOk);
    EXPECT_EQ(subscribeSubtree(handlerId, 1), OrvOk);
}

// One that fails in an unforeseen way ends the process.
class NbiNotificationServiceCMSubtreeDeathTest : public NbiNotificationServiceCMSubtree
{
protected:
    NbiNotificationServiceCMSubtreeDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    void expectAbort(std::function<void()> subscribing)
    {
        EXPECT_EXIT(
            {
                framework.log().echoToStandardError(true);
                subscribing();
            },
            testing::KilledBySignal(SIGABRT), "log 3 rfcFilterSubscribe: \"Caught unhandled exception\"");
    }
};

TEST_F(NbiNotificationServiceCMSubtreeDeathTest, AHandlerMutexThatCannotBeLockedAborts)
{
    startService();
    const unsigned int handlerId = registerHandler();
    expectAbort(
        [&]
        {
            const MutexFault fault(component().handlerMutex, MutexFault::lockFails);
            subscribeSubtree(handlerId, 1);
        });
}

TEST_F(NbiNotificationServiceCMSubtreeDeathTest, AHandlerMutexThatCannotBeUnlockedAborts)
{
    startService();
    const unsigned int handlerId = registerHandler();
    expectAbort(
        [&]
        {
            const MutexFault fault(component().handlerMutex, MutexFault::unlockFails);
            subscribeSubtree(handlerId, 1);
        });
}

TEST_F(NbiNotificationServiceCMSubtreeDeathTest, ARegistryMutexThatCannotBeUnlockedAborts)
{
    startService();
    const unsigned int handlerId = registerHandler();
    expectAbort(
        [&]
        {
            const MutexFault fault(component().runnable._mutex, MutexFault::unlockFails);
            subscribeSubtree(handlerId, 1);
        });
}

TEST_F(NbiNotificationServiceCMSubtreeDeathTest, AFilterForWhichThereIsNoMemoryAborts)
{
    startService();
    const unsigned int handlerId = registerHandler();
    expectAbort(
        [&]
        {
            AllocationFault fault(sizeof(RfcSubscriptionFilter), [] { throw std::bad_alloc(); });
            subscribeSubtree(handlerId, 1);
        });
}

TEST_F(NbiNotificationServiceCMSubtreeDeathTest, ASubscriptionForWhichThereIsNoMemoryAborts)
{
    startService();
    const unsigned int handlerId = registerHandler();
    expectAbort(
        [&]
        {
            AllocationFault fault(sizeof(NotificationSubscription), [] { throw std::bad_alloc(); });
            subscribeSubtree(handlerId, 1);
        });
}

TEST_F(NbiNotificationServiceCMSubtreeDeathTest, SomethingThatIsNoExceptionAbortsEvenAtTheEntry)
{
    startService();
    expectAbort(
        [&]
        {
            framework.log().whenLine(LogLine::trace, " >> ", [] { throw 42; });
            framework.setLevel(8);
            subscribeSubtree(1, 1);
        });
}

TEST_F(NbiNotificationServiceCMSubtreeDeathTest, AnArrayThatIsNullIsNotSurvived)
{
    startService();
    const unsigned int handlerId = registerHandler();
    EXPECT_DEATH(table().rfcFilterSubscribe(handlerId, nullptr, 1, 0, 0, false, 0), "");
}

}  // namespace
