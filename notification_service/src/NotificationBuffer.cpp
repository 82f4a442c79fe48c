#include "NotificationBuffer.h"

#include <Poco/DateTime.h>
#include <Poco/DateTimeFormat.h>
#include <Poco/DateTimeFormatter.h>
#include <Poco/LocalDateTime.h>
#include <Poco/Timestamp.h>

#include <algorithm>
#include <ctime>
#include <sstream>
#include <string>

#include "NotificationUtils.h"
#include "OrvThreadLock.h"
#include "ServiceLog.h"
#include "SystemTime.h"

namespace OrvNbiNotificationService
{

typedef Orv::OrvThreadLock<Poco::Mutex> BufferLock;

namespace
{

std::string localTime(int64_t eventTime)
{
    tzset();
    const Poco::Timestamp timestamp(eventTime);
    const Poco::DateTime dateTime(timestamp);
    const Poco::LocalDateTime local(dateTime);
    return Poco::DateTimeFormatter::format(local, Poco::DateTimeFormat::ISO8601_FORMAT);
}

void logRefusal(const OrvOamSpiNbiNotificationValue_1& notification)
{
    std::ostringstream text;
    text << "Discarded notification due to invalid timestamp: " << localTime(notification.eventTime);
    if (notification.dn != nullptr)
    {
        text << " dn: " << notification.dn;
    }
    text << " notificationType: " << notification.notificationType;
    // The text is itself the format; readers of the log know it so.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    NOTIF_WARNING(text.str().c_str());
#pragma GCC diagnostic pop
}

}  // namespace

NotificationBuffer::NotificationBuffer(unsigned int maxSize)
    : _queue(std::max(maxSize, MIN_BUFFER_SIZE)),
      _bufferCreationTime(currentTime().epochMicroseconds()),
      _clockChanged(false)
{
}

NotificationBuffer::~NotificationBuffer() = default;

bool NotificationBuffer::setMaxBufferSize(unsigned int size)
{
    NOTIF_TRACE(" >> ");
    if (size < MIN_BUFFER_SIZE)
    {
        NOTIF_INFO("specified buffer size %i < MIN_BUFFER_SIZE. MIN_BUFFER_SIZE will be used. ", size);
    }
    BufferLock lock(_mutex);
    const bool taken = _queue.setSize(std::max(size, MIN_BUFFER_SIZE));
    NOTIF_TRACE(" << ");
    return taken;
}

unsigned int NotificationBuffer::getMaxBufferSize()
{
    BufferLock lock(_mutex);
    return _queue._maxSize;
}

bool NotificationBuffer::pushNotification(const OrvOamSpiNbiNotificationValue_1& notification)
{
    NOTIF_TRACE(" >> ");
    // The time is published by the flag, so a push that sees the flag compares with the time that came with it.
    if (_clockChanged.load(std::memory_order_acquire) &&
        notification.eventTime < _bufferCreationTime.load(std::memory_order_relaxed))
    {
        logRefusal(notification);
        NOTIF_TRACE(" << ");
        return false;
    }
    BufferLock lock(_mutex);
    _queue.push(notification);
    NOTIF_TRACE(" << ");
    return true;
}

// Offers every record that is wanted to take, first to last, under the lock for the whole walk.
template <typename Wanted, typename Take>
void NotificationBuffer::walk(Wanted wanted, Take take)
{
    BufferLock lock(_mutex);
    for (size_t position = 0; position < _queue._notifications.size(); ++position)
    {
        OrvOamSpiNbiNotificationValue_1* const record = _queue._notifications[position % _queue._maxSize];
        if (wanted(*record))
        {
            take(record);
        }
    }
}

void NotificationBuffer::getNotificationCopiesFromEventTime(long long startTime, long long stopTime,
                                                            std::deque<OrvOamSpiNbiNotificationValue_1*>& notifications,
                                                            SubscriptionFilter* filter)
{
    NOTIF_TRACE(" >> ");
    walk(
        [&](const OrvOamSpiNbiNotificationValue_1& record) {
            return filter->match(record) && record.eventTime >= startTime &&
                   (stopTime == 0 || stopTime >= record.eventTime);
        },
        [&](OrvOamSpiNbiNotificationValue_1* record)
        { appendOwned(notifications, OwnedNotification(NotificationUtils::copyNotification(*record))); });
    NOTIF_TRACE(" << ");
}

OrvOamSpiNbiNotificationValue_1* NotificationBuffer::getNotificationBySequenceNumber(long long sequenceNumber)
{
    OrvOamSpiNbiNotificationValue_1* first = nullptr;
    walk([&](const OrvOamSpiNbiNotificationValue_1& record)
         { return first == nullptr && static_cast<long long>(record.sequenceNumber) == sequenceNumber; },
         [&](OrvOamSpiNbiNotificationValue_1* record) { first = record; });
    return first;
}

void NotificationBuffer::getNotificationsFromEventTime(long long eventTime, NotificationContainer& container)
{
    walk([&](const OrvOamSpiNbiNotificationValue_1& record) { return record.eventTime >= eventTime; },
         [&](OrvOamSpiNbiNotificationValue_1* record) { container.addNotification(*record); });
}

void NotificationBuffer::getNotificationsFromEventTime(long long eventTime,
                                                       std::list<OrvOamSpiNbiNotificationValue_1*>& notifications)
{
    walk([&](const OrvOamSpiNbiNotificationValue_1& record) { return record.eventTime >= eventTime; },
         [&](OrvOamSpiNbiNotificationValue_1* record) { notifications.push_back(record); });
}

void NotificationBuffer::getNotificationsFromSequenceNumber(long long sequenceNumber, NotificationContainer& container)
{
    walk([&](const OrvOamSpiNbiNotificationValue_1& record)
         { return static_cast<long long>(record.sequenceNumber) >= sequenceNumber; },
         [&](OrvOamSpiNbiNotificationValue_1* record) { container.addNotification(*record); });
}

void NotificationBuffer::getNotificationsFromSequenceNumber(long long sequenceNumber,
                                                            std::list<OrvOamSpiNbiNotificationValue_1*>& notifications)
{
    walk([&](const OrvOamSpiNbiNotificationValue_1& record)
         { return static_cast<long long>(record.sequenceNumber) >= sequenceNumber; },
         [&](OrvOamSpiNbiNotificationValue_1* record) { notifications.push_back(record); });
}

void NotificationBuffer::systemClockChanged(long long newTime)
{
    NOTIF_TRACE(" >> ");
    _bufferCreationTime.store(newTime, std::memory_order_relaxed);
    _clockChanged.store(true, std::memory_order_release);
    _queue._lastAgedTime.store(0, std::memory_order_relaxed);
    NOTIF_TRACE(" << ");
}

void NotificationBuffer::resetClockChanged()
{
    _clockChanged.store(false, std::memory_order_relaxed);
}

long long NotificationBuffer::getBufferCreationTime()
{
    return _bufferCreationTime.load(std::memory_order_relaxed);
}

long long NotificationBuffer::getLastAgedNotificationTime()
{
    BufferLock lock(_mutex);
    return _queue._lastAgedTime.load(std::memory_order_relaxed);
}

long long NotificationBuffer::getOldestBufferTimestamp()
{
    BufferLock lock(_mutex);
    return _queue._notifications.empty() ? 0 : _queue._notifications.front()->eventTime;
}

unsigned int NotificationBuffer::getBufferSize()
{
    BufferLock lock(_mutex);
    return static_cast<unsigned int>(_queue._notifications.size());
}

void NotificationBuffer::clear()
{
    BufferLock lock(_mutex);
    _queue.clear();
}

}  // namespace OrvNbiNotificationService
