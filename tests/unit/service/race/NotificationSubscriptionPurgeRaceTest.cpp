// Interleavings with a purge: what arrives, is looked for or comes back while a queue that is full is being emptied.
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "Interleaving.h"
#include "MutexFault.h"
#include "SubscriptionTest.h"
#include "SystemTime.h"

using namespace OrvTest;

namespace
{

typedef std::vector<int32_t> Types;
typedef std::vector<std::string> Dns;

// The overflow record is stamped in the middle of a purge: the old records are gone and the guard is set. What happens
// then on the purging thread stands here.
std::function<void()> inPurge;

Poco::Timestamp stamp()
{
    if (inPurge)
    {
        const std::function<void()> action = std::move(inPurge);
        inPurge = nullptr;
        action();
    }
    return Poco::Timestamp(4711);
}

class NotificationSubscriptionPurge : public SubscriptionTest
{
protected:
    ~NotificationSubscriptionPurge() override
    {
        OrvNbiNotificationService::setTimeSource(nullptr);
        inPurge = nullptr;
    }

    void heartbeat() { subscription->onHeartbeatTimer(subscription->_heartbeatTimer); }

    // The record's arrival purges the queue; the action runs meanwhile.
    void purgeWith(const std::string& dn, const std::function<void()>& action)
    {
        inPurge = action;
        OrvNbiNotificationService::setTimeSource(stamp);
        notify(NOW, dn);
        EXPECT_FALSE(inPurge) << "nothing was purged";
    }

    // The handler has A=1 in its hands, B=1 and C=1 fill a queue of two, and D=1 purges it. Meanwhile the handler
    // returns, and its run comes to the queue. Returns when all has been delivered.
    void purgeWhileTheHandlerReturns()
    {
        handler.hold();
        notify(NOW, "A=1");
        ASSERT_TRUE(handler.waitUntilHeld());
        notify(NOW, "B=1");
        notify(NOW, "C=1");
        std::promise<void> runComes;
        Once look;
        const LockNotice notice(subscription->_queueMutex,
                                [&]
                                {
                                    if (look.first())
                                    {
                                        runComes.set_value();
                                    }
                                });
        purgeWith("D=1",
                  [&]
                  {
                      EXPECT_TRUE(subscription->_overflow);
                      EXPECT_TRUE(subscription->_queue.empty());
                      handler.release();
                      runComes.get_future().wait();
                  });
        EXPECT_TRUE(handler.waitForDn("D=1"));
        waitUntilIdle();
        pool().joinAll();
    }
};

TEST_F(NotificationSubscriptionPurge, IsFollowedByTheHeartbeatThatCameMeanwhile)
{
    subscribe(withLimit(3));
    const TokenHold token(*subscription);
    for (const char* const dn : {"A=1", "B=1", "C=1"})
    {
        notify(NOW, dn);
    }
    std::promise<void> heartbeatWaits;
    const LockNotice notice(subscription->_filterMutex, [&] { heartbeatWaits.set_value(); });
    std::thread timer;
    purgeWith("D=1",
              [&]
              {
                  timer = std::thread([this] { heartbeat(); });
                  heartbeatWaits.get_future().wait();
              });
    timer.join();
    EXPECT_EQ(queuedTypes(), Types({overflowNotification, objectCreated, heartbeatNotification}));
}

TEST_F(NotificationSubscriptionPurge, ByAHeartbeatIsFollowedByTheLiveRecordThatCameMeanwhile)
{
    subscribe(withLimit(3));
    const TokenHold token(*subscription);
    for (const char* const dn : {"A=1", "B=1", "C=1"})
    {
        notify(NOW, dn);
    }
    std::promise<void> recordWaits;
    std::thread service;
    // The heartbeat asks for the time twice: for itself, and for the overflow record.
    OrvNbiNotificationService::setTimeSource(stamp);
    const LockNotice notice(subscription->_filterMutex, [&] { recordWaits.set_value(); });
    inPurge = [&]
    {
        inPurge = [&]
        {
            service = std::thread([this] { notify(NOW, "D=1"); });
            recordWaits.get_future().wait();
        };
    };
    heartbeat();
    service.join();
    EXPECT_EQ(queuedTypes(), Types({overflowNotification, heartbeatNotification, objectCreated}));
}

TEST_F(NotificationSubscriptionPurge, IsOverBeforeTheRunLooksAgain)
{
    subscribe(withLimit(2));
    purgeWhileTheHandlerReturns();
    EXPECT_EQ(handler.dns(), Dns({"A=1", "-", "D=1"}));
    EXPECT_EQ(handler.types(), Types({objectCreated, overflowNotification, objectCreated}));
}

// A=1 was in the handler's hands when the queue was emptied, so it comes back, ahead of the overflow record.
TEST_F(NotificationSubscriptionPurge, HasARecordInFrontOfItsOwnThatTheRunPutBackMeanwhile)
{
    subscribe(withLimit(2));
    handler.answer({OrvRetry});
    purgeWhileTheHandlerReturns();
    EXPECT_EQ(handler.dns(), Dns({"A=1", "A=1", "-", "D=1"}));
}

}  // namespace
