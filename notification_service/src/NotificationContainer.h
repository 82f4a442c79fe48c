#pragma once

#include <list>

#include "OrvOamSpiNbiNotificationService_1.h"

namespace OrvNbiNotificationService
{

// A small list of owned records.
// Threads:   one at a time.
// Ownership: addNotification copies; the container frees its records.
class NotificationContainer
{
public:
    NotificationContainer();
    virtual ~NotificationContainer();

    // Appends a deep copy.
    void addNotification(const OrvOamSpiNbiNotificationValue_1& notification);
    void clearAll();

    NotificationContainer(const NotificationContainer&) = delete;
    NotificationContainer& operator=(const NotificationContainer&) = delete;

private:
    std::list<OrvOamSpiNbiNotificationValue_1*> _notifications;
};

}  // namespace OrvNbiNotificationService
