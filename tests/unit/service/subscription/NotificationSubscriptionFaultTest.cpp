// Failures that reach a caller: of a mutex, and of an exhausted pool. Those that end the process are in the death
// tests.
#include <Poco/Exception.h>

#include "DeliveryToken.h"
#include "LogCheck.h"
#include "MutexFault.h"
#include "PauseHook.h"
#include "SubscriptionTest.h"

using namespace OrvTest;

typedef SubscriptionTest NotificationSubscriptionFault;
typedef std::vector<std::string> Dns;
typedef std::vector<std::string> Texts;

namespace
{

// The message of the Poco::SystemException that the call throws, empty if it throws none.
template <typename Call>
std::string systemError(Call call)
{
    try
    {
        call();
    }
    catch (const Poco::SystemException& e)
    {
        return e.message();
    }
    return "";
}

}  // namespace

TEST_F(NotificationSubscriptionFault, CheckQueueLogsAndRethrowsAMutexThatCannotBeLocked)
{
    subscribe();
    const MutexFault fault(subscription->_queueMutex, MutexFault::lockFails, MutexFault::here, 1);
    EXPECT_EQ(systemError([&] { subscription->checkQueue(); }), "cannot lock mutex");
    EXPECT_TRUE(logged(framework.lines(), 3, "Rethrow exception"));
    EXPECT_EQ(messages(framework.lines()), Texts({"3 Rethrow exception"}));
    EXPECT_TRUE(tokenIsFree());
}

TEST_F(NotificationSubscriptionFault, CheckQueueLogsAndRethrowsAMutexThatCannotBeUnlocked)
{
    subscribe();
    const MutexFault fault(subscription->_queueMutex, MutexFault::unlockFails, MutexFault::here, 1);
    EXPECT_EQ(systemError([&] { subscription->checkQueue(); }), "cannot unlock mutex");
    EXPECT_EQ(messages(framework.lines()), Texts({"3 Rethrow exception"}));
}

TEST_F(NotificationSubscriptionFault, CheckQueueLogsAndRethrowsATokenThatCannotBeTried)
{
    subscribe();
    {
        const TokenHold token(*subscription);
        notify(NOW, "A=1");
    }
    {
        const MutexFault fault(subscription->_processMutex, MutexFault::tryLockFails, MutexFault::here, 1);
        EXPECT_EQ(systemError([&] { subscription->checkQueue(); }), "cannot lock mutex");
    }
    EXPECT_EQ(messages(framework.lines()), Texts({"3 Rethrow exception"}));
    EXPECT_TRUE(tokenIsFree());
}

TEST_F(NotificationSubscriptionFault, CheckQueueLogsAnExhaustedPoolAfterTheStarterAndKeepsTheToken)
{
    subscribe();
    {
        const TokenHold token(*subscription);
        notify(NOW, "A=1");
    }
    {
        const NarrowPool none(0);
        EXPECT_THROW(subscription->checkQueue(), Poco::NoThreadAvailableException);
    }
    const std::string text = "Rethrow NoThreadAvailableException: No thread available";
    EXPECT_EQ(messages(framework.lines()), Texts({"3 " + text, "3 " + text}));
    EXPECT_TRUE(logged(framework.lines(), 3, text, 2));
    Texts functions;
    for (const LogLine& line : framework.lines())
    {
        if (line.source == LogLine::log)
        {
            functions.push_back(line.function);
        }
    }
    EXPECT_EQ(functions, Texts({"start", "checkQueue"}));
    // No run will ever give it back.
    EXPECT_FALSE(tokenIsFree());
    OrvNbiNotificationService::giveToken(subscription->_processMutex);
    deliverAll();
    EXPECT_EQ(handler.dns(), Dns({"A=1"}));
}

TEST_F(NotificationSubscriptionFault, ARunThatCannotLockTheQueueEndsSilentlyWithTheTokenHeld)
{
    subscribe();
    {
        const TokenHold token(*subscription);
        notify(NOW, "A=1");
    }
    {
        const MutexFault fault(subscription->_queueMutex, MutexFault::lockFails, MutexFault::elsewhere, 1);
        subscription->checkQueue();
        pool().joinAll();
    }
    EXPECT_FALSE(tokenIsFree());
    EXPECT_EQ(queuedDns(), Dns({"A=1"}));
    EXPECT_EQ(handler.count(), 0u);
    EXPECT_EQ(messages(framework.lines()), Texts());

    notify(NOW, "B=1");  // starts no further run
    EXPECT_EQ(queuedDns(), Dns({"A=1", "B=1"}));
    OrvNbiNotificationService::giveToken(subscription->_processMutex);
}

TEST_F(NotificationSubscriptionFault, ARunThatCannotUnlockTheQueueEndsSilentlyWithTheTokenHeld)
{
    subscribe();
    {
        // The second unlock elsewhere is that of the look that finds the queue empty: no record is in hand.
        const MutexFault fault(subscription->_queueMutex, MutexFault::unlockFails, MutexFault::elsewhere, 2);
        notify(NOW, "A=1");
        pool().joinAll();
    }
    EXPECT_EQ(handler.dns(), Dns({"A=1"}));
    EXPECT_FALSE(tokenIsFree());
    EXPECT_EQ(messages(framework.lines()), Texts());
    OrvNbiNotificationService::giveToken(subscription->_processMutex);
}

TEST_F(NotificationSubscriptionFault, ARefusedRecordThatCannotBePutBackIsReleasedAndTheTokenStaysHeld)
{
    PauseHook quick;
    subscribe();
    handler.answer({OrvRetry});
    {
        const MutexFault fault(subscription->_queueMutex, MutexFault::lockFails, MutexFault::elsewhere, 2);
        notify(NOW, "A=1");
        pool().joinAll();
    }
    EXPECT_EQ(handler.dns(), Dns({"A=1"}));
    EXPECT_EQ(queuedDns(), Dns());
    EXPECT_FALSE(tokenIsFree());
    OrvNbiNotificationService::giveToken(subscription->_processMutex);
}

TEST_F(NotificationSubscriptionFault, StopThrowsWhatItsMutexesThrow)
{
    subscribe();
    {
        const MutexFault fault(subscription->_queueMutex, MutexFault::lockFails, MutexFault::here, 1);
        EXPECT_EQ(systemError([&] { subscription->stop(); }), "cannot lock mutex");
    }
    {
        const MutexFault fault(subscription->_queueMutex, MutexFault::unlockFails, MutexFault::here, 1);
        EXPECT_EQ(systemError([&] { subscription->stop(); }), "cannot unlock mutex");
    }
    {
        const MutexFault fault(subscription->_processMutex, MutexFault::lockFails, MutexFault::here, 1);
        EXPECT_EQ(systemError([&] { subscription->stop(); }), "cannot lock mutex");
    }
    {
        const MutexFault fault(subscription->_processMutex, MutexFault::unlockFails, MutexFault::here, 1);
        EXPECT_EQ(systemError([&] { subscription->stop(); }), "cannot unlock mutex");
    }
    EXPECT_TRUE(subscription->_stopped);
}
