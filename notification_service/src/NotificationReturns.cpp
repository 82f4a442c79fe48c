#include "NotificationReturns.h"

#include <Poco/Exception.h>

#include "OrvThreadLock.h"

namespace OrvNbiNotificationService
{

typedef Orv::OrvThreadLock<Poco::FastMutex> ReturnsLock;

void NotificationReturns::Bundle::add(OwnedNotification notification) noexcept
{
    if (_returns == nullptr || !_returns->_open.load(std::memory_order_relaxed))
    {
        send();
        return;
    }
    _records[_size++] = notification.release();
    if (_size == _records.size())
    {
        send();
    }
}

bool NotificationReturns::Bundle::send() noexcept
{
    const bool hasRecords = _size != 0;
    if (hasRecords && _returns != nullptr && _returns->take(_records.data(), _size))
    {
        _size = 0;
    }
    while (_size > 0)
    {
        NotificationUtils::deleteNotification(_records[--_size]);
    }
    return hasRecords;
}

// The storage is made here, so that giving back never asks for memory.
NotificationReturns::NotificationReturns() : _open(false)
{
    _returned.reserve(MAX_RECORDS);
    _collected.reserve(MAX_RECORDS);
}

NotificationReturns::~NotificationReturns()
{
    for (Records* records : {&_returned, &_collected})
    {
        for (OrvOamSpiNbiNotificationValue_1*& record : *records)
        {
            NotificationUtils::deleteNotification(record);
        }
    }
}

void NotificationReturns::open()
{
    ReturnsLock lock(_mutex);
    _open.store(true, std::memory_order_relaxed);
}

void NotificationReturns::close()
{
    {
        ReturnsLock lock(_mutex);
        _open.store(false, std::memory_order_relaxed);
    }
    freeAll();
}

void NotificationReturns::collect()
{
    if (_collected.empty())
    {
        ReturnsLock lock(_mutex);
        _collected.swap(_returned);
    }
}

void NotificationReturns::freeAll()
{
    while (!_collected.empty())
    {
        freeOne();
    }
    collect();
    while (!_collected.empty())
    {
        freeOne();
    }
}

// False if the way is closed, full or held by somebody: a delivery does not wait to be rid of a record. POCO's tryLock
// is not known to the analysis.
bool NotificationReturns::take(OrvOamSpiNbiNotificationValue_1** records,
                               size_t count) noexcept ORV_NO_THREAD_SAFETY_ANALYSIS
{
    bool taken = false;
    try
    {
        if (_mutex.tryLock())
        {
            if (_open.load(std::memory_order_relaxed) && _returned.size() + count <= MAX_RECORDS)
            {
                _returned.insert(_returned.end(), records, records + count);
                taken = true;
            }
            _mutex.unlock();
        }
    }
    catch (const Poco::SystemException&)
    {
        // The mutex fails: whoever waits for it will say so.
    }
    return taken;
}

}  // namespace OrvNbiNotificationService
