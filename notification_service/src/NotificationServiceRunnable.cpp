#include "NotificationServiceRunnable.h"

#include <sys/select.h>

#include <Poco/Exception.h>
#include <Poco/Thread.h>
#include <Poco/Timestamp.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <iterator>
#include <memory>

#include "ClockChangeHandler.h"
#include "NbiNotification.h"
#include "NbiNotificationServiceStateChange.h"
#include "NotificationThreadPoolManager.h"
#include "OrvException.h"
#include "OrvThreadLock.h"
#include "ServiceLog.h"
#include "SystemTime.h"
#include "ThreadWPipes.h"

namespace OrvNbiNotificationService
{

typedef Orv::OrvThreadLock<Poco::FastMutex> RegistryLock;

// Notifications in a row whose delivery runs start together: behind 64 of them, behind the first that is done after 2
// ms, or before anything else is handled. A queue of which three quarters are taken does not wait.
class NotificationServiceRunnable::RunGroup
{
public:
    RunGroup() : _notifications(0), _isLast(false), _begin(0) {}

    // isLast: no other notification waits right behind this one.
    void add(bool isLast)
    {
        if (_notifications == 0 && !isLast)
        {
            _begin = currentTime();
        }
        ++_notifications;
        _isLast = isLast;
    }
    void clear() { _notifications = 0; }

    bool isSingle() const { return _notifications == 1 && _isLast; }
    bool isComplete() const
    {
        return _isLast || _notifications >= MAX_NOTIFICATIONS || currentTime() - _begin >= MAX_MICROSECONDS;
    }

    bool hasOpenedReturns = false;  // of the batch

private:
    static constexpr size_t MAX_NOTIFICATIONS = 64;
    static constexpr Poco::Timestamp::TimeDiff MAX_MICROSECONDS = 2000;

    size_t _notifications;
    bool _isLast;
    Poco::Timestamp _begin;  // a clock that is set makes a group shorter, or as long as its other bound lets it
};

// Closes the way back of delivered records behind a batch, if a notification has opened it. A mutex that fails here is
// no less an exception than anywhere else, unless there is one already.
class NotificationServiceRunnable::CloseReturns
{
public:
    CloseReturns(NotificationServiceRunnable& owner, const RunGroup& group)
        : _owner(owner), _group(group), _exceptions(std::uncaught_exceptions())
    {
    }

    ~CloseReturns() noexcept(false)
    {
        try
        {
            close();
        }
        catch (const Poco::SystemException&)
        {
            if (std::uncaught_exceptions() == _exceptions)
            {
                throw;
            }
        }
    }

    CloseReturns(const CloseReturns&) = delete;
    CloseReturns& operator=(const CloseReturns&) = delete;

private:
    void close()
    {
        if (_group.hasOpenedReturns)
        {
            RegistryLock lock(_owner._mutex);
            _owner._returns.close();
        }
    }

    NotificationServiceRunnable& _owner;
    const RunGroup& _group;
    const int _exceptions;
};

NotificationServiceRunnable::NotificationServiceRunnable(unsigned int bufferSize)
    : _running(false), _bufferSize(bufferSize), _notificationBuffer(bufferSize)
{
}

NotificationServiceRunnable::~NotificationServiceRunnable() = default;

void NotificationServiceRunnable::run()
{
    NOTIF_TRACE(" >> ");
    _running = true;
    ClockChangeHandler clockChangeHandler(this);
    Orv::ThreadWPipes* const thread = static_cast<Orv::ThreadWPipes*>(Poco::Thread::current());
    while (_running)
    {
        const int descriptor = thread->getInputReadFD();
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(descriptor, &readable);
        timeval timeout = {1, 0};
        const int result = select(descriptor + 1, &readable, nullptr, nullptr, &timeout);
        if (result == 0)
        {
            continue;
        }
        if (result < 0)
        {
            const int cause = errno;
            if (cause == EINTR)
            {
                NOTIF_WARNING("Signal caught in select loop");
            }
            else
            {
                NOTIF_ERROR("Select failed; %s", strerror(cause));
            }
            continue;
        }
        const bool waiting = FD_ISSET(descriptor, &readable);
        NOTIF_TRACE("Retrieving messages, %d", waiting ? 1 : 0);
        if (waiting)
        {
            handleMessages(thread->popFromInput());
        }
    }
    _notificationBuffer.clear();
    _notificationBuffer.resetClockChanged();
    NOTIF_TRACE(" << ");
}

// A message that stops the thread does not end its batch: what stands behind it is handled too.
void NotificationServiceRunnable::handleMessages(const std::deque<Orv::PipeMessage*>& messages)
{
    NOTIF_TRACE(" >> ");
    RunGroup group;
    const CloseReturns closeReturns(*this, group);
    for (auto entry = messages.begin(); entry != messages.end(); ++entry)
    {
        const std::unique_ptr<Orv::PipeMessage> message(*entry);
        switch (message->getMessageType())
        {
            case Orv::MessageTypeStateChange:
                handleStateChange(static_cast<NbiNotificationServiceStateChange&>(*message)._reason);
                break;
            case Orv::MessageTypeNotification:
            {
                const auto next = std::next(entry);
                group.add(next == messages.end() || (*next)->getMessageType() != Orv::MessageTypeNotification);
                notifyHandlers(static_cast<NbiNotification&>(*message)._notification, group);
                break;
            }
            default:
                NOTIF_ERROR("received unknown message");
                break;
        }
    }
    NOTIF_TRACE(" << ");
}

void NotificationServiceRunnable::handleStateChange(OrvStateChangeReason reason)
{
    NOTIF_TRACE(" >> ");
    switch (reason)
    {
        case ZelStateChangeActivate:
            NOTIF_TRACE("Activating NbiNotificationServiceComponent while it is active -- ignoring.");
            break;
        case ZelStateChangeDeactivate:
            NOTIF_TRACE("Deactivating NbiNotificationServiceComponent while it is active -- stopping.");
            stop();
            break;
        case ZelStateChangeFailover:
            NOTIF_TRACE("Failing over NbiNotificationServiceComponent while it is active -- stopping.");
            stop();
            break;
        case ZelStateChangeSwitchover:
            NOTIF_TRACE("Switching over NbiNotificationServiceComponent while it is active -- stopping.");
            stop();
            break;
        default:
            NOTIF_ERROR(
                "Unknown state is requested for NbiNotificationServiceComponent while it is active -- ignoring.");
            break;
    }
    NOTIF_TRACE(" << ");
}

void NotificationServiceRunnable::stop()
{
    NOTIF_TRACE(" >> ");
    {
        RegistryLock lock(_mutex);
        _running = false;
        // One after the other: if a stop fails, the table holds none that is gone.
        while (!_subscriptions.empty())
        {
            const auto entry = _subscriptions.begin();
            entry->second->stop();
            delete entry->second;
            _subscriptions.erase(entry);
        }
    }
    NotificationThreadPoolManager::instance().stopAll();
    NOTIF_TRACE(" << ");
}

OrvReturnT NotificationServiceRunnable::addSubscription(unsigned int handle, OrvOamSpiNbiNotificationHandler_1 handler,
                                                        SubscriptionFilter* filter, long long startTime,
                                                        long long stopTime, bool heartbeatSupported,
                                                        long long heartbeatInterval)
{
    NOTIF_TRACE(" >> ");
    OrvReturnT result = OrvOk;
    RegistryLock lock(_mutex);
    startDeliveries();  // what has been offered does not wait for a replay
    NotificationSubscription* subscription = nullptr;
    try
    {
        subscription = new NotificationSubscription(handle, handler, filter, &_notificationBuffer, startTime, stopTime,
                                                    heartbeatSupported, heartbeatInterval, _bufferSize, &_returns);
    }
    // The constructor lets nothing pass, so these two guard the allocation alone.
    catch (const Poco::NoThreadAvailableException& e)
    {
        NOTIF_ERROR("Could not start subscription thread, err msg %s.", e.what());
        delete filter;
        result = OrvNoThread;
    }
    catch (const Orv::OrvException& e)
    {
        NOTIF_ERROR("Could not start subscription thread, err msg %s.", e.what());
        delete filter;
        result = OrvBadArgument;
    }
    if (subscription != nullptr && !_subscriptions.insert(std::make_pair(handle, subscription)).second)
    {
        NOTIF_ERROR("Failed to store Subscription in the map");
        subscription->stop();
        delete subscription;
        result = OrvBadArgument;
    }
    NOTIF_TRACE(" << ");
    return result;
}

OrvReturnT NotificationServiceRunnable::removeSubscription(unsigned int handle)
{
    NOTIF_TRACE(" >> removeSubscription for handle:%d", handle);
    OrvReturnT result = OrvOk;
    RegistryLock lock(_mutex);
    startDeliveries();  // what has been offered to others does not wait for this one's handler
    const auto entry = _subscriptions.find(handle);
    if (entry == _subscriptions.end())
    {
        NOTIF_ERROR("Could not find handle %d to remove", handle);
        result = OrvNotFound;
    }
    else
    {
        entry->second->stop();
        delete entry->second;
        _subscriptions.erase(entry);
        _returns.freeAll();  // what it has delivered last goes before it is said to be removed
    }
    NOTIF_TRACE(" << ");
    return result;
}

void NotificationServiceRunnable::notifyHandlers(OrvOamSpiNbiNotificationValue_1* notification)
{
    NOTIF_TRACE(" >> ");
    RegistryLock lock(_mutex);
    if (_notificationBuffer.pushNotification(*notification))
    {
        offerToSubscriptions(*notification, NotificationSubscription::Start::AtOnce);
    }
    NOTIF_TRACE(" << ");
}

// If the notification cannot be stored, those before it in the group are delivered.
void NotificationServiceRunnable::notifyHandlers(OrvOamSpiNbiNotificationValue_1* notification, RunGroup& group)
{
    if (group.isSingle())
    {
        group.clear();
        notifyHandlers(notification);
        return;
    }
    NOTIF_TRACE(" >> ");
    RegistryLock lock(_mutex);
    try
    {
        openReturns(group);
        if (_notificationBuffer.pushNotification(*notification))
        {
            offerToSubscriptions(*notification, NotificationSubscription::Start::Later);
        }
    }
    catch (...)
    {
        startDeliveries();
        throw;
    }
    if (group.isComplete())
    {
        group.clear();
        startDeliveries();
        _returns.collect();
    }
    NOTIF_TRACE(" << ");
}

void NotificationServiceRunnable::systemClockChanged(long long newTime)
{
    NOTIF_TRACE(" >> ");
    _notificationBuffer.systemClockChanged(newTime);
    RegistryLock lock(_mutex);
    const unsigned int discarded = _notificationBuffer.getBufferSize();
    if (discarded != 0)
    {
        _notificationBuffer.clear();
        NOTIF_WARNING("Discarded %u notifications from replay buffer due to system clock change. ", discarded);
        // A plain delete is enough: the record has no dn and no attributes.
        const std::unique_ptr<OrvOamSpiNbiNotificationValue_1> notice(
            NotificationSubscription::createDiscardedOldNotification(newTime));
        offerToSubscriptions(*notice, NotificationSubscription::Start::AtOnce);
    }
    NOTIF_TRACE(" << ");
}

void NotificationServiceRunnable::offerToSubscriptions(const OrvOamSpiNbiNotificationValue_1& notification,
                                                       NotificationSubscription::Start start)
{
    for (const auto& entry : _subscriptions)
    {
        NOTIF_TRACE("Sending notification to subscriptionHandle: %d", entry.first);
        _returns.freeOne();
        entry.second->notify(notification, start);
    }
}

// With a single subscription it is not worth it: then this thread has more to do than the one that delivers.
void NotificationServiceRunnable::openReturns(RunGroup& group)
{
    if (!group.hasOpenedReturns && _subscriptions.size() > 1)
    {
        _returns.open();
        group.hasOpenedReturns = true;
    }
}

void NotificationServiceRunnable::startDeliveries()
{
    for (const auto& entry : _subscriptions)
    {
        entry.second->startDelivery();
    }
}

bool NotificationServiceRunnable::setNotificationBufferSize(unsigned int size)
{
    NOTIF_TRACE(" >> ");
    const bool taken = _notificationBuffer.setMaxBufferSize(size);
    if (taken)
    {
        _bufferSize = std::max(size, MIN_BUFFER_SIZE);
    }
    NOTIF_TRACE(" << ");
    return taken;
}

}  // namespace OrvNbiNotificationService
