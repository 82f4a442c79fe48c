#include "NbiNotification.h"

#include "NotificationUtils.h"

namespace OrvNbiNotificationService
{

NbiNotification::NbiNotification(OrvOamSpiNbiNotificationValue_1* notification)
    : PipeMessage(Orv::MessageTypeNotification), _notification(NotificationUtils::copyNotification(*notification))
{
}

NbiNotification::~NbiNotification()
{
    if (_notification != nullptr)
    {
        NotificationUtils::deleteNotification(_notification);
    }
}

}  // namespace OrvNbiNotificationService
