#include "NotificationContainer.h"

#include "NotificationUtils.h"

namespace OrvNbiNotificationService
{

NotificationContainer::NotificationContainer() = default;

NotificationContainer::~NotificationContainer()
{
    clearAll();
}

void NotificationContainer::addNotification(const OrvOamSpiNbiNotificationValue_1& notification)
{
    appendOwned(_notifications, OwnedNotification(NotificationUtils::copyNotification(notification)));
}

void NotificationContainer::clearAll()
{
    for (OrvOamSpiNbiNotificationValue_1*& notification : _notifications)
    {
        NotificationUtils::deleteNotification(notification);
    }
    _notifications.clear();
}

}  // namespace OrvNbiNotificationService
