// The records that a subtree filter makes of what its match has found.
#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "MoUtils.h"
#include "NotificationUtils.h"
#include "RfcSubscriptionFilter.h"
#include "ServiceLog.h"

namespace OrvNbiNotificationService
{

namespace
{

// The record's own fields; it has no DN and no attributes yet.
void copyHead(const OrvOamSpiNbiNotificationValue_1& notification, OrvOamSpiNbiNotificationValue_1& copy)
{
    copy.eventTime = notification.eventTime;
    copy.txHandle = notification.txHandle;
    copy.sequenceNumber = notification.sequenceNumber;
    copy.notificationType = notification.notificationType;
}

char* copyText(const char* source)
{
    char* const copy = strdup(source);
    if (copy == nullptr)
    {
        throw std::bad_alloc();
    }
    return copy;
}

}  // namespace

// deleteDns stays: a second call gives a second set, and a control record that follows gets one of its own.
void RfcSubscriptionFilter::getSubtreeDeleteNotifications(const OrvOamSpiNbiNotificationValue_1& notification,
                                                          std::vector<OrvOamSpiNbiNotificationValue_1*>& notifications)
{
    NOTIF_TRACE("getNotifications");
    notifications.clear();
    for (const std::string& dn : deleteDns)
    {
        OwnedNotification derived(new OrvOamSpiNbiNotificationValue_1());
        copyHead(notification, *derived);
        derived->dn = copyText(dn.c_str());
        appendOwned(notifications, std::move(derived));
    }
}

bool RfcSubscriptionFilter::getAttrSelectNotification(const OrvOamSpiNbiNotificationValue_1& notification,
                                                      OrvOamSpiNbiNotificationValue_1* selected)
{
    NOTIF_TRACE("getAttrSelectNotification");
    if (selectedAttributes.empty())
    {
        return false;
    }
    if (!ownsSelection(notification))
    {
        // Left over from another record, which may be gone.
        selectedAttributes.clear();
        return false;
    }
    NOTIF_TRACE("Attributes selections present");
    copyHead(notification, *selected);
    selected->dn = copyText(notification.dn);
    // Null-terminated at every moment, so that a copy that fails leaves a record that can be freed.
    selected->attributes = new ZelMoNamedAttributeValueContainer_3*[selectedAttributes.size() + 1]();
    ZelMoNamedAttributeValueContainer_3** slot = selected->attributes;
    for (const ZelMoNamedAttributeValueContainer_3* attribute : selectedAttributes)
    {
        *slot++ = Orv::MoUtils::copyAttributeValueContainer(attribute);
    }
    selectedAttributes.clear();
    return true;
}

// Compares addresses only: what the selection points to need not exist any more.
bool RfcSubscriptionFilter::ownsSelection(const OrvOamSpiNbiNotificationValue_1& notification) const
{
    ZelMoNamedAttributeValueContainer_3** const begin = notification.attributes;
    if (begin == nullptr)
    {
        return false;
    }
    ZelMoNamedAttributeValueContainer_3** end = begin;
    while (*end != nullptr)
    {
        ++end;
    }
    return std::all_of(selectedAttributes.begin(), selectedAttributes.end(),
                       [begin, end](const ZelMoNamedAttributeValueContainer_3* attribute)
                       { return std::find(begin, end, attribute) != end; });
}

}  // namespace OrvNbiNotificationService
