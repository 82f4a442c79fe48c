#pragma once

#include <vector>

#include "OrvOamSpiNbiNotificationService_1.h"

namespace OrvNbiNotificationService
{

// Decides which notifications reach a subscriber, and what a subscriber gets in place of one.
// Threads:   several, one call at a time. match runs under the registry lock; the two derived calls may come from a
//            timer thread, but never between a match and its own derived calls. A LegacySubscriptionFilter, which
//            derives nothing, gets its calls as they come.
// Ownership: a subscription owns its filter. Notifications are borrowed for the call.
class SubscriptionFilter
{
public:
    virtual ~SubscriptionFilter() = default;

    // Not const, like the two others: what it finds out may be kept for them.
    virtual bool match(const OrvOamSpiNbiNotificationValue_1& notification) = 0;

    // Fills the vector, emptied first, with the notifications that stand in for a deleted subtree. They belong to the
    // caller. Asked for control records too.
    virtual void getSubtreeDeleteNotifications(const OrvOamSpiNbiNotificationValue_1& notification,
                                               std::vector<OrvOamSpiNbiNotificationValue_1*>& notifications) = 0;

    // Fills the zeroed record at selected with a reduced copy, whose parts belong to the caller, and returns true; or
    // returns false and leaves it alone. Asked for control records too.
    virtual bool getAttrSelectNotification(const OrvOamSpiNbiNotificationValue_1& notification,
                                           OrvOamSpiNbiNotificationValue_1* selected) = 0;
};

}  // namespace OrvNbiNotificationService
