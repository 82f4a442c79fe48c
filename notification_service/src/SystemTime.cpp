#include "SystemTime.h"

#include <atomic>

namespace OrvNbiNotificationService
{

namespace
{
std::atomic<TimeSource> timeSource{nullptr};
}

Poco::Timestamp currentTime()
{
    const TimeSource source = timeSource.load(std::memory_order_acquire);
    return source == nullptr ? Poco::Timestamp() : source();
}

void setTimeSource(TimeSource source)
{
    timeSource.store(source, std::memory_order_release);
}

}  // namespace OrvNbiNotificationService
