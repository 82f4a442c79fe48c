// What the process dies of: neither the constructor nor notify lets an exception pass.
#include <climits>
#include <new>
#include <stdexcept>

#include "AllocationHook.h"
#include "MutexFault.h"
#include "SubscriptionTest.h"

using namespace OrvTest;

typedef SubscriptionTest NotificationSubscriptionDeathTest;
typedef OrvOamSpiNbiNotificationValue_1 Record;

namespace
{

const char NO_THREAD_LOGGED_TWICE[] =
    "log 3 start: \"Rethrow NoThreadAvailableException: No thread available\"(.|\n)*"
    "log 3 checkQueue: \"Rethrow NoThreadAvailableException: No thread available\"(.|\n)*"
    "Poco::NoThreadAvailableException";

const auto ABORTED = testing::KilledBySignal(SIGABRT);

}  // namespace

TEST_F(NotificationSubscriptionDeathTest, AnExhaustedPoolAtTheFirstRunOfAReplayEndsTheProcess)
{
    EXPECT_EXIT(
        {
            framework.log().echoToStandardError(true);
            const NarrowPool none(0);
            subscribe(replayFrom(CREATED));
        },
        ABORTED, NO_THREAD_LOGGED_TWICE);
}

TEST_F(NotificationSubscriptionDeathTest, AnExhaustedPoolAtTheReplayGapEndsTheProcess)
{
    EXPECT_EXIT(
        {
            framework.log().echoToStandardError(true);
            const NarrowPool none(0);
            subscribe(replayFrom(CREATED - 1));
        },
        ABORTED, NO_THREAD_LOGGED_TWICE);
}

TEST_F(NotificationSubscriptionDeathTest, AnExhaustedPoolAtTheStartOfTheStopTimerEndsTheProcess)
{
    EXPECT_EXIT(
        {
            const NarrowPool none(0);
            subscribe(until(NOW + HOUR));
        },
        ABORTED, "Poco::NoThreadAvailableException");
}

TEST_F(NotificationSubscriptionDeathTest, AnExhaustedPoolAtTheStartOfTheHeartbeatTimerEndsTheProcess)
{
    EXPECT_EXIT(
        {
            const NarrowPool none(1);
            Request request = withHeartbeat(3600);
            request.stopTime = NOW + HOUR;
            subscribe(request);
        },
        ABORTED, "Poco::NoThreadAvailableException");
}

TEST_F(NotificationSubscriptionDeathTest, AnExhaustedPoolAtALiveRecordEndsTheProcess)
{
    EXPECT_EXIT(
        {
            framework.log().echoToStandardError(true);
            subscribe();
            const NarrowPool none(0);
            notify(NOW, "A=1");
        },
        ABORTED, NO_THREAD_LOGGED_TWICE);
}

TEST_F(NotificationSubscriptionDeathTest, AnExhaustedPoolAtAHeartbeatEndsTheProcess)
{
    EXPECT_EXIT(
        {
            framework.log().echoToStandardError(true);
            subscribe();
            const NarrowPool none(0);
            subscription->onHeartbeatTimer(subscription->_heartbeatTimer);
        },
        ABORTED, NO_THREAD_LOGGED_TWICE);
}

TEST_F(NotificationSubscriptionDeathTest, AnExhaustedPoolOnTheStopTimersThreadEndsTheProcess)
{
    EXPECT_EXIT(
        {
            const NarrowPool one(1);  // for the timer itself
            subscribe(until(NOW + MILLISECOND));
            handler.waitForType(notificationComplete);
        },
        ABORTED, "Poco::NoThreadAvailableException");
}

TEST_F(NotificationSubscriptionDeathTest, AMutexThatCannotBeLockedInNotifyEndsTheProcess)
{
    EXPECT_EXIT(
        {
            subscribe();
            const MutexFault fault(subscription->_queueMutex, MutexFault::lockFails, MutexFault::here, 1);
            notify(NOW, "A=1");
        },
        ABORTED, "Poco::SystemException");
}

TEST_F(NotificationSubscriptionDeathTest, AMutexThatCannotBeUnlockedInNotifyEndsTheProcess)
{
    EXPECT_EXIT(
        {
            subscribe();
            const MutexFault fault(subscription->_queueMutex, MutexFault::unlockFails, MutexFault::here, 1);
            notify(NOW, "A=1");
        },
        ABORTED, "Poco::SystemException");
}

TEST_F(NotificationSubscriptionDeathTest, AMutexThatFailsInTheConstructorEndsTheProcess)
{
    EXPECT_EXIT(
        {
            alignas(NotificationSubscription) static char place[sizeof(NotificationSubscription)];
            const MutexFault fault(reinterpret_cast<NotificationSubscription*>(place)->_queueMutex,
                                   MutexFault::lockFails, MutexFault::here, 1);
            new (place) NotificationSubscription(HANDLE, RecordingHandler::handlerRecord(), new ScriptedFilter(filter),
                                                 &buffer, CREATED, 0, false, 0, 10);
        },
        ABORTED, "Poco::SystemException");
}

TEST_F(NotificationSubscriptionDeathTest, AMatchThatThrowsInNotifyEndsTheProcess)
{
    filter.match = [](const Record&) -> bool { throw std::runtime_error("from match"); };
    EXPECT_EXIT(
        {
            subscribe();
            notify(NOW, "A=1");
        },
        ABORTED, "from match");
}

TEST_F(NotificationSubscriptionDeathTest, AMatchThatThrowsDuringTheReplayEndsTheProcess)
{
    filter.match = [](const Record&) -> bool { throw std::runtime_error("from match"); };
    store(CREATED, "A=1");
    EXPECT_EXIT(subscribe(replayFrom(CREATED)), ABORTED, "from match");
}

TEST_F(NotificationSubscriptionDeathTest, AFilterThatThrowsFromADerivedCallEndsTheProcess)
{
    filter.deletes = [](const Record&, std::vector<Record*>&) { throw std::runtime_error("from deletes"); };
    filter.select = [](const Record&, Record*) -> bool { throw std::runtime_error("from select"); };
    EXPECT_EXIT(
        {
            subscribe();
            notify(NOW, "A=1");
        },
        ABORTED, "from deletes");
    EXPECT_EXIT(
        {
            filter.deletes = [](const Record&, std::vector<Record*>&) {};
            subscribe();
            notifyControl(heartbeatNotification);
        },
        ABORTED, "from select");
}

TEST_F(NotificationSubscriptionDeathTest, ALackOfMemoryInNotifyEndsTheProcess)
{
    EXPECT_EXIT(
        {
            subscribe();
            const Notification notification = makeNotification(NOW, "A=1", objectCreated);
            const NoMemory none;
            subscription->notify(*notification);
        },
        ABORTED, "std::bad_alloc");
}

TEST_F(NotificationSubscriptionDeathTest, AStopTimeThatIsCutToANegativeDelayEndsTheProcess)
{
    EXPECT_EXIT(subscribe(until(NOW + 2147483648 * MILLISECOND)), ABORTED, "Poco::AssertionViolationException");
}

TEST_F(NotificationSubscriptionDeathTest, AHeartbeatThatIsCutToANegativePeriodEndsTheProcess)
{
    EXPECT_EXIT(subscribe(withHeartbeat(2147484)), ABORTED, "Poco::AssertionViolationException");
    EXPECT_EXIT(subscribe(withHeartbeat(-1)), ABORTED, "Poco::AssertionViolationException");
}
