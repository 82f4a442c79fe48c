// What becomes of exceptions and of failing mutexes in the northbound interface.
#include <Poco/Exception.h>

#include <csignal>
#include <functional>
#include <new>

#include "AllocationFault.h"
#include "MutexFault.h"
#include "NotificationSubscription.h"
#include "ShellTest.h"

using namespace OrvTest;
using OrvNbiNotificationService::NotificationSubscription;
using testing::IsEmpty;

namespace
{

const char UNHANDLED[] = "Caught unhandled exception";

class NbiNotificationServiceCMFailure : public ShellTest
{
protected:
    size_t subscriptions() { return component().runnable._subscriptions.size(); }
};

// Whatever is thrown, here by the trace interface at the entry of a member.
class NbiNotificationServiceCMException : public NbiNotificationServiceCMFailure
{
protected:
    template <typename Call>
    OrvReturnT resultOf(Call call)
    {
        framework.log().whenLine(LogLine::trace, " >> ", [] { throw 42; });
        framework.setLevel(8);
        const OrvReturnT result = call();
        framework.setLevel(6);
        framework.log().whenLine(LogLine::trace, "", nullptr);
        return result;
    }
};

TEST_F(NbiNotificationServiceCMException, MakesEveryMemberWithACatchAllFail)
{
    startService();
    OrvOamSpiNbiNotificationHandler_1 record = RecordingHandler::handlerRecord();
    unsigned int handlerId = 0;
    long long timestamp = 0;
    EXPECT_EQ(resultOf([&] { return component().initialize(nullptr); }), OrvFailure);
    EXPECT_EQ(resultOf([&] { return component().start(ZelStateChangeActivate); }), OrvFailure);
    EXPECT_EQ(resultOf([&] { return component().stop(ZelStateChangeDeactivate); }), OrvFailure);
    EXPECT_EQ(resultOf([&] { return table().registerHandler(&record, &handlerId); }), OrvFailure);
    EXPECT_EQ(resultOf([&] { return table().unregisterHandler(1); }), OrvFailure);
    EXPECT_EQ(resultOf([&] { return table().unsubscribe(1); }), OrvFailure);
    EXPECT_EQ(resultOf([&] { return table().getOldestBufferTimestamp(&timestamp); }), OrvFailure);
    EXPECT_EQ(resultOf([&] { return table().getLastAgedNotificationTime(&timestamp); }), OrvFailure);
    EXPECT_EQ(resultOf([&] { return table().getBufferCreationTime(&timestamp); }), OrvFailure);
    EXPECT_EQ(resultOf([&] { return push(1000, "A=1"); }), OrvFailure);
    EXPECT_TRUE(logged(lines(), 3, UNHANDLED, 10));
    EXPECT_EQ(messages(lines()).size(), 10u);
}

TEST_F(NbiNotificationServiceCMException, PassesThroughGetSubscriptionHandle)
{
    unsigned int handle = 0;
    EXPECT_THROW(resultOf([&] { return table().getSubscriptionHandle(&handle); }), int);
    framework.log().whenLine(LogLine::trace, "", nullptr);
}

// A failing mutex comes out of every operation: the lock's own failure before anything is done, the unlock's after.
class NbiNotificationServiceCMBrokenMutex : public NbiNotificationServiceCMFailure,
                                            public testing::WithParamInterface<MutexFault::Operation>
{
};

TEST_P(NbiNotificationServiceCMBrokenMutex, MakesTheMembersWithACatchAllFail)
{
    startService();
    const unsigned int handlerId = registerHandler();
    ASSERT_EQ(subscribe(handlerId, 1), OrvOk);
    OrvOamSpiNbiNotificationHandler_1 record = RecordingHandler::handlerRecord();
    unsigned int another = 0;
    {
        const MutexFault fault(component().handlerMutex, GetParam());
        EXPECT_EQ(table().registerHandler(&record, &another), OrvFailure);
        EXPECT_EQ(table().unregisterHandler(handlerId), OrvFailure);
        EXPECT_EQ(table().unsubscribe(1), OrvFailure);
    }
    EXPECT_TRUE(logged(lines(), 3, UNHANDLED, 3));
    const bool done = GetParam() == MutexFault::unlockFails;
    EXPECT_EQ(component().handlers.size(), done ? 2u : 1u);
    EXPECT_EQ(subscriptions(), done ? 0u : 1u);
}

TEST_P(NbiNotificationServiceCMBrokenMutex, LeavesGetSubscriptionHandleAsAnException)
{
    startService();
    const bool locking = GetParam() == MutexFault::lockFails;
    unsigned int handle = 99;
    std::string message;
    try
    {
        const MutexFault fault(component().handlerMutex, GetParam());
        table().getSubscriptionHandle(&handle);
    }
    catch (const Poco::SystemException& exception)
    {
        message = exception.message();
    }
    EXPECT_EQ(message, locking ? "cannot lock mutex" : "cannot unlock mutex");
    EXPECT_EQ(handle, locking ? 99u : 1u);
    EXPECT_THAT(messages(lines()), IsEmpty());
}

TEST_P(NbiNotificationServiceCMBrokenMutex, OfTheRegistryMakesRemovalsFail)
{
    startService();
    const unsigned int handlerId = registerHandler();
    ASSERT_EQ(subscribe(handlerId, 1), OrvOk);
    {
        const MutexFault fault(component().runnable._mutex, GetParam());
        EXPECT_EQ(table().unsubscribe(1), OrvFailure);
    }
    EXPECT_TRUE(logged(lines(), 3, UNHANDLED, 1));
    EXPECT_EQ(subscriptions(), GetParam() == MutexFault::unlockFails ? 0u : 1u);
    EXPECT_TRUE(component().handlerMutex.tryLock()) << "given back";
    component().handlerMutex.unlock();
}

INSTANTIATE_TEST_SUITE_P(Operations, NbiNotificationServiceCMBrokenMutex,
                         testing::Values(MutexFault::lockFails, MutexFault::unlockFails));

// A subscription that fails in an unforeseen way ends the process.
class NbiNotificationServiceCMDeathTest : public ShellTest
{
protected:
    NbiNotificationServiceCMDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    void expectAbort(std::function<void()> subscribing)
    {
        EXPECT_EXIT(
            {
                framework.log().echoToStandardError(true);
                subscribing();
            },
            testing::KilledBySignal(SIGABRT), "log 3 subscribe: \"Caught unhandled exception\"");
    }
};

TEST_F(NbiNotificationServiceCMDeathTest, ASubscriptionWhoseHandlerMutexCannotBeLockedAborts)
{
    startService();
    const unsigned int handlerId = registerHandler();
    expectAbort(
        [&]
        {
            const MutexFault fault(component().handlerMutex, MutexFault::lockFails);
            subscribe(handlerId, 1);
        });
}

TEST_F(NbiNotificationServiceCMDeathTest, ASubscriptionWhoseHandlerMutexCannotBeUnlockedAborts)
{
    startService();
    const unsigned int handlerId = registerHandler();
    expectAbort(
        [&]
        {
            const MutexFault fault(component().handlerMutex, MutexFault::unlockFails);
            subscribe(handlerId, 1);
        });
}

TEST_F(NbiNotificationServiceCMDeathTest, ASubscriptionWhoseRegistryMutexCannotBeUnlockedAborts)
{
    startService();
    const unsigned int handlerId = registerHandler();
    expectAbort(
        [&]
        {
            const MutexFault fault(component().runnable._mutex, MutexFault::unlockFails);
            subscribe(handlerId, 1);
        });
}

TEST_F(NbiNotificationServiceCMDeathTest, ASubscriptionForWhichThereIsNoMemoryAborts)
{
    startService();
    const unsigned int handlerId = registerHandler();
    expectAbort(
        [&]
        {
            AllocationFault fault(sizeof(NotificationSubscription), [] { throw std::bad_alloc(); });
            subscribe(handlerId, 1);
        });
}

}  // namespace
