#include "NotificationUtils.h"

#include <cstdlib>
#include <cstring>

#include "MoUtils.h"

OrvOamSpiNbiNotificationValue_1* NotificationUtils::copyNotification(
    const OrvOamSpiNbiNotificationValue_1& notification)
{
    OrvOamSpiNbiNotificationValue_1* copy = new OrvOamSpiNbiNotificationValue_1(notification);
    if (notification.dn != nullptr)
    {
        copy->dn = strdup(notification.dn);
    }

    ZelMoNamedAttributeValueContainer_3** const source = notification.attributes;
    size_t count = 0;
    while (source != nullptr && source[count] != nullptr)
    {
        ++count;
    }
    copy->attributes = new ZelMoNamedAttributeValueContainer_3*[count + 1];
    copy->attributes[count] = nullptr;

    size_t i = 0;
    try
    {
        for (; i < count; ++i)
        {
            copy->attributes[i] = Orv::MoUtils::copyAttributeValueContainer(source[i]);
        }
    }
    catch (...)
    {
        // The release stops at the null, so it frees what has been copied and nothing else.
        copy->attributes[i] = nullptr;
        deleteNotification(copy);
    }
    return copy;
}

void NotificationUtils::deleteNotification(OrvOamSpiNbiNotificationValue_1*& notification)
{
    if (notification == nullptr)
    {
        return;
    }
    if (notification->dn != nullptr)
    {
        free(notification->dn);
        notification->dn = nullptr;
    }
    if (notification->attributes != nullptr)
    {
        for (ZelMoNamedAttributeValueContainer_3** entry = notification->attributes; *entry != nullptr; ++entry)
        {
            Orv::MoUtils::deleteAttributeValueContainer(*entry);
            *entry = nullptr;
        }
        delete[] notification->attributes;
    }
    notification->attributes = nullptr;
    delete notification;
    notification = nullptr;
}
