#pragma once

#include <atomic>
#include <vector>

#include "OrvOamSpiNbiNotificationService_1.h"

// The store inside the replay buffer: owned records in ascending order of event time, bounded by count. A record that
// arrives at a full store first ages out the oldest one, whatever its own time.
// Threads:   no lock of its own: NotificationBuffer, the only user, guards every access with its mutex. Only
//            _lastAgedTime is written without it, after a clock change.
// Ownership: push copies; the store owns its records.
// Invariant: at most _maxSize records, eventTime never descending, storage reserved for _maxSize pointers. Among
//            records of equal time the later arrival stands first.
class NotificationQueue
{
public:
    // Throws std::length_error or std::bad_alloc if the storage cannot be reserved.
    explicit NotificationQueue(unsigned int size);
    virtual ~NotificationQueue();

    // False, with a warning, if the store holds records; false if size is 0. Throws as the constructor.
    bool setSize(unsigned int size);

    void push(const OrvOamSpiNbiNotificationValue_1& notification);

    // Removes the front record, if any, without counting it as aged.
    void pop();

    // Ages out the front record. There must be one.
    void removeOldNotification();

    void clear();

    // Frees the records and leaves the vector as it is: only for a vector that is empty or about to be destroyed.
    void deleteNotifications();

    static bool compareNotificationsInEventTimeOrder(const OrvOamSpiNbiNotificationValue_1* left,
                                                     const OrvOamSpiNbiNotificationValue_1* right);

    NotificationQueue(const NotificationQueue&) = delete;
    NotificationQueue& operator=(const NotificationQueue&) = delete;

    // Read directly by NotificationBuffer.
    unsigned int _maxSize;
    std::vector<OrvOamSpiNbiNotificationValue_1*> _notifications;
    std::atomic<int64_t> _lastAgedTime;  // microseconds since the Unix epoch, 0 for none since the last reset
};
