#pragma once

#include <functional>
#include <vector>

#include "SubscriptionFilter.h"

namespace OrvTest
{

// A filter that notes the times of the records that it was asked for and answers what the test says.
class CountingFilter : public OrvNbiNotificationService::SubscriptionFilter
{
public:
    bool match(const OrvOamSpiNbiNotificationValue_1& notification) override
    {
        asked.push_back(notification.eventTime);
        return answer ? answer(notification) : true;
    }

    void getSubtreeDeleteNotifications(const OrvOamSpiNbiNotificationValue_1&,
                                       std::vector<OrvOamSpiNbiNotificationValue_1*>&) override
    {
        ++derivedCalls;
    }

    bool getAttrSelectNotification(const OrvOamSpiNbiNotificationValue_1&, OrvOamSpiNbiNotificationValue_1*) override
    {
        ++derivedCalls;
        return false;
    }

    std::function<bool(const OrvOamSpiNbiNotificationValue_1&)> answer;
    std::vector<int64_t> asked;
    int derivedCalls = 0;
};

}  // namespace OrvTest
