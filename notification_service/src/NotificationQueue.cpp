#include "NotificationQueue.h"

#include <algorithm>
#include <new>

#include "NotificationUtils.h"
#include "ServiceLog.h"

NotificationQueue::NotificationQueue(unsigned int size) : _maxSize(size), _lastAgedTime(0)
{
    _notifications.reserve(size);
}

NotificationQueue::~NotificationQueue()
{
    deleteNotifications();
}

bool NotificationQueue::setSize(unsigned int size)
{
    if (!_notifications.empty())
    {
        NOTIF_WARNING("Attempt to change buffer size with notifications in");
        return false;
    }
    if (size == 0)
    {
        return false;
    }
    deleteNotifications();
    _maxSize = size;
    _lastAgedTime.store(0, std::memory_order_relaxed);
    _notifications.reserve(size);
    return true;
}

void NotificationQueue::push(const OrvOamSpiNbiNotificationValue_1& notification)
{
    if (_notifications.size() == _maxSize)
    {
        removeOldNotification();
    }
    OrvOamSpiNbiNotificationValue_1* const copy = NotificationUtils::copyNotification(notification);
    if (copy == nullptr)
    {
        // It has been copied once already, so its attributes are not at fault. A null has no place by time.
        throw std::bad_alloc();
    }
    // The storage is reserved, so the insertion cannot throw and the copy cannot be lost.
    _notifications.insert(
        std::lower_bound(_notifications.begin(), _notifications.end(), copy, compareNotificationsInEventTimeOrder),
        copy);
}

void NotificationQueue::pop()
{
    if (!_notifications.empty())
    {
        NotificationUtils::deleteNotification(_notifications.front());
        _notifications.erase(_notifications.begin());
    }
}

void NotificationQueue::removeOldNotification()
{
    _lastAgedTime.store(_notifications.front()->eventTime, std::memory_order_relaxed);
    NotificationUtils::deleteNotification(_notifications.front());
    _notifications.erase(_notifications.begin());
}

void NotificationQueue::clear()
{
    deleteNotifications();
    _notifications.clear();
}

void NotificationQueue::deleteNotifications()
{
    for (size_t position = 0; position < _notifications.size(); ++position)
    {
        OrvOamSpiNbiNotificationValue_1* notification = _notifications[position % _maxSize];
        NotificationUtils::deleteNotification(notification);
    }
}

bool NotificationQueue::compareNotificationsInEventTimeOrder(const OrvOamSpiNbiNotificationValue_1* left,
                                                             const OrvOamSpiNbiNotificationValue_1* right)
{
    return left->eventTime < right->eventTime;
}
