#include "NotificationServiceRunnable.h"

#include <sys/select.h>

#include <Poco/Exception.h>
#include <Poco/Thread.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

#include "ClockChangeHandler.h"
#include "NbiNotification.h"
#include "NbiNotificationServiceStateChange.h"
#include "NotificationSubscription.h"
#include "NotificationThreadPoolManager.h"
#include "OrvException.h"
#include "OrvThreadLock.h"
#include "ServiceLog.h"
#include "ThreadWPipes.h"

namespace OrvNbiNotificationService
{

typedef Orv::OrvThreadLock<Poco::FastMutex> RegistryLock;

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
    for (Orv::PipeMessage* const message : messages)
    {
        const std::unique_ptr<Orv::PipeMessage> owned(message);
        switch (message->getMessageType())
        {
            case Orv::MessageTypeStateChange:
                handleStateChange(static_cast<NbiNotificationServiceStateChange*>(message)->_reason);
                break;
            case Orv::MessageTypeNotification:
                notifyHandlers(static_cast<NbiNotification*>(message)->_notification);
                break;
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
    NotificationSubscription* subscription = nullptr;
    try
    {
        subscription = new NotificationSubscription(handle, handler, filter, &_notificationBuffer, startTime, stopTime,
                                                    heartbeatSupported, heartbeatInterval, _bufferSize);
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
        offerToSubscriptions(*notification);
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
        offerToSubscriptions(*notice);
    }
    NOTIF_TRACE(" << ");
}

void NotificationServiceRunnable::offerToSubscriptions(const OrvOamSpiNbiNotificationValue_1& notification)
{
    for (const auto& entry : _subscriptions)
    {
        NOTIF_TRACE("Sending notification to subscriptionHandle: %d", entry.first);
        entry.second->notify(notification);
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
