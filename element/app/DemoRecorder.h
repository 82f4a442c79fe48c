#pragma once

#include <Poco/Condition.h>
#include <Poco/Mutex.h>

#include <map>
#include <string>
#include <vector>

#include "OrvOamSpiNbiNotificationService_1.h"
#include "ThreadSafety.h"

namespace OrvElement
{

// What the demo's subscribers have received: the summaries of their records, in order. Heartbeats are counted apart,
// since how many come is a matter of time.
// Threads: any.
class DemoRecorder
{
public:
    void record(const std::string& subscriber, const OrvOamSpiNbiNotificationValue_1& record);

    // Waits for the number-th record, at most timeout milliseconds; then everything received so far.
    std::vector<std::string> waitFor(const std::string& subscriber, size_t number, long timeout);

    // Everybody who has received or was waited for.
    std::vector<std::string> subscribers() const;

    unsigned int heartbeats(const std::string& subscriber) const;

private:
    mutable Poco::FastMutex _mutex;
    Poco::Condition _grown;
    std::map<std::string, std::vector<std::string>> _received ORV_GUARDED_BY(_mutex);
    std::map<std::string, unsigned int> _heartbeats ORV_GUARDED_BY(_mutex);
};

}  // namespace OrvElement
