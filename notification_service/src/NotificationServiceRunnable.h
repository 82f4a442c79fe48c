#pragma once

#include <Poco/Mutex.h>
#include <Poco/Runnable.h>

#include <deque>
#include <map>

#include "NotificationBuffer.h"
#include "NotificationReturns.h"
#include "NotificationSubscription.h"
#include "OrvOamSpiNbiNotificationService_1.h"
#include "PipeMessage.h"
#include "SubscriptionFilter.h"
#include "ThreadSafety.h"
#include "ZelTypes.h"

namespace OrvNbiNotificationService
{

// The body of the service thread, the replay buffer and the registry of subscriptions.
// The registry lock _mutex carries the central guarantee: storing a notification and offering it to all subscriptions
// is one holding, a subscription's replay and its entry into the registry is another, so a notification reaches a new
// subscription by replay or live, never by both and never by neither.
// Threads:   run, handleMessages, handleStateChange, stop and notifyHandlers on the service thread; addSubscription and
//            removeSubscription on northbound callers; systemClockChanged on the event thread;
//            setNotificationBufferSize on the life cycle thread, before the service thread starts.
//            _mutex is row 2 of docs/threads-and-locks.md.
// Ownership: the registry owns the subscriptions; stop deletes them, the destructor does not.
// Failure:   a failing mutex is a Poco::SystemException; out of run it ends the service thread.
class NotificationServiceRunnable : public Poco::Runnable
{
public:
    // bufferSize: records that the replay buffer holds (at least its own minimum) and that a subscription may queue.
    explicit NotificationServiceRunnable(unsigned int bufferSize);
    ~NotificationServiceRunnable() override;

    // Needs a thread whose Poco::Thread is an Orv::ThreadWPipes.
    void run() override;

    // Handles a batch in order and deletes every message in it. Of several notifications in a row the delivery runs
    // start together, behind the last of them: starting one costs more than all else that is done for a notification.
    void handleMessages(const std::deque<Orv::PipeMessage*>& messages);
    void handleStateChange(OrvStateChangeReason reason);

    // Ends the loop, stops and deletes all subscriptions and winds the thread pool down.
    void stop();

    // Takes the filter. startTime, stopTime: microseconds since the Unix epoch, 0 for none; heartbeatInterval: seconds.
    // OrvOk; OrvBadArgument if the handle is in the registry already. OrvNoThread and OrvBadArgument also stand for a
    // failure to allocate the subscription; a failure of its construction ends the process.
    OrvReturnT addSubscription(unsigned int handle, OrvOamSpiNbiNotificationHandler_1 handler,
                               SubscriptionFilter* filter, long long startTime, long long stopTime,
                               bool heartbeatSupported, long long heartbeatInterval);

    // Waits for the subscription's delivery to end. OrvOk, OrvNotFound.
    OrvReturnT removeSubscription(unsigned int handle);

    // Stores the notification and offers it to every subscription in ascending order of handle. It stays the caller's.
    void notifyHandlers(OrvOamSpiNbiNotificationValue_1* notification);

    // newTime: microseconds since the Unix epoch. Empties the buffer and tells every subscription.
    void systemClockChanged(long long newTime);

    // False, and no change, if the buffer holds records. Existing subscriptions keep their limit.
    bool setNotificationBufferSize(unsigned int size);

    // For the time queries of the northbound interface, which take only the buffer's own lock.
    NotificationBuffer& getNotificationBuffer() { return _notificationBuffer; }

    NotificationServiceRunnable(const NotificationServiceRunnable&) = delete;
    NotificationServiceRunnable& operator=(const NotificationServiceRunnable&) = delete;

private:
    class RunGroup;
    class CloseReturns;

    void notifyHandlers(OrvOamSpiNbiNotificationValue_1* notification, RunGroup& group);
    void offerToSubscriptions(const OrvOamSpiNbiNotificationValue_1& notification,
                              NotificationSubscription::Start start) ORV_REQUIRES(_mutex);
    void openReturns(RunGroup& group) ORV_REQUIRES(_mutex);
    void startDeliveries() ORV_REQUIRES(_mutex);

    bool _running;  // touched on the service thread alone
    unsigned int _bufferSize;
    Poco::FastMutex _mutex;
    std::map<unsigned int, NotificationSubscription*> _subscriptions ORV_GUARDED_BY(_mutex);
    NotificationBuffer _notificationBuffer;
    NotificationReturns _returns ORV_GUARDED_BY(_mutex);
};

}  // namespace OrvNbiNotificationService
