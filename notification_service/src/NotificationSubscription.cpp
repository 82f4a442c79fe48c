#include "NotificationSubscription.h"

#include <Poco/Exception.h>

#include <ctime>
#include <exception>
#include <optional>
#include <utility>
#include <vector>

#include "DeliveryToken.h"
#include "LegacySubscriptionFilter.h"
#include "NotificationUtils.h"
#include "OrvException.h"
#include "OrvThreadLock.h"
#include "ServiceLog.h"
#include "SystemTime.h"

namespace OrvNbiNotificationService
{

typedef Orv::OrvThreadLock<Poco::FastMutex> QueueLock;

namespace
{

// Locks only for a filter with findings. The analysis takes it for a lock in any case: without findings there is
// nothing that needs one.
class ORV_SCOPED_CAPABILITY FilterLock
{
public:
    FilterLock(Poco::FastMutex& mutex, bool hasFindings) ORV_ACQUIRE(mutex) ORV_NO_THREAD_SAFETY_ANALYSIS
    {
        if (hasFindings)
        {
            _lock.emplace(mutex);
        }
    }
    ~FilterLock() ORV_RELEASE() = default;

    FilterLock(const FilterLock&) = delete;
    FilterLock& operator=(const FilterLock&) = delete;

private:
    std::optional<Orv::OrvThreadLock<Poco::FastMutex>> _lock;  // one that cannot be unlocked ends the process
};

const long RETRY_PAUSE_NANOSECONDS = 10000000;

long long now()
{
    return currentTime().epochMicroseconds();
}

OrvOamSpiNbiNotificationValue_1 controlRecord(int32_t type, long long time)
{
    OrvOamSpiNbiNotificationValue_1 record = OrvOamSpiNbiNotificationValue_1();
    record.eventTime = time;
    record.notificationType = type;
    return record;
}

// Control records have passed when they were made: no filter is asked.
bool isControlRecord(const OrvOamSpiNbiNotificationValue_1& notification)
{
    return notification.notificationType >= overflowNotification && notification.notificationType <= discardedOld;
}

// The timers count in signed 32-bit milliseconds; what does not fit is cut to its low 32 bits.
long cutToTimerInterval(uint64_t milliseconds)
{
    return static_cast<int32_t>(static_cast<uint32_t>(milliseconds));
}

}  // namespace

NotificationSubscription::NotificationSubscription(unsigned int subscriptionHandle,
                                                   OrvOamSpiNbiNotificationHandler_1 handler,
                                                   SubscriptionFilter* filter, NotificationBuffer* buffer,
                                                   long long startTime, long long stopTime, bool heartbeatSupported,
                                                   long long heartbeatInterval, unsigned int queueLimit,
                                                   NotificationReturns* returns) noexcept
    : processQueue(this, &NotificationSubscription::processQueueImpl),
      _handler(handler),
      _handle(subscriptionHandle),
      _filters(filter),
      _maxQueueSize(queueLimit),
      _overflow(false),
      _heartbeatSupported(heartbeatSupported),
      _heartbeatInterval(heartbeatInterval),
      _buffer(buffer),
      _startTime(startTime),
      _stopTime(stopTime),
      _doReplay(false),
      _stopped(false),
      _deregistering(false),
      _timer(0, 0),
      _heartbeatTimer(0, 0),
      _hasFindings(dynamic_cast<const LegacySubscriptionFilter*>(filter) == nullptr),
      _returns(returns),
      _startDue(false)
{
    NOTIF_TRACE(" >> ");
    if (_filters == nullptr)
    {
        NOTIF_TRACE("Empty Filters received");
    }
    const long long current = now();
    NOTIF_TRACE("startTime (%lld) is and current time is (%lld)", _startTime, current);
    if (_startTime != 0 && _startTime < current)
    {
        _doReplay = true;
    }
    init();
    NOTIF_TRACE(" << ");
}

// stop cancels the timers without waiting. A callback that is still under way asks the filter, and may queue its record
// and start a run for it: all three are waited for, or emptied, before anything goes.
NotificationSubscription::~NotificationSubscription()
{
    _timer.stop();
    _heartbeatTimer.stop();
    waitForToken(_processMutex);
    giveToken(_processMutex);
    {
        QueueLock lock(_queueMutex);
        clearQueue();
    }
    delete _filters;
}

void NotificationSubscription::init()
{
    NOTIF_TRACE(" >> doReplay %d bufferSize: %d", _doReplay,
                _buffer != nullptr ? static_cast<int>(_buffer->getBufferSize()) : -1);
    long long oldestCovered = 0;
    if (_buffer != nullptr)
    {
        oldestCovered = _buffer->getLastAgedNotificationTime();
        if (oldestCovered == 0)
        {
            oldestCovered = _buffer->getBufferCreationTime();
        }
    }
    if (_doReplay)
    {
        if (_startTime < oldestCovered)
        {
            NOTIF_TRACE("startTime (%lld) is earlier than aged-/creationTime(%lld)", _startTime, oldestCovered);
            notify(controlRecord(replayGap, now()));
        }
        if (_buffer != nullptr)
        {
            replay();
        }
    }
    checkQueue();
    setupTimer();
    if (_heartbeatSupported)
    {
        NOTIF_TRACE("Heartbeat supported with value %lld", _heartbeatInterval);
        startHeartbeatTimer(_heartbeatInterval);
    }
    NOTIF_TRACE(" << ");
}

// The copies and the replay complete record go into the queue past the stop time, the filter and the limit.
void NotificationSubscription::replay()
{
    _doReplay = false;
    QueueLock lock(_queueMutex);
    _buffer->getNotificationCopiesFromEventTime(_startTime, _stopTime, _queue, _filters);
    const OrvOamSpiNbiNotificationValue_1 complete = controlRecord(replayComplete, now());
    NOTIF_TRACE("Pushing replayComplete notification");
    appendOwned(_queue, OwnedNotification(NotificationUtils::copyNotification(complete)));
}

void NotificationSubscription::setupTimer()
{
    NOTIF_TRACE(" >> ");
    const long long current = now();
    if (current < _stopTime)
    {
        startTimer(_stopTime - current);
    }
    else if (_stopTime != 0)
    {
        sendNotificationComplete();
    }
    NOTIF_TRACE(" << ");
}

// delay: microseconds.
void NotificationSubscription::startTimer(long long delay)
{
    NOTIF_TRACE(" >> ");
    Poco::ThreadPool& pool = NotificationThreadPoolManager::instance().getThreadPool();
    _timer.setStartInterval(cutToTimerInterval(static_cast<uint64_t>(delay / 1000)));
    _timer.start(Poco::TimerCallback<NotificationSubscription>(*this, &NotificationSubscription::onTimer), pool);
    NOTIF_TRACE(" << ");
}

// interval: seconds. The first heartbeat comes one full period after the start.
void NotificationSubscription::startHeartbeatTimer(long long interval)
{
    NOTIF_TRACE(" >> ");
    Poco::ThreadPool& pool = NotificationThreadPoolManager::instance().getThreadPool();
    const long milliseconds = cutToTimerInterval(static_cast<uint64_t>(interval) * 1000);
    _heartbeatTimer.setPeriodicInterval(milliseconds);
    _heartbeatTimer.setStartInterval(milliseconds);
    _heartbeatTimer.start(
        Poco::TimerCallback<NotificationSubscription>(*this, &NotificationSubscription::onHeartbeatTimer), pool);
    NOTIF_TRACE(" << ");
}

void NotificationSubscription::onTimer(Poco::Timer&)
{
    sendNotificationComplete();
}

void NotificationSubscription::onHeartbeatTimer(Poco::Timer&)
{
    NOTIF_TRACE("----------------HEARTBEAT--------------");
    notify(controlRecord(heartbeatNotification, now()));
}

// The flag comes first: from here on nothing else is queued.
void NotificationSubscription::sendNotificationComplete()
{
    NOTIF_TRACE(" >> ");
    _stopped.store(true, std::memory_order_relaxed);
    notify(controlRecord(notificationComplete, now()));
    NOTIF_TRACE(" << ");
}

void NotificationSubscription::stop()
{
    NOTIF_TRACE(" >> ");
    _stopped.store(true, std::memory_order_relaxed);
    _timer.restart(0);
    _heartbeatTimer.restart(0);
    {
        QueueLock lock(_queueMutex);
        clearQueue();
    }
    NOTIF_TRACE("Waiting for notify thread to finish.");
    waitForToken(_processMutex);
    NOTIF_TRACE("Threads to finished.");
    giveToken(_processMutex);
    NOTIF_TRACE(" << ");
}

void NotificationSubscription::notify(const OrvOamSpiNbiNotificationValue_1& notification, Start start) noexcept
{
    NOTIF_TRACE(" >> notify, notification type is %d : ", notification.notificationType);
    if (isExpired(notification))
    {
        NOTIF_TRACE("Received notification to expired subscription, ignoring");
        NOTIF_TRACE(" << ");
        return;
    }
    NOTIF_TRACE("Received notification to valid subscription %d", notification.notificationType);
    if (_filters == nullptr)
    {
        NOTIF_TRACE("In notify(), _filters in empty ");
        return;
    }
    NOTIF_TRACE("Calling match function");
    bool isFilling = false;
    {
        // From a match to the derived calls that go with it: a timer's record must not come between.
        const FilterLock lock(_filterMutex, _hasFindings);
        if (isControlRecord(notification) || _filters->match(notification))
        {
            NOTIF_TRACE("Filter match occurred. Pushing in notification queue");
            if (!enqueue(notification, isFilling))
            {
                return;
            }
        }
    }
    // A record that a run missed as it ended is picked up by the next arrival, wanted or not.
    if (start == Start::AtOnce || isFilling)
    {
        checkQueue();
    }
    else
    {
        _startDue = true;
    }
    NOTIF_TRACE(" << ");
}

void NotificationSubscription::startDelivery() noexcept
{
    if (_startDue)
    {
        _startDue = false;
        checkQueue();
    }
}

bool NotificationSubscription::isExpired(const OrvOamSpiNbiNotificationValue_1& notification) const
{
    return _stopTime > 0 && notification.eventTime > _stopTime && notification.notificationType != replayGap &&
           notification.notificationType != notificationComplete;
}

// False if the subscription accepts nothing any more. isFilling: whether so much waits then that delivery should not;
// one notification may have brought many records.
bool NotificationSubscription::enqueue(const OrvOamSpiNbiNotificationValue_1& notification, bool& isFilling)
{
    QueueLock lock(_queueMutex);
    if (_stopped.load(std::memory_order_relaxed) && notification.notificationType != notificationComplete)
    {
        return false;
    }
    if (_queue.size() >= _maxQueueSize)
    {
        purge();
    }
    appendDerived(notification);
    isFilling = _queue.size() >= _maxQueueSize - _maxQueueSize / 4;
    return true;
}

void NotificationSubscription::clearQueue()
{
    while (!_queue.empty())
    {
        NotificationUtils::deleteNotification(_queue.front());
        _queue.pop_front();
    }
}

void NotificationSubscription::purge()
{
    _overflow = true;
    clearQueue();
    appendOwned(_queue, OwnedNotification(createOverflowNotification()));
    _overflow = false;
}

void NotificationSubscription::appendDerived(const OrvOamSpiNbiNotificationValue_1& notification)
{
    if (_selection == nullptr)
    {
        _selection.reset(new OrvOamSpiNbiNotificationValue_1());
    }
    std::vector<OrvOamSpiNbiNotificationValue_1*> deletes;
    _filters->getSubtreeDeleteNotifications(notification, deletes);
    for (OrvOamSpiNbiNotificationValue_1* derived : deletes)
    {
        NOTIF_TRACE("in notify , Pushing delete notification ");
        appendOwned(_queue, OwnedNotification(derived));
    }
    if (_filters->getAttrSelectNotification(notification, _selection.get()))
    {
        NOTIF_TRACE("in notify , Pushing Attr Selection notification %s", _selection->dn);
        appendOwned(_queue, std::move(_selection));
        return;
    }
    // Bare again for the next one: a filter that selects nothing leaves nothing in it that is the subscription's.
    *_selection = OrvOamSpiNbiNotificationValue_1();
    if (deletes.empty())
    {
        NOTIF_TRACE("in notify , Pushing notification %s", notification.dn);
        appendOwned(_queue, OwnedNotification(NotificationUtils::copyNotification(notification)));
    }
}

unsigned int NotificationSubscription::queueSize()
{
    QueueLock lock(_queueMutex);
    return static_cast<unsigned int>(_queue.size());
}

// Sees to it that a run is going while records wait. The token is taken here and given back by the run.
void NotificationSubscription::checkQueue()
{
    NOTIF_TRACE(" >> ");
    try
    {
        if (queueSize() == 0 || !tryTakeToken(_processMutex))
        {
            NOTIF_TRACE(" << ");
            return;
        }
        startRun();
    }
    catch (const Poco::NoThreadAvailableException& e)
    {
        NOTIF_ERROR("Rethrow NoThreadAvailableException: %s", e.what());
        throw;
    }
    catch (...)
    {
        NOTIF_ERROR("Rethrow exception");
        throw;
    }
    NOTIF_TRACE(" << ");
}

// The token goes over to the run, so for this thread it is given away here.
void NotificationSubscription::startRun() ORV_NO_THREAD_SAFETY_ANALYSIS
{
    processQueue();
}

// The delivery run, on a pool thread.
void NotificationSubscription::processQueueImpl()
{
    NOTIF_TRACE(" >> %s", _deregistering ? "no subscriber" : "");
    if (!_deregistering)
    {
        NotificationReturns::Bundle delivered(_returns);
        OrvOamSpiNbiNotificationValue_1* notification = nullptr;
        // Once it is rid of what it has delivered, which takes a moment, it looks again.
        while (popFront(notification) || (delivered.send() && popFront(notification)))
        {
            if (actOnAnswer(callHandler(notification), notification, delivered) == AfterAnswer::EndRun)
            {
                break;
            }
        }
    }
    // The owner may destroy this object as soon as the token is free: nothing of it is touched from here on.
    giveToken(_processMutex);
    NOTIF_TRACE(" << ");
}

// Takes the front record, which from here on neither a purge nor stop can reach; false if the run is to end. The record
// is null if its copy could not be made: the run goes on behind it all the same.
bool NotificationSubscription::popFront(OrvOamSpiNbiNotificationValue_1*& notification)
{
    QueueLock lock(_queueMutex);
    if (_queue.empty() || _overflow)
    {
        return false;
    }
    notification = _queue.front();
    _queue.pop_front();
    return true;
}

OrvReturnT NotificationSubscription::callHandler(OrvOamSpiNbiNotificationValue_1* notification)
{
    try
    {
        return _handler.notify(_handle, notification);
    }
    catch (const Orv::OrvException& e)
    {
        NOTIF_ERROR("Exception in _handler->notify %s.", e.what());
    }
    catch (const std::exception& e)
    {
        NOTIF_ERROR("Exception in _handler->notify:%s", e.what());
    }
    catch (...)
    {
        NOTIF_ERROR("Caught unhandled exception");
    }
    return OrvFailure;
}

NotificationSubscription::AfterAnswer NotificationSubscription::actOnAnswer(
    OrvReturnT answer, OrvOamSpiNbiNotificationValue_1* notification, NotificationReturns::Bundle& delivered)
{
    OwnedNotification owned(notification);
    switch (answer)
    {
        case OrvOk:
            delivered.add(std::move(owned));
            return AfterAnswer::NextRecord;

        case OrvRetry:
        {
            {
                QueueLock lock(_queueMutex);
                _queue.push_front(owned.get());
                owned.release();
            }
            delivered.send();
            NOTIF_TRACE("Sleep 0.01s then check the queue again! %p", static_cast<void*>(this));
            // A signal may end the pause early: it is not made up for.
            const timespec pause = {0, RETRY_PAUSE_NANOSECONDS};
            nanosleep(&pause, nullptr);
            NOTIF_TRACE("Awake! %p", static_cast<void*>(this));
            return _deregistering ? AfterAnswer::EndRun : AfterAnswer::NextRecord;
        }

        case OrvNotFound:
            owned.reset();
            NOTIF_ERROR("Unexpected error code received %d", answer);
            NOTIF_TRACE("Subscriber is deregistering, stop sending notifications.");
            _deregistering = true;
            return AfterAnswer::EndRun;

        default:
            NOTIF_ERROR("Unexpected error code received %d", answer);
            return AfterAnswer::NextRecord;
    }
}

OrvOamSpiNbiNotificationValue_1* NotificationSubscription::createOverflowNotification()
{
    return new OrvOamSpiNbiNotificationValue_1(controlRecord(overflowNotification, now()));
}

OrvOamSpiNbiNotificationValue_1* NotificationSubscription::createDiscardedOldNotification(long long time)
{
    return new OrvOamSpiNbiNotificationValue_1(controlRecord(discardedOld, time));
}

}  // namespace OrvNbiNotificationService
