#pragma once

#include <Poco/ActiveMethod.h>
#include <Poco/Mutex.h>
#include <Poco/Timer.h>

#include <atomic>
#include <deque>

#include "NotificationBuffer.h"
#include "NotificationReturns.h"
#include "NotificationThreadStarter.h"
#include "NotificationUtils.h"
#include "OrvOamSpiNbiNotificationService_1.h"
#include "SubscriptionFilter.h"
#include "ThreadSafety.h"

namespace OrvNbiNotificationService
{

// One subscriber's standing request: a filter, a queue, a replay if the start time asks for one, a stop time and a
// heartbeat. The constructor does all of the starting up: when it returns the replay stands in the queue, delivery is
// under way and the timers run.
// Threads:   construction on the subscribing thread and stop on any, both under the registry lock; notify from the
//            service thread, a clock change and the timers; the handler is called on pool threads, one run at a time.
//            _filterMutex and _queueMutex are rows 3 and 4 of docs/threads-and-locks.md; _processMutex, the delivery
//            token, is no row: checkQueue takes it without blocking and the run gives it back on its own thread.
// Ownership: the filter and every record in the queue are the subscription's; the buffer is borrowed.
// Invariant: at most one delivery run exists, so records reach the handler in queue order.
// Failure:   neither the constructor nor notify lets an exception pass: a failing mutex, an exhausted pool or a lack of
//            memory there ends the process.
class NotificationSubscription
{
public:
    // startTime, stopTime: microseconds since the Unix epoch, 0 for none. heartbeatInterval: seconds. queueLimit:
    // records that may wait before the backlog is thrown away. Takes the filter, which may be null. returns: where
    // delivered records go, null to free them at once; borrowed.
    NotificationSubscription(unsigned int subscriptionHandle, OrvOamSpiNbiNotificationHandler_1 handler,
                             SubscriptionFilter* filter, NotificationBuffer* buffer, long long startTime,
                             long long stopTime, bool heartbeatSupported, long long heartbeatInterval,
                             unsigned int queueLimit, NotificationReturns* returns = nullptr) noexcept;

    // stop must have been called. Waits for a timer's callback that outlived it, and for the delivery run that this may
    // have started.
    ~NotificationSubscription();

    // Ends delivery and waits for it, without limit. What is queued is dropped; no notification complete is sent.
    // Throws Poco::SystemException.
    void stop();

    enum class Start
    {
        AtOnce,
        Later
    };

    // Queues what the subscriber is to get for this record, a copy or what the filter derives, and starts delivery; or
    // leaves that to startDelivery, unless three quarters of the queue are taken. The record is borrowed for the call.
    // Never waits for the subscriber.
    void notify(const OrvOamSpiNbiNotificationValue_1& notification, Start start = Start::AtOnce) noexcept;

    // Starts what notify has left. It, and a notify that leaves something, need the registry lock.
    void startDelivery() noexcept;

    // A new record that the caller owns. time: microseconds since the Unix epoch.
    static OrvOamSpiNbiNotificationValue_1* createDiscardedOldNotification(long long time);

    NotificationSubscription(const NotificationSubscription&) = delete;
    NotificationSubscription& operator=(const NotificationSubscription&) = delete;

private:
    enum class AfterAnswer
    {
        NextRecord,
        EndRun
    };

    void init();
    void replay();
    void setupTimer();
    void startTimer(long long delay);
    void startHeartbeatTimer(long long interval);
    void sendNotificationComplete();
    void onTimer(Poco::Timer&);
    void onHeartbeatTimer(Poco::Timer&);

    bool isExpired(const OrvOamSpiNbiNotificationValue_1& notification) const;
    bool enqueue(const OrvOamSpiNbiNotificationValue_1& notification, bool& isFilling) ORV_REQUIRES(_filterMutex);
    void clearQueue() ORV_REQUIRES(_queueMutex);
    void purge() ORV_REQUIRES(_queueMutex);
    void appendDerived(const OrvOamSpiNbiNotificationValue_1& notification) ORV_REQUIRES(_filterMutex, _queueMutex);
    unsigned int queueSize();
    void checkQueue();
    void startRun() ORV_RELEASE(_processMutex);

    void processQueueImpl() ORV_RELEASE(_processMutex);
    bool popFront(OrvOamSpiNbiNotificationValue_1*& notification) ORV_REQUIRES(_processMutex);
    OrvReturnT callHandler(OrvOamSpiNbiNotificationValue_1* notification) ORV_REQUIRES(_processMutex);
    AfterAnswer actOnAnswer(OrvReturnT answer, OrvOamSpiNbiNotificationValue_1* notification,
                            NotificationReturns::Bundle& delivered) ORV_REQUIRES(_processMutex);
    static OrvOamSpiNbiNotificationValue_1* createOverflowNotification();

    Poco::ActiveMethod<void, void, NotificationSubscription, NotificationThreadStarter<NotificationSubscription>>
        processQueue;
    Poco::FastMutex _queueMutex;
    Poco::FastMutex _processMutex;
    OrvOamSpiNbiNotificationHandler_1 _handler;
    unsigned int _handle;
    SubscriptionFilter* _filters ORV_PT_GUARDED_BY(_filterMutex);
    std::deque<OrvOamSpiNbiNotificationValue_1*> _queue ORV_GUARDED_BY(_queueMutex);
    unsigned int _maxQueueSize;
    bool _overflow ORV_GUARDED_BY(_queueMutex);
    bool _heartbeatSupported;
    long long _heartbeatInterval;
    NotificationBuffer* _buffer;
    long long _startTime;
    long long _stopTime;
    bool _doReplay;
    std::atomic<bool> _stopped;                         // written without a lock, read under _queueMutex
    bool _deregistering ORV_GUARDED_BY(_processMutex);  // the run's alone
    Poco::Timer _timer;
    Poco::Timer _heartbeatTimer;
    Poco::FastMutex _filterMutex;  // from a match to the derived calls that follow it, if the filter keeps findings
    const bool _hasFindings;       // the filter may have some; a legacy one has none
    NotificationReturns* const _returns;
    bool _startDue;  // under the registry lock
    // What the filter may fill for its next selection. Null until it is asked, and after a selection.
    OwnedNotification _selection ORV_GUARDED_BY(_queueMutex);
};

}  // namespace OrvNbiNotificationService
