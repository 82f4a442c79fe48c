// The stage for the tests of interleavings at the registry.
#pragma once

#include <map>
#include <string>

#include "NotificationServiceRunnable.h"
#include "ShellTest.h"
#include "SubscriptionTest.h"

namespace OrvTest
{

// The registry without a service thread: each test has threads that do what that one, the event thread and the agents'
// would.
class RegistryRaceTest : public ShellTest
{
protected:
    ~RegistryRaceTest() override;

    OrvReturnT add(unsigned int handle, long long startTime = 0, long long stopTime = 0);
    void store(int64_t eventTime, const std::string& dn);
    unsigned int stored();
    NotificationSubscription& subscription(unsigned int handle);

    // Waits until everything queued has been delivered. A record that came as a run was ending waits for the next look.
    void deliverAll(unsigned int handle);

    std::map<unsigned int, FilterScript> filters;
    RecordingHandler first{1};
    RecordingHandler second{2};
    OrvNbiNotificationService::NotificationServiceRunnable registry{100};
};

}  // namespace OrvTest
