#pragma once

#include <memory>

#include "OrvOamSpiNbiNotificationService_1.h"

// Deep copy and release of notification records. Every stage of a notification's way owns a copy of its own; no two
// owners share a record or a part of one.
// Threads: any; no state is kept.
class NotificationUtils
{
public:
    // A new record that the caller owns, or null if an attribute cannot be copied. The copy always has an array of
    // attributes, which may hold the null entry alone. Throws std::bad_alloc.
    static OrvOamSpiNbiNotificationValue_1* copyNotification(const OrvOamSpiNbiNotificationValue_1& notification);

    // Frees an owned record and sets the pointer to null. A null pointer does nothing.
    static void deleteNotification(OrvOamSpiNbiNotificationValue_1*& notification);
};

struct NotificationDeleter
{
    void operator()(OrvOamSpiNbiNotificationValue_1* notification) const
    {
        NotificationUtils::deleteNotification(notification);
    }
};

// The owner of a record at the moment of passing: it holds the record until a container has taken it.
typedef std::unique_ptr<OrvOamSpiNbiNotificationValue_1, NotificationDeleter> OwnedNotification;

// Appends a record to a list that owns its records.
template <typename List>
void appendOwned(List& list, OwnedNotification notification)
{
    list.push_back(notification.get());  // may throw: the record is still owned here
    notification.release();
}
