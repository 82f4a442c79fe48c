// For unit tests only: the loaded library has a clock of its own, which cannot be reached from outside.
#pragma once

#include <Poco/Timestamp.h>

#include <atomic>
#include <cstdint>

#include "SystemTime.h"

namespace OrvTest
{

// Replaces the service's current time for its lifetime. One at a time.
// Threads: any.
class ManualClock
{
public:
    // microseconds since the Unix epoch
    explicit ManualClock(int64_t now)
    {
        set(now);
        OrvNbiNotificationService::setTimeSource(read);
    }
    ~ManualClock() { OrvNbiNotificationService::setTimeSource(nullptr); }

    void set(int64_t now) { _now.store(now); }
    void advance(int64_t microseconds) { _now.fetch_add(microseconds); }

    ManualClock(const ManualClock&) = delete;
    ManualClock& operator=(const ManualClock&) = delete;

private:
    static Poco::Timestamp read() { return Poco::Timestamp(_now.load()); }

    static inline std::atomic<int64_t> _now{0};
};

}  // namespace OrvTest
