#pragma once

#include <Poco/Mutex.h>

#include <atomic>
#include <deque>
#include <list>

#include "NotificationContainer.h"
#include "NotificationQueue.h"
#include "SubscriptionFilter.h"
#include "ThreadSafety.h"

namespace OrvNbiNotificationService
{

const unsigned int MIN_BUFFER_SIZE = 10;
const unsigned int DEFAULT_MAX_BUFFER_SIZE = 100;

// The latest notifications, ascending by event time, from which a new subscription replays. After a change of the
// system clock records stamped before the change are refused.
// Threads:   any. The store is guarded by _mutex (lock order: row 5 of docs/threads-and-locks.md); the creation time,
//            the clock flag and the reset of the last aged time are atomics written without it.
// Ownership: pushNotification copies; what a query appends as a copy belongs to the caller, what it lends as a pointer
//            stays the buffer's and is valid until the record is aged out or cleared.
// Invariant: at most getMaxBufferSize() records, at least MIN_BUFFER_SIZE of room.
// Failure:   a failing mutex is a Poco::SystemException out of the operation.
// All times are microseconds since the Unix epoch.
class NotificationBuffer
{
public:
    // maxSize is raised to MIN_BUFFER_SIZE.
    explicit NotificationBuffer(unsigned int maxSize);
    virtual ~NotificationBuffer();

    // Takes the larger of size and MIN_BUFFER_SIZE. False, and no change, if the store holds records.
    bool setMaxBufferSize(unsigned int size);
    unsigned int getMaxBufferSize();

    // False, with a warning, for a record that is older than the last clock change.
    bool pushNotification(const OrvOamSpiNbiNotificationValue_1& notification);

    // Appends copies of the records that the filter accepts and whose time lies in [startTime, stopTime]; a stopTime
    // of 0 sets no upper end. The filter is required and is asked for every record, under _mutex. If it throws, the
    // copies made so far stay in the list.
    void getNotificationCopiesFromEventTime(long long startTime, long long stopTime,
                                            std::deque<OrvOamSpiNbiNotificationValue_1*>& notifications,
                                            SubscriptionFilter* filter);

    // The first record with this number, lent; null if there is none.
    OrvOamSpiNbiNotificationValue_1* getNotificationBySequenceNumber(long long sequenceNumber);

    // The records from this time or number on: copies in a container, or lent pointers in a list. Both are added to
    // what is there.
    void getNotificationsFromEventTime(long long eventTime, NotificationContainer& container);
    void getNotificationsFromEventTime(long long eventTime, std::list<OrvOamSpiNbiNotificationValue_1*>& notifications);
    void getNotificationsFromSequenceNumber(long long sequenceNumber, NotificationContainer& container);
    void getNotificationsFromSequenceNumber(long long sequenceNumber,
                                            std::list<OrvOamSpiNbiNotificationValue_1*>& notifications);

    // From here on the buffer counts as created at newTime and refuses older records. The records stay. Takes no lock:
    // of the store it touches only the atomic last aged time.
    void systemClockChanged(long long newTime) ORV_NO_THREAD_SAFETY_ANALYSIS;
    void resetClockChanged();

    long long getBufferCreationTime();
    long long getLastAgedNotificationTime();  // 0 for none
    long long getOldestBufferTimestamp();     // 0 for an empty store
    unsigned int getBufferSize();             // records held
    void clear();

    NotificationBuffer(const NotificationBuffer&) = delete;
    NotificationBuffer& operator=(const NotificationBuffer&) = delete;

private:
    template <typename Wanted, typename Take>
    void walk(Wanted wanted, Take take);

    NotificationQueue _queue ORV_GUARDED_BY(_mutex);
    std::atomic<int64_t> _bufferCreationTime;
    Poco::Mutex _mutex;
    std::atomic<bool> _clockChanged;
};

}  // namespace OrvNbiNotificationService
